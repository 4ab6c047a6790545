#include "engine/scene/LmdLayer2D.h"

#include "engine/scene/LmdGameFonts.h"

#include <imgui.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace Lumenda3D {
namespace {

// Horizontal and vertical factors of an anchor: 0 = left/top, 0.5 = middle, 1 = right/bottom.
void anchorFactors(const std::string& anchor, float& fx, float& fy) {
    fx = 0.0f;
    fy = 0.0f;
    if (anchor == "top" || anchor == "center" || anchor == "bottom")
        fx = 0.5f;
    else if (anchor == "topRight" || anchor == "right" || anchor == "bottomRight")
        fx = 1.0f;
    if (anchor == "left" || anchor == "center" || anchor == "right")
        fy = 0.5f;
    else if (anchor == "bottomLeft" || anchor == "bottom" || anchor == "bottomRight")
        fy = 1.0f;
}

ImU32 colourOf(std::uint32_t rgb, float opacity) {
    const int a = std::clamp(int(std::lround(opacity * 255.0f)), 0, 255);
    return IM_COL32((rgb >> 16) & 0xFF, (rgb >> 8) & 0xFF, rgb & 0xFF, a);
}

ImU32 darker(std::uint32_t rgb, float opacity, float factor) {
    const auto scale = [factor](std::uint32_t c) { return std::uint32_t(float(c) * factor); };
    return colourOf((scale((rgb >> 16) & 0xFF) << 16) | (scale((rgb >> 8) & 0xFF) << 8) | scale(rgb & 0xFF), opacity);
}

ImFont* fontOr(ImFont* font) {
    return font ? font : ImGui::GetFont();
}

ImVec2 measure(ImFont* font, float size, const std::string& text) {
    if (text.empty())
        return ImVec2(0, size);
    return fontOr(font)->CalcTextSizeA(size, FLT_MAX, 0.0f, text.c_str(), text.c_str() + text.size());
}

// Draws text line by line, each line aligned inside the block's width.
void drawText(ImDrawList* list, ImFont* font, float size, const LmdRect2D& rect, const std::string& text,
              const std::string& align, ImU32 colour) {
    font = fontOr(font);
    float y = rect.y;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        const char* b = text.c_str() + start;
        const char* e = text.c_str() + end;
        const float width = font->CalcTextSizeA(size, FLT_MAX, 0.0f, b, e).x;
        float x = rect.x;
        if (align == "center")
            x += (rect.width - width) * 0.5f;
        else if (align == "right")
            x += rect.width - width;
        list->AddText(font, size, ImVec2(std::floor(x), std::floor(y)), colour, b, e);
        y += size;
        start = end + 1;
    }
}

ImTextureID textureId(const Ogre::TexturePtr& texture) {
    return reinterpret_cast<ImTextureID>(static_cast<std::uintptr_t>(texture->getHandle()));
}

} // namespace

LmdRect2D LmdLayer2D::placeRect(const std::string& anchor, float x, float y, float w, float h,
                                const LmdRect2D& container) {
    float fx, fy;
    anchorFactors(anchor, fx, fy);
    LmdRect2D rect;
    rect.width = w;
    rect.height = h;
    rect.x = container.x + container.width * fx + x - w * fx;
    rect.y = container.y + container.height * fy + y - h * fy;
    return rect;
}

LmdRect2D LmdLayer2D::layout(LmdBase2D& element, const LmdRect2D& view) {
    LmdRect2D container = view;
    if (LmdBase2D* parent = element.getParent())
        container = layout(*parent, view);
    const LmdElementDesc& d = element.getDesc();
    LmdRect2D rect;
    if (d.kind == LmdElementKind::Joystick) {
        rect = placeRect(d.anchor, d.x, d.y, 0.0f, 0.0f, container);
        rect.x -= d.radius;
        rect.y -= d.radius;
        rect.width = rect.height = d.radius * 2.0f;
    } else {
        rect = placeRect(d.anchor, d.x, d.y, d.width, d.height, container);
    }
    element.setScreenRect(rect);
    return rect;
}

std::vector<LmdBase2D*> LmdLayer2D::drawOrder(const std::vector<LmdBase2D*>& elements, const std::string& level) {
    std::vector<LmdBase2D*> order;
    order.reserve(elements.size());
    for (LmdBase2D* element : elements)
        if (element && element->isShown() && (element->getLevel().empty() || element->getLevel() == level))
            order.push_back(element);
    std::stable_sort(order.begin(), order.end(),
                     [](const LmdBase2D* a, const LmdBase2D* b) { return a->getDesc().layer < b->getDesc().layer; });
    return order;
}

void LmdLayer2D::draw(ImDrawList* list, const std::vector<LmdBase2D*>& elements, const std::string& level,
                      const LmdRect2D& view, const LmdGameFonts* fonts) {
    if (!list)
        return;
    for (LmdBase2D* element : drawOrder(elements, level)) {
        LmdElementDesc& d = element->desc();
        ImFont* font = fonts ? fonts->fontFor(float(d.fontSize)) : nullptr;
        if (d.kind == LmdElementKind::Text) {
            // A text's box is what it measures.
            const ImVec2 size = measure(font, float(d.fontSize), element->getText());
            d.width = size.x;
            d.height = size.y;
        }
        const LmdRect2D r = layout(*element, view);
        const ImVec2 a(r.x, r.y), b(r.x + r.width, r.y + r.height);
        const float opacity = d.opacity;
        switch (d.kind) {
        case LmdElementKind::Text:
            drawText(list, font, float(d.fontSize), r, element->getText(), d.align, colourOf(d.color, opacity));
            break;
        case LmdElementKind::Rect:
            list->AddRectFilled(a, b, colourOf(d.color, opacity), d.cornerRadius);
            break;
        case LmdElementKind::Image:
            if (element->getPicture())
                list->AddImage(textureId(element->getPicture()), a, b, ImVec2(0, 0), ImVec2(1, 1),
                               colourOf(d.color, opacity));
            else { // no picture: a marked frame, so the element can still be seen and placed
                list->AddRectFilled(a, b, colourOf(0x808080, opacity * 0.5f));
                list->AddRect(a, b, colourOf(0xFFFFFF, opacity));
                list->AddLine(a, b, colourOf(0xFFFFFF, opacity * 0.6f));
                list->AddLine(ImVec2(a.x, b.y), ImVec2(b.x, a.y), colourOf(0xFFFFFF, opacity * 0.6f));
            }
            break;
        case LmdElementKind::Button: {
            const float rounding = std::min(r.height * 0.25f, 12.0f);
            const ImU32 fill = element->isPressed() ? darker(d.color, opacity, 0.7f) : colourOf(d.color, opacity);
            if (element->getPicture())
                list->AddImageRounded(textureId(element->getPicture()), a, b, ImVec2(0, 0), ImVec2(1, 1),
                                      element->isPressed() ? darker(0xFFFFFF, opacity, 0.7f) : colourOf(0xFFFFFF, opacity),
                                      rounding);
            else
                list->AddRectFilled(a, b, fill, rounding);
            list->AddRect(a, b, darker(d.color, opacity, 0.5f), rounding, 0, 2.0f);
            const ImVec2 label = measure(font, float(d.fontSize), element->getText());
            LmdRect2D inner{r.x, r.y + (r.height - label.y) * 0.5f, r.width, label.y};
            drawText(list, font, float(d.fontSize), inner, element->getText(), "center", colourOf(d.textColor, opacity));
            break;
        }
        case LmdElementKind::Joystick: {
            const ImVec2 centre(r.x + d.radius, r.y + d.radius);
            list->AddCircleFilled(centre, d.radius, colourOf(d.color, opacity * 0.2f), 48);
            list->AddCircle(centre, d.radius, colourOf(d.color, opacity * 0.7f), 48, 3.0f);
            const float knob = d.radius * 0.45f;
            const ImVec2 at(centre.x + element->getStickX() * (d.radius - knob),
                            centre.y - element->getStickY() * (d.radius - knob));
            list->AddCircleFilled(at, knob, colourOf(d.color, opacity * (element->isStickActive() ? 0.9f : 0.6f)), 32);
            break;
        }
        }
    }
}

LmdBase2D* LmdLayer2D::hit(const std::vector<LmdBase2D*>& elements, const std::string& level, float x, float y) {
    const std::vector<LmdBase2D*> order = drawOrder(elements, level);
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
        LmdBase2D* element = *it;
        const LmdRect2D& r = element->getScreenRect();
        if (element->getKind() == LmdElementKind::Joystick) {
            const float radius = element->getDesc().radius;
            const float dx = x - (r.x + radius), dy = y - (r.y + radius);
            if (dx * dx + dy * dy <= radius * radius)
                return element;
        } else if (r.contains(x, y)) {
            return element;
        }
    }
    return nullptr;
}

void LmdLayer2D::stickFor(const LmdBase2D& joystick, float x, float y, float& stickX, float& stickY) {
    const LmdRect2D& r = joystick.getScreenRect();
    const float radius = std::max(joystick.getDesc().radius, 1.0f);
    float dx = (x - (r.x + radius)) / radius, dy = -(y - (r.y + radius)) / radius;
    const float length = std::sqrt(dx * dx + dy * dy);
    if (length > 1.0f) {
        dx /= length;
        dy /= length;
    }
    stickX = dx;
    stickY = dy;
}

} // namespace Lumenda3D
