#pragma once
// Between the scene and the window's pixels for one camera: where a world point shows, the ray
// through a pixel, and how long one pixel is at a given depth. Built from the camera's view and
// projection matrices and the viewport's rectangle in window pixels, so that it works the same
// for a live camera and for tests that make up a view. Pixels grow rightwards and downwards.
#include <OgreMatrix4.h>
#include <OgreRay.h>
#include <OgreVector.h>

namespace Ogre {
class Camera;
class Viewport;
} // namespace Ogre

namespace Lumenda3D {

class LmdScreenProjector {
public:
    // Invalid: every query fails.
    LmdScreenProjector() = default;
    LmdScreenProjector(const Ogre::Affine3& view, const Ogre::Matrix4& projection, float left, float top, float width,
                       float height);
    // The camera through its viewport; invalid when either is missing or the viewport is empty.
    static LmdScreenProjector fromCamera(const Ogre::Camera* camera, const Ogre::Viewport* viewport);

    bool isValid() const { return mValid; }
    // The window pixel where a world point shows; false for a point behind the camera.
    bool toScreen(const Ogre::Vector3& world, Ogre::Vector2& pixel) const;
    // The ray from the eye through a window pixel (unit direction).
    Ogre::Ray ray(float x, float y) const;
    Ogre::Vector3 eye() const { return mEye; }
    // The unit direction the camera looks in.
    Ogre::Vector3 viewDirection() const { return mForward; }
    // World units that one pixel spans at the depth of `point` (never below a tiny positive value).
    float worldPerPixel(const Ogre::Vector3& point) const;
    float viewportHeight() const { return mHeight; }

private:
    Ogre::Matrix4 mViewProjection = Ogre::Matrix4::IDENTITY;
    Ogre::Matrix4 mInverse = Ogre::Matrix4::IDENTITY;
    Ogre::Vector3 mEye = Ogre::Vector3::ZERO;
    Ogre::Vector3 mForward = Ogre::Vector3::NEGATIVE_UNIT_Z;
    float mCotHalfFovY = 1.0f;
    bool mOrthographic = false;
    float mLeft = 0.0f, mTop = 0.0f, mWidth = 0.0f, mHeight = 0.0f;
    bool mValid = false;
};

} // namespace Lumenda3D
