#pragma once
// SHA-256 digests as lowercase hex, for checking downloaded runtime templates.
#include <string>

namespace Lumenda3D {

class Sha256 {
public:
    static std::string hexOf(const std::string& bytes);
    // "" when the file cannot be read.
    static std::string hexOfFile(const std::string& path);
    static bool isHexDigest(const std::string& text);   // 64 lowercase hex digits
};

} // namespace Lumenda3D
