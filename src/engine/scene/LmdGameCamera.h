#pragma once
// The game's camera while it plays: the first Camera of the level (document order) steers the
// window's camera. A camera inside an object rides along with it; a camera with `follow` glides
// to the followed object's position plus (followX, followY, followZ) in world axes and looks at
// it, `smooth` (0: at once, towards 1: slower) setting how quickly it catches up. A level
// without a Camera keeps the view the editor had.
#include <OgreQuaternion.h>
#include <OgreVector.h>

namespace Ogre {
class Camera;
class SceneNode;
} // namespace Ogre

namespace Lumenda3D {

class LmdBase3D;
class LmdScene;

class LmdGameCamera {
public:
    // Picks the level's camera from the scene (null when it has none) and places the view at once.
    void begin(LmdScene& scene, Ogre::Camera* camera, Ogre::SceneNode* node);
    void end();
    // Moves the view for this frame.
    void update(LmdScene& scene, float dt);
    LmdBase3D* getCameraObject() const { return mObject; }

    // Where a following camera is after `dt` seconds: `smooth` 0 reaches `desired` at once.
    static Ogre::Vector3 glide(const Ogre::Vector3& current, const Ogre::Vector3& desired, float smooth, float dt);

private:
    void apply(LmdScene& scene, float dt, bool snap);

    LmdBase3D* mObject = nullptr;
    Ogre::Camera* mCamera = nullptr;
    Ogre::SceneNode* mNode = nullptr;
    Ogre::Vector3 mPosition = Ogre::Vector3::ZERO;
};

} // namespace Lumenda3D
