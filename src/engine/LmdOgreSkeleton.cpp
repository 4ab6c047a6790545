#include "engine/LmdOgreSkeleton.h"

#include <OgreAnimation.h>
#include <OgreAnimationTrack.h>
#include <OgreBone.h>
#include <OgreKeyFrame.h>
#include <OgreSkeletonManager.h>

#include <algorithm>
#include <cmath>

namespace Lumenda3D {
namespace {

// The scale that takes `rest` to `pose`, axis by axis (a zero rest scale stays as it is).
Ogre::Vector3 scaleStep(const Ogre::Vector3& rest, const Ogre::Vector3& pose) {
    Ogre::Vector3 step;
    for (int axis = 0; axis < 3; ++axis)
        step[axis] = std::abs(rest[axis]) > 1e-8f ? pose[axis] / rest[axis] : 1.0f;
    return step;
}

} // namespace

Ogre::SkeletonPtr LmdOgreSkeleton::create(const std::string& name, const LmdSkeletonData& data,
                                          const std::string& group) {
    remove(name);
    Ogre::SkeletonPtr skeleton = Ogre::SkeletonManager::getSingleton().create(name, group, true);
    for (size_t i = 0; i < data.bones.size(); ++i) {
        const LmdBoneData& source = data.bones[i];
        Ogre::Bone* bone = skeleton->createBone(source.name, static_cast<unsigned short>(i));
        if (source.parent >= 0 && size_t(source.parent) < i)
            skeleton->getBone(static_cast<unsigned short>(source.parent))->addChild(bone);
        bone->setPosition(source.rest.position);
        bone->setOrientation(source.rest.orientation);
        bone->setScale(source.rest.scale);
    }
    skeleton->setBindingPose();
    for (const LmdAnimationData& clip : data.animations) {
        Ogre::Animation* animation = skeleton->createAnimation(clip.name, std::max(clip.length, 1e-3f));
        animation->setInterpolationMode(Ogre::Animation::IM_LINEAR);
        for (const LmdBoneTrack& source : clip.tracks) {
            if (source.bone < 0 || size_t(source.bone) >= data.bones.size())
                continue;
            const LmdBonePose& rest = data.bones[size_t(source.bone)].rest;
            const auto handle = static_cast<unsigned short>(source.bone);
            Ogre::NodeAnimationTrack* track = animation->createNodeTrack(handle, skeleton->getBone(handle));
            for (const LmdBoneKey& key : source.keys) {
                Ogre::TransformKeyFrame* frame = track->createNodeKeyFrame(std::min(key.time, animation->getLength()));
                frame->setTranslate(key.pose.position - rest.position);
                frame->setRotation(rest.orientation.Inverse() * key.pose.orientation);
                frame->setScale(scaleStep(rest.scale, key.pose.scale));
            }
        }
    }
    return skeleton;
}

void LmdOgreSkeleton::remove(const std::string& name) {
    Ogre::SkeletonManager& skeletons = Ogre::SkeletonManager::getSingleton();
    if (Ogre::ResourcePtr existing = skeletons.getResourceByName(name, Ogre::RGN_DEFAULT))
        skeletons.remove(existing);
}

} // namespace Lumenda3D
