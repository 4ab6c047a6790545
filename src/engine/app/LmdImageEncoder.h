#pragma once
// Turns captured RGB pixels into JPEG or PNG bytes. Needs no window or render system, so that the size
// rules and the encoder are tested on their own.
#include <cstdint>
#include <vector>

namespace Lumenda3D {

class LmdImageEncoder {
public:
    struct Size {
        int width = 0;
        int height = 0;
    };

    // The largest size with the source's aspect ratio that fits within capWidth x capHeight.
    // Never larger than the source (no upscaling); at least 1x1 for a non-empty source.
    // An empty source, or a cap below 1, gives 0x0.
    static Size fitWithin(int sourceWidth, int sourceHeight, int capWidth, int capHeight);

    // Area-averaging downscale of tightly packed 8-bit RGB (rowStride bytes per source row,
    // 0 for width * 3). Each target pixel is the mean of the source pixels it covers, so thin
    // lines and text fade rather than vanish. Returns targetWidth * targetHeight * 3 bytes.
    static std::vector<std::uint8_t> resizeRgb(const std::uint8_t* rgb, int width, int height,
                                               int rowStride, int targetWidth, int targetHeight);

    // Baseline JPEG of tightly packed RGB, top row first. Empty on failure.
    static std::vector<unsigned char> encodeJpeg(const std::uint8_t* rgb, int width, int height,
                                                 int quality = 85);

    // Lossless PNG of tightly packed RGB, top row first. Empty on failure.
    static std::vector<unsigned char> encodePng(const std::uint8_t* rgb, int width, int height);

    // fitWithin + resizeRgb (only when the size changes) + encodeJpeg.
    static std::vector<unsigned char> encodeCapped(const std::uint8_t* rgb, int width, int height,
                                                   int rowStride, int capWidth, int capHeight,
                                                   int quality = 85);

    // Reads the pixel size from a JPEG's frame header; false when the bytes are no JPEG.
    static bool jpegSize(const std::vector<unsigned char>& jpeg, int& width, int& height);
};

} // namespace Lumenda3D
