#pragma once
// Password hashes: argon2id through libsodium, in its self-describing string form, so that a
// change of the cost settings keeps old hashes working (and they are renewed at the next login).
// Hashing is slow and memory-hungry on purpose; at most a few run at once, so a burst of logins
// cannot exhaust the server's memory.
#include <cstddef>
#include <string>

namespace Lumenda3D::Cloud {

class PasswordHasher {
public:
    struct Cost {
        unsigned long long operations;
        std::size_t memoryBytes;
    };
    // libsodium's "interactive" settings (2 passes, 64 MiB).
    static Cost interactiveCost();

    explicit PasswordHasher(Cost cost, unsigned parallelHashes = 4);

    // Throws std::runtime_error only when the system is out of memory.
    std::string hash(const std::string& password) const;
    bool verify(const std::string& storedHash, const std::string& password) const;
    // True when a stored hash was made with other settings than the current ones.
    bool needsRehash(const std::string& storedHash) const;

private:
    class Slot;
    Cost cost_;
    unsigned parallel_;
};

} // namespace Lumenda3D::Cloud
