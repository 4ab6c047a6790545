#pragma once
// Turns skeleton data (LmdSkeletonData) into an OGRE skeleton made in code, with no .skeleton
// file: bones with their rest pose as the binding pose, and one animation per clip. OGRE plays
// keyframes as offsets from the binding pose, so each key becomes the step from the bone's rest
// pose to the key's pose. Main thread, with an OGRE root.
#include <string>

#include <OgreSkeleton.h>

#include "engine/assets/LmdSkeletonData.h"

namespace Lumenda3D {

class LmdOgreSkeleton {
public:
    // Creates (or replaces) the skeleton `name` in `group`.
    static Ogre::SkeletonPtr create(const std::string& name, const LmdSkeletonData& data, const std::string& group);
    // Removes a skeleton if it exists.
    static void remove(const std::string& name);
};

} // namespace Lumenda3D
