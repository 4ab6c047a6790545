#pragma once
// The 2D gizmo: a frame around the selected element of the game's 2D layer (text, image,
// rectangle, button, joystick) in the edit scene, drawn with ImGui draw lists over the layer.
//
//   drag inside the frame (or its middle handle)   moves the element (x, y)
//   drag a corner box                              resizes it; the opposite corner stays put
//
// What a resize changes depends on the element: width and height (image, rectangle, button), the
// font size (text: its size follows the font), or the radius (joystick, kept round). The position
// is corrected for the element's anchor, so that the frame lands where the pointer put it. While
// a drag runs only the element changes; on release the changed numbers go to the commit function
// (the document, one undo step). attach fires event 15 with LmdGizmo2DEvent, a detach 16.
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/events/LmdEvent.h"
#include "engine/scene/LmdBase2D.h"

struct ImDrawList;

namespace Lumenda3D {

class LmdGizmo2D {
public:
    enum class Handle { None, Move, TopLeft, TopRight, BottomLeft, BottomRight };
    static constexpr float kCornerPixels = 5.0f;  // half the side of a corner box
    static constexpr float kGrabPixels = 8.0f;    // how near the pointer must be to a corner
    static constexpr float kMinimumSize = 4.0f;   // pixels
    static constexpr int kDragThreshold = 2;

    struct Services {
        std::function<void(LmdEventEnum, std::shared_ptr<LmdEvent>)> fire;
        // The owner's selection follows the gizmo (null: no element selected).
        std::function<void(LmdBase2D*)> selectionChanged;
        // Writes the numbers a finished drag changed.
        std::function<void(LmdBase2D& element, const std::vector<std::pair<std::string, float>>& values)> commit;
        // The game's view in window pixels (the container of top-level elements).
        std::function<LmdRect2D()> view;
    };

    void setServices(Services services) { mServices = std::move(services); }

    // Attaches to an element (null detaches); the same element again does nothing.
    void attach(LmdBase2D* element);
    void detach();
    // The element was destroyed behind the gizmo's back: forget it; fires 16 with no element.
    void forgetVanishedObject();
    LmdBase2D* getObject() const { return mElement; }
    bool isAttached() const { return mElement != nullptr; }
    // Whether the element is on screen now (its level shown, it and its parents visible): a frame
    // that is not drawn takes no clicks either.
    void setShown(bool shown) { mShown = shown; }

    // Left button; true when the gizmo takes the event (a press on the frame, a drag under way).
    bool mousePressed(int x, int y);
    bool mouseMoved(int x, int y);
    // True when a drag ended here (a click without movement selects as usual).
    bool mouseReleased(int x, int y);
    bool isDragging() const { return mHandle != Handle::None; }
    // Ends a drag; the element goes back to where it was.
    void cancelDrag();

    // The frame and its handles, drawn where the element was laid out last.
    void draw(ImDrawList* list) const;
    Handle handleAt(float x, float y) const;
    Handle getHoveredHandle() const { return mHovered; }

    // The rectangle after dragging a corner of `start` by (dx, dy), the opposite corner fixed; no
    // side gets shorter than kMinimumSize (the rectangle does not flip).
    static LmdRect2D resized(const LmdRect2D& start, Handle corner, float dx, float dy);
    // The centre point of a handle on a rectangle (Move: the middle).
    static void handleCentre(const LmdRect2D& rect, Handle handle, float& x, float& y);

private:
    struct Start {
        LmdElementDesc desc;
        LmdRect2D rect;
        LmdRect2D container;
    };
    LmdRect2D containerOf(const LmdBase2D& element) const;
    void apply(float dx, float dy);
    void fire(LmdEventEnum id, std::shared_ptr<LmdEvent> event);
    void noteSelection(LmdBase2D* element);

    Services mServices;
    LmdBase2D* mElement = nullptr;
    Handle mHandle = Handle::None;
    Handle mHovered = Handle::None;
    bool mActive = false;
    bool mShown = true;
    int mPressX = 0, mPressY = 0;
    Start mStart;
};

} // namespace Lumenda3D
