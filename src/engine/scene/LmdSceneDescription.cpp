#include "engine/scene/LmdSceneDescription.h"

namespace Lumenda3D {
namespace {

template <typename T>
const T* findScoped(const std::vector<T>& items, const std::string& name, const std::string& level) {
    if (name.empty())
        return nullptr;
    const T* global = nullptr;
    for (const T& item : items) {
        if (item.name != name)
            continue;
        if (!level.empty() && item.level == level)
            return &item;
        if (item.level.empty() && !global)
            global = &item;
    }
    return global;
}

} // namespace

const LmdLevelDesc* LmdSceneDescription::findLevel(const std::string& name) const {
    for (const LmdLevelDesc& level : levels)
        if (level.name == name)
            return &level;
    return nullptr;
}

const LmdMaterialDesc* LmdSceneDescription::findMaterial(const std::string& name, const std::string& level) const {
    return findScoped(materials, name, level);
}

const LmdSkyDesc* LmdSceneDescription::findSky(const std::string& name, const std::string& level) const {
    return findScoped(skies, name, level);
}

const LmdFogDesc* LmdSceneDescription::findFog(const std::string& name, const std::string& level) const {
    return findScoped(fogs, name, level);
}

const LmdSoundDesc* LmdSceneDescription::findSound(const std::string& name, const std::string& level) const {
    return findScoped(sounds, name, level);
}

} // namespace Lumenda3D
