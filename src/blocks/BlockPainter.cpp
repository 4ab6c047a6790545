#include "blocks/BlockPainter.h"

#include <algorithm>

#include "blocks/Block.h"

namespace Lumenda3D {
namespace {

// One image cut in nine: corners of `corner` pixels on screen, edges and centre stretched.
void drawNine(ImDrawList& list, const BlockTextures::Image& image, float sourceCorner, ImVec2 min, ImVec2 max,
              float corner, ImU32 tint) {
    const float c = std::min({corner, (max.x - min.x) * 0.5f, (max.y - min.y) * 0.5f});
    const float u = image.size.x > 0 ? sourceCorner / image.size.x : 0.25f;
    const float v = image.size.y > 0 ? sourceCorner / image.size.y : 0.25f;
    const float xs[4] = {min.x, min.x + c, max.x - c, max.x};
    const float ys[4] = {min.y, min.y + c, max.y - c, max.y};
    const float us[4] = {0.0f, u, 1.0f - u, 1.0f};
    const float vs[4] = {0.0f, v, 1.0f - v, 1.0f};
    for (int row = 0; row < 3; ++row)
        for (int col = 0; col < 3; ++col) {
            if (xs[col + 1] <= xs[col] || ys[row + 1] <= ys[row])
                continue;
            list.AddImage(image.id, ImVec2(xs[col], ys[row]), ImVec2(xs[col + 1], ys[row + 1]),
                          ImVec2(us[col], vs[row]), ImVec2(us[col + 1], vs[row + 1]), tint);
        }
}

ImVec4 withAlpha(ImVec4 c, float a) {
    return ImVec4(c.x, c.y, c.z, a);
}

} // namespace

ImVec4 BlockPainter::borderTint(int borderState) {
    switch (borderState) {
    case Block::kBorderHighlight:
        return ImVec4(1.0f, 1.0f, 0.0f, 0.8f);
    case Block::kBorderAiAdded:
        return ImVec4(0.25f, 0.9f, 0.35f, 0.9f);
    case Block::kBorderAiUpdated:
        return ImVec4(1.0f, 0.6f, 0.1f, 0.9f);
    default:
        return ImVec4(1.0f, 1.0f, 1.0f, 0.8f);
    }
}

ImU32 BlockPainter::captionColor(ImVec4 fill) {
    const float luminance = 0.2126f * fill.x + 0.7152f * fill.y + 0.0722f * fill.z;
    return luminance > 0.55f ? IM_COL32(20, 20, 20, 255) : IM_COL32(255, 255, 255, 255);
}

void BlockPainter::drawFrame(ImDrawList& list, ImVec2 min, ImVec2 max, ImVec4 fill, int borderState,
                             const BlockTextures& textures, float alpha) {
    const float corner = 8.0f;
    const ImU32 fillColour = ImGui::ColorConvertFloat4ToU32(withAlpha(fill, 0.85f * alpha));
    const ImVec4 tint = borderTint(borderState);
    const ImU32 borderColour = ImGui::ColorConvertFloat4ToU32(withAlpha(tint, tint.w * alpha));
    if (textures.fill.id)
        drawNine(list, textures.fill, textures.sourceCorner, min, max, corner, fillColour);
    else
        list.AddRectFilled(min, max, fillColour, corner);
    if (textures.border.id)
        drawNine(list, textures.border, textures.sourceCorner, min, max, corner, borderColour);
    else
        list.AddRect(min, max, borderColour, corner, 0, borderState == Block::kBorderNormal ? 1.0f : 2.5f);
}

void BlockPainter::draw(ImDrawList& list, const Block& block, ImVec2 origin, const BlockLayout::Metrics& m,
                        const BlockTextures& textures, bool hoveredButton) {
    const Block::Layout& l = block.layout;
    const ImVec2 min = origin;
    const ImVec2 max(origin.x + l.size.x, origin.y + l.size.y);
    drawFrame(list, min, max, block.getColor(), block.borderState, textures);

    // Caption, centred, one line or wrapped (previews).
    const ImU32 text = captionColor(block.getColor());
    const float lineHeight = ImGui::GetTextLineHeight();
    float y = min.y + m.captionTop;
    for (const std::string& line : BlockLayout::captionLines(block, m)) {
        const float w = ImGui::CalcTextSize(line.c_str()).x;
        list.AddText(ImVec2(min.x + (l.size.x - w) * 0.5f, y), text, line.c_str());
        y += lineHeight;
    }
    const float captionBottom = std::max(y, min.y + m.captionTop + m.lineHeight);

    // Icon, centred below the caption.
    if (l.iconHeight > 0.0f && textures.icon) {
        const BlockTextures::Image icon = textures.icon(block.getImage());
        if (icon.id) {
            const ImVec2 size(icon.size.x * m.scale * 1.2f, icon.size.y * m.scale * 1.2f);
            const ImVec2 at(min.x + (l.size.x - size.x) * 0.5f, captionBottom + m.iconGap - 4.0f * m.scale);
            list.AddImage(icon.id, at, ImVec2(at.x + size.x, at.y + size.y));
        }
    }

    // Collapse button: a circle with a minus, a plus when closed.
    if (!block.getChilds().empty()) {
        ImVec2 centre;
        float radius = 0.0f;
        BlockLayout::collapseButton(min, max, m, centre, radius);
        list.AddCircleFilled(centre, radius, hoveredButton ? 0xFFEBEBEB : 0xFFCDCDCD, 24);
        list.AddCircle(centre, radius, 0xFF6E6E6E, 24, m.scale);
        const float half = 5.0f * m.scale;
        list.AddLine(ImVec2(centre.x - half, centre.y), ImVec2(centre.x + half, centre.y), 0xFF282828, 2.0f * m.scale);
        if (block.isCollapsed())
            list.AddLine(ImVec2(centre.x, centre.y - half), ImVec2(centre.x, centre.y + half), 0xFF282828,
                         2.0f * m.scale);
    }

    // Warning mark: an amber triangle with "!" when the document check found something here.
    if (block.hasFindings()) {
        ImVec2 markMin, markMax;
        BlockLayout::warningMark(min, m, markMin, markMax);
        const ImVec2 top((markMin.x + markMax.x) * 0.5f, markMin.y);
        const ImVec2 left(markMin.x, markMax.y), right(markMax.x, markMax.y);
        list.AddTriangleFilled(top, right, left, IM_COL32(255, 176, 0, 255));
        list.AddTriangle(top, right, left, IM_COL32(60, 30, 0, 255), m.scale);
        const ImVec2 bang = ImGui::CalcTextSize("!");
        list.AddText(ImVec2(top.x - bang.x * 0.5f, markMax.y - bang.y - m.scale), IM_COL32(20, 20, 20, 255), "!");
    }

    // Attribute lines: name in cyan, "=" in white, the value in yellow, on a dark band so that
    // they read on every block colour.
    if (l.attributeRows > 0) {
        const float top = captionBottom + l.iconHeight;
        const ImVec2 bandMin(min.x + m.padding.x * 0.5f, top - 1.0f);
        const ImVec2 bandMax(max.x - m.padding.x * 0.5f, top + l.attributeRows * m.lineHeight + 1.0f);
        list.AddRectFilled(bandMin, bandMax, IM_COL32(0, 0, 0, 150), 4.0f * m.scale);
        const float textOffset = (m.lineHeight - lineHeight) * 0.5f;
        int row = 0;
        for (pugi::xml_attribute a = block.getXmlNode().first_attribute(); a; a = a.next_attribute()) {
            if (BlockLayout::isHiddenAttribute(a.name()))
                continue;
            const float ry = top + row * m.lineHeight + textOffset;
            float x = min.x + m.padding.x;
            list.AddText(ImVec2(x, ry), IM_COL32(0, 255, 255, 255), a.name());
            x += ImGui::CalcTextSize(a.name()).x + 2.0f;
            list.AddText(ImVec2(x, ry), IM_COL32(255, 255, 255, 255), "=");
            x += ImGui::CalcTextSize("=").x + 2.0f;
            const std::string value = BlockLayout::shownValue(a.value());
            list.AddText(ImVec2(x, ry), IM_COL32(255, 255, 0, 255), value.c_str());
            ++row;
        }
    }
}

} // namespace Lumenda3D
