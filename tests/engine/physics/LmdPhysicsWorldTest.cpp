#include "engine/physics/LmdPhysicsWorld.h"

#include "base/LmdLog.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using namespace Lumenda3D;
using W = LmdPhysicsWorld;

namespace {

constexpr float kFrame = 1.0f / 60.0f;

class LmdPhysicsWorldTest : public ::testing::Test {
protected:
    void SetUp() override {
        LmdLog::setEchoToStderr(false);
        sink = LmdLog::addSink([this](const std::string& text, LogLevel level) {
            if (level == LogLevel::Critical)
                critical.push_back(text);
        });
    }
    void TearDown() override {
        LmdLog::removeSink(sink);
        LmdLog::setEchoToStderr(true);
    }

    // A static floor whose top face is y = 0.
    static W::BodyDesc floor(const std::string& key = "floor", float halfSize = 20) {
        W::BodyDesc d;
        d.key = key;
        d.kind = W::BodyKind::Static;
        d.shape.halfExtents = {halfSize, 0.5f, halfSize};
        d.transform.position = {0, -0.5f, 0};
        return d;
    }
    static W::BodyDesc box(const std::string& key, W::Vec3 at, W::BodyKind kind = W::BodyKind::Dynamic) {
        W::BodyDesc d;
        d.key = key;
        d.kind = kind;
        d.transform.position = at;
        return d;
    }
    static W::BodyDesc ball(const std::string& key, W::Vec3 at, float restitution) {
        W::BodyDesc d = box(key, at);
        d.shape.kind = W::ShapeKind::Sphere;
        d.shape.radius = 0.5f;
        d.restitution = restitution;
        return d;
    }
    static void run(W& world, float seconds) {
        for (int i = 0, n = static_cast<int>(std::lround(seconds / kFrame)); i < n; ++i)
            world.step(kFrame);
    }
    static W::Vec3 pos(const W& world, const std::string& key) { return world.getTransform(key)->position; }
    static W::Vec3 vel(const W& world, const std::string& key) { return *world.getLinearVelocity(key); }
    // Rotation angle in degrees of a body's orientation.
    static float angle(const W& world, const std::string& key) {
        const float w = std::fabs(world.getTransform(key)->orientation.w);
        return 2.0f * std::acos(std::fmin(w, 1.0f)) * 180.0f / 3.14159265f;
    }

    int sink = 0;
    std::vector<std::string> critical;
};

} // namespace

TEST_F(LmdPhysicsWorldTest, DynamicBoxFallsUnderGravityAndRestsOnTheFloor) {
    W world;
    ASSERT_TRUE(world.addBody(floor()));
    ASSERT_TRUE(world.addBody(box("crate", {0, 3, 0})));
    run(world, 0.5f);
    // Free fall: about g t² / 2 (Bullet integrates in steps, so a little less than exact).
    EXPECT_NEAR(pos(world, "crate").y, 3.0f - 0.5f * 9.81f * 0.25f, 0.08f);
    EXPECT_NEAR(vel(world, "crate").y, -9.81f * 0.5f, 0.1f);
    run(world, 2.5f);
    EXPECT_NEAR(pos(world, "crate").y, 0.5f, 0.02f);
    EXPECT_NEAR(vel(world, "crate").y, 0.0f, 0.05f);
    EXPECT_NEAR(pos(world, "floor").y, -0.5f, 1e-6f) << "static bodies do not move";
    EXPECT_TRUE(critical.empty());
}

TEST_F(LmdPhysicsWorldTest, FixedStepsMakeTheMotionIndependentOfTheFrameRate) {
    auto simulate = [](float frame, int frames, int* steps) {
        W world;
        world.addBody(floor());
        W::BodyDesc d = ball("ball", {0.3f, 4, 0}, 0.5f);
        world.addBody(d);
        world.applyImpulse("ball", {1, 0, 0.5f});
        *steps = 0;
        for (int i = 0; i < frames; ++i)
            *steps += world.step(frame);
        return world.getTransform("ball")->position;
    };
    int steps60 = 0, steps30 = 0;
    const W::Vec3 a = simulate(1.0f / 60, 120, &steps60);
    const W::Vec3 b = simulate(1.0f / 30, 60, &steps30);
    EXPECT_EQ(steps60, 120);
    EXPECT_EQ(steps30, 120);
    EXPECT_EQ(a.x, b.x);
    EXPECT_EQ(a.y, b.y);
    EXPECT_EQ(a.z, b.z);

    // A long stall is capped at the maximum number of fixed steps, not caught up later.
    W world;
    world.setFixedTimeStep(1.0f / 60, 4);
    EXPECT_EQ(world.step(1.0f), 4);
    EXPECT_EQ(world.step(kFrame), 1);
    EXPECT_EQ(world.step(kFrame / 2), 0);
    EXPECT_EQ(world.step(kFrame / 2), 1) << "the remainder carries over";
}

TEST_F(LmdPhysicsWorldTest, GravityChangeReachesSleepingBodies) {
    W world;
    world.addBody(floor());
    world.addBody(box("crate", {0, 0.5f, 0}));
    run(world, 4.0f); // long enough for Bullet to put the crate to sleep
    world.setGravity({0, 9.81f, 0});
    EXPECT_NEAR(world.getGravity().y, 9.81f, 1e-6f);
    run(world, 0.5f);
    EXPECT_GT(pos(world, "crate").y, 1.0f);
}

TEST_F(LmdPhysicsWorldTest, RestitutionBouncesOnADefaultFloorFrictionStopsSliding) {
    W world;
    world.addBody(floor());
    world.addBody(ball("bouncy", {-2, 3, 0}, 0.8f));
    world.addBody(ball("dead", {2, 3, 0}, 0.0f));
    run(world, 0.9f); // both have hit the floor by now
    float bouncyTop = 0, deadTop = 0;
    for (int i = 0; i < 90; ++i) {
        world.step(kFrame);
        bouncyTop = std::fmax(bouncyTop, pos(world, "bouncy").y);
        deadTop = std::fmax(deadTop, pos(world, "dead").y);
    }
    EXPECT_GT(bouncyTop, 1.5f) << "the floor's restitution 0 must not kill the bounce";
    EXPECT_LT(deadTop, 0.55f);

    W slide;
    slide.addBody(floor("floor", 40));
    W::BodyDesc ice = box("ice", {-20, 0.5f, -2});
    ice.friction = 0;
    W::BodyDesc rough = box("rough", {-20, 0.5f, 2});
    rough.friction = 1;
    slide.addBody(ice);
    slide.addBody(rough);
    run(slide, 0.3f);
    slide.setLinearVelocity("ice", {5, 0, 0});
    slide.setLinearVelocity("rough", {5, 0, 0});
    run(slide, 2.0f);
    EXPECT_GT(pos(slide, "ice").x, -20 + 9.5f);
    EXPECT_NEAR(vel(slide, "ice").x, 5.0f, 0.05f);
    EXPECT_LT(pos(slide, "rough").x, -20 + 3.0f);
    EXPECT_NEAR(vel(slide, "rough").x, 0.0f, 0.05f);
    EXPECT_LT(angle(slide, "rough"), 10.0f) << "a cube slides rather than tumbles";
}

TEST_F(LmdPhysicsWorldTest, LockRotationKeepsABodyUprightUnderAnOffCentreKick) {
    W world;
    world.addBody(floor());
    W::BodyDesc locked = box("locked", {-3, 0.5f, 0});
    locked.lockRotation = true;
    world.addBody(locked);
    world.addBody(box("free", {3, 0.5f, 0}));
    run(world, 0.2f);
    // A sideways kick at the top edge.
    for (const char* key : {"locked", "free"})
        EXPECT_TRUE(world.applyImpulse(key, {3, 0, 0}, W::Space::World, {0, 0.5f, 0}));
    run(world, 1.0f);
    EXPECT_LT(angle(world, "locked"), 0.01f);
    EXPECT_GT(pos(world, "locked").x, -3 + 0.5f) << "it still moves";
    EXPECT_GT(angle(world, "free"), 10.0f) << "without the lock the same kick turns it";
}

TEST_F(LmdPhysicsWorldTest, ImpulseActsAtOnceForceActsDuringTheNextStep) {
    W world;
    world.setGravity({0, 0, 0});
    W::BodyDesc d = box("puck", {0, 0, 0});
    d.mass = 2;
    world.addBody(d);
    W::BodyDesc d2 = d;
    d2.key = "pushed";
    d2.transform.position = {0, 5, 0};
    world.addBody(d2);

    ASSERT_TRUE(world.applyImpulse("puck", {4, 0, 0}));
    EXPECT_NEAR(vel(world, "puck").x, 2.0f, 1e-5f) << "impulse / mass, before any step";

    // A force counts for every fixed step of the next step() and is then gone.
    ASSERT_TRUE(world.applyForce("pushed", {4, 0, 0}));
    EXPECT_EQ(vel(world, "pushed").x, 0.0f);
    EXPECT_EQ(world.step(2 * kFrame), 2);
    EXPECT_NEAR(vel(world, "pushed").x, 2.0f * 2 * kFrame, 1e-4f);
    world.step(kFrame);
    EXPECT_NEAR(vel(world, "pushed").x, 2.0f * 2 * kFrame, 1e-4f);
    // Held every frame for a second: F t / m.
    for (int i = 0; i < 60; ++i) {
        world.applyForce("pushed", {4, 0, 0});
        world.step(kFrame);
    }
    EXPECT_NEAR(vel(world, "pushed").x, 2.0f * 2 * kFrame + 2.0f, 1e-3f);
    EXPECT_FALSE(world.applyImpulse("nobody", {1, 0, 0}));
}

TEST_F(LmdPhysicsWorldTest, LocalSpaceFollowsTheBodysRotation) {
    W world;
    world.setGravity({0, 0, 0});
    W::BodyDesc d = box("car", {0, 0, 0});
    const float s = std::sqrt(0.5f);
    d.transform.orientation = {0, s, 0, s}; // 90° about +Y: local +X points along world -Z
    world.addBody(d);

    world.applyImpulse("car", {1, 0, 0}, W::Space::Local);
    W::Vec3 v = vel(world, "car");
    EXPECT_NEAR(v.x, 0, 1e-5f);
    EXPECT_NEAR(v.z, -1, 1e-5f);
    W::Vec3 local = *world.getLinearVelocity("car", W::Space::Local);
    EXPECT_NEAR(local.x, 1, 1e-5f);
    EXPECT_NEAR(local.z, 0, 1e-5f);

    world.setLinearVelocity("car", {0, 0, 0});
    world.applyForce("car", {60, 0, 0}, W::Space::Local);
    world.step(kFrame);
    v = vel(world, "car");
    EXPECT_NEAR(v.x, 0, 1e-4f);
    EXPECT_NEAR(v.z, -1, 1e-4f);

    world.setLinearVelocity("car", {0, 0, 2}, W::Space::Local);
    v = vel(world, "car");
    EXPECT_NEAR(v.x, 2, 1e-5f) << "local +Z is world +X after the turn";
}

TEST_F(LmdPhysicsWorldTest, ContactBeginsOnceAndAgainAfterSeparating) {
    W world;
    world.addBody(floor());
    world.addBody(box("crate", {0, 2, 0}));
    run(world, 3.0f);
    std::vector<W::Collision> hits = world.takeCollisions();
    ASSERT_EQ(hits.size(), 1u) << "resting on the floor is one contact, not one per frame";
    const W::Collision& hit = hits[0];
    const bool crateIsA = hit.keyA == "crate";
    EXPECT_EQ(crateIsA ? hit.keyB : hit.keyA, "floor");
    EXPECT_NEAR(hit.normal.y, crateIsA ? 1.0f : -1.0f, 0.01f) << "the normal points from B towards A";
    EXPECT_NEAR(hit.point.y, 0.0f, 0.05f);
    EXPECT_FALSE(hit.sensor);

    // Lifted and dropped again: a new contact.
    world.setTransform("crate", {{0, 2, 0}, {}});
    run(world, 2.0f);
    EXPECT_EQ(world.takeCollisions().size(), 1u);
    run(world, 1.0f);
    EXPECT_TRUE(world.takeCollisions().empty());

    // A bouncing ball begins a contact at every bounce.
    world.addBody(ball("ball", {4, 3, 0}, 0.8f));
    int bounces = 0;
    world.setCollisionCallback([&](const W::Collision& c) {
        if (c.keyA == "ball" || c.keyB == "ball")
            ++bounces;
    });
    run(world, 3.0f);
    EXPECT_GE(bounces, 3);
    EXPECT_LT(bounces, 40);
    EXPECT_TRUE(world.takeCollisions().empty()) << "delivered contacts are not queued as well";
}

TEST_F(LmdPhysicsWorldTest, SensorReportsTheOverlapAndLetsTheBodyThrough) {
    W world;
    world.addBody(floor());
    W::BodyDesc goal = box("goal", {0, 2, 0}, W::BodyKind::Static);
    goal.sensor = true;
    world.addBody(goal);
    world.addBody(box("crate", {0, 5, 0}));
    run(world, 3.0f);
    EXPECT_NEAR(pos(world, "crate").y, 0.5f, 0.02f) << "fell through the sensor onto the floor";
    int goalHits = 0, floorHits = 0;
    for (const W::Collision& c : world.takeCollisions()) {
        if (c.keyA == "goal" || c.keyB == "goal") {
            ++goalHits;
            EXPECT_TRUE(c.sensor);
        }
        if (c.keyA == "floor" || c.keyB == "floor")
            ++floorHits;
    }
    EXPECT_EQ(goalHits, 1);
    EXPECT_EQ(floorHits, 1);
}

TEST_F(LmdPhysicsWorldTest, TeleportClearsVelocityAndMovingSupportWakesWhatRestsOnIt) {
    W world;
    world.addBody(floor());
    world.addBody(box("crate", {0, 5, 0}));
    run(world, 0.5f);
    ASSERT_LT(vel(world, "crate").y, -4.0f);
    ASSERT_TRUE(world.setTransform("crate", {{7, 10, -1}, {}}));
    EXPECT_EQ(vel(world, "crate").y, 0.0f);
    EXPECT_EQ(pos(world, "crate").x, 7.0f);
    world.step(kFrame);
    EXPECT_NEAR(vel(world, "crate").y, -9.81f * kFrame, 1e-3f);

    // Crates asleep on platforms fall when their platform is moved away or removed.
    world.addBody(box("shelf", {20, 5, 0}, W::BodyKind::Static));
    world.addBody(box("shelf2", {-20, 5, 0}, W::BodyKind::Static));
    world.addBody(box("top", {20, 6, 0}));
    world.addBody(box("top2", {-20, 6, 0}));
    run(world, 4.0f);
    ASSERT_NEAR(pos(world, "top").y, 6.0f, 0.02f);
    world.setTransform("shelf", {{20, -50, 0}, {}});
    EXPECT_TRUE(world.removeBody("shelf2"));
    EXPECT_FALSE(world.hasBody("shelf2"));
    run(world, 1.0f);
    EXPECT_LT(pos(world, "top").y, 2.0f);
    EXPECT_LT(pos(world, "top2").y, 2.0f);
}

TEST_F(LmdPhysicsWorldTest, KinematicBodyPushesAndIsNotPushed) {
    W world;
    world.addBody(floor());
    world.addBody(box("crate", {2, 0.5f, 0}));
    world.addBody(box("door", {0, 0.6f, 0}, W::BodyKind::Kinematic));
    EXPECT_FALSE(world.applyImpulse("door", {1, 0, 0}));
    EXPECT_FALSE(world.moveKinematic("crate", {{0, 0, 0}, {}})) << "only kinematic bodies";
    for (int i = 1; i <= 60; ++i) {
        ASSERT_TRUE(world.moveKinematic("door", {{i * 0.05f, 0.6f, 0}, {}}));
        world.step(kFrame);
    }
    EXPECT_NEAR(pos(world, "door").x, 3.0f, 1e-5f);
    EXPECT_NEAR(pos(world, "door").y, 0.6f, 1e-5f) << "no gravity on a kinematic body";
    EXPECT_GT(pos(world, "crate").x, 3.5f);
}

// A player standing on a moving platform goes along with it from the first frame, whether a
// frame holds one fixed step or two, and stays where it stands when the platform stops.
TEST_F(LmdPhysicsWorldTest, WhatStandsOnAKinematicPlatformMovesWithIt) {
    for (const int stepsPerFrame : {1, 2}) {
        SCOPED_TRACE(stepsPerFrame);
        const float frame = kFrame * stepsPerFrame;
        W world;
        W::BodyDesc platform = box("platform", {0, 1, 0}, W::BodyKind::Kinematic);
        platform.shape.halfExtents = {2, 0.25f, 2};
        world.addBody(platform);
        W::BodyDesc player = box("player", {0, 1.75f, 0});
        player.lockRotation = true;
        world.addBody(player);
        world.addBody(box("bystander", {-4, 0.5f, 0}));  // beside the platform's way: not carried
        world.addBody(floor());
        run(world, 0.5f);
        const W::Vec3 start = pos(world, "player");
        ASSERT_NEAR(start.y, 1.75f, 0.02f) << "stands on the platform";

        // 2 m/s along x for 1.5 s, then to the side along z for 0.5 s.
        W::Vec3 at{0, 1, 0};
        const int frames = static_cast<int>(std::lround(2.0f / frame));
        for (int i = 1; i <= frames; ++i) {
            if (i * frame <= 1.5f + 1e-4f)
                at.x += 2.0f * frame;
            else
                at.z += 2.0f * frame;
            ASSERT_TRUE(world.moveKinematic("platform", {at, {}}));
            world.step(frame);
            const W::Vec3 p = pos(world, "player");
            ASSERT_NEAR(p.x - start.x, at.x, 0.03f) << "frame " << i;
            ASSERT_NEAR(p.z - start.z, at.z, 0.03f) << "frame " << i;
        }
        // The platform stops: so does the player, where it stood on it.
        run(world, 0.5f);
        const W::Vec3 p = pos(world, "player");
        EXPECT_NEAR(p.x - start.x, 3.0f, 0.03f);
        EXPECT_NEAR(p.z - start.z, 1.0f, 0.03f);
        EXPECT_NEAR(p.y, start.y, 0.02f);
        EXPECT_NEAR(pos(world, "bystander").x, -4.0f, 1e-3f);
    }
}

TEST_F(LmdPhysicsWorldTest, RemovingBodiesFromTheCollisionCallbackIsSafe) {
    W world;
    world.addBody(floor());
    // Two coins that the player reaches in the same step.
    for (const char* key : {"coin1", "coin2"}) {
        W::BodyDesc coin = box(key, {key[4] == '1' ? -0.4f : 0.4f, 2, 0}, W::BodyKind::Static);
        coin.sensor = true;
        coin.shape.halfExtents = {0.2f, 0.2f, 0.2f};
        world.addBody(coin);
    }
    world.addBody(box("player", {0, 4, 0}));
    std::vector<std::string> seen;
    world.setCollisionCallback([&](const W::Collision& c) {
        seen.push_back(c.keyA + "+" + c.keyB);
        if (c.keyA != "player" && c.keyB != "player")
            return;
        // The player is destroyed by the first coin: the second coin's contact is gone with it.
        world.removeBody("player");
        world.removeBody(c.keyA == "player" ? c.keyB : c.keyA);
        world.addBody(box("spawned", {5, 1, 0}));
        EXPECT_EQ(world.step(kFrame), 0) << "no stepping from inside the callback";
    });
    run(world, 2.0f);
    ASSERT_EQ(seen.size(), 2u) << "the coin, then the spawned box landing";
    EXPECT_NE(seen[0].find("player"), std::string::npos);
    EXPECT_NE(seen[1].find("spawned"), std::string::npos);
    EXPECT_FALSE(world.hasBody("player"));
    world.clear();
    EXPECT_EQ(world.bodyCount(), 0u);
    run(world, 0.1f);
}

TEST_F(LmdPhysicsWorldTest, BadValuesAreRepairedOrRefusedWithOneLineNamingTheNode) {
    W world;
    world.addBody(floor());

    W::BodyDesc crate = box("crate", {0, 2, 0});
    crate.xmlId = 7;
    crate.mass = -1;
    crate.restitution = -2;
    crate.shape.halfExtents = {0.5f, 0, 0.5f};
    EXPECT_TRUE(world.addBody(crate));
    ASSERT_EQ(critical.size(), 1u);
    EXPECT_NE(critical[0].find("'crate' (id 7)"), std::string::npos) << critical[0];
    EXPECT_NE(critical[0].find("mass -1"), std::string::npos) << critical[0];
    EXPECT_NE(critical[0].find("restitution -2"), std::string::npos) << critical[0];
    EXPECT_NE(critical[0].find("box half height 0"), std::string::npos) << critical[0];

    W::BodyDesc lost = box("lost", {NAN, 1, 0});
    lost.xmlId = 8;
    EXPECT_FALSE(world.addBody(lost));
    EXPECT_FALSE(world.hasBody("lost"));
    ASSERT_EQ(critical.size(), 2u);
    EXPECT_NE(critical[1].find("(id 8)"), std::string::npos);

    W::BodyDesc dot = ball("dot", {3, 2, 0}, 0);
    dot.shape.radius = 0;
    dot.scale = {INFINITY, 1, 1};
    EXPECT_TRUE(world.addBody(dot));
    EXPECT_EQ(critical.size(), 3u) << "two repairs, one line";

    W::BodyDesc mesh = box("rock", {0, 0, 5}, W::BodyKind::Static);
    mesh.shape.kind = W::ShapeKind::Mesh;
    mesh.shape.vertices = {0, 0, 0, 1, 0, 0, 0, 0, 1};
    mesh.shape.indices = {0, 1, 3};
    EXPECT_FALSE(world.addBody(mesh));
    EXPECT_FALSE(world.addBody(box("", {0, 0, 0})));
    EXPECT_EQ(critical.size(), 5u);

    // Runtime faults are refused and reported once per body, so a bad expression evaluated every
    // frame does not flood the log.
    EXPECT_FALSE(world.applyForce("crate", {NAN, 0, 0}));
    EXPECT_FALSE(world.applyImpulse("crate", {0, INFINITY, 0}));
    EXPECT_FALSE(world.setLinearVelocity("crate", {0, NAN, 0}));
    EXPECT_FALSE(world.setTransform("crate", {{0, NAN, 0}, {}}));
    EXPECT_EQ(critical.size(), 6u);
    EXPECT_EQ(world.step(NAN), 0);
    EXPECT_EQ(world.step(-1), 0);
    world.setGravity({0, NAN, 0});
    EXPECT_NEAR(world.getGravity().y, -9.81f, 1e-5f);

    // The repaired bodies still play: both land on the floor.
    run(world, 3.0f);
    EXPECT_NEAR(pos(world, "crate").y, 0.005f, 0.02f);
    EXPECT_NEAR(pos(world, "dot").y, 0.005f, 0.02f);
}

TEST_F(LmdPhysicsWorldTest, MeshAndAutoShapesHaveTheObjectsSize) {
    W world;
    // A static triangle-mesh floor: one 40 x 40 quad at y = 0.
    W::BodyDesc ground;
    ground.key = "ground";
    ground.shape.kind = W::ShapeKind::Mesh;
    ground.shape.vertices = {-20, 0, -20, 20, 0, -20, 20, 0, 20, -20, 0, 20};
    ground.shape.indices = {0, 2, 1, 0, 3, 2};
    ASSERT_TRUE(world.addBody(ground));

    auto drop = [&](const std::string& key, const std::string& command, W::Vec3 size, float x) {
        W::BodyDesc d = box(key, {x, 3, 0});
        d.shape = W::autoShape(command, size);
        d.lockRotation = true; // a capsule on its tip would topple
        ASSERT_TRUE(world.addBody(d));
    };
    drop("sphere", "Sphere", {1, 1, 1}, -6);
    drop("capsule", "Capsule", {1, 2, 1}, -3); // tip to tip 2 m, stands upright
    drop("cylinder", "Cylinder", {1, 1.5f, 1}, 0);
    drop("box", "Box", {2, 1, 2}, 3);
    W::BodyDesc scaled = box("scaled", {6, 3, 0});
    scaled.scale = {1, 3, 1};
    ASSERT_TRUE(world.addBody(scaled));
    run(world, 3.0f);
    EXPECT_NEAR(pos(world, "sphere").y, 0.5f, 0.03f);
    EXPECT_NEAR(pos(world, "capsule").y, 1.0f, 0.03f);
    EXPECT_NEAR(pos(world, "cylinder").y, 0.75f, 0.03f);
    EXPECT_NEAR(pos(world, "box").y, 0.5f, 0.03f);
    EXPECT_NEAR(pos(world, "scaled").y, 1.5f, 0.03f);

    // A Plane is a thin slab just under its surface; a Model's box sits on its bounds' centre.
    W slab;
    W::BodyDesc p;
    p.key = "plane";
    p.shape = W::autoShape("Plane", {20, 0, 10});
    slab.addBody(p);
    W::BodyDesc m = box("model", {0, 4, 0});
    m.shape = W::autoShape("Model", {1, 2, 3}, {0, 1, 0}); // bounds from y = 0 to 2
    slab.addBody(m);
    run(slab, 3.0f);
    EXPECT_NEAR(pos(slab, "model").y, 0.0f, 0.03f) << "the model's origin is the bottom of its bounds";
}
