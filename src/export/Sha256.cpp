#include "export/Sha256.h"

#include <sodium.h>

#include <fstream>

namespace Lumenda3D {
namespace {

std::string hex(const unsigned char* digest) {
    static const char* digits = "0123456789abcdef";
    std::string out;
    for (int i = 0; i < static_cast<int>(crypto_hash_sha256_BYTES); ++i) {
        out.push_back(digits[digest[i] >> 4]);
        out.push_back(digits[digest[i] & 15]);
    }
    return out;
}

} // namespace

std::string Sha256::hexOf(const std::string& bytes) {
    unsigned char digest[crypto_hash_sha256_BYTES];
    crypto_hash_sha256(digest, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return hex(digest);
}

std::string Sha256::hexOfFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return "";
    crypto_hash_sha256_state state;
    crypto_hash_sha256_init(&state);
    char buffer[1 << 16];
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
        crypto_hash_sha256_update(&state, reinterpret_cast<const unsigned char*>(buffer),
                                  static_cast<unsigned long long>(in.gcount()));
        if (!in)
            break;
    }
    if (in.bad())
        return "";
    unsigned char digest[crypto_hash_sha256_BYTES];
    crypto_hash_sha256_final(&state, digest);
    return hex(digest);
}

bool Sha256::isHexDigest(const std::string& text) {
    if (text.size() != 64)
        return false;
    for (char c : text)
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')))
            return false;
    return true;
}

} // namespace Lumenda3D
