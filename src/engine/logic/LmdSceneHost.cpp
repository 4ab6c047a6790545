#include "engine/logic/LmdSceneHost.h"

#include "base/LmdValueParser.h"
#include "engine/app/LmdEditorCamera.h"
#include "engine/physics/LmdGamePhysics.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdObjectProperties.h"
#include "engine/scene/LmdScene.h"
#include "engine/sound/LmdSoundSystem.h"

#include <OgreSceneNode.h>

namespace Lumenda3D {

LmdBase3D* LmdSceneHost::object3D(const std::string& name) const {
    return mServices.scene ? mServices.scene->objectByName(name) : nullptr;
}

LmdBase2D* LmdSceneHost::element2D(const std::string& name) const {
    return mServices.scene ? mServices.scene->elementByName(name) : nullptr;
}

bool LmdSceneHost::hasObject(const std::string& object) {
    return object3D(object) || element2D(object);
}

bool LmdSceneHost::getProperty(const std::string& object, const std::string& property, LmdScriptValue& value) {
    if (LmdBase3D* o = object3D(object)) {
        LmdObjectProperties::Context context{mServices.scene, mServices.materials, mServices.physics, mServices.viewport};
        return LmdObjectProperties::get(context, *o, property, value);
    }
    if (LmdBase2D* e = element2D(object))
        return e->getProperty(property, value);
    return false;
}

bool LmdSceneHost::setProperty(const std::string& object, const std::string& property, const LmdScriptValue& value) {
    if (LmdBase3D* o = object3D(object)) {
        LmdObjectProperties::Context context{mServices.scene, mServices.materials, mServices.physics, mServices.viewport};
        return LmdObjectProperties::set(context, *o, property, value);
    }
    if (LmdBase2D* e = element2D(object))
        return e->setProperty(property, value);
    return false;
}

bool LmdSceneHost::translate(const std::string& object, double dx, double dy, double dz, bool local) {
    if (LmdBase3D* o = object3D(object)) {
        Ogre::Vector3 delta{float(dx), float(dy), float(dz)};
        if (local)
            delta = o->getOrientation() * delta;
        o->setPosition(o->getPosition() + delta);
        if (mServices.physics)
            mServices.physics->objectMoved(*o);
        return true;
    }
    if (LmdBase2D* e = element2D(object)) {
        e->desc().x += float(dx);
        e->desc().y += float(dy);
        return true;
    }
    return false;
}

bool LmdSceneHost::lookAt(const std::string& object, const std::string& target) {
    LmdBase3D* o = object3D(object);
    LmdBase3D* t = object3D(target);
    if (!o || !t)
        return false;
    const Ogre::Vector3 from = o->getWorldPosition(), to = t->getWorldPosition();
    if (from.squaredDistance(to) < 1e-10f)
        return true;
    o->setWorldTransform(from, LmdEditorCamera::lookAtOrientation(from, to));
    if (mServices.physics)
        mServices.physics->objectMoved(*o);
    return true;
}

bool LmdSceneHost::applyForce(const std::string& object, double fx, double fy, double fz, bool impulse, bool local) {
    LmdBase3D* o = object3D(object);
    if (!o || !mServices.physics)
        return false;
    return mServices.physics->applyForce(*o, Ogre::Vector3{float(fx), float(fy), float(fz)}, impulse, local);
}

bool LmdSceneHost::setVelocity(const std::string& object, std::optional<double> vx, std::optional<double> vy,
                               std::optional<double> vz, bool local) {
    LmdBase3D* o = object3D(object);
    if (!o || !mServices.physics)
        return false;
    auto f = [](std::optional<double> v) { return v ? std::optional<float>(float(*v)) : std::nullopt; };
    return mServices.physics->setVelocity(*o, f(vx), f(vy), f(vz), local);
}

bool LmdSceneHost::destroyObject(const std::string& object) {
    if (LmdBase3D* o = object3D(object)) {
        mServices.scene->removeObject(o);
        return true;
    }
    if (LmdBase2D* e = element2D(object)) {
        mServices.scene->removeElement(e);
        return true;
    }
    return false;
}

bool LmdSceneHost::nameTaken(const std::string& name) {
    return mGivenNames.count(name) || object3D(name) || element2D(name);
}

std::string LmdSceneHost::freeName(const std::string& wanted, const std::string& base) {
    std::string name = wanted;
    if (wanted.empty() || nameTaken(wanted)) {
        const std::string stem = (wanted.empty() ? base : wanted) + "_";
        int& serial = mNameSerials[stem];
        do
            name = stem + std::to_string(++serial);
        while (nameTaken(name));
    }
    mGivenNames.insert(name);
    return name;
}

std::string LmdSceneHost::cloneObject(const std::string& object, const std::string& newName, double dx, double dy,
                                      double dz) {
    LmdBase3D* source = object3D(object);
    if (!source || !mServices.scene)
        return std::string();
    const std::string name = freeName(std::string(LmdValueParser::trim(newName)), object);
    LmdBase3D* copy = mServices.scene->cloneObject(source, name, Ogre::Vector3{float(dx), float(dy), float(dz)});
    return copy ? copy->getName() : std::string();
}

bool LmdSceneHost::playAnimation(const std::string& object, const std::string& animation, bool loop, double speed) {
    LmdBase3D* o = object3D(object);
    return o && o->playAnimation(animation, loop, float(speed));
}

bool LmdSceneHost::stopAnimation(const std::string& object) {
    LmdBase3D* o = object3D(object);
    if (!o)
        return false;
    o->stopAnimation();
    return true;
}

bool LmdSceneHost::switchLight(const std::string& light, bool on) {
    LmdBase3D* o = object3D(light);
    if (!o || !o->getDesc().isLight())
        return false;
    o->setLightOn(on);
    return true;
}

bool LmdSceneHost::playSound(const std::string& sound, double volume, bool loop) {
    return mServices.sound ? mServices.sound->play(sound, float(volume), loop) : true;
}

void LmdSceneHost::stopSound(const std::string& sound) {
    if (mServices.sound)
        mServices.sound->stop(sound);
}

bool LmdSceneHost::distance(const std::string& a, const std::string& b, double& result) {
    LmdBase3D* oa = object3D(a);
    LmdBase3D* ob = object3D(b);
    if (!oa || !ob)
        return false;
    result = double(oa->getWorldPosition().distance(ob->getWorldPosition()));
    return true;
}

bool LmdSceneHost::goToLevel(const std::string& level) {
    return mServices.goToLevel ? mServices.goToLevel(level) : false;
}

} // namespace Lumenda3D
