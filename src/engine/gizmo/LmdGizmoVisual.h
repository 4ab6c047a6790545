#pragma once
// What the 3D gizmo looks like in the scene: one OGRE manual object made of simple solids in a
// unit frame (X red, Y green, Z blue; the handle under the pointer or being dragged yellow):
//
//   Move (0)         an arrow along each axis
//   Rotate (1)       a ring around each axis
//   Scale (2)        a stem with a box along each axis, and a white box in the middle (uniform)
//   Copy (3)         a double arrow through the object along each axis
//   Smart Copy (4)   a double stem with a box at each end along each axis
//   Vertex (5)       nothing here: its handles are drawn on the screen (LmdGizmoVertices)
//
// It is drawn after the scene without a depth test (always on top), in a render queue before the
// interface's overlay. The owner places it every frame with a size that keeps it the same size on
// screen. Main thread, with an OGRE scene manager.
#include <string>

#include <OgreQuaternion.h>
#include <OgreVector.h>

#include "engine/app/LmdAppContext.h"

namespace Ogre {
class ManualObject;
class SceneManager;
class SceneNode;
} // namespace Ogre

namespace Lumenda3D {

class LmdGizmoVisual {
public:
    // Handle numbers: 0, 1, 2 the axes, 3 the middle box (uniform scale); -1 none.
    static constexpr int kCentreHandle = 3;
    // The handles' visibility flag: a viewport whose mask leaves it out (a scene capture) shows
    // the scene without them.
    static constexpr unsigned kVisibilityFlag = LmdAppContext::kEditorOnlyVisibilityFlag;

    explicit LmdGizmoVisual(Ogre::SceneManager* sceneManager);
    ~LmdGizmoVisual();
    LmdGizmoVisual(const LmdGizmoVisual&) = delete;
    LmdGizmoVisual& operator=(const LmdGizmoVisual&) = delete;

    // Builds the handles of a gizmo type (see above); an unknown type shows nothing.
    void build(int type);
    int getType() const { return mType; }
    // The frame's origin and axes in the world, and the world length of one unit of the frame.
    void place(const Ogre::Vector3& position, const Ogre::Quaternion& orientation, float size);
    void setVisible(bool visible);
    bool isVisible() const;
    // The handle shown in the highlight colour (-1 for none).
    void setHighlight(int handle);
    int getHighlight() const { return mHighlight; }
    // Sections of the manual object (one per handle), for tests.
    size_t sectionCount() const;
    Ogre::SceneNode* getNode() const { return mNode; }

private:
    void ensureMaterials();
    static std::string materialOf(int handle);

    Ogre::SceneManager* mSceneManager = nullptr;
    Ogre::SceneNode* mNode = nullptr;
    Ogre::ManualObject* mObject = nullptr;
    int mType = -1;
    int mHighlight = -1;
    int mSectionHandles[4] = {-1, -1, -1, -1}; // handle of each section
};

} // namespace Lumenda3D
