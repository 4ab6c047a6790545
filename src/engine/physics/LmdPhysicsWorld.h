#pragma once
// The game's physics: a Bullet rigid-body world that the scene builder fills with one body per
// object that has `body="static"` or `body="dynamic"` (and kinematic bodies for objects that
// logic or the editor moves by hand).
//
// Bodies are known by a key (the object's name, or its xml id when it has none); the xml id is
// only used to name the node in error messages. Time advances in fixed steps (1/60 s by default)
// so that the same calls give the same motion on every machine. Contacts that begin during a
// step are reported once, after the step, with both keys; a pair that stays in contact is not
// reported again until it has separated.
//
// Bad values (negative mass, zero size, NaN positions) never reach Bullet: they are clamped or
// refused, with one critical log line that names the node.
//
// No OGRE or Bullet types appear here, so the world can be tested without a window. The code is
// split by subject: LmdPhysicsWorld.cpp (bodies, stepping, forces, contacts),
// LmdPhysicsWorldKinematic.cpp (moving platforms), LmdPhysicsWorldShapes.cpp (fitted shapes),
// with what they share in LmdPhysicsWorldBullet.h.
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Lumenda3D {

class LmdPhysicsWorld {
public:
    struct Vec3 {
        float x = 0, y = 0, z = 0;
    };
    struct Quat {
        float x = 0, y = 0, z = 0, w = 1;
    };
    struct Transform {
        Vec3 position;
        Quat orientation;
    };

    // Static: never moves (walls, floors). Dynamic: moved by gravity, forces and contacts.
    // Kinematic: moved only by moveKinematic/setTransform, pushes dynamic bodies, is not pushed.
    enum class BodyKind { Static, Dynamic, Kinematic };
    // Cone is not offered in the document's `shape` list; autoShape picks it for `Cone`.
    enum class ShapeKind { Box, Sphere, Capsule, Cylinder, Cone, Mesh };
    enum class Space { World, Local };

    // A collision shape in the body's own frame, before the body's scale. Round shapes stand
    // along the local Y axis. Meters throughout.
    struct ShapeDesc {
        ShapeKind kind = ShapeKind::Box;
        Vec3 halfExtents{0.5f, 0.5f, 0.5f}; // Box
        float radius = 0.5f;                // Sphere, Capsule, Cylinder, Cone
        float height = 1.0f;                // Capsule (tip to tip), Cylinder, Cone
        std::vector<float> vertices;        // Mesh: x, y, z of each vertex
        std::vector<unsigned> indices;      // Mesh: three vertex indices per triangle
        Vec3 offset;                        // where the shape's centre sits in the body's frame
    };

    struct BodyDesc {
        std::string key;
        int xmlId = -1;
        BodyKind kind = BodyKind::Static;
        ShapeDesc shape;
        Vec3 scale{1, 1, 1};
        Transform transform;
        float mass = 1.0f; // kg, dynamic bodies only
        float friction = 0.5f;
        float restitution = 0.0f; // 0: dead, 1: bounces back to the same height
        float damping = 0.0f;     // 0..1: share of the velocity lost per second (linear and angular)
        bool lockRotation = false;
        bool sensor = false; // reports contacts, nothing bounces off it
    };

    // A contact that began. `normal` points from B's surface towards A.
    struct Collision {
        std::string keyA, keyB;
        Vec3 point;
        Vec3 normal;
        bool sensor = false; // one of the two is a sensor
    };
    using CollisionCallback = std::function<void(const Collision&)>;

    LmdPhysicsWorld();
    ~LmdPhysicsWorld();
    LmdPhysicsWorld(const LmdPhysicsWorld&) = delete;
    LmdPhysicsWorld& operator=(const LmdPhysicsWorld&) = delete;

    // World gravity in m/s² (the level's gravityX/Y/Z; default 0, -9.81, 0). Wakes every body.
    void setGravity(const Vec3& gravity);
    Vec3 getGravity() const;

    // The fixed step and how many of them one step(dt) may take at most; time beyond that is
    // dropped (the game slows down rather than spiral after a long frame).
    void setFixedTimeStep(float seconds, int maxSubSteps);
    float getFixedTimeStep() const { return static_cast<float>(mFixedStep); }

    // Advances the world by dt seconds in whole fixed steps, carrying the remainder to the next
    // call. Forces applied since the last call act during every fixed step of this one. Then
    // the contacts that began are handed to the collision callback, or queued for
    // takeCollisions() when there is none. Returns the number of fixed steps taken.
    int step(float dt);

    // Adds a body; an existing body with the same key is replaced. False (with a log line) when
    // the description cannot make a body: empty key, non-finite transform, unusable mesh.
    bool addBody(const BodyDesc& desc);
    bool removeBody(const std::string& key); // safe inside the collision callback
    void clear();
    bool hasBody(const std::string& key) const;
    std::size_t bodyCount() const { return mBodies.size(); }

    std::optional<Transform> getTransform(const std::string& key) const;
    // Teleports: the body is placed there with no velocity, whatever its kind.
    bool setTransform(const std::string& key, const Transform& transform);
    // Moves a kinematic body so that it sweeps to the new place during the next step() (shared
    // evenly among its fixed steps; with none, by a later one), pushing dynamic bodies on its
    // way. Dynamic bodies standing on it move with it: each change of its velocity is given to
    // them at once, and friction keeps them in place (moving platforms). False for other kinds.
    bool moveKinematic(const std::string& key, const Transform& transform);

    std::optional<Vec3> getLinearVelocity(const std::string& key, Space space = Space::World) const;
    bool setLinearVelocity(const std::string& key, const Vec3& velocity, Space space = Space::World);
    std::optional<Vec3> getAngularVelocity(const std::string& key) const; // radians/s, world

    // A force in newtons acting during the next step(dt). `offset`: where it acts, relative to
    // the body's centre, in the same space as the force (a push off the centre also turns).
    bool applyForce(const std::string& key, const Vec3& force, Space space, const Vec3& offset);
    bool applyForce(const std::string& key, const Vec3& force, Space space = Space::World) {
        return applyForce(key, force, space, Vec3{});
    }
    // A kick in newton-seconds that changes the velocity at once (a jump).
    bool applyImpulse(const std::string& key, const Vec3& impulse, Space space, const Vec3& offset);
    bool applyImpulse(const std::string& key, const Vec3& impulse, Space space = Space::World) {
        return applyImpulse(key, impulse, space, Vec3{});
    }

    void setCollisionCallback(CollisionCallback callback) { mCollisionCallback = std::move(callback); }
    // The queued contacts (only filled while no callback is set), oldest first. The queue keeps
    // at most 10,000; later contacts are dropped until it is drained.
    std::vector<Collision> takeCollisions();

    // The shape of a chosen kind that fits an object's local bounding box (size and centre).
    // Mesh cannot be fitted (the caller fills the vertices); it gives a box.
    static ShapeDesc fitShape(ShapeKind kind, const Vec3& size, const Vec3& centre);
    static ShapeDesc fitShape(ShapeKind kind, const Vec3& size) { return fitShape(kind, size, Vec3{}); }
    // What `shape="auto"` means for an object of this command, from its local bounding box:
    // Box, Model and unknown commands a box, Sphere a sphere, Cylinder a cylinder, Cone a cone,
    // Capsule a capsule, Plane a thin slab whose top face is the plane.
    static ShapeDesc autoShape(const std::string& command, const Vec3& size, const Vec3& centre);
    static ShapeDesc autoShape(const std::string& command, const Vec3& size) {
        return autoShape(command, size, Vec3{});
    }

private:
    struct Body;
    struct Bullet;
    struct PendingCollision {
        Collision collision;
        unsigned idA = 0, idB = 0;
    };

    Body* find(const std::string& key) const;
    void destroyBody(Body& body);
    void wakeTouching(const Body& body);
    void collectContacts();
    // Moves the kinematic bodies by their part of the way in fixed step `step` of `planned`.
    void sweepKinematic(int step, int planned);
    // Gives the dynamic bodies standing on `platform` the change of its velocity.
    void carryRiders(const Body& platform, const Vec3& change);
    void deliverCollisions();
    // Logs a runtime fault of a body once (logic may repeat the same bad call every frame).
    void reportOnce(Body& body, const std::string& what);

    std::unique_ptr<Bullet> mBullet;
    std::map<std::string, std::unique_ptr<Body>> mBodies;
    std::map<unsigned, Body*> mBodiesById;
    std::set<std::pair<unsigned, unsigned>> mTouching; // pairs in contact after the last fixed step
    std::vector<PendingCollision> mPending;
    CollisionCallback mCollisionCallback;
    unsigned mNextId = 1;
    double mFixedStep = 1.0 / 60.0;
    int mMaxSubSteps = 8;
    double mAccumulator = 0.0;
    bool mDelivering = false;
};

} // namespace Lumenda3D
