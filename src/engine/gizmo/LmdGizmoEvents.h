#pragma once
// The events the gizmos fire (ids 15 to 18, see LmdEvent.h). They carry raw pointers to scene
// objects: valid while the listener runs, never to be kept (a rebuild destroys the objects).
//
//   15 attached       LmdGizmoEvent (3D object) or LmdGizmo2DEvent (2D element)
//   16 detached       the same classes; the object may be null when it was already gone
//   17 copy by gizmo  LmdGizmoCopyEvent
//   18 vertices moved LmdGizmoVertexEvent
#include <memory>
#include <vector>

#include <OgreVector.h>

#include "engine/events/LmdEvent.h"

namespace Lumenda3D {

class LmdBase2D;
class LmdBase3D;

// A 3D object attached to (15) or dropped by (16) the 3D gizmo.
class LmdGizmoEvent : public LmdEvent {
public:
    LmdGizmoEvent(LmdEventEnum id, LmdBase3D* object) : LmdEvent(id), mObject(object) {}
    LmdBase3D* getObject() const { return mObject; }

private:
    LmdBase3D* mObject;
};

// A 2D element attached to (15) or dropped by (16) the 2D gizmo.
class LmdGizmo2DEvent : public LmdEvent {
public:
    LmdGizmo2DEvent(LmdEventEnum id, LmdBase2D* object) : LmdEvent(id), mObject(object) {}
    LmdBase2D* getObject() const { return mObject; }

private:
    LmdBase2D* mObject;
};

// Event 17: the user asked for a copy of the attached object beside it. `direction` is a unit
// axis of the object's parent frame (the world for an object directly in a level) with the sign
// of the side the copy goes to. `isSmartCopy` comes from the gizmo's type (4 Smart Copy, 3 Copy);
// `isRepeatCountRequested` is true when Ctrl was held as the drag ended (ask how many copies).
class LmdGizmoCopyEvent : public LmdEvent {
public:
    LmdGizmoCopyEvent(LmdBase3D* object, const Ogre::Vector3& direction, bool smartCopy, bool repeatCountRequested)
        : LmdEvent(LmdEventGizmoCopy), mObject(object), mDirection(direction), mSmartCopy(smartCopy),
          mRepeatCountRequested(repeatCountRequested) {}
    LmdBase3D* getObject() const { return mObject; }
    const Ogre::Vector3& getDirection() const { return mDirection; }
    bool isSmartCopy() const { return mSmartCopy; }
    bool isRepeatCountRequested() const { return mRepeatCountRequested; }

private:
    LmdBase3D* mObject;
    Ogre::Vector3 mDirection;
    bool mSmartCopy;
    bool mRepeatCountRequested;
};

// One moved vertex: vertex `index` of submesh `submesh` now stands at (x, y, z) in the object's
// own frame (its scene node's frame: the pivot and the model's fitting scale are applied, the
// object's position, rotation and scale are not). Less the pivot (xAxis, yAxis, zAxis) this is
// exactly what a `Vertex` element of the object's `VertexList` holds.
struct LmdGizmoVertex {
    int submesh = 0;
    int index = 0;
    float x = 0.0f, y = 0.0f, z = 0.0f;
};

// Event 18: vertices of the attached object were dragged (every vertex that shared the dragged
// position moves with it, so that the mesh does not tear at seams).
class LmdGizmoVertexEvent : public LmdEvent {
public:
    LmdGizmoVertexEvent(LmdBase3D* object, std::vector<LmdGizmoVertex> vertices)
        : LmdEvent(LmdEventVerticesMoved), mObject(object), mVertices(std::move(vertices)) {}
    LmdBase3D* getObject() const { return mObject; }
    const std::vector<LmdGizmoVertex>& getVertices() const { return mVertices; }

private:
    LmdBase3D* mObject;
    std::vector<LmdGizmoVertex> mVertices;
};

} // namespace Lumenda3D
