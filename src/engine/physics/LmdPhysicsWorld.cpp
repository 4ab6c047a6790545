#include "engine/physics/LmdPhysicsWorld.h"

#include "base/LmdLog.h"
#include "engine/physics/LmdPhysicsWorldBullet.h"

#include <BulletCollision/CollisionDispatch/btManifoldResult.h>

namespace Lumenda3D {

using namespace LmdPhysicsDetail;

LmdPhysicsWorld::LmdPhysicsWorld() : mBullet(std::make_unique<Bullet>()) {
    gCalculateCombinedFrictionCallback = &combinedFriction;
    gCalculateCombinedRestitutionCallback = &combinedRestitution;
    mBullet->world.setGravity(btVector3(0, btScalar(-9.81), 0));
}

LmdPhysicsWorld::~LmdPhysicsWorld() { clear(); }

void LmdPhysicsWorld::setGravity(const Vec3& gravity) {
    if (!finite(gravity)) {
        LmdLog::critical("Physics error in Level: gravity " + num(gravity.x) + ", " + num(gravity.y) + ", " +
                         num(gravity.z) + " is not a number; gravity unchanged");
        return;
    }
    const btVector3 g = toBt(gravity);
    mBullet->world.setGravity(g);
    // Bullet only updates awake bodies; sleeping ones must wake up and fall the new way too.
    for (auto& entry : mBodies) {
        Body& body = *entry.second;
        if (body.kind == BodyKind::Dynamic) {
            body.rigid->setGravity(g);
            body.rigid->activate(true);
        }
    }
}

LmdPhysicsWorld::Vec3 LmdPhysicsWorld::getGravity() const { return fromBt(mBullet->world.getGravity()); }

void LmdPhysicsWorld::setFixedTimeStep(float seconds, int maxSubSteps) {
    if (std::isfinite(seconds))
        mFixedStep = std::clamp(static_cast<double>(seconds), 1.0 / 1000.0, 1.0 / 10.0);
    mMaxSubSteps = std::clamp(maxSubSteps, 1, 100);
}

int LmdPhysicsWorld::step(float dt) {
    if (mDelivering) {
        LmdLog::message("Physics: step() called from a collision callback; ignored");
        return 0;
    }
    int steps = 0;
    if (std::isfinite(dt) && dt > 0) {
        mAccumulator += dt;
        // The tolerance keeps a frame of exactly one fixed step from rounding down to none.
        // The fixed steps this call will make: kinematic bodies go their way in as many parts.
        const int planned =
            std::min(mMaxSubSteps, static_cast<int>(std::floor((mAccumulator + 1e-9) / mFixedStep)));
        while (mAccumulator + 1e-9 >= mFixedStep && steps < mMaxSubSteps) {
            sweepKinematic(steps, planned);
            for (auto& entry : mBodies) {
                Body& body = *entry.second;
                if (body.hasPending) {
                    body.rigid->applyCentralForce(body.pendingForce);
                    body.rigid->applyTorque(body.pendingTorque);
                }
            }
            // One variable step of exactly the fixed length: the accumulator is ours, so that
            // contacts can be read after every fixed step. Bullet clears forces after it.
            mBullet->world.stepSimulation(static_cast<btScalar>(mFixedStep), 0, static_cast<btScalar>(mFixedStep));
            collectContacts();
            mAccumulator -= mFixedStep;
            ++steps;
        }
        if (mAccumulator >= mFixedStep)
            mAccumulator = 0.0; // a frame too long to catch up with: drop the backlog
    }
    for (auto& entry : mBodies) {
        Body& body = *entry.second;
        body.pendingForce.setZero();
        body.pendingTorque.setZero();
        body.hasPending = false;
    }
    deliverCollisions();
    return steps;
}

bool LmdPhysicsWorld::addBody(const BodyDesc& desc) {
    const std::string who =
        "'" + desc.key + "'" + (desc.xmlId >= 0 ? " (id " + std::to_string(desc.xmlId) + ")" : "");
    auto refuse = [&](const std::string& why) {
        LmdLog::critical("Physics error in " + who + ": " + why + "; the object has no physics");
        return false;
    };
    if (desc.key.empty())
        return refuse("the object has no name to know its body by");
    btTransform start;
    if (!toBt(desc.transform, start))
        return refuse("its position or orientation is not a number");

    // Values that can be repaired are, and all repairs go into one log line.
    std::vector<std::string> fixes;
    auto scaleOf = [&](float v, const char* axis) {
        if (!std::isfinite(v)) {
            fixes.push_back(std::string("scale ") + axis + " " + num(v) + " is not a number (using 1)");
            return 1.0f;
        }
        return std::fabs(v);
    };
    const Vec3 scale{scaleOf(desc.scale.x, "X"), scaleOf(desc.scale.y, "Y"), scaleOf(desc.scale.z, "Z")};
    auto sizeOf = [&](float v, const char* what) {
        if (!std::isfinite(v) || v <= 0) {
            fixes.push_back(std::string(what) + " " + num(v) + " is not above 0 (using " + num(kMinHalfSize) + ")");
            return kMinHalfSize;
        }
        return std::max(v, kMinHalfSize);
    };
    auto property = [&](float v, float low, float high, float fallback, const char* what) {
        if (!std::isfinite(v)) {
            fixes.push_back(std::string(what) + " " + num(v) + " is not a number (using " + num(fallback) + ")");
            return fallback;
        }
        if (v < low || v > high) {
            const float clamped = std::clamp(v, low, high);
            fixes.push_back(std::string(what) + " " + num(v) + " is outside " + num(low) + ".." + num(high) +
                            " (using " + num(clamped) + ")");
            return clamped;
        }
        return v;
    };
    const ShapeDesc& s = desc.shape;
    Vec3 offset = s.offset;
    if (!finite(offset)) {
        fixes.push_back("shape offset is not a number (using none)");
        offset = {};
    }
    offset = {offset.x * scale.x, offset.y * scale.y, offset.z * scale.z};

    auto body = std::make_unique<Body>();
    body->key = desc.key;
    body->xmlId = desc.xmlId;
    body->kind = desc.kind;
    body->sensor = desc.sensor;

    // Sizes are scaled here rather than through Bullet's local scaling, which round shapes
    // ignore on all but one axis.
    std::unique_ptr<btCollisionShape> shape;
    switch (s.kind) {
    case ShapeKind::Box: {
        const btVector3 half(sizeOf(s.halfExtents.x * scale.x, "box half width"),
                             sizeOf(s.halfExtents.y * scale.y, "box half height"),
                             sizeOf(s.halfExtents.z * scale.z, "box half depth"));
        auto box = std::make_unique<btBoxShape>(half);
        box->setMargin(std::min(kDefaultMargin, std::min({half.x(), half.y(), half.z()}) * 0.5f));
        shape = std::move(box);
        break;
    }
    case ShapeKind::Sphere:
        shape = std::make_unique<btSphereShape>(
            sizeOf(s.radius * std::max({scale.x, scale.y, scale.z}), "sphere radius"));
        break;
    case ShapeKind::Capsule: {
        const float radius = sizeOf(s.radius * std::max(scale.x, scale.z), "capsule radius");
        const float height = sizeOf(s.height * scale.y, "capsule height");
        // Bullet's capsule height is the straight part between the two half spheres.
        shape = std::make_unique<btCapsuleShape>(radius, std::max(0.0f, height - 2 * radius));
        break;
    }
    case ShapeKind::Cylinder: {
        const float radius = sizeOf(s.radius * std::max(scale.x, scale.z), "cylinder radius");
        const float half = sizeOf(s.height * scale.y, "cylinder height") / 2;
        auto cylinder = std::make_unique<btCylinderShape>(btVector3(radius, half, radius));
        cylinder->setMargin(std::min({kDefaultMargin, radius * 0.5f, half * 0.5f}));
        shape = std::move(cylinder);
        break;
    }
    case ShapeKind::Cone: {
        const float radius = sizeOf(s.radius * std::max(scale.x, scale.z), "cone radius");
        const float height = sizeOf(s.height * scale.y, "cone height");
        auto cone = std::make_unique<btConeShape>(radius, height);
        cone->setMargin(std::min({kDefaultMargin, radius * 0.5f, height * 0.25f}));
        shape = std::move(cone);
        break;
    }
    case ShapeKind::Mesh: {
        const std::size_t vertexCount = s.vertices.size() / 3;
        if (s.vertices.size() % 3 != 0 || vertexCount < 3 || s.indices.size() % 3 != 0 || s.indices.empty())
            return refuse("its collision mesh needs at least one triangle (" + std::to_string(s.vertices.size()) +
                          " coordinates, " + std::to_string(s.indices.size()) + " indices)");
        for (float v : s.vertices)
            if (!std::isfinite(v))
                return refuse("its collision mesh has a vertex that is not a number");
        for (unsigned i : s.indices)
            if (i >= vertexCount)
                return refuse("its collision mesh refers to vertex " + std::to_string(i) + " of " +
                              std::to_string(vertexCount));
        body->vertices.reserve(s.vertices.size());
        for (std::size_t i = 0; i < vertexCount; ++i) {
            body->vertices.push_back(s.vertices[3 * i] * scale.x + offset.x);
            body->vertices.push_back(s.vertices[3 * i + 1] * scale.y + offset.y);
            body->vertices.push_back(s.vertices[3 * i + 2] * scale.z + offset.z);
        }
        offset = {}; // baked into the vertices
        if (desc.kind == BodyKind::Dynamic) {
            // Bullet cannot move a triangle mesh: a moving mesh collides as its convex hull.
            auto hull = std::make_unique<btConvexHullShape>();
            for (std::size_t i = 0; i < vertexCount; ++i)
                hull->addPoint(btVector3(body->vertices[3 * i], body->vertices[3 * i + 1], body->vertices[3 * i + 2]),
                               false);
            hull->recalcLocalAabb();
            hull->optimizeConvexHull();
            hull->setMargin(0.01f);
            shape = std::move(hull);
        } else {
            body->indices.assign(s.indices.begin(), s.indices.end());
            body->mesh = std::make_unique<btTriangleIndexVertexArray>(
                static_cast<int>(body->indices.size() / 3), body->indices.data(), static_cast<int>(3 * sizeof(int)),
                static_cast<int>(vertexCount), body->vertices.data(), static_cast<int>(3 * sizeof(btScalar)));
            shape = std::make_unique<btBvhTriangleMeshShape>(body->mesh.get(), true);
        }
        break;
    }
    }
    if (offset.x != 0 || offset.y != 0 || offset.z != 0) {
        auto compound = std::make_unique<btCompoundShape>();
        compound->addChildShape(btTransform(btQuaternion::getIdentity(), toBt(offset)), shape.get());
        body->child = std::move(shape);
        shape = std::move(compound);
    }

    float mass = 0;
    if (desc.kind == BodyKind::Dynamic) {
        mass = desc.mass;
        if (!std::isfinite(mass) || mass <= 0) {
            fixes.push_back("mass " + num(mass) + " is not above 0 (using 1)");
            mass = 1;
        }
    }
    const float friction = property(desc.friction, 0, 100, 0.5f, "friction");
    const float restitution = property(desc.restitution, 0, 1, 0, "restitution");
    const float damping = property(desc.damping, 0, 1, 0, "damping");

    btVector3 inertia(0, 0, 0);
    if (mass > 0)
        shape->calculateLocalInertia(mass, inertia);
    btRigidBody::btRigidBodyConstructionInfo info(mass, nullptr, shape.get(), inertia);
    info.m_startWorldTransform = start;
    info.m_friction = friction;
    info.m_restitution = restitution;
    info.m_linearDamping = damping;
    info.m_angularDamping = damping;
    body->rigid = std::make_unique<btRigidBody>(info);
    body->shape = std::move(shape);
    btRigidBody& rigid = *body->rigid;
    rigid.setUserPointer(body.get());
    if (desc.kind == BodyKind::Kinematic) {
        rigid.setCollisionFlags(rigid.getCollisionFlags() | btCollisionObject::CF_KINEMATIC_OBJECT);
        rigid.setActivationState(DISABLE_DEACTIVATION);
    }
    if (desc.sensor)
        rigid.setCollisionFlags(rigid.getCollisionFlags() | btCollisionObject::CF_NO_CONTACT_RESPONSE);
    if (desc.kind == BodyKind::Dynamic) {
        if (desc.lockRotation)
            rigid.setAngularFactor(0);
        if (!desc.sensor) {
            // Continuous collision for small fast bodies (bullets), sized to the body.
            btVector3 low, high;
            body->shape->getAabb(btTransform::getIdentity(), low, high);
            const btScalar smallest = (high - low)[(high - low).minAxis()];
            rigid.setCcdMotionThreshold(smallest * btScalar(0.5));
            rigid.setCcdSweptSphereRadius(smallest * btScalar(0.2));
        }
    }

    if (!fixes.empty()) {
        std::string line = "Physics error in " + who + ": ";
        for (std::size_t i = 0; i < fixes.size(); ++i)
            line += (i ? "; " : "") + fixes[i];
        LmdLog::critical(line);
    }

    if (Body* old = find(desc.key))
        destroyBody(*old);
    body->id = mNextId++;
    mBullet->world.addRigidBody(body->rigid.get());
    mBodiesById[body->id] = body.get();
    mBodies[desc.key] = std::move(body);
    return true;
}

LmdPhysicsWorld::Body* LmdPhysicsWorld::find(const std::string& key) const {
    auto it = mBodies.find(key);
    return it == mBodies.end() ? nullptr : it->second.get();
}

bool LmdPhysicsWorld::hasBody(const std::string& key) const { return find(key) != nullptr; }

void LmdPhysicsWorld::wakeTouching(const Body& body) {
    btCollisionDispatcher& dispatcher = mBullet->dispatcher;
    for (int i = 0; i < dispatcher.getNumManifolds(); ++i) {
        btPersistentManifold* m = dispatcher.getManifoldByIndexInternal(i);
        const btCollisionObject* a = m->getBody0();
        const btCollisionObject* b = m->getBody1();
        if (a == body.rigid.get())
            const_cast<btCollisionObject*>(b)->activate(true);
        else if (b == body.rigid.get())
            const_cast<btCollisionObject*>(a)->activate(true);
    }
}

void LmdPhysicsWorld::destroyBody(Body& body) {
    // Bodies resting on this one must not stay asleep in mid-air.
    wakeTouching(body);
    for (auto it = mTouching.begin(); it != mTouching.end();) {
        if (it->first == body.id || it->second == body.id)
            it = mTouching.erase(it);
        else
            ++it;
    }
    mBullet->world.removeRigidBody(body.rigid.get());
    mBodiesById.erase(body.id);
    const std::string key = body.key;
    mBodies.erase(key); // destroys `body`
}

bool LmdPhysicsWorld::removeBody(const std::string& key) {
    Body* body = find(key);
    if (!body)
        return false;
    destroyBody(*body);
    return true;
}

void LmdPhysicsWorld::clear() {
    while (!mBodies.empty())
        destroyBody(*mBodies.begin()->second);
    mTouching.clear();
    mPending.clear();
    mAccumulator = 0.0;
}

void LmdPhysicsWorld::reportOnce(Body& body, const std::string& what) {
    if (body.reported)
        return;
    body.reported = true;
    LmdLog::critical("Physics error in " + body.describe() + ": " + what);
}

std::optional<LmdPhysicsWorld::Transform> LmdPhysicsWorld::getTransform(const std::string& key) const {
    const Body* body = find(key);
    if (!body)
        return std::nullopt;
    return fromBt(body->rigid->getWorldTransform());
}

bool LmdPhysicsWorld::setTransform(const std::string& key, const Transform& transform) {
    Body* body = find(key);
    if (!body)
        return false;
    btTransform t;
    if (!toBt(transform, t)) {
        reportOnce(*body, "a move to a position or orientation that is not a number was ignored");
        return false;
    }
    wakeTouching(*body); // the old neighbours
    body->hasTarget = false;
    body->lastVelocity.setZero();
    btRigidBody& rigid = *body->rigid;
    rigid.setWorldTransform(t);
    rigid.setInterpolationWorldTransform(t);
    rigid.setLinearVelocity(btVector3(0, 0, 0));
    rigid.setAngularVelocity(btVector3(0, 0, 0));
    rigid.setInterpolationLinearVelocity(btVector3(0, 0, 0));
    rigid.setInterpolationAngularVelocity(btVector3(0, 0, 0));
    rigid.clearForces();
    body->pendingForce.setZero();
    body->pendingTorque.setZero();
    body->hasPending = false;
    mBullet->world.updateSingleAabb(&rigid);
    if (body->kind == BodyKind::Dynamic)
        rigid.activate(true);
    return true;
}

std::optional<LmdPhysicsWorld::Vec3> LmdPhysicsWorld::getLinearVelocity(const std::string& key, Space space) const {
    const Body* body = find(key);
    if (!body)
        return std::nullopt;
    btVector3 v = body->rigid->getLinearVelocity();
    if (space == Space::Local)
        v = body->rigid->getWorldTransform().getBasis().transpose() * v;
    return fromBt(v);
}

bool LmdPhysicsWorld::setLinearVelocity(const std::string& key, const Vec3& velocity, Space space) {
    Body* body = find(key);
    if (!body || body->kind != BodyKind::Dynamic)
        return false;
    if (!finite(velocity)) {
        reportOnce(*body, "a velocity that is not a number was ignored");
        return false;
    }
    btVector3 v = toBt(velocity);
    if (space == Space::Local)
        v = body->rigid->getWorldTransform().getBasis() * v;
    body->rigid->setLinearVelocity(v);
    body->rigid->activate(true);
    return true;
}

std::optional<LmdPhysicsWorld::Vec3> LmdPhysicsWorld::getAngularVelocity(const std::string& key) const {
    const Body* body = find(key);
    if (!body)
        return std::nullopt;
    return fromBt(body->rigid->getAngularVelocity());
}

bool LmdPhysicsWorld::applyForce(const std::string& key, const Vec3& force, Space space, const Vec3& offset) {
    Body* body = find(key);
    if (!body || body->kind != BodyKind::Dynamic)
        return false;
    if (!finite(force) || !finite(offset)) {
        reportOnce(*body, "a force that is not a number was ignored");
        return false;
    }
    btVector3 f = toBt(force), at = toBt(offset);
    if (space == Space::Local) {
        const btMatrix3x3& basis = body->rigid->getWorldTransform().getBasis();
        f = basis * f;
        at = basis * at;
    }
    body->pendingForce += f;
    body->pendingTorque += at.cross(f);
    body->hasPending = true;
    body->rigid->activate(true);
    return true;
}

bool LmdPhysicsWorld::applyImpulse(const std::string& key, const Vec3& impulse, Space space, const Vec3& offset) {
    Body* body = find(key);
    if (!body || body->kind != BodyKind::Dynamic)
        return false;
    if (!finite(impulse) || !finite(offset)) {
        reportOnce(*body, "an impulse that is not a number was ignored");
        return false;
    }
    btVector3 j = toBt(impulse), at = toBt(offset);
    if (space == Space::Local) {
        const btMatrix3x3& basis = body->rigid->getWorldTransform().getBasis();
        j = basis * j;
        at = basis * at;
    }
    body->rigid->applyImpulse(j, at);
    body->rigid->activate(true);
    return true;
}

void LmdPhysicsWorld::collectContacts() {
    std::set<std::pair<unsigned, unsigned>> now;
    btCollisionDispatcher& dispatcher = mBullet->dispatcher;
    const int count = dispatcher.getNumManifolds();
    for (int i = 0; i < count; ++i) {
        const btPersistentManifold* m = dispatcher.getManifoldByIndexInternal(i);
        const int points = m->getNumContacts();
        if (points == 0)
            continue;
        const auto* a = static_cast<const Body*>(m->getBody0()->getUserPointer());
        const auto* b = static_cast<const Body*>(m->getBody1()->getUserPointer());
        if (!a || !b)
            continue;
        const std::pair<unsigned, unsigned> pair = std::minmax(a->id, b->id);
        if (now.count(pair))
            continue; // a second manifold of the same pair (compound shapes)
        if (mTouching.count(pair)) {
            now.insert(pair); // still in contact: reported when it began
            continue;
        }
        // Touching: a point that is (almost) in contact, or one the solver pushed on. A fast body
        // bounces off a point that is still a little apart and never gets closer.
        int closest = -1;
        btScalar closestDistance = BT_LARGE_FLOAT;
        for (int j = 0; j < points; ++j) {
            const btManifoldPoint& point = m->getContactPoint(j);
            const btScalar d = point.getDistance();
            if ((d <= kTouchDistance || point.getAppliedImpulse() > 0) && d < closestDistance) {
                closest = j;
                closestDistance = d;
            }
        }
        if (closest < 0)
            continue;
        now.insert(pair);
        if (mPending.size() >= kMaxPendingCollisions)
            continue;
        const btManifoldPoint& point = m->getContactPoint(closest);
        PendingCollision pending;
        pending.collision.keyA = a->key;
        pending.collision.keyB = b->key;
        pending.collision.point = fromBt(point.getPositionWorldOnB());
        pending.collision.normal = fromBt(point.m_normalWorldOnB);
        pending.collision.sensor = a->sensor || b->sensor;
        pending.idA = a->id;
        pending.idB = b->id;
        mPending.push_back(std::move(pending));
    }
    mTouching.swap(now);
}

void LmdPhysicsWorld::deliverCollisions() {
    if (!mCollisionCallback || mPending.empty())
        return;
    // The callback may add and remove bodies, or replace itself: work on copies, and skip
    // contacts whose bodies it has removed.
    const CollisionCallback callback = mCollisionCallback;
    std::vector<PendingCollision> pending;
    pending.swap(mPending);
    struct Guard {
        bool& flag;
        ~Guard() { flag = false; }
    } guard{mDelivering};
    mDelivering = true;
    for (const PendingCollision& p : pending) {
        if (mBodiesById.count(p.idA) && mBodiesById.count(p.idB))
            callback(p.collision);
    }
}

std::vector<LmdPhysicsWorld::Collision> LmdPhysicsWorld::takeCollisions() {
    std::vector<Collision> out;
    out.reserve(mPending.size());
    for (PendingCollision& p : mPending)
        out.push_back(std::move(p.collision));
    mPending.clear();
    return out;
}

} // namespace Lumenda3D
