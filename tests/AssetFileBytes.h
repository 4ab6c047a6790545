#pragma once
// The first bytes of real asset files, for tests that store or check assets: enough of each
// format's header for a reader of headers, nothing more.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace Lumenda3D::test {

inline std::string be32Bytes(uint32_t v) {
    return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8), static_cast<char>(v)};
}

// A PNG signature and IHDR chunk of the given size (no pixel data).
inline std::string pngHeader(uint32_t width, uint32_t height) {
    return std::string("\x89PNG\r\n\x1A\n", 8) + be32Bytes(13) + "IHDR" + be32Bytes(width) + be32Bytes(height) +
           std::string("\x08\x02\x00\x00\x00", 5) + be32Bytes(0);
}

inline std::string wavHeader() { return std::string("RIFF\x24\x00\x00\x00WAVEfmt ", 16) + std::string(24, '\0'); }
inline std::string oggHeader() { return std::string("OggS\x00\x02", 6) + std::string(40, '\0'); }
inline std::string glbHeader() { return std::string("glTF\x02\x00\x00\x00\x0C\x00\x00\x00", 12); }

// Header bytes that fit a file name's extension, for stores that check what they take.
inline std::string bytesForName(const std::string& name) {
    const auto dot = name.find_last_of('.');
    std::string extension = dot == std::string::npos ? "" : name.substr(dot + 1);
    for (char& c : extension)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    if (extension == "png")
        return pngHeader(4, 4);
    if (extension == "jpg" || extension == "jpeg")
        return std::string("\xFF\xD8\xFF\xC0\x00\x11\x08\x00\x04\x00\x04\x03", 12) + std::string(16, '\0');
    if (extension == "wav")
        return wavHeader();
    if (extension == "ogg")
        return oggHeader();
    if (extension == "glb")
        return glbHeader();
    if (extension == "obj")
        return "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";
    return "asset bytes";
}

// Writes a file of `bytes` into `dir` (made when missing), as a file a person brings in; its path.
inline std::string writeFileIn(const std::filesystem::path& dir, const std::string& name, const std::string& bytes) {
    std::filesystem::create_directories(dir);
    std::ofstream(dir / name, std::ios::binary) << bytes;
    return (dir / name).string();
}

} // namespace Lumenda3D::test
