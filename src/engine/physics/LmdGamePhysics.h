#pragma once
// Connects the play scene's objects with the physics world. Every object with body="static",
// "dynamic" or "kinematic" gets a body of its shape (the collision shape fits the object's mesh: `auto`
// picks one by the element, or box, sphere, capsule, cylinder or the mesh itself) at the
// object's world place and scale. After each step, dynamic bodies move their objects. When logic
// moves an object that has a body, the body follows: a dynamic body keeps its speed, a kinematic
// one sweeps there and carries what stands on it (moving platforms), and a static one becomes
// kinematic at its first move.
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <OgreVector.h>

#include "engine/physics/LmdPhysicsWorld.h"

namespace Lumenda3D {

class LmdBase3D;
struct LmdMeshData;

class LmdGamePhysics {
public:
    explicit LmdGamePhysics(LmdPhysicsWorld& world);

    void setGravity(const Ogre::Vector3& gravity);
    // Makes the object's body when its description asks for one. `mesh` gives the vertices for
    // shape="mesh" (may be null).
    void addObject(LmdBase3D& object, const LmdMeshData* mesh);
    void removeObject(LmdBase3D& object);
    void clear();
    bool hasBody(const LmdBase3D& object) const { return mKeys.count(&object) != 0; }
    size_t bodyCount() const { return mKeys.size(); }

    // Advances the world and moves the objects of dynamic bodies. Returns the pairs of objects
    // that began touching during the step (names may repeat; objects are what touched).
    std::vector<std::pair<LmdBase3D*, LmdBase3D*>> step(float dt);

    // Logic moved, turned or scaled the object: bring its body along.
    void objectMoved(LmdBase3D& object);
    bool applyForce(LmdBase3D& object, const Ogre::Vector3& force, bool impulse, bool local);
    bool setVelocity(LmdBase3D& object, std::optional<float> vx, std::optional<float> vy, std::optional<float> vz,
                     bool local);
    bool getVelocity(const LmdBase3D& object, Ogre::Vector3& velocity) const;

private:
    std::string keyOf(const LmdBase3D& object) const;

    LmdPhysicsWorld& mWorld;
    std::unordered_map<const LmdBase3D*, std::string> mKeys;
    std::unordered_map<std::string, LmdBase3D*> mObjects;
    std::unordered_map<const LmdBase3D*, bool> mKinematic;
    std::unordered_map<const LmdBase3D*, LmdPhysicsWorld::BodyDesc> mBodies;
    int mSerial = 0;
};

} // namespace Lumenda3D
