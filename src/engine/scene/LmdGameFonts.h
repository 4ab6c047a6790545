#pragma once
// Fonts of the game's 2D layer. ImGui's own font is a small pixel font; game texts use a
// scalable TrueType font (media/fonts/*.ttf when there is one, else the system's DejaVu Sans)
// baked into ImGui's atlas at a few sizes, so that any fontSize draws from a size close above it.
// The atlas is baked once the overlay exists: install() adds the fonts, rebuilds the atlas and
// uploads it into the overlay's font texture in place (the overlay keeps using its texture). It
// also switches the overlay's font sampling to bilinear, so scaled text stays smooth. Without a
// TrueType font, texts use ImGui's own font, scaled.
#include <string>
#include <vector>

struct ImFont;

namespace Lumenda3D {

class LmdGameFonts {
public:
    // Call once after the ImGui overlay has been shown. Returns false when no font was added.
    bool install();
    // The baked font closest above `pixels` (or the largest); null before install or without one.
    ImFont* fontFor(float pixels) const;
    ImFont* largest() const { return mFonts.empty() ? nullptr : mFonts.back().font; }
    // The TrueType file used ("" when none was found).
    const std::string& fontFile() const { return mFile; }
    // Where a game font is looked for, in order.
    static std::vector<std::string> candidateFiles();

private:
    struct Baked {
        float size = 0.0f;
        ImFont* font = nullptr;
    };
    std::vector<Baked> mFonts;
    std::string mFile;
};

} // namespace Lumenda3D
