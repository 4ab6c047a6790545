#pragma once
// The 3D gizmo: handles over the selected object of the edit scene that move, turn, scale or copy
// it, or move its mesh's vertices, with the mouse (see docs/engine.md, "Gizmos").
//
// Types (setGizmoType): 0 Move, 1 Rotate, 2 Scale, 3 Copy, 4 Smart Copy, 5 Vertex.
//
//   Move        drag an arrow: along that axis of the parent's frame (the world for an object
//               directly in a level); drag the object itself: across the plane parallel to the
//               placing plane (y = 0) through the object
//   Rotate      drag a ring: turn about that axis of the parent's frame
//   Scale       drag a box: scale along that axis of the object's own frame; the middle box
//               scales all three alike (right or up grows)
//   Copy,       drag (or click) a double arrow: event 17 asks for a copy on the side the drag went
//   Smart Copy  (a click: the side of the middle it was pressed on); Ctrl held asks for a count
//   Vertex      drag a vertex square: it moves parallel to the screen; on release
//               event 18 reports the moved vertices
//
// While a drag runs only the scene object changes, every frame; on release the values are rounded
// and handed to the commit function, which writes them into the document as one undo step.
// Escape (a detach) or a type change during a drag puts the object back where it was.
//
// Selection: attach(object, pickedAsSubObject) fires event 15 (LmdGizmoEvent) after telling the
// owner's selection; a detach fires 16. A click picks the top-level object under the pointer;
// Shift+click picks the sub-object (an object inside another) under it instead. With
// setPickChildObjectsByDefault(true) this is the other way round. getSubObjectMode tells which
// applies: 0 top-level objects are picked, 1 the attached object was picked as a sub-object,
// 2 sub-objects are picked by default (so the Shift+click hint is pointless).
//
// Positions and pixels are window pixels. Main thread.
#include <functional>
#include <memory>
#include <vector>

#include <OgreMatrix4.h>
#include <OgreQuaternion.h>
#include <OgreVector.h>

#include "engine/events/LmdEvent.h"
#include "engine/gizmo/LmdGizmoCommit.h"
#include "engine/gizmo/LmdGizmoVertices.h"

struct ImDrawList;

namespace Ogre {
class SceneManager;
}

namespace Lumenda3D {

class LmdBase3D;
class LmdGizmoVisual;
class LmdScreenProjector;

class LmdGizmo {
public:
    enum Type { Move = 0, Rotate = 1, Scale = 2, Copy = 3, SmartCopy = 4, Vertex = 5 };
    enum SubObjectMode { TopLevelPicking = 0, PickedAsSubObject = 1, SubObjectsByDefault = 2 };
    // Handles: 0, 1, 2 the axes X, Y, Z; 3 the middle box of Scale.
    static constexpr int kNoHandle = -1;
    static constexpr int kCentreHandle = 3;
    // One unit of the gizmo's frame spans this many pixels on screen, at any distance.
    static constexpr float kSizePixels = 110.0f;
    // How near the pointer must be to a handle (pixels), and how far it must move to start a drag.
    static constexpr float kHandlePixels = 10.0f;
    static constexpr int kDragThreshold = 3;
    // Below this screen drag a copy handle counts as clicked, not dragged.
    static constexpr float kCopyDragPixels = 8.0f;
    // Pixels of drag that add the whole size on the middle scale box.
    static constexpr float kUniformScalePixels = 100.0f;

    struct Services {
        // Fires an engine event (15, 16, 17, 18).
        std::function<void(LmdEventEnum, std::shared_ptr<LmdEvent>)> fire;
        // The owner's selection follows the gizmo (null: nothing selected).
        std::function<void(LmdBase3D*)> selectionChanged;
        // The shown objects under a window pixel, nearest first.
        std::function<std::vector<LmdBase3D*>(int x, int y)> pick;
        // Writes a finished drag's transform into the document.
        std::function<void(LmdBase3D& object, const LmdGizmoCommit::Transform& before,
                           const LmdGizmoCommit::Transform& after)>
            commit;
    };

    LmdGizmo();
    ~LmdGizmo();
    LmdGizmo(const LmdGizmo&) = delete;
    LmdGizmo& operator=(const LmdGizmo&) = delete;

    void setServices(Services services) { mServices = std::move(services); }
    // The handles in the scene (none without a scene manager: the gizmo still works, unseen).
    void createVisual(Ogre::SceneManager* sceneManager);
    void destroyVisual();
    // OGRE went away and took the visual's objects with it: forget them without destroying.
    void abandonVisual();
    LmdGizmoVisual* getVisual() const { return mVisual.get(); }

    // --- Attaching -----------------------------------------------------------------------------
    // Attaches to an object (null detaches). The same object again only updates how it was picked.
    void attach(LmdBase3D* object, bool pickedAsSubObject);
    // Drops the object (a running drag is undone first); fires 16.
    void detach();
    // The object was destroyed behind the gizmo's back: forget it without touching it; fires 16
    // with no object.
    void forgetVanishedObject();
    LmdBase3D* getObject() const { return mObject; }
    bool isAttached() const { return mObject != nullptr; }
    bool isPickedAsSubObject() const { return mPickedAsSubObject; }

    // --- Modes ---------------------------------------------------------------------------------
    // 0..5 (see Type); other values are ignored. A running drag is undone.
    void setGizmoType(int type);
    int getGizmoType() const { return mType; }
    void setPickChildObjectsByDefault(bool enabled) { mPickChildrenByDefault = enabled; }
    bool getPickChildObjectsByDefault() const { return mPickChildrenByDefault; }
    int getSubObjectMode() const;
    // Which object a click selects among the objects under the pointer (nearest first), with Shift
    // held or not; `asSubObject` tells whether that is an object inside another. Null for none.
    LmdBase3D* resolvePick(const std::vector<LmdBase3D*>& hits, bool shift, bool& asSubObject) const;

    // --- Input ---------------------------------------------------------------------------------
    // The modifier keys held now (the engine follows the key events).
    void setModifiers(bool shift, bool ctrl, bool alt);
    bool isShiftHeld() const { return mShift; }
    bool isCtrlHeld() const { return mCtrl; }
    // A left press: true when the gizmo takes it (a handle, a vertex, or the object in Move).
    bool mousePressed(int x, int y, const LmdScreenProjector& view);
    // True while the gizmo holds the pointer (the camera must not see the move).
    bool mouseMoved(int x, int y, const LmdScreenProjector& view);
    // True when a drag of the gizmo ended here (not a click: that selects as usual).
    bool mouseReleased(int x, int y, const LmdScreenProjector& view);
    // Whether a press of the gizmo is being followed.
    bool isDragging() const { return mDrag.kind != DragKind::None; }
    // Ends a drag without committing; the object goes back to where it was.
    void cancelDrag();

    // --- Each frame ----------------------------------------------------------------------------
    // Places the handles over the object (hidden when `shown` is false or nothing is attached).
    void update(const LmdScreenProjector& view, bool shown);
    // The vertex squares of the Vertex type, over the scene.
    void drawOverlay(ImDrawList* list, const LmdScreenProjector& view) const;

    // --- Where things are on screen (scripted drags, tests) ------------------------------------
    // A point to grab a handle at; false when it is not on screen.
    bool handlePoint(int handle, const LmdScreenProjector& view, Ogre::Vector2& pixel) const;
    // The handle under a pixel, or kNoHandle.
    int handleAt(float x, float y, const LmdScreenProjector& view) const;
    int getHoveredHandle() const { return mHovered; }
    // Where vertex handle `index` of the Vertex type shows; false when it is not on screen.
    bool vertexPoint(int index, const LmdScreenProjector& view, Ogre::Vector2& pixel);
    // The vertex handles of the attached object (read when the Vertex type first needs them).
    const std::vector<LmdGizmoVertices::Handle>& getVertexHandles();

    static LmdGizmoCommit::Transform transformOf(const LmdBase3D& object);

private:
    // Forgets the attached object, hides the handles and fires the detached event with `reported`.
    void letGo(LmdBase3D* reported);

    enum class DragKind { None, Axis, Ring, ScaleAxis, ScaleUniform, CopyAxis, Body, VertexHandle };
    struct Frame {
        Ogre::Vector3 origin = Ogre::Vector3::ZERO;
        Ogre::Quaternion handles = Ogre::Quaternion::IDENTITY; // orientation of the handles' axes
        Ogre::Affine3 parent = Ogre::Affine3::IDENTITY;        // parent's frame to the world
        float size = 1.0f;                                     // world length of one gizmo unit
    };
    struct Drag {
        DragKind kind = DragKind::None;
        int handle = kNoHandle;
        bool active = false; // the pointer moved past the threshold (or the handle drags at once)
        int pressX = 0, pressY = 0;
        LmdGizmoCommit::Transform start;
        Frame frame;
        Ogre::Vector2 centre = Ogre::Vector2::ZERO;        // the gizmo's origin on screen
        Ogre::Vector2 axisOnScreen = Ogre::Vector2::ZERO;  // one parent unit (Axis) or the handle (Scale)
        Ogre::Vector3 lineDirection = Ogre::Vector3::ZERO; // one parent unit along the axis, in the world
        float startParameter = 0.0f;
        bool onLine = false;                               // following the pointer's ray along the line
        Ogre::Vector2 last = Ogre::Vector2::ZERO;
        float angle = 0.0f;
        Ogre::Vector3 planePoint = Ogre::Vector3::ZERO, planeNormal = Ogre::Vector3::UNIT_Y;
        Ogre::Vector3 startHit = Ogre::Vector3::ZERO;
        bool hasStartHit = false;
        Ogre::Vector3 vertexTo = Ogre::Vector3::ZERO; // where the dragged vertex is now, in the world
    };

    bool frameOf(const LmdScreenProjector& view, Frame& frame) const;
    Ogre::Affine3 nodeToWorld() const;
    bool startDrag(DragKind kind, int handle, int x, int y, const LmdScreenProjector& view);
    void follow(int x, int y, const LmdScreenProjector& view);
    void finishTransform();
    void finishCopy(int x, int y);
    void finishVertex();
    void restoreStart();
    bool pressedOnObject(int x, int y) const;
    void fire(LmdEventEnum id, std::shared_ptr<LmdEvent> event);

    Services mServices;
    std::unique_ptr<LmdGizmoVisual> mVisual;
    LmdBase3D* mObject = nullptr;
    bool mPickedAsSubObject = false;
    bool mPickChildrenByDefault = false;
    int mType = Move;
    bool mShift = false, mCtrl = false, mAlt = false;
    bool mShown = false;
    int mHovered = kNoHandle;
    Drag mDrag;
    std::vector<LmdGizmoVertices::Handle> mVertexHandles;
    bool mVertexHandlesRead = false;
};

} // namespace Lumenda3D
