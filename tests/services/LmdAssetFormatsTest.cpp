// What an asset file holds, read from its bytes before it is stored: pictures with their size,
// sounds and model signatures, and the sentences for files that are not what their names say.
#include "services/LmdAssetFormats.h"

#include <gtest/gtest.h>

#include "AssetFileBytes.h"

namespace Lumenda3D {
namespace {

std::string bytes(std::initializer_list<int> values) {
    std::string out;
    for (int v : values)
        out.push_back(static_cast<char>(v));
    return out;
}

TEST(LmdAssetFormats, PictureSignaturesGoByTheBytesNotTheName) {
    EXPECT_EQ(LmdAssetFormats::detectImageFormat(bytes({0xFF, 0xD8, 0xFF, 0xE0}), "png"), "jpg");
    EXPECT_EQ(LmdAssetFormats::detectImageFormat(test::pngHeader(1, 1), "jpg"), "png");
    EXPECT_EQ(LmdAssetFormats::detectImageFormat("GIF89a", "png"), "gif");
    EXPECT_EQ(LmdAssetFormats::detectImageFormat(bytes({0xFF, 0xD8}), "png"), "png");  // too short
    EXPECT_EQ(LmdAssetFormats::detectImageFormat("BM...", "bmp"), "bmp");               // unknown: fallback
}

TEST(LmdAssetFormats, PictureSizesAreReadFromEachFormatsHeader) {
    const auto png = LmdAssetFormats::readImageInfo(test::pngHeader(640, 480));
    EXPECT_EQ(png.format, "png");
    EXPECT_EQ(png.width, 640u);
    EXPECT_EQ(png.height, 480u);
    // JPEG: an APP0 segment before the frame, whose size follows the marker.
    const std::string jpeg = bytes({0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x04, 0x00, 0x00, 0xFF, 0xC2, 0x00, 0x11, 0x08,
                                    0x01, 0x00, 0x02, 0x00, 0x03});
    const auto jpg = LmdAssetFormats::readImageInfo(jpeg);
    EXPECT_EQ(jpg.format, "jpg");
    EXPECT_EQ(jpg.width, 512u);
    EXPECT_EQ(jpg.height, 256u);
    // Cut short before the frame: no size, so not a picture that can be taken.
    EXPECT_EQ(LmdAssetFormats::readImageInfo(jpeg.substr(0, 12)).format, "");
    const auto gif = LmdAssetFormats::readImageInfo(std::string("GIF89a") + bytes({0x20, 0x00, 0x10, 0x00}));
    EXPECT_EQ(gif.width, 32u);
    EXPECT_EQ(gif.height, 16u);
    // BMP stored top-down has a negative height.
    std::string bmp = "BM" + std::string(16, '\0') + bytes({8, 0, 0, 0, 0xF8, 0xFF, 0xFF, 0xFF});
    const auto bitmap = LmdAssetFormats::readImageInfo(bmp);
    EXPECT_EQ(bitmap.format, "bmp");
    EXPECT_EQ(bitmap.height, 8u);
    // TGA has no signature: read only when the name says so, and only a plausible header.
    std::string tga(18, '\0');
    tga[2] = 2;
    tga[12] = 4;
    tga[14] = 2;
    tga[16] = 32;
    EXPECT_EQ(LmdAssetFormats::readImageInfo(tga, "tga").format, "tga");
    EXPECT_EQ(LmdAssetFormats::readImageInfo(tga).format, "");
    tga[16] = 7;
    EXPECT_EQ(LmdAssetFormats::readImageInfo(tga, "tga").format, "");
}

TEST(LmdAssetFormats, FilesThatAreNotWhatTheyClaimAreRefusedInWords) {
    EXPECT_EQ(LmdAssetFormats::check("textures", "grass.png", test::pngHeader(256, 256)), "");
    EXPECT_EQ(LmdAssetFormats::check("textures", "Grass.JPEG", test::bytesForName("a.jpg")), "");
    EXPECT_EQ(LmdAssetFormats::check("textures", "grass.png", ""),
              "\"grass.png\" is empty (0 bytes), so there is nothing to import.");
    EXPECT_EQ(LmdAssetFormats::check("textures", "grass.png", "just some text"),
              "\"grass.png\" does not hold PNG picture data: its contents do not match its name, so it was not imported.");
    // A JPEG named .png is refused too: the engine picks its decoder by the name.
    EXPECT_NE(LmdAssetFormats::check("textures", "photo.png", test::bytesForName("a.jpg")), "");
    EXPECT_EQ(LmdAssetFormats::check("textures", "huge.png", test::pngHeader(20000, 20000)),
              "\"huge.png\" is 20000 x 20000 pixels; pictures may be at most 8192 pixels on a side. Scale it down "
              "and import it again.");
    EXPECT_EQ(LmdAssetFormats::check("textures", "edge.png", test::pngHeader(8192, 1)), "");
    EXPECT_NE(LmdAssetFormats::check("textures", "none.png", test::pngHeader(0, 5)), "");

    EXPECT_EQ(LmdAssetFormats::check("sounds", "boing.wav", test::wavHeader()), "");
    EXPECT_EQ(LmdAssetFormats::check("sounds", "boing.ogg", test::oggHeader()), "");
    EXPECT_EQ(LmdAssetFormats::check("sounds", "boing.mp3", "ID3\x03"), "");
    EXPECT_EQ(LmdAssetFormats::check("sounds", "boing.mp3", bytes({0xFF, 0xFB, 0x90, 0x00})), "");
    EXPECT_NE(LmdAssetFormats::check("sounds", "boing.wav", test::oggHeader()), "");
    EXPECT_NE(LmdAssetFormats::check("sounds", "boing.flac", "RIFF"), "");

    EXPECT_EQ(LmdAssetFormats::check("models", "ship.glb", test::glbHeader()), "");
    EXPECT_NE(LmdAssetFormats::check("models", "ship.glb", "{\"asset\":{}}"), "");
    EXPECT_EQ(LmdAssetFormats::check("models", "ship.gltf", "\xEF\xBB\xBF  {\"asset\":{}}"), "");
    EXPECT_EQ(LmdAssetFormats::check("models", "crate.obj", "v 0 0 0\n"), "");
    EXPECT_NE(LmdAssetFormats::check("models", "crate.obj", std::string("v\0\0\0", 4)), "");
    EXPECT_NE(LmdAssetFormats::check("models", "scene.blend", "not blender"), "");
    EXPECT_NE(LmdAssetFormats::check("fonts", "a.ttf", "x"), "");
}

} // namespace
} // namespace Lumenda3D
