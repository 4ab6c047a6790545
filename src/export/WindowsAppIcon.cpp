#include "export/WindowsAppIcon.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "services/FileManager.h"

namespace Lumenda3D {
namespace {

void put16(std::string& s, unsigned v) {
    s.push_back(static_cast<char>(v & 0xff));
    s.push_back(static_cast<char>((v >> 8) & 0xff));
}
void put32(std::string& s, std::uint32_t v) {
    put16(s, v & 0xffff);
    put16(s, v >> 16);
}
unsigned get16(const std::string& s, std::size_t at) {
    return static_cast<unsigned char>(s[at]) | (static_cast<unsigned char>(s[at + 1]) << 8);
}
std::uint32_t get32(const std::string& s, std::size_t at) { return get16(s, at) | (get16(s, at + 2) << 16); }

// HSV with full saturation and a fixed value, hue from the name.
void colourOf(const std::string& name, unsigned char rgb[3]) {
    std::uint32_t h = 2166136261u;
    for (unsigned char c : name)
        h = (h ^ c) * 16777619u;
    const float hue = static_cast<float>(h % 360) / 60.0f;
    const float x = 1.0f - std::fabs(std::fmod(hue, 2.0f) - 1.0f);
    float r = 0, g = 0, b = 0;
    switch (static_cast<int>(hue)) {
    case 0: r = 1, g = x; break;
    case 1: r = x, g = 1; break;
    case 2: g = 1, b = x; break;
    case 3: g = x, b = 1; break;
    case 4: r = x, b = 1; break;
    default: r = 1, b = x; break;
    }
    const float v = 0.78f, base = 0.18f;
    rgb[0] = static_cast<unsigned char>(255 * (base + (v - base) * r));
    rgb[1] = static_cast<unsigned char>(255 * (base + (v - base) * g));
    rgb[2] = static_cast<unsigned char>(255 * (base + (v - base) * b));
}

// One image as a BMP-in-ICO entry: BITMAPINFOHEADER, BGRA rows bottom-up, AND mask.
std::string drawImage(int size, const unsigned char rgb[3]) {
    std::string dib;
    put32(dib, 40);
    put32(dib, static_cast<std::uint32_t>(size));
    put32(dib, static_cast<std::uint32_t>(size * 2));   // colour plus mask
    put16(dib, 1);
    put16(dib, 32);
    put32(dib, 0);
    put32(dib, 0);
    put32(dib, 0);
    put32(dib, 0);
    put32(dib, 0);
    put32(dib, 0);
    const float s = static_cast<float>(size);
    const float radius = s * 0.2f;
    for (int row = size - 1; row >= 0; --row) {
        for (int col = 0; col < size; ++col) {
            const float x = col + 0.5f, y = row + 0.5f;
            // Distance outside the rounded square (negative inside), for a soft edge.
            const float qx = std::max(std::fabs(x - s / 2) - (s / 2 - radius), 0.0f);
            const float qy = std::max(std::fabs(y - s / 2) - (s / 2 - radius), 0.0f);
            const float outside = std::sqrt(qx * qx + qy * qy) - radius;
            const float alpha = std::clamp(0.5f - outside, 0.0f, 1.0f);
            // The play triangle: points (0.38,0.28) (0.38,0.72) (0.74,0.5) of the square.
            const float u = x / s, v = y / s;
            const bool inTriangle = u >= 0.38f && std::fabs(v - 0.5f) <= (0.74f - u) * (0.22f / 0.36f);
            const unsigned char r = inTriangle ? 255 : rgb[0], g = inTriangle ? 255 : rgb[1],
                                b = inTriangle ? 255 : rgb[2];
            dib.push_back(static_cast<char>(b));
            dib.push_back(static_cast<char>(g));
            dib.push_back(static_cast<char>(r));
            dib.push_back(static_cast<char>(static_cast<unsigned char>(alpha * 255)));
        }
    }
    const int maskRow = ((size + 31) / 32) * 4;
    dib.append(static_cast<std::size_t>(maskRow * size), '\0');   // alpha decides; the mask is all "opaque"
    return dib;
}

} // namespace

std::string WindowsAppIcon::draw(const std::string& appName) {
    unsigned char rgb[3];
    colourOf(appName, rgb);
    const int sizes[] = {16, 32, 48, 256};
    std::vector<std::string> images;
    for (int size : sizes)
        images.push_back(drawImage(size, rgb));
    std::string ico;
    put16(ico, 0);
    put16(ico, 1);
    put16(ico, static_cast<unsigned>(images.size()));
    std::uint32_t offset = 6 + 16 * static_cast<std::uint32_t>(images.size());
    for (std::size_t i = 0; i < images.size(); ++i) {
        ico.push_back(static_cast<char>(sizes[i] == 256 ? 0 : sizes[i]));
        ico.push_back(static_cast<char>(sizes[i] == 256 ? 0 : sizes[i]));
        ico.push_back(0);
        ico.push_back(0);
        put16(ico, 1);
        put16(ico, 32);
        put32(ico, static_cast<std::uint32_t>(images[i].size()));
        put32(ico, offset);
        offset += static_cast<std::uint32_t>(images[i].size());
    }
    for (const std::string& image : images)
        ico += image;
    return ico;
}

bool WindowsAppIcon::isIco(const std::string& b) {
    if (b.size() < 6 || get16(b, 0) != 0 || get16(b, 2) != 1)
        return false;
    const unsigned count = get16(b, 4);
    if (count == 0 || b.size() < 6 + 16ull * count)
        return false;
    for (unsigned i = 0; i < count; ++i) {
        const std::size_t entry = 6 + 16ull * i;
        const std::uint64_t size = get32(b, entry + 8), offset = get32(b, entry + 12);
        if (size == 0 || offset + size > b.size())
            return false;
    }
    return true;
}

bool WindowsAppIcon::prepare(const std::string& templateDir, const std::string& appName, const std::string& icoPath,
                             std::string& error) {
    std::string bytes;
    const std::string own = (std::filesystem::path(templateDir) / "icon.ico").string();
    if (!(FileManager::fileExists(own) && FileManager::readFile(own, bytes) && isIco(bytes)))
        bytes = draw(appName);
    return FileManager::writeFileAtomic(icoPath, bytes, &error);
}

} // namespace Lumenda3D
