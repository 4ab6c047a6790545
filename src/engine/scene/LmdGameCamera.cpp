#include "engine/scene/LmdGameCamera.h"

#include "engine/app/LmdEditorCamera.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdScene.h"

#include <OgreCamera.h>
#include <OgreSceneNode.h>

#include <algorithm>
#include <cmath>

namespace Lumenda3D {

Ogre::Vector3 LmdGameCamera::glide(const Ogre::Vector3& current, const Ogre::Vector3& desired, float smooth, float dt) {
    smooth = std::clamp(smooth, 0.0f, 0.999f);
    if (smooth <= 0.0f || dt <= 0.0f)
        return smooth <= 0.0f ? desired : current;
    // The share of the gap left after dt: smooth^(10 dt), independent of the frame rate.
    const float left = std::pow(smooth, dt * 10.0f);
    return desired + (current - desired) * left;
}

void LmdGameCamera::begin(LmdScene& scene, Ogre::Camera* camera, Ogre::SceneNode* node) {
    mCamera = camera;
    mNode = node;
    mObject = nullptr;
    for (LmdBase3D* object : scene.objects())
        if (object->getKind() == LmdObjectKind::Camera && scene.isShownNow(*object)) {
            mObject = object;
            break;
        }
    apply(scene, 0.0f, true);
}

void LmdGameCamera::end() {
    mObject = nullptr;
    mCamera = nullptr;
    mNode = nullptr;
}

void LmdGameCamera::update(LmdScene& scene, float dt) {
    // The camera object may have been destroyed by logic: look it up again by its place.
    if (mObject && std::find(scene.objects().begin(), scene.objects().end(), mObject) == scene.objects().end())
        mObject = nullptr;
    apply(scene, dt, false);
}

void LmdGameCamera::apply(LmdScene& scene, float dt, bool snap) {
    if (!mObject || !mCamera || !mNode)
        return;
    const LmdObjectDesc& d = mObject->getDesc();
    mCamera->setFOVy(Ogre::Degree(d.fov));
    mCamera->setNearClipDistance(d.nearClip);
    mCamera->setFarClipDistance(d.farClip);
    LmdBase3D* target = d.follow.empty() ? nullptr : scene.objectByName(d.follow);
    if (!target) {
        mPosition = mObject->getWorldPosition();
        mNode->setPosition(mPosition);
        mNode->setOrientation(mObject->getWorldOrientation());
        return;
    }
    const Ogre::Vector3 focus = target->getWorldPosition();
    const Ogre::Vector3 desired = focus + d.followOffset;
    mPosition = snap ? desired : glide(mPosition, desired, d.smooth, dt);
    mNode->setPosition(mPosition);
    if (mPosition.squaredDistance(focus) > 1e-8f)
        mNode->setOrientation(LmdEditorCamera::lookAtOrientation(mPosition, focus));
}

} // namespace Lumenda3D
