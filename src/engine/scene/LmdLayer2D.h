#pragma once
// The game's 2D layer: texts, images, rectangles, buttons and on-screen joysticks drawn with
// Dear ImGui draw lists over the 3D view, under every editor panel. Elements are drawn in the
// order of their `layer` (lower first; document order among equals) and placed by their anchor:
// the element's own anchor point (its top-right corner for "topRight", its centre for "center")
// stands at the same point of the window (or of its parent element) moved by (x, y) pixels,
// y growing downwards. A joystick's (x, y) places its centre.
//
// Also the pointer side: which element lies under a point (top-most first), button presses and
// joystick drags. Placement and hit tests need no window; drawing needs an ImGui frame.
#include <string>
#include <vector>

#include "engine/scene/LmdBase2D.h"

struct ImDrawList;

namespace Lumenda3D {

class LmdGameFonts;

class LmdLayer2D {
public:
    // The rectangle of an element of size (w, h) with this anchor and offset inside `container`.
    static LmdRect2D placeRect(const std::string& anchor, float x, float y, float w, float h,
                               const LmdRect2D& container);
    // The screen rectangle of an element in the game's view, the part of the window the game's
    // screen occupies (parents placed first). In the editor the view starts below its top bar;
    // in the player it is the whole window.
    static LmdRect2D layout(LmdBase2D& element, const LmdRect2D& view);
    // The same in a whole window of that size.
    static LmdRect2D layout(LmdBase2D& element, float windowWidth, float windowHeight) {
        return layout(element, LmdRect2D{0.0f, 0.0f, windowWidth, windowHeight});
    }

    // The elements to draw, in drawing order: shown ones of `level` and of no level.
    static std::vector<LmdBase2D*> drawOrder(const std::vector<LmdBase2D*>& elements, const std::string& level);

    // Draws the elements (measuring texts on the way). `fonts` may be null (ImGui's own font).
    static void draw(ImDrawList* list, const std::vector<LmdBase2D*>& elements, const std::string& level,
                     const LmdRect2D& view, const LmdGameFonts* fonts);

    // The top-most shown element of that level under the point, or null. Texts and images count
    // as their rectangle, a joystick as its circle.
    static LmdBase2D* hit(const std::vector<LmdBase2D*>& elements, const std::string& level, float x, float y);
    // The stick position for a pointer at (x, y) on a joystick: the offset from its centre over
    // its radius, clamped to the unit circle, y up.
    static void stickFor(const LmdBase2D& joystick, float x, float y, float& stickX, float& stickY);
};

} // namespace Lumenda3D
