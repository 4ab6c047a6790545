#include "engine/gizmo/LmdGizmo2D.h"

#include "engine/gizmo/LmdGizmoCommit.h"
#include "engine/gizmo/LmdGizmoEvents.h"
#include "engine/gizmo/LmdGizmoMath.h"
#include "engine/scene/LmdLayer2D.h"

#include <imgui.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Lumenda3D {
namespace {

const ImU32 kFrameColour = IM_COL32(0, 172, 193, 255);
const ImU32 kHandleColour = IM_COL32(255, 255, 255, 255);
const ImU32 kOutlineColour = IM_COL32(20, 20, 30, 255);
const ImU32 kHotColour = IM_COL32(255, 214, 0, 255);
constexpr float kMoveHandleRadius = 6.0f;

bool isCorner(LmdGizmo2D::Handle handle) {
    return handle != LmdGizmo2D::Handle::None && handle != LmdGizmo2D::Handle::Move;
}

// A rectangle of the given size that keeps the corner opposite `corner` of `start` where it was.
LmdRect2D withFixedCorner(const LmdRect2D& start, LmdGizmo2D::Handle corner, float width, float height) {
    const bool left = corner == LmdGizmo2D::Handle::TopLeft || corner == LmdGizmo2D::Handle::BottomLeft;
    const bool top = corner == LmdGizmo2D::Handle::TopLeft || corner == LmdGizmo2D::Handle::TopRight;
    LmdRect2D rect;
    rect.width = width;
    rect.height = height;
    rect.x = left ? start.x + start.width - width : start.x;
    rect.y = top ? start.y + start.height - height : start.y;
    return rect;
}

float pixels(float value) {
    return LmdGizmoMath::roundTo(value, LmdGizmoCommit::kPixelStep);
}

} // namespace

void LmdGizmo2D::fire(LmdEventEnum id, std::shared_ptr<LmdEvent> event) {
    if (mServices.fire)
        mServices.fire(id, std::move(event));
}

void LmdGizmo2D::noteSelection(LmdBase2D* element) {
    if (mServices.selectionChanged)
        mServices.selectionChanged(element);
}

void LmdGizmo2D::attach(LmdBase2D* element) {
    if (!element) {
        detach();
        return;
    }
    if (element == mElement)
        return;
    if (mElement)
        detach();
    mElement = element;
    mHovered = Handle::None;
    mShown = true; // until the next frame tells otherwise
    // The owner's selection first, so that listeners of event 15 see the element selected.
    noteSelection(element);
    fire(LmdEventGizmoAttached, std::make_shared<LmdGizmo2DEvent>(LmdEventGizmoAttached, element));
}

void LmdGizmo2D::detach() {
    if (!mElement)
        return;
    cancelDrag();
    LmdBase2D* old = mElement;
    mElement = nullptr;
    mHovered = Handle::None;
    noteSelection(nullptr);
    fire(LmdEventGizmoDetached, std::make_shared<LmdGizmo2DEvent>(LmdEventGizmoDetached, old));
}

void LmdGizmo2D::forgetVanishedObject() {
    if (!mElement)
        return;
    mElement = nullptr;
    mHandle = mHovered = Handle::None;
    mActive = false;
    noteSelection(nullptr);
    fire(LmdEventGizmoDetached, std::make_shared<LmdGizmo2DEvent>(LmdEventGizmoDetached, nullptr));
}

LmdRect2D LmdGizmo2D::resized(const LmdRect2D& start, Handle corner, float dx, float dy) {
    float left = start.x, top = start.y, right = start.x + start.width, bottom = start.y + start.height;
    const bool moveLeft = corner == Handle::TopLeft || corner == Handle::BottomLeft;
    const bool moveTop = corner == Handle::TopLeft || corner == Handle::TopRight;
    if (!isCorner(corner))
        return start;
    if (moveLeft)
        left = std::min(left + dx, right - kMinimumSize);
    else
        right = std::max(right + dx, left + kMinimumSize);
    if (moveTop)
        top = std::min(top + dy, bottom - kMinimumSize);
    else
        bottom = std::max(bottom + dy, top + kMinimumSize);
    return LmdRect2D{left, top, right - left, bottom - top};
}

void LmdGizmo2D::handleCentre(const LmdRect2D& rect, Handle handle, float& x, float& y) {
    x = rect.x + rect.width * 0.5f;
    y = rect.y + rect.height * 0.5f;
    if (handle == Handle::TopLeft || handle == Handle::BottomLeft)
        x = rect.x;
    else if (handle == Handle::TopRight || handle == Handle::BottomRight)
        x = rect.x + rect.width;
    if (handle == Handle::TopLeft || handle == Handle::TopRight)
        y = rect.y;
    else if (handle == Handle::BottomLeft || handle == Handle::BottomRight)
        y = rect.y + rect.height;
}

LmdGizmo2D::Handle LmdGizmo2D::handleAt(float x, float y) const {
    if (!mElement || !mShown)
        return Handle::None;
    const LmdRect2D& rect = mElement->getScreenRect();
    if (rect.width <= 0.0f && rect.height <= 0.0f)
        return Handle::None;
    for (Handle corner : {Handle::TopLeft, Handle::TopRight, Handle::BottomLeft, Handle::BottomRight}) {
        float cx = 0, cy = 0;
        handleCentre(rect, corner, cx, cy);
        if (std::abs(x - cx) <= kGrabPixels && std::abs(y - cy) <= kGrabPixels)
            return corner;
    }
    return rect.contains(x, y) ? Handle::Move : Handle::None;
}

LmdRect2D LmdGizmo2D::containerOf(const LmdBase2D& element) const {
    if (const LmdBase2D* parent = element.getParent())
        return parent->getScreenRect();
    return mServices.view ? mServices.view() : LmdRect2D{};
}

bool LmdGizmo2D::mousePressed(int x, int y) {
    if (!mElement)
        return false;
    if (isDragging())
        return true;
    const Handle handle = handleAt(float(x), float(y));
    if (handle == Handle::None)
        return false;
    mHandle = handle;
    mActive = false;
    mPressX = x;
    mPressY = y;
    mStart = Start{mElement->getDesc(), mElement->getScreenRect(), containerOf(*mElement)};
    return true;
}

bool LmdGizmo2D::mouseMoved(int x, int y) {
    if (!isDragging()) {
        mHovered = handleAt(float(x), float(y));
        return false;
    }
    if (!mActive) {
        if (std::abs(x - mPressX) <= kDragThreshold && std::abs(y - mPressY) <= kDragThreshold)
            return true;
        mActive = true;
    }
    apply(float(x - mPressX), float(y - mPressY));
    return true;
}

void LmdGizmo2D::apply(float dx, float dy) {
    if (!mElement)
        return;
    LmdElementDesc& d = mElement->desc();
    const LmdElementDesc& s = mStart.desc;
    if (mHandle == Handle::Move) {
        d.x = pixels(s.x + dx);
        d.y = pixels(s.y + dy);
        return;
    }
    const LmdRect2D wanted = resized(mStart.rect, mHandle, dx, dy);
    LmdRect2D rect = wanted;
    switch (d.kind) {
    case LmdElementKind::Joystick: {
        // Kept round: the larger side sets the diameter; (x, y) places the centre.
        const float radius = pixels(std::max(std::max(wanted.width, wanted.height) * 0.5f, kMinimumSize));
        rect = withFixedCorner(mStart.rect, mHandle, radius * 2.0f, radius * 2.0f);
        d.radius = radius;
        d.x = pixels(s.x + (rect.x + radius) - (mStart.rect.x + mStart.rect.width * 0.5f));
        d.y = pixels(s.y + (rect.y + radius) - (mStart.rect.y + mStart.rect.height * 0.5f));
        return;
    }
    case LmdElementKind::Text: {
        // A text is as large as its font: the height sets the font size, the width follows.
        const float ratio = mStart.rect.height > 0.0f ? wanted.height / mStart.rect.height : 1.0f;
        d.fontSize = std::clamp(int(std::lround(float(s.fontSize) * ratio)), 4, 400);
        const float actual = s.fontSize > 0 ? float(d.fontSize) / float(s.fontSize) : 1.0f;
        rect = withFixedCorner(mStart.rect, mHandle, mStart.rect.width * actual, mStart.rect.height * actual);
        d.width = rect.width;
        d.height = rect.height;
        break;
    }
    default:
        rect.width = pixels(wanted.width);
        rect.height = pixels(wanted.height);
        rect = withFixedCorner(mStart.rect, mHandle, rect.width, rect.height);
        d.width = rect.width;
        d.height = rect.height;
        break;
    }
    // The anchor places the element from (x, y): move (x, y) by what puts the frame where wanted.
    const LmdRect2D placed = LmdLayer2D::placeRect(s.anchor, s.x, s.y, rect.width, rect.height, mStart.container);
    d.x = pixels(s.x + rect.x - placed.x);
    d.y = pixels(s.y + rect.y - placed.y);
}

bool LmdGizmo2D::mouseReleased(int x, int y) {
    if (!isDragging())
        return false;
    if (!mActive || !mElement) {
        mHandle = Handle::None; // a click: it selects as usual
        mActive = false;
        return false;
    }
    apply(float(x - mPressX), float(y - mPressY));
    mHandle = Handle::None;
    mActive = false;
    const LmdElementDesc& d = mElement->getDesc();
    const LmdElementDesc& s = mStart.desc;
    std::vector<std::pair<std::string, float>> values;
    if (d.x != s.x)
        values.emplace_back("x", d.x);
    if (d.y != s.y)
        values.emplace_back("y", d.y);
    if (d.kind == LmdElementKind::Joystick) {
        if (d.radius != s.radius)
            values.emplace_back("radius", d.radius);
    } else if (d.kind == LmdElementKind::Text) {
        if (d.fontSize != s.fontSize)
            values.emplace_back("fontSize", float(d.fontSize));
    } else {
        if (d.width != s.width)
            values.emplace_back("width", d.width);
        if (d.height != s.height)
            values.emplace_back("height", d.height);
    }
    if (!values.empty() && mServices.commit)
        mServices.commit(*mElement, values);
    return true;
}

void LmdGizmo2D::cancelDrag() {
    if (mElement && mActive)
        mElement->desc() = mStart.desc;
    mHandle = Handle::None;
    mActive = false;
}

void LmdGizmo2D::draw(ImDrawList* list) const {
    if (!list || !mElement || !mShown)
        return;
    const LmdRect2D& r = mElement->getScreenRect();
    const Handle hot = isDragging() ? mHandle : mHovered;
    list->AddRect(ImVec2(r.x - 1.0f, r.y - 1.0f), ImVec2(r.x + r.width + 1.0f, r.y + r.height + 1.0f), kFrameColour,
                  0.0f, 0, 1.5f);
    float cx = 0, cy = 0;
    handleCentre(r, Handle::Move, cx, cy);
    const ImU32 move = hot == Handle::Move ? kHotColour : kHandleColour;
    list->AddCircleFilled(ImVec2(cx, cy), kMoveHandleRadius, kOutlineColour, 16);
    list->AddLine(ImVec2(cx - kMoveHandleRadius + 2, cy), ImVec2(cx + kMoveHandleRadius - 2, cy), move, 1.5f);
    list->AddLine(ImVec2(cx, cy - kMoveHandleRadius + 2), ImVec2(cx, cy + kMoveHandleRadius - 2), move, 1.5f);
    for (Handle corner : {Handle::TopLeft, Handle::TopRight, Handle::BottomLeft, Handle::BottomRight}) {
        handleCentre(r, corner, cx, cy);
        const ImVec2 a(cx - kCornerPixels, cy - kCornerPixels), b(cx + kCornerPixels, cy + kCornerPixels);
        list->AddRectFilled(a, b, corner == hot ? kHotColour : kHandleColour);
        list->AddRect(a, b, kOutlineColour);
    }
}

} // namespace Lumenda3D
