#include "SessionToken.h"

#include <sodium.h>

#include <stdexcept>

namespace Lumenda3D::Cloud {
namespace {

constexpr std::size_t kTokenBytes = 32;

std::string toHex(const unsigned char* data, std::size_t size) {
    std::string out(size * 2 + 1, '\0');
    sodium_bin2hex(out.data(), out.size(), data, size);
    out.pop_back();
    return out;
}

} // namespace

std::string SessionToken::generate() {
    if (sodium_init() < 0)
        throw std::runtime_error("libsodium cannot be initialised");
    unsigned char bytes[kTokenBytes];
    randombytes_buf(bytes, sizeof bytes);
    return toHex(bytes, sizeof bytes);
}

bool SessionToken::looksValid(const std::string& token) {
    if (token.size() != kTokenBytes * 2)
        return false;
    for (char c : token)
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')))
            return false;
    return true;
}

std::string SessionToken::hashOf(const std::string& token) {
    if (!looksValid(token))
        return "";
    static const unsigned char kContext[] = "lumenda3d-cloud session token v1";
    unsigned char digest[32];
    crypto_generichash(digest, sizeof digest, reinterpret_cast<const unsigned char*>(token.data()), token.size(),
                       kContext, sizeof kContext - 1);
    return toHex(digest, sizeof digest);
}

} // namespace Lumenda3D::Cloud
