#include "engine/assets/LmdOgreSkeleton.h"

#include <OgreAnimation.h>
#include <OgreAnimationTrack.h>
#include <OgreBone.h>
#include <OgreKeyFrame.h>
#include <OgreSkeletonManager.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>

namespace Lumenda3D {
namespace {

// The scale that takes `rest` to `pose`, axis by axis (a zero rest scale stays as it is).
Ogre::Vector3 scaleStep(const Ogre::Vector3& rest, const Ogre::Vector3& pose) {
    Ogre::Vector3 step;
    for (int axis = 0; axis < 3; ++axis)
        step[axis] = std::abs(rest[axis]) > 1e-8f ? pose[axis] / rest[axis] : 1.0f;
    return step;
}

// Builds the bones and clips of `data` into an empty skeleton.
void build(Ogre::Skeleton* skeleton, const LmdSkeletonData& data) {
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
}

// OGRE's way to make a resource in code: a loader that builds it when OGRE loads it. A skeleton
// that was filled without being loaded is never unloaded, and its bones and clips would outlive
// it; one that is loaded through this frees them when it goes, and survives a reload.
class SkeletonBuilder final : public Ogre::ManualResourceLoader {
public:
    explicit SkeletonBuilder(LmdSkeletonData data) : data_(std::move(data)) {}
    void loadResource(Ogre::Resource* resource) override { build(static_cast<Ogre::Skeleton*>(resource), data_); }

private:
    LmdSkeletonData data_;
};

// The loader of each skeleton made here, by name; it must live as long as the skeleton.
std::map<std::string, std::unique_ptr<SkeletonBuilder>>& builders() {
    static std::map<std::string, std::unique_ptr<SkeletonBuilder>> all;
    return all;
}

} // namespace

Ogre::SkeletonPtr LmdOgreSkeleton::create(const std::string& name, const LmdSkeletonData& data,
                                          const std::string& group) {
    remove(name);
    std::unique_ptr<SkeletonBuilder>& builder = builders()[name];
    builder = std::make_unique<SkeletonBuilder>(data);
    Ogre::SkeletonPtr skeleton = Ogre::SkeletonManager::getSingleton().create(name, group, true, builder.get());
    skeleton->load();
    return skeleton;
}

void LmdOgreSkeleton::remove(const std::string& name) {
    Ogre::SkeletonManager& skeletons = Ogre::SkeletonManager::getSingleton();
    if (Ogre::ResourcePtr existing = skeletons.getResourceByName(name, Ogre::RGN_DEFAULT))
        skeletons.remove(existing);
    builders().erase(name);
}

} // namespace Lumenda3D
