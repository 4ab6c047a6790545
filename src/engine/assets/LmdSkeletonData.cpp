#include "engine/assets/LmdSkeletonData.h"

namespace Lumenda3D {

int LmdSkeletonData::boneIndex(const std::string& name) const {
    for (size_t i = 0; i < bones.size(); ++i)
        if (bones[i].name == name)
            return int(i);
    return -1;
}

} // namespace Lumenda3D
