#pragma once
// What the physics world's files share inside the physics room: the Bullet objects behind
// LmdPhysicsWorld, a body as the world keeps it, the conversions to and from Bullet's types and
// the tuning numbers. Only the LmdPhysicsWorld*.cpp files include it.
#include <btBulletDynamicsCommon.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "engine/physics/LmdPhysicsWorld.h"

namespace Lumenda3D {

namespace LmdPhysicsDetail {

// Smallest half size of a shape: thinner shapes make Bullet's margins and contacts unreliable.
constexpr float kMinHalfSize = 0.005f;
// Bullet's usual collision margin, reduced for small shapes so that they keep their size.
constexpr float kDefaultMargin = 0.04f;
// Half the thickness of the slab that stands in for a Plane.
constexpr float kPlaneHalfThickness = 0.05f;
// A new contact counts once a point is within this distance (meters) or takes an impulse.
// Bullet keeps points a little apart too; the pair ends only when the last point is gone, so a
// body resting on the floor does not flicker between touching and not.
constexpr float kTouchDistance = 0.005f;
constexpr std::size_t kMaxPendingCollisions = 10000;
// The fastest a kinematic body may move (m/s) and still carry what stands on it; a faster move
// is a jump to another place, not a ride.
constexpr btScalar kMaxRideSpeed = 30;

// Friction of a contact: the geometric mean (either side at 0 means ice). Restitution: the
// bouncier side wins, so a bouncy ball bounces on a default floor. Bullet multiplies both by
// default, which would make a ball with restitution 0.9 dead on a floor with 0.
inline btScalar combinedFriction(const btCollisionObject* a, const btCollisionObject* b) {
    return std::sqrt(std::max(btScalar(0), a->getFriction() * b->getFriction()));
}
inline btScalar combinedRestitution(const btCollisionObject* a, const btCollisionObject* b) {
    return std::max(a->getRestitution(), b->getRestitution());
}

inline std::string num(double v) {
    std::ostringstream out;
    out << v;
    return out.str();
}

inline bool finite(const LmdPhysicsWorld::Vec3& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

inline btVector3 toBt(const LmdPhysicsWorld::Vec3& v) { return btVector3(v.x, v.y, v.z); }
inline LmdPhysicsWorld::Vec3 fromBt(const btVector3& v) { return {v.x(), v.y(), v.z()}; }

// A transform Bullet can use: false when a value is not finite. A zero quaternion means no
// rotation; others are normalised.
inline bool toBt(const LmdPhysicsWorld::Transform& t, btTransform& out) {
    const auto& q = t.orientation;
    if (!finite(t.position) || !std::isfinite(q.x) || !std::isfinite(q.y) || !std::isfinite(q.z) ||
        !std::isfinite(q.w))
        return false;
    btQuaternion rotation(q.x, q.y, q.z, q.w);
    if (rotation.length2() < btScalar(1e-12))
        rotation = btQuaternion::getIdentity();
    else
        rotation.normalize();
    out = btTransform(rotation, toBt(t.position));
    return true;
}

inline LmdPhysicsWorld::Transform fromBt(const btTransform& t) {
    const btQuaternion q = t.getRotation();
    return {fromBt(t.getOrigin()), {q.x(), q.y(), q.z(), q.w()}};
}

} // namespace LmdPhysicsDetail

struct LmdPhysicsWorld::Bullet {
    btDefaultCollisionConfiguration config;
    btCollisionDispatcher dispatcher{&config};
    btDbvtBroadphase broadphase;
    btSequentialImpulseConstraintSolver solver;
    btDiscreteDynamicsWorld world{&dispatcher, &broadphase, &solver, &config};
};

struct LmdPhysicsWorld::Body {
    std::string key;
    int xmlId = -1;
    unsigned id = 0;
    BodyKind kind = BodyKind::Static;
    bool sensor = false;
    bool reported = false;
    // The triangle mesh data Bullet reads in place, and the shapes; the rigid body goes first.
    std::vector<btScalar> vertices;
    std::vector<int> indices;
    std::unique_ptr<btTriangleIndexVertexArray> mesh;
    std::unique_ptr<btCollisionShape> child;
    std::unique_ptr<btCollisionShape> shape;
    std::unique_ptr<btRigidBody> rigid;
    // Forces gathered for the next step(), applied at every fixed step of it.
    btVector3 pendingForce{0, 0, 0};
    btVector3 pendingTorque{0, 0, 0};
    bool hasPending = false;
    // Kinematic: where moveKinematic asked it to be by the end of the next step(), and where it
    // was when asked; the fixed steps of that step() share the way. Its velocity in the last
    // fixed step, so that what stands on it takes each change of it.
    bool hasTarget = false;
    btTransform targetFrom;
    btTransform target;
    btVector3 lastVelocity{0, 0, 0};

    std::string describe() const {
        std::string text = "'" + key + "'";
        if (xmlId >= 0)
            text += " (id " + std::to_string(xmlId) + ")";
        return text;
    }
};

} // namespace Lumenda3D
