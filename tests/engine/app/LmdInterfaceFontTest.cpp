#include "engine/app/LmdInterfaceFont.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Lumenda3D;

namespace {

// The characters the interface's texts use beyond Latin-1.
constexpr ImWchar kSymbols[] = {0x2014 /* — */, 0x2026 /* … */, 0x2192 /* → */, 0x2022 /* • */};

std::string systemFont() {
    for (const std::string& file : LmdInterfaceFont::systemFiles())
        if (std::filesystem::is_regular_file(file))
            return file;
    return "";
}

} // namespace

TEST(LmdInterfaceFontTest, MergesDashesEllipsisArrowsAndBulletsIntoThePixelFontAtItsSize) {
    ASSERT_FALSE(systemFont().empty()) << "fonts-dejavu-core is one of the project's packages";
    ImFontAtlas atlas;
    ASSERT_TRUE(LmdInterfaceFont::install(atlas));
    ASSERT_TRUE(atlas.Build());

    // One font: the symbols are merged into the face every panel uses, not a second font.
    ASSERT_EQ(atlas.Fonts.Size, 1);
    ImFont* font = atlas.Fonts[0];
    EXPECT_FLOAT_EQ(font->FontSize, LmdInterfaceFont::kPixelSize);
    for (ImWchar c : kSymbols)
        EXPECT_NE(font->FindGlyphNoFallback(c), nullptr) << "U+" << std::hex << int(c);
    EXPECT_NE(font->FindGlyphNoFallback(0x0141), nullptr);  // Ł, Latin Extended-A
    EXPECT_NE(font->FindGlyphNoFallback(0x25B6), nullptr);  // ▶, Geometric Shapes

    // The letters keep the pixel font's look: the same advance as ImGui's own font alone.
    ImFontAtlas plain;
    plain.AddFontDefault();
    ASSERT_TRUE(plain.Build());
    for (ImWchar c : {ImWchar('A'), ImWchar('m'), ImWchar(' '), ImWchar(0x00E9)}) {
        const ImFontGlyph* mine = font->FindGlyphNoFallback(c);
        const ImFontGlyph* own = plain.Fonts[0]->FindGlyphNoFallback(c);
        ASSERT_NE(mine, nullptr);
        ASSERT_NE(own, nullptr);
        EXPECT_FLOAT_EQ(mine->AdvanceX, own->AdvanceX) << "U+" << std::hex << int(c);
        EXPECT_FLOAT_EQ(mine->Y0, own->Y0);
    }
    // A merged symbol stands within the line like the letters do.
    const ImFontGlyph* dash = font->FindGlyphNoFallback(0x2014);
    EXPECT_GT(dash->AdvanceX, 0.0f);
    EXPECT_GE(dash->Y0, 0.0f);
    EXPECT_LE(dash->Y1, LmdInterfaceFont::kPixelSize);
}

TEST(LmdInterfaceFontTest, WithoutTheFontFileThePixelFontStaysAloneAndTheSymbolsFallBack) {
    ImFontAtlas atlas;
    EXPECT_FALSE(LmdInterfaceFont::install(atlas, {"/nonexistent/DejaVuSans.ttf", "/tmp"}));
    ASSERT_TRUE(atlas.Build());
    ASSERT_EQ(atlas.Fonts.Size, 1);
    ImFont* font = atlas.Fonts[0];
    EXPECT_NE(font->FindGlyphNoFallback('A'), nullptr);
    for (ImWchar c : kSymbols)
        EXPECT_EQ(font->FindGlyphNoFallback(c), nullptr);
}
