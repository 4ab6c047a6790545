#pragma once
// Session tokens: 32 random bytes, handed to the client once as 64 hex digits. The database keeps
// only a keyed hash of each token, so a copy of the database lets nobody log in.
#include <string>

namespace Lumenda3D::Cloud {

class SessionToken {
public:
    static std::string generate();
    // BLAKE2b-256 of the token as hex; "" for text that cannot be a token.
    static std::string hashOf(const std::string& token);
    static bool looksValid(const std::string& token);
};

} // namespace Lumenda3D::Cloud
