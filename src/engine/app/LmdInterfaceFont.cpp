#include "engine/app/LmdInterfaceFont.h"

#include "base/LmdLog.h"

#include <filesystem>

namespace Lumenda3D {

std::vector<std::string> LmdInterfaceFont::systemFiles() {
    return {"/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", "/usr/share/fonts/TTF/DejaVuSans.ttf"};
}

const ImWchar* LmdInterfaceFont::symbolRanges() {
    static const ImWchar ranges[] = {
        0x0100, 0x017F,  // Latin Extended-A
        0x2000, 0x206F,  // General Punctuation: dashes, quotes, ellipsis, bullet
        0x2190, 0x21FF,  // Arrows
        0x25A0, 0x25FF,  // Geometric Shapes
        0,
    };
    return ranges;
}

bool LmdInterfaceFont::install(ImFontAtlas& atlas, const std::vector<std::string>& candidates) {
    ImFontConfig pixel;
    pixel.SizePixels = kPixelSize;
    atlas.AddFontDefault(&pixel);

    std::error_code ec;
    std::string file;
    for (const std::string& candidate : candidates)
        if (std::filesystem::is_regular_file(candidate, ec)) {
            file = candidate;
            break;
        }
    if (file.empty()) {
        LmdLog::message("No font with dashes, arrows and bullets was found (install fonts-dejavu-core); "
                        "the interface shows them as \"?\"");
        return false;
    }
    ImFontConfig symbols;
    symbols.MergeMode = true;
    symbols.OversampleH = 2;
    symbols.OversampleV = 1;
    // The scalable glyphs sit one pixel lower than their own metrics put them next to the pixel
    // font, whose baseline is at 10 of its 13 pixels.
    symbols.GlyphOffset = ImVec2(0.0f, 1.0f);
    if (!atlas.AddFontFromFileTTF(file.c_str(), kPixelSize, &symbols, symbolRanges())) {
        LmdLog::message("The font " + file + " could not be read; the interface shows dashes and arrows as \"?\"");
        return false;
    }
    return true;
}

} // namespace Lumenda3D
