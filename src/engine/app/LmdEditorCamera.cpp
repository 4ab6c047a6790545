#include "engine/app/LmdEditorCamera.h"

#include <OgreCamera.h>
#include <OgreMath.h>
#include <OgreSceneNode.h>
#include <OgreViewport.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Lumenda3D {
namespace {

constexpr int kDragThresholdPixels = 3;
constexpr float kMinDistance = 0.05f;
constexpr float kMaxDistance = 100000.0f;
constexpr float kPitchLimit = 89.0f;

constexpr OgreBites::Keycode kLeftShift = (1 << 30) | 0xE1;
constexpr OgreBites::Keycode kRightShift = (1 << 30) | 0xE5;
constexpr OgreBites::Keycode kLeftAlt = (1 << 30) | 0xE2;
constexpr OgreBites::Keycode kRightAlt = (1 << 30) | 0xE6;

} // namespace

LmdEditorCamera::LmdEditorCamera() = default;

void LmdEditorCamera::attach(Ogre::SceneNode* node, Ogre::Camera* camera) {
    mNode = node;
    mCamera = camera;
    apply();
}

void LmdEditorCamera::setView(const Ogre::Vector3& eye, const Ogre::Vector3& target) {
    mTarget = target;
    Ogre::Vector3 offset = eye - target;
    float length = offset.length();
    if (length < kMinDistance) { // eye on the target: keep the direction, step back
        mDistance = std::max(mDistance, kMinDistance);
        apply();
        return;
    }
    mDistance = std::min(length, kMaxDistance);
    // The eye sits at target + R(yaw about Y) * R(pitch about X) * (0, 0, distance).
    mYaw = Ogre::Radian(std::atan2(offset.x, offset.z));
    mPitch = Ogre::Radian(-std::asin(std::clamp(offset.y / length, -1.0f, 1.0f)));
    mPitch = Ogre::Degree(std::clamp(mPitch.valueDegrees(), -kPitchLimit, kPitchLimit));
    apply();
}

void LmdEditorCamera::focusOn(const Ogre::Vector3& point, float distance) {
    mTarget = point;
    if (distance > 0)
        mDistance = std::clamp(distance, kMinDistance, kMaxDistance);
    apply();
}

Ogre::Quaternion LmdEditorCamera::getOrientation() const {
    return Ogre::Quaternion(Ogre::Radian(mYaw), Ogre::Vector3::UNIT_Y) *
           Ogre::Quaternion(Ogre::Radian(mPitch), Ogre::Vector3::UNIT_X);
}

Ogre::Vector3 LmdEditorCamera::getEyePosition() const {
    return mTarget + getOrientation() * Ogre::Vector3(0, 0, mDistance);
}

Ogre::Quaternion LmdEditorCamera::lookAtOrientation(const Ogre::Vector3& eye, const Ogre::Vector3& target) {
    Ogre::Vector3 direction = target - eye;
    if (direction.squaredLength() < 1e-12f)
        direction = Ogre::Vector3::NEGATIVE_UNIT_Z;
    direction.normalise();
    Ogre::Vector3 up = Ogre::Vector3::UNIT_Y;
    if (std::fabs(direction.dotProduct(up)) > 0.999f)
        up = direction.y < 0 ? Ogre::Vector3::NEGATIVE_UNIT_Z : Ogre::Vector3::UNIT_Z;
    // A camera looks along its local -Z.
    const Ogre::Vector3 zAxis = -direction;
    const Ogre::Vector3 xAxis = up.crossProduct(zAxis).normalisedCopy();
    const Ogre::Vector3 yAxis = zAxis.crossProduct(xAxis);
    return Ogre::Quaternion(xAxis, yAxis, zAxis);
}

void LmdEditorCamera::apply() {
    if (!mNode)
        return;
    mNode->setPosition(getEyePosition());
    mNode->setOrientation(getOrientation());
}

void LmdEditorCamera::setEnabled(bool enabled) {
    mEnabled = enabled;
    if (!enabled) {
        mGesture = Gesture::None;
        mDragging = false;
        mBusy = false;
    }
}

float LmdEditorCamera::worldUnitsPerPixel() const {
    // At the target's distance the view is 2 * d * tan(fovY / 2) high: one pixel of pointer
    // movement moves the scene under the pointer by one pixel.
    float fovY = Ogre::Degree(45).valueRadians();
    int height = mViewportHeight;
    if (mCamera) {
        fovY = mCamera->getFOVy().valueRadians();
        if (mCamera->getViewport())
            height = mCamera->getViewport()->getActualHeight();
    }
    return 2.0f * mDistance * std::tan(fovY / 2.0f) / float(std::max(1, height));
}

bool LmdEditorCamera::keyPressed(const OgreBites::KeyboardEvent& evt) {
    if (evt.keysym.sym == kLeftShift || evt.keysym.sym == kRightShift)
        mShift = true;
    if (evt.keysym.sym == kLeftAlt || evt.keysym.sym == kRightAlt)
        mAlt = true;
    return false; // modifiers are everyone's business
}

bool LmdEditorCamera::keyReleased(const OgreBites::KeyboardEvent& evt) {
    if (evt.keysym.sym == kLeftShift || evt.keysym.sym == kRightShift)
        mShift = false;
    if (evt.keysym.sym == kLeftAlt || evt.keysym.sym == kRightAlt)
        mAlt = false;
    return false;
}

bool LmdEditorCamera::mousePressed(const OgreBites::MouseButtonEvent& evt) {
    if (!mEnabled || mGesture != Gesture::None)
        return false;
    Gesture gesture = Gesture::None;
    if (evt.button == OgreBites::BUTTON_RIGHT)
        gesture = mShift ? Gesture::Pan : Gesture::Orbit;
    else if (evt.button == OgreBites::BUTTON_MIDDLE)
        gesture = Gesture::Pan;
    else if (evt.button == OgreBites::BUTTON_LEFT && mAlt)
        gesture = Gesture::Orbit;
    if (gesture == Gesture::None)
        return false;
    mGesture = gesture;
    mGestureButton = evt.button;
    mPressX = mLastX = evt.x;
    mPressY = mLastY = evt.y;
    mDragging = false;
    // Not taken: a right press may still become a context-menu click.
    return evt.button == OgreBites::BUTTON_LEFT;
}

bool LmdEditorCamera::mouseReleased(const OgreBites::MouseButtonEvent& evt) {
    if (mGesture == Gesture::None || evt.button != mGestureButton)
        return false;
    const bool wasDrag = mDragging;
    mGesture = Gesture::None;
    mDragging = false;
    // mBusy stays set until frameRendered, so the release of a drag does not open a menu.
    return wasDrag;
}

bool LmdEditorCamera::mouseMoved(const OgreBites::MouseMotionEvent& evt) {
    if (!mEnabled || mGesture == Gesture::None)
        return false;
    if (!mDragging) {
        if (std::abs(evt.x - mPressX) < kDragThresholdPixels && std::abs(evt.y - mPressY) < kDragThresholdPixels)
            return false;
        mDragging = true;
        mBusy = true;
    }
    const float dx = float(evt.x - mLastX);
    const float dy = float(evt.y - mLastY);
    mLastX = evt.x;
    mLastY = evt.y;
    if (mGesture == Gesture::Orbit) {
        mYaw = Ogre::Degree(mYaw.valueDegrees() - dx * mOrbitSpeed);
        mPitch = Ogre::Degree(std::clamp(mPitch.valueDegrees() - dy * mOrbitSpeed, -kPitchLimit, kPitchLimit));
    } else {
        // Drag the scene with the pointer: the target moves against the pointer.
        const Ogre::Quaternion q = getOrientation();
        const float scale = worldUnitsPerPixel();
        mTarget += q * Ogre::Vector3(-dx * scale, dy * scale, 0);
    }
    apply();
    return true;
}

bool LmdEditorCamera::mouseWheelRolled(const OgreBites::MouseWheelEvent& evt) {
    if (!mEnabled || evt.y == 0)
        return false;
    mDistance = std::clamp(mDistance * std::pow(mZoomStep, float(evt.y)), kMinDistance, kMaxDistance);
    apply();
    return true;
}

void LmdEditorCamera::frameRendered() {
    if (mGesture == Gesture::None)
        mBusy = false;
}

} // namespace Lumenda3D
