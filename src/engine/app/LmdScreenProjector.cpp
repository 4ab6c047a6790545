#include "engine/app/LmdScreenProjector.h"

#include <OgreCamera.h>
#include <OgreViewport.h>

#include <algorithm>
#include <cmath>

namespace Lumenda3D {
namespace {

Ogre::Matrix4 toMatrix4(const Ogre::Affine3& a) {
    return Ogre::Matrix4(a[0][0], a[0][1], a[0][2], a[0][3], a[1][0], a[1][1], a[1][2], a[1][3], a[2][0], a[2][1],
                         a[2][2], a[2][3], 0.0f, 0.0f, 0.0f, 1.0f);
}

} // namespace

LmdScreenProjector::LmdScreenProjector(const Ogre::Affine3& view, const Ogre::Matrix4& projection, float left,
                                       float top, float width, float height)
    : mLeft(left), mTop(top), mWidth(width), mHeight(height) {
    if (width <= 0.0f || height <= 0.0f)
        return;
    mViewProjection = projection * toMatrix4(view);
    if (std::abs(mViewProjection.determinant()) < 1e-20f)
        return;
    mInverse = mViewProjection.inverse();
    const Ogre::Affine3 cameraToWorld = view.inverse();
    mEye = cameraToWorld.getTrans();
    mForward = (cameraToWorld.linear() * Ogre::Vector3::NEGATIVE_UNIT_Z).normalisedCopy();
    mOrthographic = std::abs(projection[3][3] - 1.0f) < 1e-6f;
    mCotHalfFovY = projection[1][1];
    mValid = mCotHalfFovY > 0.0f;
}

LmdScreenProjector LmdScreenProjector::fromCamera(const Ogre::Camera* camera, const Ogre::Viewport* viewport) {
    if (!camera || !viewport)
        return LmdScreenProjector();
    return LmdScreenProjector(camera->getViewMatrix(), camera->getProjectionMatrix(), float(viewport->getActualLeft()),
                              float(viewport->getActualTop()), float(viewport->getActualWidth()),
                              float(viewport->getActualHeight()));
}

bool LmdScreenProjector::toScreen(const Ogre::Vector3& world, Ogre::Vector2& pixel) const {
    if (!mValid)
        return false;
    const Ogre::Vector4 clip = mViewProjection * Ogre::Vector4(world.x, world.y, world.z, 1.0f);
    if (clip.w <= 1e-6f)
        return false;
    const float ndcX = clip.x / clip.w;
    const float ndcY = clip.y / clip.w;
    pixel.x = mLeft + (ndcX * 0.5f + 0.5f) * mWidth;
    pixel.y = mTop + (0.5f - ndcY * 0.5f) * mHeight;
    return true;
}

Ogre::Ray LmdScreenProjector::ray(float x, float y) const {
    if (!mValid)
        return Ogre::Ray(mEye, mForward);
    const float ndcX = (x - mLeft) / mWidth * 2.0f - 1.0f;
    const float ndcY = 1.0f - (y - mTop) / mHeight * 2.0f;
    auto unproject = [this](float nx, float ny, float nz) {
        const Ogre::Vector4 p = mInverse * Ogre::Vector4(nx, ny, nz, 1.0f);
        return Ogre::Vector3(p.x, p.y, p.z) / p.w;
    };
    const Ogre::Vector3 nearPoint = unproject(ndcX, ndcY, -1.0f);
    const Ogre::Vector3 farPoint = unproject(ndcX, ndcY, 0.5f);
    return Ogre::Ray(mOrthographic ? nearPoint : mEye, (farPoint - nearPoint).normalisedCopy());
}

float LmdScreenProjector::worldPerPixel(const Ogre::Vector3& point) const {
    if (!mValid)
        return 1e-3f;
    const float depth = mOrthographic ? 1.0f : std::max((point - mEye).dotProduct(mForward), 1e-3f);
    return std::max(2.0f * depth / (mCotHalfFovY * mHeight), 1e-6f);
}

} // namespace Lumenda3D
