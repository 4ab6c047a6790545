#include "engine/app/LmdImageEncoder.h"

#include <stb_image_write.h>

#include <algorithm>
#include <cmath>

namespace Lumenda3D {

LmdImageEncoder::Size LmdImageEncoder::fitWithin(int sourceWidth, int sourceHeight, int capWidth,
                                                 int capHeight) {
    Size out;
    if (sourceWidth <= 0 || sourceHeight <= 0 || capWidth <= 0 || capHeight <= 0)
        return out;
    // Scale by the tighter of the two caps, never above 1.
    double scale = std::min(1.0, std::min(double(capWidth) / sourceWidth,
                                          double(capHeight) / sourceHeight));
    out.width = std::max(1, int(std::lround(sourceWidth * scale)));
    out.height = std::max(1, int(std::lround(sourceHeight * scale)));
    // Rounding may push one side a pixel over its cap.
    out.width = std::min(out.width, std::min(capWidth, sourceWidth));
    out.height = std::min(out.height, std::min(capHeight, sourceHeight));
    return out;
}

std::vector<std::uint8_t> LmdImageEncoder::resizeRgb(const std::uint8_t* rgb, int width, int height,
                                                     int rowStride, int targetWidth,
                                                     int targetHeight) {
    std::vector<std::uint8_t> out;
    if (!rgb || width <= 0 || height <= 0 || targetWidth <= 0 || targetHeight <= 0)
        return out;
    if (rowStride <= 0)
        rowStride = width * 3;
    out.resize(std::size_t(targetWidth) * targetHeight * 3);

    // Box filter with fractional edge weights: target pixel (tx, ty) covers the source rectangle
    // [tx * sx, (tx + 1) * sx) x [ty * sy, (ty + 1) * sy). Works for upscaling too (sx < 1).
    const double sx = double(width) / targetWidth;
    const double sy = double(height) / targetHeight;
    for (int ty = 0; ty < targetHeight; ++ty) {
        const double y0 = ty * sy, y1 = (ty + 1) * sy;
        const int iy0 = int(std::floor(y0));
        const int iy1 = std::min(height, int(std::ceil(y1)));
        for (int tx = 0; tx < targetWidth; ++tx) {
            const double x0 = tx * sx, x1 = (tx + 1) * sx;
            const int ix0 = int(std::floor(x0));
            const int ix1 = std::min(width, int(std::ceil(x1)));
            double acc[3] = {0, 0, 0};
            double total = 0;
            for (int y = iy0; y < iy1; ++y) {
                const double wy = std::min(y1, double(y + 1)) - std::max(y0, double(y));
                if (wy <= 0)
                    continue;
                const std::uint8_t* row = rgb + std::size_t(y) * rowStride;
                for (int x = ix0; x < ix1; ++x) {
                    const double wx = std::min(x1, double(x + 1)) - std::max(x0, double(x));
                    if (wx <= 0)
                        continue;
                    const double w = wx * wy;
                    const std::uint8_t* px = row + std::size_t(x) * 3;
                    acc[0] += px[0] * w;
                    acc[1] += px[1] * w;
                    acc[2] += px[2] * w;
                    total += w;
                }
            }
            std::uint8_t* dst = &out[(std::size_t(ty) * targetWidth + tx) * 3];
            for (int c = 0; c < 3; ++c)
                dst[c] = std::uint8_t(std::clamp(std::lround(total > 0 ? acc[c] / total : 0), 0L, 255L));
        }
    }
    return out;
}

namespace {
void appendBytes(void* context, void* data, int size) {
    auto* out = static_cast<std::vector<unsigned char>*>(context);
    auto* bytes = static_cast<unsigned char*>(data);
    out->insert(out->end(), bytes, bytes + size);
}
} // namespace

std::vector<unsigned char> LmdImageEncoder::encodeJpeg(const std::uint8_t* rgb, int width, int height,
                                                       int quality) {
    std::vector<unsigned char> out;
    if (!rgb || width <= 0 || height <= 0)
        return out;
    quality = std::clamp(quality, 1, 100);
    if (!stbi_write_jpg_to_func(appendBytes, &out, width, height, 3, rgb, quality))
        out.clear();
    return out;
}

std::vector<unsigned char> LmdImageEncoder::encodePng(const std::uint8_t* rgb, int width, int height) {
    std::vector<unsigned char> out;
    if (!rgb || width <= 0 || height <= 0)
        return out;
    if (!stbi_write_png_to_func(appendBytes, &out, width, height, 3, rgb, width * 3))
        out.clear();
    return out;
}

std::vector<unsigned char> LmdImageEncoder::encodeCapped(const std::uint8_t* rgb, int width, int height,
                                                         int rowStride, int capWidth, int capHeight,
                                                         int quality) {
    if (rowStride <= 0)
        rowStride = width * 3;
    Size size = fitWithin(width, height, capWidth, capHeight);
    if (size.width == 0)
        return {};
    if (size.width == width && size.height == height && rowStride == width * 3)
        return encodeJpeg(rgb, width, height, quality);
    std::vector<std::uint8_t> scaled = resizeRgb(rgb, width, height, rowStride, size.width, size.height);
    return encodeJpeg(scaled.data(), size.width, size.height, quality);
}

bool LmdImageEncoder::jpegSize(const std::vector<unsigned char>& jpeg, int& width, int& height) {
    const std::size_t n = jpeg.size();
    if (n < 4 || jpeg[0] != 0xFF || jpeg[1] != 0xD8)
        return false;
    std::size_t i = 2;
    while (i + 3 < n) {
        if (jpeg[i] != 0xFF)
            return false;
        const unsigned char marker = jpeg[i + 1];
        if (marker == 0xFF) { // fill byte
            ++i;
            continue;
        }
        const std::size_t length = (std::size_t(jpeg[i + 2]) << 8) | jpeg[i + 3];
        // Start-of-frame markers C0..CF, except DHT (C4), JPG (C8) and DAC (CC).
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC) {
            if (i + 8 >= n)
                return false;
            height = (jpeg[i + 5] << 8) | jpeg[i + 6];
            width = (jpeg[i + 7] << 8) | jpeg[i + 8];
            return true;
        }
        if (marker == 0xDA || length < 2) // start of scan before any frame header
            return false;
        i += 2 + length;
    }
    return false;
}

} // namespace Lumenda3D
