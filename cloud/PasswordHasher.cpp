#include "PasswordHasher.h"

#include <sodium.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace Lumenda3D::Cloud {
namespace {

std::mutex gSlotsMutex;
std::condition_variable gSlotFree;
unsigned gSlotsInUse = 0;

} // namespace

// Holds one of the limited hashing slots for as long as it lives.
class PasswordHasher::Slot {
public:
    explicit Slot(unsigned limit) {
        std::unique_lock<std::mutex> lock(gSlotsMutex);
        gSlotFree.wait(lock, [limit] { return gSlotsInUse < limit; });
        ++gSlotsInUse;
    }
    ~Slot() {
        std::lock_guard<std::mutex> lock(gSlotsMutex);
        --gSlotsInUse;
        gSlotFree.notify_one();
    }
};

PasswordHasher::Cost PasswordHasher::interactiveCost() {
    return {crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE};
}

PasswordHasher::PasswordHasher(Cost cost, unsigned parallelHashes)
    : cost_(cost), parallel_(parallelHashes == 0 ? 1 : parallelHashes) {
    if (sodium_init() < 0)
        throw std::runtime_error("libsodium cannot be initialised");
    if (cost_.operations < crypto_pwhash_OPSLIMIT_MIN)
        cost_.operations = crypto_pwhash_OPSLIMIT_MIN;
    if (cost_.memoryBytes < crypto_pwhash_MEMLIMIT_MIN)
        cost_.memoryBytes = crypto_pwhash_MEMLIMIT_MIN;
}

std::string PasswordHasher::hash(const std::string& password) const {
    char out[crypto_pwhash_STRBYTES];
    Slot slot(parallel_);
    if (crypto_pwhash_str_alg(out, password.data(), password.size(), cost_.operations, cost_.memoryBytes,
                              crypto_pwhash_ALG_ARGON2ID13) != 0)
        throw std::runtime_error("out of memory while hashing a password");
    return out;
}

bool PasswordHasher::verify(const std::string& storedHash, const std::string& password) const {
    if (storedHash.empty() || storedHash.size() >= crypto_pwhash_STRBYTES)
        return false;
    Slot slot(parallel_);
    return crypto_pwhash_str_verify(storedHash.c_str(), password.data(), password.size()) == 0;
}

bool PasswordHasher::needsRehash(const std::string& storedHash) const {
    return crypto_pwhash_str_needs_rehash(storedHash.c_str(), cost_.operations, cost_.memoryBytes) != 0;
}

} // namespace Lumenda3D::Cloud
