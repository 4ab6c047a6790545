#include "engine/package/LmdGamePackage.h"

#include <array>
#include <cstring>

namespace Lumenda3D {
namespace {

constexpr char kDocumentTag[4] = {'D', 'O', 'C', 'U'};
constexpr char kLogicTag[4] = {'L', 'O', 'G', 'C'};
constexpr std::size_t kHeaderSize = 8 + 4 + 4;
constexpr std::size_t kSectionHeaderSize = 4 + 8 + 4;

void putU32(std::string& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        out.push_back(char((value >> (8 * i)) & 0xFF));
}

void putU64(std::string& out, std::uint64_t value) {
    for (int i = 0; i < 8; ++i)
        out.push_back(char((value >> (8 * i)) & 0xFF));
}

std::uint64_t getLE(const std::string& in, std::size_t at, int bytes) {
    std::uint64_t value = 0;
    for (int i = 0; i < bytes; ++i)
        value |= std::uint64_t(static_cast<unsigned char>(in[at + i])) << (8 * i);
    return value;
}

void putSection(std::string& out, const char (&tag)[4], const std::string& data) {
    out.append(tag, 4);
    putU64(out, data.size());
    putU32(out, LmdGamePackage::crc32(data));
    out += data;
}

const std::array<std::uint32_t, 256>& crcTable() {
    static const std::array<std::uint32_t, 256> table = [] {
        std::array<std::uint32_t, 256> t{};
        for (std::uint32_t n = 0; n < 256; ++n) {
            std::uint32_t c = n;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[n] = c;
        }
        return t;
    }();
    return table;
}

} // namespace

std::uint32_t LmdGamePackage::crc32(const std::string& data) {
    const auto& table = crcTable();
    std::uint32_t c = 0xFFFFFFFFu;
    for (unsigned char byte : data)
        c = table[(c ^ byte) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

std::string LmdGamePackage::serialize() const {
    std::string out(kMagic, sizeof kMagic);
    putU32(out, kFormatVersion);
    putU32(out, 2);
    putSection(out, kDocumentTag, documentXml);
    putSection(out, kLogicTag, logicBytecode);
    return out;
}

bool LmdGamePackage::looksLikePackage(const std::string& bytes) {
    return bytes.size() >= sizeof kMagic && std::memcmp(bytes.data(), kMagic, sizeof kMagic) == 0;
}

bool LmdGamePackage::parse(const std::string& bytes, LmdGamePackage& out, std::string& error) {
    if (!looksLikePackage(bytes)) {
        error = "not a game package (it does not begin with the package mark)";
        return false;
    }
    if (bytes.size() < kHeaderSize) {
        error = "the game package is cut short in its header";
        return false;
    }
    const std::uint64_t version = getLE(bytes, 8, 4);
    if (version != kFormatVersion) {
        error = "the game package has format version " + std::to_string(version) + "; this player reads version " +
                std::to_string(kFormatVersion);
        return false;
    }
    const std::uint64_t count = getLE(bytes, 12, 4);
    std::size_t at = kHeaderSize;
    bool haveDocument = false, haveLogic = false;
    LmdGamePackage result;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (bytes.size() - at < kSectionHeaderSize) {
            error = "the game package is cut short in section " + std::to_string(i + 1);
            return false;
        }
        const std::string tag = bytes.substr(at, 4);
        const std::uint64_t length = getLE(bytes, at + 4, 8);
        const std::uint32_t crc = std::uint32_t(getLE(bytes, at + 12, 4));
        at += kSectionHeaderSize;
        if (length > bytes.size() - at) {
            error = "the game package is cut short in section '" + tag + "'";
            return false;
        }
        std::string data = bytes.substr(at, std::size_t(length));
        at += std::size_t(length);
        if (crc32(data) != crc) {
            error = "section '" + tag + "' of the game package is damaged (its checksum does not match)";
            return false;
        }
        std::string* target = nullptr;
        bool* seen = nullptr;
        if (tag == std::string(kDocumentTag, 4)) {
            target = &result.documentXml;
            seen = &haveDocument;
        } else if (tag == std::string(kLogicTag, 4)) {
            target = &result.logicBytecode;
            seen = &haveLogic;
        } else {
            continue;
        }
        if (*seen) {
            error = "the game package holds section '" + tag + "' twice";
            return false;
        }
        *seen = true;
        *target = std::move(data);
    }
    if (!haveDocument || !haveLogic) {
        error = std::string("the game package has no ") + (haveDocument ? "logic" : "document") + " section";
        return false;
    }
    out = std::move(result);
    return true;
}

} // namespace Lumenda3D
