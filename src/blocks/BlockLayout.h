#pragma once
// The layout pass of the block tree. It measures every block (caption, icon, attribute lines)
// and places the whole tree once, with the search, the filter for the assistant's changes and the
// collapse state applied, and caches sizes and positions in the blocks (Block::layout). Drawing,
// hit tests and drop places then read the cache, so that a frame touches only the blocks on
// screen: a block's box holds its children's boxes, and the children of a block stand in
// vertical order, so the blocks meeting a band of the tree are found by descending with a binary
// search among each block's children.
//
// Measuring needs a current ImGui font, so compute() runs inside an ImGui frame.
#include <imgui.h>

#include <functional>
#include <string>

namespace Lumenda3D {

class Block;

class BlockLayout {
public:
    // The layout numbers of blocks, by the DPI rule (base values scaled only above 1.0); the
    // border piece and the caption's top margin are never scaled.
    struct Metrics {
        float scale = 1.0f;
        ImVec2 defaultSize{120, 120};
        ImVec2 padding{15, 15};
        float lineHeight = 20;
        float border = 8;
        float captionTop = 6;
        float iconGap = 14;
        float collapseButton = 20;
        float collapseMargin = 6;
        static Metrics forScale(float dpiScale);
    };
    // Longest attribute value shown whole, in bytes; longer ones are cut and end in "...".
    static constexpr size_t kValueCut = 50;

    // Natural size of a block icon by its image name ((0, 0): none). May be empty.
    using IconSize = std::function<ImVec2(const std::string& image)>;

    // Measures and places the tree under `root` (the main block, drawn without a box of its own).
    static void compute(Block& root, const Metrics& metrics, const IconSize& iconSize = nullptr);
    // Measures one block's own content (caption, icon, attributes) into its layout. Returns
    // whether what it needs changed.
    static bool measure(Block& block, const Metrics& metrics, const IconSize& iconSize = nullptr);

    // Every shown block whose box meets the band [top, bottom] of tree coordinates, parents before
    // their children; `root` itself is not visited.
    static void visit(Block& root, float top, float bottom, const std::function<void(Block&)>& visitor);
    // The deepest shown block whose box holds `point` (tree coordinates); `root` when only it
    // does, null when not even the root does.
    static Block* hitTest(Block& root, ImVec2 point);
    // Where a drop at height `y` (tree coordinates) goes among `target`'s children: the upper half
    // of a child inserts before it, the lower half after it, a gap counts for the next child.
    // The result is an index into all children (hidden ones included).
    static int childIndexByY(Block& target, float y);
    // The height of the line that marks the drop place `index` (a child index, as above).
    static float insertionLineY(Block& target, int index, const Metrics& metrics);
    // The attribute value as shown: cut at kValueCut bytes (at a character boundary) plus "...".
    static std::string shownValue(const char* value, bool* cut = nullptr);
    // Whether the attribute is one that blocks never show.
    static bool isHiddenAttribute(const char* name);
    // The caption's lines when it must wrap at `width` (previews with a long caption), else one.
    static std::vector<std::string> captionLines(const Block& block, const Metrics& metrics);
    // Where the collapse button of a block of box `min`..`max` stands (its centre) and its radius.
    static void collapseButton(ImVec2 min, ImVec2 max, const Metrics& metrics, ImVec2& centre, float& radius);
    // Where the warning mark of a block with findings stands (its box, in the top left corner,
    // mirroring the collapse button), for a block whose box starts at `min`.
    static void warningMark(ImVec2 min, const Metrics& metrics, ImVec2& markMin, ImVec2& markMax);
};

} // namespace Lumenda3D
