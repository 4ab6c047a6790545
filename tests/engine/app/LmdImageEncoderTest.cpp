#include "engine/app/LmdImageEncoder.h"

#include <gtest/gtest.h>
#include <stb_image.h>

#include <cmath>
#include <cstdlib>
#include <vector>

using namespace Lumenda3D;

namespace {

using Size = LmdImageEncoder::Size;

std::vector<std::uint8_t> solid(int w, int h, std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    std::vector<std::uint8_t> px(std::size_t(w) * h * 3);
    for (std::size_t i = 0; i < px.size(); i += 3) {
        px[i] = r;
        px[i + 1] = g;
        px[i + 2] = b;
    }
    return px;
}

struct Decoded {
    int width = 0, height = 0;
    std::vector<std::uint8_t> rgb;
};

Decoded decode(const std::vector<unsigned char>& jpeg) {
    Decoded d;
    int channels = 0;
    unsigned char* p = stbi_load_from_memory(jpeg.data(), int(jpeg.size()), &d.width, &d.height, &channels, 3);
    if (p) {
        d.rgb.assign(p, p + std::size_t(d.width) * d.height * 3);
        stbi_image_free(p);
    }
    return d;
}

} // namespace

TEST(LmdImageEncoderTest, FitWithinKeepsTheAspectRatioAndNeverUpscales) {
    struct Case {
        int sw, sh, cw, ch, ew, eh;
    } cases[] = {
        {1280, 800, 1280, 800, 1280, 800}, // exact
        {1280, 800, 640, 640, 640, 400},   // width is the tighter cap
        {1280, 800, 2048, 100, 160, 100},  // height is the tighter cap
        {1280, 800, 2048, 2048, 1280, 800}, // caps above the source: no upscaling
        {800, 1280, 640, 640, 400, 640},   // portrait
        {1, 1000, 64, 64, 1, 64},          // a sliver keeps at least one pixel
        {1280, 800, 0, 800, 0, 0},         // no room
        {0, 800, 640, 640, 0, 0},          // nothing to scale
    };
    for (const Case& c : cases) {
        Size s = LmdImageEncoder::fitWithin(c.sw, c.sh, c.cw, c.ch);
        EXPECT_EQ(s.width, c.ew) << c.sw << "x" << c.sh << " in " << c.cw << "x" << c.ch;
        EXPECT_EQ(s.height, c.eh) << c.sw << "x" << c.sh << " in " << c.cw << "x" << c.ch;
    }

    // Over many sizes: within both caps and the source, and the aspect ratio off by at most the
    // rounding of one pixel.
    for (int sw : {640, 1280, 1366, 1919, 333})
        for (int sh : {480, 800, 767, 1080})
            for (int cap : {64, 100, 257, 1024, 2048}) {
                Size s = LmdImageEncoder::fitWithin(sw, sh, cap, cap * 3 / 4);
                ASSERT_GE(s.width, 1);
                ASSERT_GE(s.height, 1);
                EXPECT_LE(s.width, std::min(cap, sw));
                EXPECT_LE(s.height, std::min(cap * 3 / 4, sh));
                EXPECT_TRUE(s.width == std::min(cap, sw) || s.height == std::min(cap * 3 / 4, sh))
                    << "one side reaches its limit";
                EXPECT_NEAR(double(s.width) / s.height, double(sw) / sh, double(sw) / sh / std::min(s.width, s.height) + 1e-9);
            }
}

TEST(LmdImageEncoderTest, ResizeAveragesTheAreaEachPixelCovers) {
    // Left half red, right half blue, 4x2 -> 2x1: each half keeps its colour.
    std::vector<std::uint8_t> halves(4 * 2 * 3, 0);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 4; ++x)
            halves[(y * 4 + x) * 3 + (x < 2 ? 0 : 2)] = 255;
    auto out = LmdImageEncoder::resizeRgb(halves.data(), 4, 2, 0, 2, 1);
    ASSERT_EQ(out.size(), 6u);
    EXPECT_EQ((std::vector<std::uint8_t>{255, 0, 0, 0, 0, 255}), out);

    // A one-pixel checkerboard averages to grey rather than aliasing to one of its colours.
    std::vector<std::uint8_t> checker(8 * 8 * 3);
    for (int i = 0; i < 64; ++i)
        std::fill_n(&checker[i * 3], 3, ((i % 8 + i / 8) % 2) ? 255 : 0);
    out = LmdImageEncoder::resizeRgb(checker.data(), 8, 8, 0, 3, 3);
    for (std::uint8_t v : out)
        EXPECT_NEAR(v, 128, 20);

    // Fractional coverage: 3 pixels (0, 90, 180) into 2: each target covers 1.5 source pixels.
    std::vector<std::uint8_t> ramp = {0, 0, 0, 90, 90, 90, 180, 180, 180};
    out = LmdImageEncoder::resizeRgb(ramp.data(), 3, 1, 0, 2, 1);
    EXPECT_EQ(out[0], 30);  // (0 * 1 + 90 * 0.5) / 1.5
    EXPECT_EQ(out[3], 150); // (90 * 0.5 + 180 * 1) / 1.5

    // Row padding in the source is skipped.
    std::vector<std::uint8_t> padded = {10, 20, 30, 99, 99, 40, 50, 60, 99, 99};
    out = LmdImageEncoder::resizeRgb(padded.data(), 1, 2, 5, 1, 2);
    EXPECT_EQ((std::vector<std::uint8_t>{10, 20, 30, 40, 50, 60}), out);
}

TEST(LmdImageEncoderTest, JpegRoundTripKeepsSizeAndColours) {
    const int w = 96, h = 64;
    std::vector<std::uint8_t> gradient(std::size_t(w) * h * 3);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            std::uint8_t* p = &gradient[(std::size_t(y) * w + x) * 3];
            p[0] = std::uint8_t(x * 255 / (w - 1));
            p[1] = std::uint8_t(y * 255 / (h - 1));
            p[2] = 128;
        }
    auto jpeg = LmdImageEncoder::encodeJpeg(gradient.data(), w, h);
    ASSERT_GT(jpeg.size(), 100u);
    EXPECT_EQ(jpeg[0], 0xFF);
    EXPECT_EQ(jpeg[1], 0xD8);
    EXPECT_EQ(jpeg[jpeg.size() - 2], 0xFF);
    EXPECT_EQ(jpeg[jpeg.size() - 1], 0xD9);
    int jw = 0, jh = 0;
    ASSERT_TRUE(LmdImageEncoder::jpegSize(jpeg, jw, jh));
    EXPECT_EQ(jw, w);
    EXPECT_EQ(jh, h);

    Decoded d = decode(jpeg);
    ASSERT_EQ(d.width, w);
    ASSERT_EQ(d.height, h);
    double error = 0;
    for (std::size_t i = 0; i < d.rgb.size(); ++i)
        error += std::abs(int(d.rgb[i]) - int(gradient[i]));
    EXPECT_LT(error / double(d.rgb.size()), 4.0) << "top row first, colours in RGB order";
}

TEST(LmdImageEncoderTest, CappedEncodingDownscalesWithTheWindowAspect) {
    auto window = solid(1280, 800, 200, 40, 160);
    auto jpeg = LmdImageEncoder::encodeCapped(window.data(), 1280, 800, 0, 500, 500);
    Decoded d = decode(jpeg);
    EXPECT_EQ(d.width, 500);
    EXPECT_EQ(d.height, 313);
    ASSERT_FALSE(d.rgb.empty());
    EXPECT_NEAR(d.rgb[0], 200, 6);
    EXPECT_NEAR(d.rgb[1], 40, 6);
    EXPECT_NEAR(d.rgb[2], 160, 6);

    // Caps above the window: the window's own size.
    jpeg = LmdImageEncoder::encodeCapped(window.data(), 1280, 800, 0, 2048, 2048);
    int w = 0, h = 0;
    ASSERT_TRUE(LmdImageEncoder::jpegSize(jpeg, w, h));
    EXPECT_EQ(w, 1280);
    EXPECT_EQ(h, 800);
}

TEST(LmdImageEncoderTest, NothingToEncodeGivesNoBytes) {
    auto px = solid(4, 4, 1, 2, 3);
    EXPECT_TRUE(LmdImageEncoder::encodeJpeg(nullptr, 4, 4).empty());
    EXPECT_TRUE(LmdImageEncoder::encodeJpeg(px.data(), 0, 4).empty());
    EXPECT_TRUE(LmdImageEncoder::encodeCapped(px.data(), 4, 4, 0, 0, 10).empty());
    int w = 0, h = 0;
    EXPECT_FALSE(LmdImageEncoder::jpegSize({}, w, h));
    EXPECT_FALSE(LmdImageEncoder::jpegSize({0x89, 'P', 'N', 'G', 0, 0, 0, 0}, w, h));
    EXPECT_FALSE(LmdImageEncoder::jpegSize({0xFF, 0xD8, 0xFF, 0xDA, 0, 4, 0, 0}, w, h));
}
