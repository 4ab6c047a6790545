#pragma once
// The interface's font. ImGui's own pixel font (13 px) stays the face of every panel, but it holds
// only Latin-1: dashes, ellipses, arrows and bullets in the interface's texts would show as "?".
// install() adds that font first to the atlas and merges into it, at the same pixel size, the
// glyphs of Latin Extended-A, General Punctuation, Arrows and Geometric Shapes from a scalable
// system font (DejaVu Sans). Without that font file the interface keeps the pixel font alone and
// one log line says so.
#include <string>
#include <vector>

#include <imgui.h>

namespace Lumenda3D {

class LmdInterfaceFont {
public:
    // The pixel size of the interface font (ImGui's own font).
    static constexpr float kPixelSize = 13.0f;

    // Adds the interface font to `atlas`, which must not hold any font yet (the first font is the
    // one every panel uses). Takes the first existing file of `candidates`. Returns true when the
    // symbol glyphs were merged in; false leaves the pixel font alone.
    static bool install(ImFontAtlas& atlas, const std::vector<std::string>& candidates = systemFiles());

    // Where a scalable font with those blocks is looked for, in order (Debian's fonts-dejavu-core).
    static std::vector<std::string> systemFiles();
    // The Unicode blocks merged from the scalable font (pairs of first and last, 0-terminated).
    static const ImWchar* symbolRanges();
};

} // namespace Lumenda3D
