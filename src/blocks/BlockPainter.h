#pragma once
// Draws one block from its cached layout into a draw list: the nine-piece frame tinted by the
// block's colour and border state, the caption, the icon, the collapse button and the attribute
// lines. Children are drawn by the caller (they are blocks of their own).
#include <imgui.h>

#include "blocks/BlockLayout.h"
#include "blocks/BlockTextures.h"

namespace Lumenda3D {

class Block;

class BlockPainter {
public:
    // Tint of the border for each border state (normal, hover or selected, added by the assistant,
    // updated by the assistant).
    static ImVec4 borderTint(int borderState);
    // Black or white, whichever reads better on `fill`.
    static ImU32 captionColor(ImVec4 fill);

    // The block with its box's top left at `origin` (screen pixels). `hoveredButton`: the pointer
    // is over its collapse button.
    static void draw(ImDrawList& list, const Block& block, ImVec2 origin, const BlockLayout::Metrics& metrics,
                     const BlockTextures& textures, bool hoveredButton);
    // The frame alone, `min`..`max`.
    static void drawFrame(ImDrawList& list, ImVec2 min, ImVec2 max, ImVec4 fill, int borderState,
                          const BlockTextures& textures, float alpha = 1.0f);
};

} // namespace Lumenda3D
