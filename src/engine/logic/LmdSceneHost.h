#pragma once
// The play scene as game logic sees it: LmdScriptHost over the scene's 3D objects and 2D
// elements (found by name), the physics bridge, the sound system and level changes. The runtime
// (LmdRuntime) owns one and points it at the play scene of the moment.
#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "engine/logic/LmdScriptHost.h"

namespace Ogre {
class Viewport;
}

namespace Lumenda3D {

class LmdBase2D;
class LmdBase3D;
class LmdGamePhysics;
class LmdMaterialFactory;
class LmdScene;
class LmdSoundSystem;

class LmdSceneHost : public LmdScriptHost {
public:
    struct Services {
        LmdScene* scene = nullptr;
        LmdGamePhysics* physics = nullptr;
        LmdSoundSystem* sound = nullptr;
        LmdMaterialFactory* materials = nullptr;
        Ogre::Viewport* viewport = nullptr;
        // Builds the play scene of a level ("" = the current one again); false when there is none.
        std::function<bool(const std::string& level)> goToLevel;
    };

    // A new scene (a level built for play, or none) starts the names of copies afresh.
    void setServices(const Services& services) {
        mServices = services;
        mGivenNames.clear();
        mNameSerials.clear();
    }
    const Services& services() const { return mServices; }

    bool hasObject(const std::string& object) override;
    bool getProperty(const std::string& object, const std::string& property, LmdScriptValue& value) override;
    bool setProperty(const std::string& object, const std::string& property, const LmdScriptValue& value) override;
    bool translate(const std::string& object, double dx, double dy, double dz, bool local) override;
    bool lookAt(const std::string& object, const std::string& target) override;
    bool applyForce(const std::string& object, double fx, double fy, double fz, bool impulse, bool local) override;
    bool setVelocity(const std::string& object, std::optional<double> vx, std::optional<double> vy,
                     std::optional<double> vz, bool local) override;
    bool destroyObject(const std::string& object) override;
    std::string cloneObject(const std::string& object, const std::string& newName, double dx, double dy,
                            double dz) override;
    bool playAnimation(const std::string& object, const std::string& animation, bool loop, double speed) override;
    bool stopAnimation(const std::string& object) override;
    bool switchLight(const std::string& light, bool on) override;
    bool playSound(const std::string& sound, double volume, bool loop) override;
    void stopSound(const std::string& sound) override;
    bool distance(const std::string& a, const std::string& b, double& result) override;
    bool goToLevel(const std::string& level) override;

private:
    LmdBase3D* object3D(const std::string& name) const;
    LmdBase2D* element2D(const std::string& name) const;
    // The name of a new copy: `wanted` when nothing has it and no copy had it before in this
    // scene, else "<wanted or base>_<n>" with n counting up per stem, so that a name is never
    // given twice while the scene lives, even after its copy was destroyed.
    std::string freeName(const std::string& wanted, const std::string& base);
    bool nameTaken(const std::string& name);

    Services mServices;
    std::unordered_set<std::string> mGivenNames;
    std::unordered_map<std::string, int> mNameSerials;
};

} // namespace Lumenda3D
