// Kinematic bodies: moved by logic, swept to their target over the fixed steps of a step(), and
// carrying the dynamic bodies that stand on them.
#include "engine/physics/LmdPhysicsWorld.h"

#include "engine/physics/LmdPhysicsWorldBullet.h"

namespace Lumenda3D {

using namespace LmdPhysicsDetail;

bool LmdPhysicsWorld::moveKinematic(const std::string& key, const Transform& transform) {
    Body* body = find(key);
    if (!body || body->kind != BodyKind::Kinematic)
        return false;
    btTransform t;
    if (!toBt(transform, t)) {
        reportOnce(*body, "a move to a position or orientation that is not a number was ignored");
        return false;
    }
    // Only the target: the next step() sweeps the body there over its fixed steps, and Bullet
    // derives the body's velocity from each part of the way.
    if (!body->hasTarget)
        body->targetFrom = body->rigid->getWorldTransform();
    body->target = t;
    body->hasTarget = true;
    return true;
}

void LmdPhysicsWorld::sweepKinematic(int step, int planned) {
    const btScalar dt = static_cast<btScalar>(mFixedStep);
    for (auto& entry : mBodies) {
        Body& body = *entry.second;
        if (body.kind != BodyKind::Kinematic)
            continue;
        btVector3 velocity(0, 0, 0);
        if (body.hasTarget && planned > 0) {
            const btScalar part = btScalar(step + 1) / btScalar(planned);
            const btTransform& from = body.targetFrom;
            btTransform at;
            at.setOrigin(from.getOrigin().lerp(body.target.getOrigin(), part));
            at.setRotation(from.getRotation().slerp(body.target.getRotation(), part));
            velocity = (at.getOrigin() - body.rigid->getWorldTransform().getOrigin()) / dt;
            body.rigid->setWorldTransform(at);
            mBullet->world.updateSingleAabb(body.rigid.get());
            if (step + 1 >= planned)
                body.hasTarget = false;
        }
        const btVector3 change = velocity - body.lastVelocity;
        // A move faster than a ride (a platform put somewhere else in one go) carries nobody,
        // neither when it starts nor when it ends.
        const bool ride = velocity.length() <= kMaxRideSpeed && body.lastVelocity.length() <= kMaxRideSpeed;
        body.lastVelocity = velocity;
        if (ride && !change.isZero())
            carryRiders(body, fromBt(change));
    }
}

void LmdPhysicsWorld::carryRiders(const Body& platform, const Vec3& change) {
    // A dynamic body stands on the platform when a contact's normal points up from the platform
    // to it. It takes the change of the platform's velocity at once, so that friction only has to
    // hold it where it stands (and not to catch up with the platform, which lags and slides).
    btCollisionDispatcher& dispatcher = mBullet->dispatcher;
    for (int i = 0, count = dispatcher.getNumManifolds(); i < count; ++i) {
        const btPersistentManifold* m = dispatcher.getManifoldByIndexInternal(i);
        const auto* a = static_cast<const Body*>(m->getBody0()->getUserPointer());
        const auto* b = static_cast<const Body*>(m->getBody1()->getUserPointer());
        if (!a || !b || (a != &platform && b != &platform))
            continue;
        const Body* rider = a == &platform ? b : a;
        if (rider->kind != BodyKind::Dynamic || rider->sensor)
            continue;
        bool standing = false;
        for (int j = 0; j < m->getNumContacts() && !standing; ++j) {
            const btManifoldPoint& point = m->getContactPoint(j);
            if (point.getDistance() > kTouchDistance * 4)
                continue;
            // The normal on body 1 points towards body 0.
            const btScalar up = point.m_normalWorldOnB.y();
            standing = b == &platform ? up > btScalar(0.7) : up < btScalar(-0.7);
        }
        if (!standing)
            continue;
        btRigidBody& body = *rider->rigid;
        body.setLinearVelocity(body.getLinearVelocity() + btVector3(change.x, change.y, change.z));
        body.activate(true);
    }
}

} // namespace Lumenda3D
