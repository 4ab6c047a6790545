#pragma once
// The skeleton and animations of an imported model as plain data, before they become an OGRE
// skeleton (LmdOgreSkeleton). Bones stand parents first; each has its rest pose relative to its
// parent, which is also the pose the model's vertices were placed in. An animation holds, for
// some bones, keyframes of the bone's whole local transform (not an offset from the rest pose),
// with times in seconds.
#include <cstdint>
#include <string>
#include <vector>

#include <OgreQuaternion.h>
#include <OgreVector.h>

namespace Lumenda3D {

// A bone's pose relative to its parent.
struct LmdBonePose {
    Ogre::Vector3 position = Ogre::Vector3::ZERO;
    Ogre::Quaternion orientation = Ogre::Quaternion::IDENTITY;
    Ogre::Vector3 scale = Ogre::Vector3::UNIT_SCALE;
};

struct LmdBoneData {
    std::string name;  // unique within the skeleton
    int parent = -1;   // index of the parent bone, -1 for a root
    LmdBonePose rest;
};

struct LmdBoneKey {
    float time = 0.0f; // seconds from the start of the animation
    LmdBonePose pose;
};

struct LmdBoneTrack {
    int bone = 0;
    std::vector<LmdBoneKey> keys; // by time
};

struct LmdAnimationData {
    std::string name;    // unique within the skeleton
    float length = 0.0f; // seconds
    std::vector<LmdBoneTrack> tracks;
};

struct LmdSkeletonData {
    std::vector<LmdBoneData> bones; // parents before children
    std::vector<LmdAnimationData> animations;

    bool empty() const { return bones.empty(); }
    // The index of the bone of that name, -1 when there is none.
    int boneIndex(const std::string& name) const;
};

// How much one bone moves one vertex of a submesh.
struct LmdBoneWeight {
    std::uint32_t vertex = 0;
    std::uint16_t bone = 0;
    float weight = 0.0f;
};

} // namespace Lumenda3D
