#include "engine/physics/LmdGamePhysics.h"

#include "engine/assets/LmdMeshData.h"
#include "engine/physics/LmdPhysicsWorld.h"
#include "engine/scene/LmdBase3D.h"

#include <OgreSceneNode.h>

namespace Lumenda3D {
namespace {

using Vec3 = LmdPhysicsWorld::Vec3;

Vec3 toVec(const Ogre::Vector3& v) {
    return Vec3{v.x, v.y, v.z};
}

Ogre::Vector3 fromVec(const Vec3& v) {
    return Ogre::Vector3(v.x, v.y, v.z);
}

LmdPhysicsWorld::Transform transformOf(const LmdBase3D& object) {
    LmdPhysicsWorld::Transform t;
    t.position = toVec(object.getWorldPosition());
    const Ogre::Quaternion q = object.getWorldOrientation();
    t.orientation = LmdPhysicsWorld::Quat{q.x, q.y, q.z, q.w};
    return t;
}

Ogre::Vector3 worldScaleOf(const LmdBase3D& object) {
    return object.getNode() ? object.getNode()->_getDerivedScale() : object.getScale();
}

LmdPhysicsWorld::ShapeKind kindOf(LmdShapeType shape) {
    switch (shape) {
    case LmdShapeType::Sphere: return LmdPhysicsWorld::ShapeKind::Sphere;
    case LmdShapeType::Capsule: return LmdPhysicsWorld::ShapeKind::Capsule;
    case LmdShapeType::Cylinder: return LmdPhysicsWorld::ShapeKind::Cylinder;
    case LmdShapeType::Mesh: return LmdPhysicsWorld::ShapeKind::Mesh;
    default: return LmdPhysicsWorld::ShapeKind::Box;
    }
}

} // namespace

LmdGamePhysics::LmdGamePhysics(LmdPhysicsWorld& world) : mWorld(world) {}

void LmdGamePhysics::setGravity(const Ogre::Vector3& gravity) {
    mWorld.setGravity(toVec(gravity));
}

std::string LmdGamePhysics::keyOf(const LmdBase3D& object) const {
    auto found = mKeys.find(&object);
    return found == mKeys.end() ? std::string() : found->second;
}

void LmdGamePhysics::addObject(LmdBase3D& object, const LmdMeshData* mesh) {
    const LmdObjectDesc& d = object.getDesc();
    if (d.physics.body == LmdBodyType::None || !d.hasShape())
        return;
    removeObject(object);
    Ogre::AxisAlignedBox bounds = object.getLocalBounds();
    Ogre::Vector3 size(1.0f), centre(0.0f);
    if (!bounds.isNull() && !bounds.isInfinite()) {
        size = bounds.getSize();
        centre = bounds.getCenter();
    }
    LmdPhysicsWorld::BodyDesc body;
    if (d.physics.shape == LmdShapeType::Mesh && mesh && !mesh->empty()) {
        body.shape.kind = LmdPhysicsWorld::ShapeKind::Mesh;
        const float scale = object.getShapeScale();
        for (const LmdSubMeshData& sub : mesh->subMeshes) {
            const unsigned base = unsigned(body.shape.vertices.size() / 3);
            for (size_t i = 0; i + 2 < sub.positions.size(); i += 3) {
                const Ogre::Vector3 p = Ogre::Vector3(&sub.positions[i]) * scale + d.pivot;
                body.shape.vertices.insert(body.shape.vertices.end(), {p.x, p.y, p.z});
            }
            for (std::uint32_t index : sub.indices)
                body.shape.indices.push_back(base + index);
        }
    } else if (d.physics.shape == LmdShapeType::Auto) {
        body.shape = LmdPhysicsWorld::autoShape(d.element, toVec(size), toVec(centre));
    } else {
        body.shape = LmdPhysicsWorld::fitShape(kindOf(d.physics.shape), toVec(size), toVec(centre));
    }
    const std::string key = "body" + std::to_string(++mSerial);
    body.key = key;
    body.xmlId = d.xmlId;
    body.kind = d.physics.body == LmdBodyType::Dynamic     ? LmdPhysicsWorld::BodyKind::Dynamic
                : d.physics.body == LmdBodyType::Kinematic ? LmdPhysicsWorld::BodyKind::Kinematic
                                                           : LmdPhysicsWorld::BodyKind::Static;
    body.scale = toVec(worldScaleOf(object));
    body.transform = transformOf(object);
    body.mass = d.physics.mass;
    body.friction = d.physics.friction;
    body.restitution = d.physics.restitution;
    body.damping = d.physics.damping;
    body.lockRotation = d.physics.lockRotation;
    body.sensor = d.physics.sensor;
    if (!mWorld.addBody(body))
        return;
    mKeys[&object] = key;
    mObjects[key] = &object;
    if (body.kind == LmdPhysicsWorld::BodyKind::Kinematic)
        mKinematic[&object] = true;
    mBodies[&object] = std::move(body);
}

void LmdGamePhysics::removeObject(LmdBase3D& object) {
    auto found = mKeys.find(&object);
    if (found == mKeys.end())
        return;
    mWorld.removeBody(found->second);
    mObjects.erase(found->second);
    mKinematic.erase(&object);
    mBodies.erase(&object);
    mKeys.erase(found);
}

void LmdGamePhysics::clear() {
    mWorld.clear();
    mKeys.clear();
    mObjects.clear();
    mKinematic.clear();
    mBodies.clear();
}

std::vector<std::pair<LmdBase3D*, LmdBase3D*>> LmdGamePhysics::step(float dt) {
    std::vector<std::pair<LmdBase3D*, LmdBase3D*>> touches;
    if (mKeys.empty())
        return touches;
    mWorld.step(dt);
    for (auto& [object, key] : mKeys) {
        if (object->getDesc().physics.body != LmdBodyType::Dynamic)
            continue;
        if (auto transform = mWorld.getTransform(key)) {
            const Ogre::Quaternion q(transform->orientation.w, transform->orientation.x, transform->orientation.y,
                                     transform->orientation.z);
            const_cast<LmdBase3D*>(object)->setWorldTransform(fromVec(transform->position), q);
        }
    }
    for (const LmdPhysicsWorld::Collision& c : mWorld.takeCollisions()) {
        auto a = mObjects.find(c.keyA), b = mObjects.find(c.keyB);
        if (a != mObjects.end() && b != mObjects.end())
            touches.emplace_back(a->second, b->second);
    }
    return touches;
}

void LmdGamePhysics::objectMoved(LmdBase3D& object) {
    const std::string key = keyOf(object);
    if (key.empty())
        return;
    const LmdPhysicsWorld::Transform transform = transformOf(object);
    if (object.getDesc().physics.body == LmdBodyType::Dynamic) {
        const auto velocity = mWorld.getLinearVelocity(key);
        mWorld.setTransform(key, transform);
        if (velocity)
            mWorld.setLinearVelocity(key, *velocity);
        return;
    }
    if (!mKinematic[&object]) {
        // Re-made as a kinematic body at its old place, then swept to the new one.
        auto stored = mBodies.find(&object);
        if (stored == mBodies.end())
            return;
        LmdPhysicsWorld::BodyDesc body = stored->second;
        body.kind = LmdPhysicsWorld::BodyKind::Kinematic;
        if (auto old = mWorld.getTransform(key))
            body.transform = *old;
        mWorld.addBody(body); // replaces the static body of the same key
        mKinematic[&object] = true;
    }
    mWorld.moveKinematic(key, transform);
}

bool LmdGamePhysics::applyForce(LmdBase3D& object, const Ogre::Vector3& force, bool impulse, bool local) {
    const std::string key = keyOf(object);
    if (key.empty() || object.getDesc().physics.body != LmdBodyType::Dynamic)
        return false;
    const auto space = local ? LmdPhysicsWorld::Space::Local : LmdPhysicsWorld::Space::World;
    return impulse ? mWorld.applyImpulse(key, toVec(force), space) : mWorld.applyForce(key, toVec(force), space);
}

bool LmdGamePhysics::setVelocity(LmdBase3D& object, std::optional<float> vx, std::optional<float> vy,
                                 std::optional<float> vz, bool local) {
    const std::string key = keyOf(object);
    if (key.empty() || object.getDesc().physics.body != LmdBodyType::Dynamic)
        return false;
    const auto space = local ? LmdPhysicsWorld::Space::Local : LmdPhysicsWorld::Space::World;
    Vec3 velocity = mWorld.getLinearVelocity(key, space).value_or(Vec3{});
    if (vx)
        velocity.x = *vx;
    if (vy)
        velocity.y = *vy;
    if (vz)
        velocity.z = *vz;
    return mWorld.setLinearVelocity(key, velocity, space);
}

bool LmdGamePhysics::getVelocity(const LmdBase3D& object, Ogre::Vector3& velocity) const {
    const std::string key = keyOf(object);
    if (key.empty())
        return false;
    auto v = mWorld.getLinearVelocity(key);
    if (!v)
        return false;
    velocity = fromVec(*v);
    return true;
}

} // namespace Lumenda3D
