#include "engine/gizmo/LmdGizmo.h"

#include "engine/app/LmdScreenProjector.h"
#include "engine/gizmo/LmdGizmoEvents.h"
#include "engine/gizmo/LmdGizmoMath.h"
#include "engine/gizmo/LmdGizmoVisual.h"
#include "engine/scene/LmdBase3D.h"

#include <OgreMath.h>
#include <OgreSceneNode.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Lumenda3D {
namespace {

// Where the handles stand along their axis, in units of the gizmo's frame (LmdGizmoVisual draws
// the same shapes).
constexpr float kStemStart = 0.14f;
constexpr float kArrowTip = 1.0f;
constexpr float kScaleBox = 0.86f;
constexpr float kRingRadius = 0.9f;
constexpr float kArrowGrab = 0.85f;
constexpr float kDoubleArrowGrab = 0.6f;
constexpr int kRingPoints = 64;
// A handle whose axis points at the viewer is shorter than this on screen and cannot be taken.
constexpr float kMinimumHandlePixels = 8.0f;
// Beyond this cosine between the pointer's ray and a move axis, the drag follows the axis's
// screen direction instead of the ray (the closest point on the line runs off to infinity).
constexpr float kGrazingCosine = 0.995f;

Ogre::Vector3 unitAxis(int axis) {
    Ogre::Vector3 e = Ogre::Vector3::ZERO;
    if (axis >= 0 && axis < 3)
        e[axis] = 1.0f;
    return e;
}

LmdBase3D* topOf(LmdBase3D* object) {
    while (object && object->getParent())
        object = object->getParent();
    return object;
}

// The ends of an axis handle along its axis, by gizmo type.
void axisSpan(int type, float& from, float& to) {
    switch (type) {
    case LmdGizmo::Scale:
        from = kStemStart, to = kScaleBox + 0.05f;
        break;
    case LmdGizmo::Copy:
    case LmdGizmo::SmartCopy:
        from = -kArrowTip, to = kArrowTip;
        break;
    default:
        from = kStemStart, to = kArrowTip;
        break;
    }
}

std::vector<Ogre::Vector3> ringPoints(const Ogre::Vector3& origin, const Ogre::Vector3& axis, float radius) {
    const Ogre::Vector3 u = axis.perpendicular().normalisedCopy();
    const Ogre::Vector3 v = axis.crossProduct(u).normalisedCopy();
    std::vector<Ogre::Vector3> points;
    points.reserve(kRingPoints);
    for (int i = 0; i < kRingPoints; ++i) {
        const float a = Ogre::Math::TWO_PI * float(i) / float(kRingPoints);
        points.push_back(origin + (u * std::cos(a) + v * std::sin(a)) * radius);
    }
    return points;
}

} // namespace

LmdGizmo::LmdGizmo() = default;

LmdGizmo::~LmdGizmo() = default;

void LmdGizmo::createVisual(Ogre::SceneManager* sceneManager) {
    mVisual.reset();
    if (sceneManager)
        mVisual = std::make_unique<LmdGizmoVisual>(sceneManager);
}

void LmdGizmo::destroyVisual() {
    mVisual.reset();
}

void LmdGizmo::abandonVisual() {
    (void)mVisual.release();
}

void LmdGizmo::fire(LmdEventEnum id, std::shared_ptr<LmdEvent> event) {
    if (mServices.fire)
        mServices.fire(id, std::move(event));
}

// --- Attaching ---------------------------------------------------------------------------------

void LmdGizmo::attach(LmdBase3D* object, bool pickedAsSubObject) {
    if (!object) {
        detach();
        return;
    }
    if (object == mObject) {
        mPickedAsSubObject = pickedAsSubObject;
        return;
    }
    if (mObject)
        detach();
    mObject = object;
    mPickedAsSubObject = pickedAsSubObject;
    mHovered = kNoHandle;
    mVertexHandles.clear();
    mVertexHandlesRead = false;
    // The owner's selection first, so that listeners of event 15 see the object selected.
    if (mServices.selectionChanged)
        mServices.selectionChanged(object);
    fire(LmdEventGizmoAttached, std::make_shared<LmdGizmoEvent>(LmdEventGizmoAttached, object));
}

void LmdGizmo::detach() {
    if (!mObject)
        return;
    cancelDrag();
    LmdBase3D* old = mObject;
    letGo(old);
}

void LmdGizmo::forgetVanishedObject() {
    if (!mObject)
        return;
    // The object is gone: nothing of it may be touched, not even to undo a drag.
    mDrag = Drag();
    letGo(nullptr);
}

void LmdGizmo::letGo(LmdBase3D* reported) {
    mObject = nullptr;
    mPickedAsSubObject = false;
    mHovered = kNoHandle;
    mVertexHandles.clear();
    mVertexHandlesRead = false;
    if (mVisual)
        mVisual->setVisible(false);
    if (mServices.selectionChanged)
        mServices.selectionChanged(nullptr);
    fire(LmdEventGizmoDetached, std::make_shared<LmdGizmoEvent>(LmdEventGizmoDetached, reported));
}

// --- Modes -------------------------------------------------------------------------------------

void LmdGizmo::setGizmoType(int type) {
    if (type < Move || type > Vertex || type == mType)
        return;
    cancelDrag();
    mType = type;
    mHovered = kNoHandle;
}

int LmdGizmo::getSubObjectMode() const {
    if (mPickChildrenByDefault)
        return SubObjectsByDefault;
    return mPickedAsSubObject ? PickedAsSubObject : TopLevelPicking;
}

LmdBase3D* LmdGizmo::resolvePick(const std::vector<LmdBase3D*>& hits, bool shift, bool& asSubObject) const {
    asSubObject = false;
    if (hits.empty() || !hits.front())
        return nullptr;
    LmdBase3D* top = topOf(hits.front());
    if (shift == mPickChildrenByDefault)
        return top;
    // The nearest object under the pointer that stands inside the same top-level object.
    for (LmdBase3D* hit : hits) {
        if (hit && hit->getParent() && topOf(hit) == top) {
            asSubObject = true;
            return hit;
        }
    }
    return top;
}

// --- Geometry ----------------------------------------------------------------------------------

LmdGizmoCommit::Transform LmdGizmo::transformOf(const LmdBase3D& object) {
    LmdGizmoCommit::Transform t;
    t.position = object.getPosition();
    t.rotation = object.getRotation();
    t.orientation = object.getOrientation();
    t.scale = object.getScale();
    return t;
}

bool LmdGizmo::frameOf(const LmdScreenProjector& view, Frame& frame) const {
    if (!mObject || !view.isValid())
        return false;
    Ogre::Quaternion parentOrientation = Ogre::Quaternion::IDENTITY;
    if (Ogre::SceneNode* node = mObject->getNode()) {
        frame.origin = node->_getDerivedPosition();
        if (Ogre::SceneNode* parent = node->getParentSceneNode()) {
            frame.parent = parent->_getFullTransform();
            parentOrientation = parent->_getDerivedOrientation();
        }
        frame.handles = mType == Scale ? node->_getDerivedOrientation() : parentOrientation;
    } else {
        frame.origin = mObject->getPosition();
        frame.handles = mType == Scale ? mObject->getOrientation() : parentOrientation;
    }
    frame.size = view.worldPerPixel(frame.origin) * kSizePixels;
    return true;
}

Ogre::Affine3 LmdGizmo::nodeToWorld() const {
    if (!mObject)
        return Ogre::Affine3::IDENTITY;
    if (Ogre::SceneNode* node = mObject->getNode())
        return node->_getFullTransform();
    return Ogre::Affine3(mObject->getPosition(), mObject->getOrientation(), mObject->getScale());
}

int LmdGizmo::handleAt(float x, float y, const LmdScreenProjector& view) const {
    Frame frame;
    if (mType == Vertex || !frameOf(view, frame))
        return kNoHandle;
    const Ogre::Vector2 pointer(x, y);
    Ogre::Vector2 centre;
    const bool centreShown = view.toScreen(frame.origin, centre);
    if (mType == Scale && centreShown && pointer.distance(centre) <= kHandlePixels)
        return kCentreHandle;
    int best = kNoHandle;
    float bestPixels = kHandlePixels;
    for (int axis = 0; axis < 3; ++axis) {
        const Ogre::Vector3 direction = frame.handles * unitAxis(axis);
        float pixels = bestPixels + 1.0f;
        if (mType == Rotate) {
            std::vector<Ogre::Vector2> onScreen;
            for (const Ogre::Vector3& point : ringPoints(frame.origin, direction, kRingRadius * frame.size)) {
                Ogre::Vector2 pixel;
                if (view.toScreen(point, pixel))
                    onScreen.push_back(pixel);
            }
            pixels = LmdGizmoMath::distanceToPolyline(pointer, onScreen, onScreen.size() == size_t(kRingPoints));
        } else {
            float from = 0.0f, to = 0.0f;
            axisSpan(mType, from, to);
            Ogre::Vector2 a, b;
            if (!view.toScreen(frame.origin + direction * (from * frame.size), a) ||
                !view.toScreen(frame.origin + direction * (to * frame.size), b) || a.distance(b) < kMinimumHandlePixels)
                continue;
            pixels = LmdGizmoMath::distanceToSegment(pointer, a, b);
        }
        if (pixels <= bestPixels) {
            bestPixels = pixels;
            best = axis;
        }
    }
    return best;
}

bool LmdGizmo::handlePoint(int handle, const LmdScreenProjector& view, Ogre::Vector2& pixel) const {
    Frame frame;
    if (mType == Vertex || !frameOf(view, frame))
        return false;
    if (handle == kCentreHandle)
        return mType == Scale && view.toScreen(frame.origin, pixel);
    if (handle < 0 || handle > 2)
        return false;
    const Ogre::Vector3 direction = frame.handles * unitAxis(handle);
    if (mType == Rotate) {
        // The point of the ring farthest from the middle on screen: clear of the other handles.
        Ogre::Vector2 centre;
        if (!view.toScreen(frame.origin, centre))
            return false;
        float farthest = -1.0f;
        for (const Ogre::Vector3& point : ringPoints(frame.origin, direction, kRingRadius * frame.size)) {
            Ogre::Vector2 candidate;
            if (view.toScreen(point, candidate) && candidate.distance(centre) > farthest) {
                farthest = candidate.distance(centre);
                pixel = candidate;
            }
        }
        return farthest >= 0.0f;
    }
    // On the arrow's head, on a double arrow's stem clear of the middle, on the scale box.
    const float along = mType == Scale ? kScaleBox : (mType == Move ? kArrowGrab : kDoubleArrowGrab);
    return view.toScreen(frame.origin + direction * (along * frame.size), pixel);
}

bool LmdGizmo::vertexPoint(int index, const LmdScreenProjector& view, Ogre::Vector2& pixel) {
    const std::vector<LmdGizmoVertices::Handle>& handles = getVertexHandles();
    if (index < 0 || index >= int(handles.size()))
        return false;
    return view.toScreen(nodeToWorld() * handles[size_t(index)].position, pixel);
}

const std::vector<LmdGizmoVertices::Handle>& LmdGizmo::getVertexHandles() {
    if (!mVertexHandlesRead && mObject) {
        mVertexHandles = LmdGizmoVertices::ofObject(*mObject);
        mVertexHandlesRead = true;
    }
    return mVertexHandles;
}

bool LmdGizmo::pressedOnObject(int x, int y) const {
    if (!mServices.pick)
        return false;
    const std::vector<LmdBase3D*> hits = mServices.pick(x, y);
    // Only the nearest object counts: another one in front is clicked, not this one dragged.
    for (LmdBase3D* object = hits.empty() ? nullptr : hits.front(); object; object = object->getParent())
        if (object == mObject)
            return true;
    return false;
}

// --- Input -------------------------------------------------------------------------------------

void LmdGizmo::setModifiers(bool shift, bool ctrl, bool alt) {
    mShift = shift;
    mCtrl = ctrl;
    mAlt = alt;
}

bool LmdGizmo::mousePressed(int x, int y, const LmdScreenProjector& view) {
    // Alt + left drag belongs to the camera.
    if (!mObject || mAlt || !view.isValid())
        return false;
    if (isDragging())
        return true;
    if (mType == Vertex) {
        const int vertex = LmdGizmoVertices::pick(getVertexHandles(), nodeToWorld(), view, float(x), float(y));
        return vertex >= 0 && startDrag(DragKind::VertexHandle, vertex, x, y, view);
    }
    const int handle = handleAt(float(x), float(y), view);
    if (handle != kNoHandle) {
        DragKind kind = DragKind::Axis;
        if (mType == Rotate)
            kind = DragKind::Ring;
        else if (mType == Scale)
            kind = handle == kCentreHandle ? DragKind::ScaleUniform : DragKind::ScaleAxis;
        else if (mType == Copy || mType == SmartCopy)
            kind = DragKind::CopyAxis;
        return startDrag(kind, handle, x, y, view);
    }
    if (mType == Move && pressedOnObject(x, y))
        return startDrag(DragKind::Body, kNoHandle, x, y, view);
    return false;
}

bool LmdGizmo::startDrag(DragKind kind, int handle, int x, int y, const LmdScreenProjector& view) {
    Frame frame;
    if (!frameOf(view, frame))
        return false;
    Drag drag;
    drag.kind = kind;
    drag.handle = handle;
    drag.pressX = x;
    drag.pressY = y;
    drag.last = Ogre::Vector2(float(x), float(y));
    drag.start = transformOf(*mObject);
    drag.frame = frame;
    if (!view.toScreen(frame.origin, drag.centre))
        drag.centre = drag.last;
    // Handles follow the pointer at once; the object and vertices only once it has moved, so that
    // a click on them still selects.
    drag.active = kind != DragKind::Body && kind != DragKind::VertexHandle;
    const Ogre::Ray ray = view.ray(float(x), float(y));
    const Ogre::Vector3 e = unitAxis(handle);
    switch (kind) {
    case DragKind::Axis: {
        drag.lineDirection = frame.parent.linear() * e;
        const float unitLength = drag.lineDirection.length();
        if (unitLength < 1e-9f)
            return false;
        const float along = std::abs(ray.getDirection().normalisedCopy().dotProduct(drag.lineDirection / unitLength));
        drag.onLine = along < kGrazingCosine &&
                      LmdGizmoMath::closestLineParameter(ray, frame.origin, drag.lineDirection, drag.startParameter);
        // The screen length of one parent unit, measured over one gizmo length.
        const float step = frame.size / unitLength;
        Ogre::Vector2 end;
        if (view.toScreen(frame.origin + drag.lineDirection * step, end))
            drag.axisOnScreen = (end - drag.centre) / step;
        break;
    }
    case DragKind::ScaleAxis:
    case DragKind::CopyAxis: {
        Ogre::Vector2 end;
        const float along = kind == DragKind::ScaleAxis ? kScaleBox : kArrowTip;
        if (view.toScreen(frame.origin + frame.handles * e * (along * frame.size), end))
            drag.axisOnScreen = end - drag.centre;
        break;
    }
    case DragKind::Body:
        drag.planePoint = frame.origin;
        drag.planeNormal = Ogre::Vector3::UNIT_Y;
        drag.hasStartHit = LmdGizmoMath::rayPlane(ray, drag.planePoint, drag.planeNormal, drag.startHit);
        if (!drag.hasStartHit)
            return false; // the view runs along the plane: no sensible drag
        break;
    case DragKind::VertexHandle: {
        const std::vector<LmdGizmoVertices::Handle>& handles = getVertexHandles();
        if (handle < 0 || handle >= int(handles.size()))
            return false;
        drag.planePoint = nodeToWorld() * handles[size_t(handle)].position;
        drag.vertexTo = drag.planePoint;
        drag.planeNormal = -view.viewDirection(); // parallel to the screen
        drag.hasStartHit = LmdGizmoMath::rayPlane(ray, drag.planePoint, drag.planeNormal, drag.startHit);
        if (!drag.hasStartHit)
            return false;
        break;
    }
    default:
        break;
    }
    mDrag = drag;
    return true;
}

bool LmdGizmo::mouseMoved(int x, int y, const LmdScreenProjector& view) {
    if (!isDragging()) {
        if (!mObject || !view.isValid())
            mHovered = kNoHandle;
        else if (mType == Vertex)
            mHovered = LmdGizmoVertices::pick(getVertexHandles(), nodeToWorld(), view, float(x), float(y));
        else
            mHovered = handleAt(float(x), float(y), view);
        return false;
    }
    if (!mDrag.active) {
        if (std::abs(x - mDrag.pressX) <= kDragThreshold && std::abs(y - mDrag.pressY) <= kDragThreshold)
            return true;
        mDrag.active = true;
    }
    follow(x, y, view);
    return true;
}

void LmdGizmo::follow(int x, int y, const LmdScreenProjector& view) {
    if (!mObject)
        return;
    const Ogre::Vector2 pointer{float(x), float(y)};
    const Ogre::Vector2 drag = pointer - Ogre::Vector2(float(mDrag.pressX), float(mDrag.pressY));
    const Ogre::Ray ray = view.ray(pointer.x, pointer.y);
    const Ogre::Vector3 e = unitAxis(mDrag.handle);
    switch (mDrag.kind) {
    case DragKind::Axis: {
        float t = 0.0f;
        if (mDrag.onLine) {
            float parameter = 0.0f;
            if (!LmdGizmoMath::closestLineParameter(ray, mDrag.frame.origin, mDrag.lineDirection, parameter))
                return;
            t = parameter - mDrag.startParameter;
        } else {
            t = LmdGizmoMath::projectedAxisDistance(drag, mDrag.axisOnScreen);
        }
        mObject->setPosition(mDrag.start.position + e * t);
        break;
    }
    case DragKind::Ring: {
        mDrag.angle += LmdGizmoMath::screenAngle(mDrag.centre, mDrag.last, pointer);
        mDrag.last = pointer;
        const Ogre::Vector3 axis = mDrag.frame.handles * e;
        const Ogre::Vector3 towards = (mDrag.frame.origin - view.eye()).normalisedCopy();
        const float turn = LmdGizmoMath::axisAngle(mDrag.angle, axis, towards);
        mObject->setOrientation(Ogre::Quaternion(Ogre::Radian(turn), e) * mDrag.start.orientation);
        break;
    }
    case DragKind::ScaleAxis: {
        Ogre::Vector3 scale = mDrag.start.scale;
        scale[mDrag.handle] *= LmdGizmoMath::scaleFactor(drag, mDrag.axisOnScreen);
        mObject->setScale(scale);
        break;
    }
    case DragKind::ScaleUniform:
        mObject->setScale(mDrag.start.scale * LmdGizmoMath::uniformScaleFactor(drag, kUniformScalePixels));
        break;
    case DragKind::Body: {
        Ogre::Vector3 hit;
        if (!LmdGizmoMath::rayPlane(ray, mDrag.planePoint, mDrag.planeNormal, hit))
            return;
        const Ogre::Vector3 local = mDrag.frame.parent.linear().Inverse() * (hit - mDrag.startHit);
        mObject->setPosition(mDrag.start.position + local);
        break;
    }
    case DragKind::VertexHandle: {
        Ogre::Vector3 hit;
        if (LmdGizmoMath::rayPlane(ray, mDrag.planePoint, mDrag.planeNormal, hit))
            mDrag.vertexTo = mDrag.planePoint + (hit - mDrag.startHit);
        break;
    }
    default:
        break;
    }
}

bool LmdGizmo::mouseReleased(int x, int y, const LmdScreenProjector& view) {
    if (!isDragging())
        return false;
    if (!mDrag.active || !mObject) {
        mDrag = Drag(); // a click on the object or a vertex: it selects as usual
        return false;
    }
    follow(x, y, view);
    switch (mDrag.kind) {
    case DragKind::CopyAxis:
        finishCopy(x, y);
        break;
    case DragKind::VertexHandle:
        finishVertex();
        break;
    default:
        finishTransform();
        break;
    }
    return true;
}

void LmdGizmo::finishTransform() {
    const Drag drag = mDrag;
    mDrag = Drag();
    LmdBase3D& object = *mObject;
    // Rounded values in the scene too, so that it shows what the document says.
    if (drag.kind == DragKind::Axis || drag.kind == DragKind::Body) {
        Ogre::Vector3 p = object.getPosition();
        for (int axis = 0; axis < 3; ++axis)
            p[axis] = LmdGizmoMath::roundTo(p[axis], LmdGizmoCommit::kPositionStep);
        object.setPosition(p);
    } else if (drag.kind == DragKind::Ring) {
        Ogre::Vector3 r = object.getRotation();
        for (int axis = 0; axis < 3; ++axis)
            r[axis] = LmdGizmoMath::roundTo(r[axis], LmdGizmoCommit::kRotationStep);
        object.setRotation(r);
    } else {
        Ogre::Vector3 s = object.getScale();
        for (int axis = 0; axis < 3; ++axis)
            s[axis] = std::max(LmdGizmoMath::roundTo(s[axis], LmdGizmoCommit::kScaleStep),
                               float(LmdGizmoCommit::kScaleStep));
        object.setScale(s);
    }
    if (mServices.commit)
        mServices.commit(object, drag.start, transformOf(object));
}

void LmdGizmo::finishCopy(int x, int y) {
    const Drag drag = mDrag;
    mDrag = Drag();
    float sign = 1.0f;
    const float length = drag.axisOnScreen.length();
    if (length > 1e-3f) {
        const Ogre::Vector2 axis = drag.axisOnScreen / length;
        const Ogre::Vector2 press(float(drag.pressX), float(drag.pressY));
        const float along = (Ogre::Vector2(float(x), float(y)) - press).dotProduct(axis);
        // A drag goes where it went; a click goes to the side of the middle it was made on.
        const float side = std::abs(along) >= kCopyDragPixels ? along : (press - drag.centre).dotProduct(axis);
        sign = side < 0.0f ? -1.0f : 1.0f;
    }
    fire(LmdEventGizmoCopy,
         std::make_shared<LmdGizmoCopyEvent>(mObject, unitAxis(drag.handle) * sign, mType == SmartCopy, mCtrl));
}

void LmdGizmo::finishVertex() {
    const Drag drag = mDrag;
    mDrag = Drag();
    if (drag.handle < 0 || drag.handle >= int(mVertexHandles.size()))
        return;
    LmdGizmoVertices::Handle& handle = mVertexHandles[size_t(drag.handle)];
    const Ogre::Vector3 position = nodeToWorld().inverse() * drag.vertexTo;
    handle.position = position;
    // Last: a listener may rebuild the object, and this gizmo with it.
    fire(LmdEventVerticesMoved, std::make_shared<LmdGizmoVertexEvent>(mObject, LmdGizmoVertices::moved(handle, position)));
}

void LmdGizmo::restoreStart() {
    if (!mObject)
        return;
    mObject->setPosition(mDrag.start.position);
    mObject->setOrientation(mDrag.start.orientation);
    mObject->desc().rotation = mDrag.start.rotation; // the angles as written, not as decomposed
    mObject->setScale(mDrag.start.scale);
}

void LmdGizmo::cancelDrag() {
    // Copies and vertices change nothing before their release.
    const bool moved = mDrag.active && mDrag.kind != DragKind::None && mDrag.kind != DragKind::CopyAxis &&
                       mDrag.kind != DragKind::VertexHandle;
    if (moved)
        restoreStart();
    mDrag = Drag();
}

// --- Each frame --------------------------------------------------------------------------------

void LmdGizmo::update(const LmdScreenProjector& view, bool shown) {
    mShown = shown && mObject;
    if (mShown && mType == Vertex)
        getVertexHandles();
    if (!mVisual)
        return;
    Frame frame;
    if (!mShown || mType == Vertex || !frameOf(view, frame)) {
        mVisual->setVisible(false);
        return;
    }
    mVisual->build(mType);
    mVisual->place(frame.origin, frame.handles, frame.size);
    const bool onHandle = isDragging() && mDrag.kind != DragKind::Body;
    mVisual->setHighlight(onHandle ? mDrag.handle : (isDragging() ? kNoHandle : mHovered));
    mVisual->setVisible(true);
}

void LmdGizmo::drawOverlay(ImDrawList* list, const LmdScreenProjector& view) const {
    if (!list || !mShown || !mObject || mType != Vertex || !view.isValid())
        return;
    const bool dragging = mDrag.kind == DragKind::VertexHandle && mDrag.active;
    LmdGizmoVertices::draw(list, mVertexHandles, nodeToWorld(), view, dragging ? kNoHandle : mHovered,
                           dragging ? mDrag.handle : kNoHandle, mDrag.vertexTo);
}

} // namespace Lumenda3D
