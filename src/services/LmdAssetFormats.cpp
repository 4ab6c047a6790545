#include "services/LmdAssetFormats.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

namespace Lumenda3D {

namespace {

uint8_t at(const std::string& b, size_t i) { return static_cast<uint8_t>(b[i]); }
uint32_t be16(const std::string& b, size_t i) { return (uint32_t(at(b, i)) << 8) | at(b, i + 1); }
uint32_t le16(const std::string& b, size_t i) { return uint32_t(at(b, i)) | (uint32_t(at(b, i + 1)) << 8); }
uint32_t be32(const std::string& b, size_t i) { return (be16(b, i) << 16) | be16(b, i + 2); }
uint32_t le32(const std::string& b, size_t i) { return le16(b, i) | (le16(b, i + 2) << 16); }

bool startsWith(const std::string& bytes, const char* prefix, size_t offset = 0) {
    const std::string p(prefix);
    return bytes.size() >= offset + p.size() && bytes.compare(offset, p.size(), p) == 0;
}

// JPEG: walk the segments to the first start-of-frame marker, which holds the size.
bool readJpegSize(const std::string& b, unsigned& width, unsigned& height) {
    size_t i = 2;
    while (i + 4 <= b.size()) {
        if (at(b, i) != 0xFF)
            return false;
        const uint8_t marker = at(b, i + 1);
        if (marker == 0xFF) {  // fill byte
            ++i;
            continue;
        }
        if (marker == 0xD8 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {
            i += 2;  // markers without a length
            continue;
        }
        const uint32_t length = be16(b, i + 2);
        if (length < 2)
            return false;
        const bool startOfFrame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (startOfFrame) {
            if (i + 9 > b.size())
                return false;
            height = be16(b, i + 5);
            width = be16(b, i + 7);
            return true;
        }
        if (marker == 0xD9 || marker == 0xDA)  // end of image or scan data before any frame
            return false;
        i += 2 + length;
    }
    return false;
}

bool isTgaHeader(const std::string& b, unsigned& width, unsigned& height) {
    if (b.size() < 18)
        return false;
    const uint8_t colourMapType = at(b, 1), imageType = at(b, 2), depth = at(b, 16);
    const bool knownType = imageType == 1 || imageType == 2 || imageType == 3 || imageType == 9 ||
                           imageType == 10 || imageType == 11;
    const bool knownDepth = depth == 8 || depth == 15 || depth == 16 || depth == 24 || depth == 32;
    if (colourMapType > 1 || !knownType || !knownDepth)
        return false;
    width = le16(b, 12);
    height = le16(b, 14);
    return width > 0 && height > 0;
}

// Text formats (obj, gltf, dae, md5): no NUL byte at the start, where a binary file has many.
bool looksLikeText(const std::string& b) {
    const size_t n = std::min<size_t>(b.size(), 4096);
    return std::find(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(n), '\0') == b.begin() + static_cast<std::ptrdiff_t>(n);
}

std::string firstNonBlank(const std::string& b) {
    size_t i = startsWith(b, "\xEF\xBB\xBF") ? 3 : 0;
    while (i < b.size() && std::isspace(at(b, i)))
        ++i;
    return b.substr(i, 16);
}

bool isMp3(const std::string& b) {
    if (startsWith(b, "ID3"))
        return true;
    // An MPEG audio frame header: 11 bits of sync, then a layer other than "reserved".
    return b.size() >= 4 && at(b, 0) == 0xFF && (at(b, 1) & 0xE0) == 0xE0 && (at(b, 1) & 0x06) != 0 &&
           (at(b, 2) & 0xF0) != 0xF0;
}

// The sentence for a file that is not what its extension says.
std::string notWhatItSays(const std::string& fileName, const std::string& what) {
    return "\"" + fileName + "\" does not hold " + what + " data: its contents do not match its name, so it was not imported.";
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

} // namespace

std::string LmdAssetFormats::extensionOf(const std::string& fileName) {
    const size_t dot = fileName.find_last_of('.');
    const size_t slash = fileName.find_last_of("/\\");
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return "";
    std::string extension = fileName.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

std::string LmdAssetFormats::detectImageFormat(const std::string& bytes, const std::string& fallback) {
    if (bytes.size() < 3)
        return fallback;
    if (at(bytes, 0) == 0xFF && at(bytes, 1) == 0xD8 && at(bytes, 2) == 0xFF)
        return "jpg";
    if (startsWith(bytes, "\x89PNG"))
        return "png";
    if (startsWith(bytes, "GIF"))
        return "gif";
    return fallback;
}

LmdAssetFormats::ImageInfo LmdAssetFormats::readImageInfo(const std::string& b, const std::string& extensionHint) {
    ImageInfo info;
    if (startsWith(b, "\x89PNG\r\n\x1A\n")) {
        if (b.size() >= 24 && startsWith(b, "IHDR", 12))
            info = {"png", be32(b, 16), be32(b, 20)};
    } else if (b.size() >= 3 && at(b, 0) == 0xFF && at(b, 1) == 0xD8 && at(b, 2) == 0xFF) {
        unsigned width = 0, height = 0;
        if (readJpegSize(b, width, height))
            info = {"jpg", width, height};
    } else if (startsWith(b, "GIF87a") || startsWith(b, "GIF89a")) {
        if (b.size() >= 10)
            info = {"gif", le16(b, 6), le16(b, 8)};
    } else if (startsWith(b, "BM")) {
        if (b.size() >= 26) {
            // The height is negative for pictures stored top-down.
            const int32_t height = static_cast<int32_t>(le32(b, 22));
            info = {"bmp", le32(b, 18), height < 0 ? 0u - static_cast<uint32_t>(height) : static_cast<uint32_t>(height)};
        }
    } else if (extensionHint == "tga") {
        unsigned width = 0, height = 0;
        if (isTgaHeader(b, width, height))
            info = {"tga", width, height};
    }
    return info;
}

std::string LmdAssetFormats::check(const std::string& type, const std::string& fileName, const std::string& b) {
    if (b.empty())
        return "\"" + fileName + "\" is empty (0 bytes), so there is nothing to import.";
    const std::string extension = extensionOf(fileName);
    if (type == "textures") {
        const std::string wanted = extension == "jpeg" ? "jpg" : extension;
        const ImageInfo info = readImageInfo(b, wanted);
        if (info.format.empty() || info.format != wanted)
            return notWhatItSays(fileName, upper(wanted) + " picture");
        if (info.width == 0 || info.height == 0)
            return "\"" + fileName + "\" says it is a picture of no pixels, so it was not imported.";
        if (info.width > kMaxImageSide || info.height > kMaxImageSide)
            return "\"" + fileName + "\" is " + std::to_string(info.width) + " x " + std::to_string(info.height) +
                   " pixels; pictures may be at most " + std::to_string(kMaxImageSide) +
                   " pixels on a side. Scale it down and import it again.";
        return "";
    }
    if (type == "sounds") {
        bool ok = false;
        if (extension == "wav")
            ok = startsWith(b, "RIFF") && startsWith(b, "WAVE", 8);
        else if (extension == "ogg")
            ok = startsWith(b, "OggS");
        else if (extension == "flac")
            ok = startsWith(b, "fLaC") || (startsWith(b, "ID3") && b.find("fLaC") != std::string::npos);
        else if (extension == "mp3")
            ok = isMp3(b);
        return ok ? "" : notWhatItSays(fileName, upper(extension) + " sound");
    }
    if (type == "models") {
        bool ok = true;
        if (extension == "glb")
            ok = startsWith(b, "glTF");
        else if (extension == "gltf")
            ok = looksLikeText(b) && startsWith(firstNonBlank(b), "{");
        else if (extension == "blend")
            ok = startsWith(b, "BLENDER");
        else if (extension == "3ds")
            ok = b.size() >= 6 && le16(b, 0) == 0x4D4D;
        else if (extension == "fbx")
            ok = startsWith(b, "Kaydara FBX Binary") || looksLikeText(b);
        else if (extension == "mesh")
            ok = startsWith(b, "[MeshSerializer", 2);
        else if (extension == "dae")
            ok = looksLikeText(b) && startsWith(firstNonBlank(b), "<");
        else if (extension == "obj" || extension == "md5mesh" || extension == "md5anim")
            ok = looksLikeText(b);
        else if (extension == "awd")
            ok = startsWith(b, "AWD");
        return ok ? "" : notWhatItSays(fileName, upper(extension) + " model");
    }
    return "\"" + type + "\" is not an asset type: use textures, models or sounds.";
}

} // namespace Lumenda3D
