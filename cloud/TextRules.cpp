#include "TextRules.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace Lumenda3D::Cloud {
namespace {

// Decodes one code point at `i`; -1 for invalid UTF-8.
long nextCodePoint(std::string_view s, std::size_t& i) {
    const unsigned char c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
        ++i;
        return c;
    }
    int extra;
    long cp;
    long minimum;
    if ((c & 0xE0) == 0xC0) {
        extra = 1;
        cp = c & 0x1F;
        minimum = 0x80;
    } else if ((c & 0xF0) == 0xE0) {
        extra = 2;
        cp = c & 0x0F;
        minimum = 0x800;
    } else if ((c & 0xF8) == 0xF0) {
        extra = 3;
        cp = c & 0x07;
        minimum = 0x10000;
    } else {
        return -1;
    }
    if (i + extra >= s.size())
        return -1;
    for (int k = 1; k <= extra; ++k) {
        const unsigned char d = static_cast<unsigned char>(s[i + k]);
        if ((d & 0xC0) != 0x80)
            return -1;
        cp = (cp << 6) | (d & 0x3F);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
        return -1;
    i += extra + 1;
    return cp;
}

} // namespace

bool TextRules::isCleanText(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const long cp = nextCodePoint(text, i);
        if (cp <= 0)
            return false;
    }
    return true;
}

std::size_t TextRules::codePoints(std::string_view text) {
    std::size_t i = 0, n = 0;
    while (i < text.size()) {
        if (nextCodePoint(text, i) < 0)
            return 0;
        ++n;
    }
    return n;
}

namespace {

bool hasControlCharacter(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const long cp = nextCodePoint(text, i);
        if (cp < 0x20 || cp == 0x7F)
            return true;
    }
    return false;
}

} // namespace

bool TextRules::isValidResourceName(const std::string& name) {
    if (!isCleanText(name) || hasControlCharacter(name))
        return false;
    const std::size_t n = codePoints(name);
    if (n < 1 || n > 64)
        return false;
    return std::any_of(name.begin(), name.end(), [](char c) { return c != ' '; });
}

bool TextRules::isValidUsername(const std::string& name) {
    if (name.size() < 3 || name.size() > 32 || !std::isalnum(static_cast<unsigned char>(name[0])))
        return false;
    for (char c : name)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '_' || c == '-'))
            return false;
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    return lower != "thumbs";
}

bool TextRules::isValidPassword(const std::string& password) {
    return password.size() >= 8 && password.size() <= 1024 && isCleanText(password);
}

bool TextRules::isValidAssetFileName(const std::string& name) {
    if (name.empty() || !isCleanText(name) || hasControlCharacter(name))
        return false;
    const std::size_t n = codePoints(name);
    if (n < 1 || n > 128)
        return false;
    if (name.find_first_of("/\\<>:\"|?*%#") != std::string::npos)
        return false;
    const char first = name.front(), last = name.back();
    if (first == ' ' || first == '.' || last == ' ' || last == '.')
        return false;
    std::string base = name.substr(0, name.find('.'));
    std::transform(base.begin(), base.end(), base.begin(), [](unsigned char c) { return std::toupper(c); });
    while (!base.empty() && base.back() == ' ')
        base.pop_back();
    static const std::vector<std::string> reserved = {"CON", "PRN", "AUX", "NUL"};
    if (std::find(reserved.begin(), reserved.end(), base) != reserved.end())
        return false;
    if (base.size() == 4 && (base.rfind("COM", 0) == 0 || base.rfind("LPT", 0) == 0) && base[3] >= '1' &&
        base[3] <= '9')
        return false;
    return true;
}

bool TextRules::isValidAssetType(const std::string& assetType) {
    return assetType == "textures" || assetType == "models" || assetType == "sounds";
}

bool TextRules::hasAllowedExtension(const std::string& assetType, const std::string& name) {
    static const std::vector<std::string> textures = {".png", ".jpg", ".jpeg", ".gif", ".bmp", ".tga"};
    static const std::vector<std::string> models = {".obj", ".awd", ".gltf", ".glb", ".3ds", ".md5mesh",
                                                    ".dae", ".fbx", ".blend", ".mesh", ".md5anim"};
    static const std::vector<std::string> sounds = {".wav", ".mp3", ".ogg", ".flac"};
    const std::vector<std::string>* allowed = assetType == "textures" ? &textures
                                              : assetType == "models" ? &models
                                              : assetType == "sounds" ? &sounds
                                                                      : nullptr;
    const auto dot = name.rfind('.');
    if (!allowed || dot == std::string::npos)
        return false;
    std::string ext = name.substr(dot);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    return std::find(allowed->begin(), allowed->end(), ext) != allowed->end();
}

std::string TextRules::stem(const std::string& name) {
    const auto dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

} // namespace Lumenda3D::Cloud
