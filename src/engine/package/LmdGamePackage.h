#pragma once
// The game package "bin.dat" that an exported game ships: the game document and its logic,
// already compiled to Lua bytecode, in one file the player reads.
//
// Layout (all numbers little-endian):
//   8 bytes   magic "LMDGAME\0"
//   u32       format version (kFormatVersion)
//   u32       number of sections
//   per section:
//     4 bytes   tag: "DOCU" (the game document, UTF-8 XML) or "LOGC" (the logic chunk, Lua 5.4
//               bytecode as lua_dump writes it)
//     u64       length of the data
//     u32       CRC-32 (IEEE 802.3, as zlib computes it) of the data
//     data
// Both sections must be present, once each; sections with other tags are skipped by readers of
// this version, so later versions may add some. docs/export.md describes the file for people.
#include <cstdint>
#include <string>

namespace Lumenda3D {

struct LmdGamePackage {
    static constexpr char kMagic[8] = {'L', 'M', 'D', 'G', 'A', 'M', 'E', '\0'};
    static constexpr std::uint32_t kFormatVersion = 1;
    static constexpr const char* kFileName = "bin.dat";

    std::string documentXml;
    std::string logicBytecode;

    // The package's bytes.
    std::string serialize() const;
    // Reads a package; false with `error` saying what is wrong (not a package, a newer format,
    // cut short, a damaged section, a missing section). `out` is filled only on success.
    static bool parse(const std::string& bytes, LmdGamePackage& out, std::string& error);
    // Whether the bytes start like a package (the player tells a package from a game file by it).
    static bool looksLikePackage(const std::string& bytes);

    static std::uint32_t crc32(const std::string& data);
};

} // namespace Lumenda3D
