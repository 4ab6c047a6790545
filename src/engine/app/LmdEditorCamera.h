#pragma once
// The editor's viewpoint: orbits, pans and zooms around a target point.
//
//   right drag                 orbit around the target
//   middle drag, shift + right drag   pan (the target moves with the view)
//   alt + left drag            orbit (for a touchpad without a right or middle button)
//   wheel                      zoom towards the target
//
// A plain right click (no movement) is left alone for the context menu: the camera only takes
// over once the pointer has moved a few pixels with the button held, and isBusy() tells the
// editor so until the frame after the release.
#include <OgreInput.h>
#include <OgreQuaternion.h>
#include <OgreVector.h>

namespace Ogre {
class Camera;
class SceneNode;
} // namespace Ogre

namespace Lumenda3D {

class LmdEditorCamera {
public:
    LmdEditorCamera();

    // The node that carries the camera (written on every change) and the camera itself (for its
    // field of view and viewport height, which set the pan speed). Both may be null.
    void attach(Ogre::SceneNode* node, Ogre::Camera* camera);

    // Places the eye and the point it looks at (and orbits around).
    void setView(const Ogre::Vector3& eye, const Ogre::Vector3& target);
    // Moves the target to a point, keeping the direction; a positive distance also sets the range.
    void focusOn(const Ogre::Vector3& point, float distance = -1.0f);

    Ogre::Vector3 getTarget() const { return mTarget; }
    Ogre::Vector3 getEyePosition() const;
    Ogre::Quaternion getOrientation() const;
    float getDistance() const { return mDistance; }
    Ogre::Degree getYaw() const { return mYaw; }
    Ogre::Degree getPitch() const { return mPitch; }

    // The orientation of a camera at `eye` that looks at `target` with +Y up. Straight down (or up)
    // the image's top points to -Z (or +Z); eye on the target looks down -Z.
    static Ogre::Quaternion lookAtOrientation(const Ogre::Vector3& eye, const Ogre::Vector3& target);

    // Disabled, the camera ignores input (for example while a game camera is in charge).
    void setEnabled(bool enabled);
    bool isEnabled() const { return mEnabled; }

    // True while the pointer drags the view, and until the frame after the drag's release.
    bool isBusy() const { return mBusy; }

    // Tuning: degrees of orbit per pixel, zoom factor per wheel notch (below 1 zooms in on "up").
    void setOrbitSpeed(float degreesPerPixel) { mOrbitSpeed = degreesPerPixel; }
    void setZoomStep(float factorPerNotch) { mZoomStep = factorPerNotch; }
    // Used for the pan speed when no camera is attached.
    void setViewportHeight(int pixels) { mViewportHeight = pixels; }

    // Input. Each returns true when the camera took the event.
    bool keyPressed(const OgreBites::KeyboardEvent& evt);
    bool keyReleased(const OgreBites::KeyboardEvent& evt);
    bool mousePressed(const OgreBites::MouseButtonEvent& evt);
    bool mouseReleased(const OgreBites::MouseButtonEvent& evt);
    bool mouseMoved(const OgreBites::MouseMotionEvent& evt);
    bool mouseWheelRolled(const OgreBites::MouseWheelEvent& evt);

    // Once a frame, after input: ends the busy state of a finished gesture.
    void frameRendered();

private:
    enum class Gesture { None, Orbit, Pan };
    void apply();
    float worldUnitsPerPixel() const;

    Ogre::SceneNode* mNode = nullptr;
    Ogre::Camera* mCamera = nullptr;
    Ogre::Vector3 mTarget{0, 0, 0};
    float mDistance = 10.0f;
    Ogre::Degree mYaw{0};
    Ogre::Degree mPitch{-20};
    bool mEnabled = true;

    Gesture mGesture = Gesture::None;
    int mGestureButton = 0;
    int mPressX = 0, mPressY = 0;
    int mLastX = 0, mLastY = 0;
    bool mDragging = false;
    bool mBusy = false;
    bool mShift = false, mAlt = false;

    float mOrbitSpeed = 0.3f;
    float mZoomStep = 0.85f;
    int mViewportHeight = 800;
};

} // namespace Lumenda3D
