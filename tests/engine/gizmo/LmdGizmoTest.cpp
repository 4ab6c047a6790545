// The 3D gizmo on a window-less OGRE root: attaching and its events, what a click picks, and each
// kind of drag played with pointer events through a made-up camera at (0, 0, 10) looking down -Z
// (90 degree vertical field of view, 800 x 600 pixels: 30 pixels per unit at the origin).
#include "engine/gizmo/LmdGizmo.h"

#include <OgreEntity.h>
#include <OgreSceneNode.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "engine/HeadlessOgre.h"
#include "engine/app/LmdScreenProjector.h"
#include "engine/assets/LmdOgreMesh.h"
#include "engine/assets/LmdPrimitiveMesh.h"
#include "engine/gizmo/LmdGizmoEvents.h"
#include "engine/gizmo/LmdGizmoMath.h"
#include "engine/gizmo/LmdGizmoVisual.h"
#include "engine/scene/LmdBase3D.h"

namespace Lumenda3D {
namespace {

constexpr float kWidth = 800.0f, kHeight = 600.0f;

Ogre::Matrix4 perspective(float fovYDegrees, float aspect) {
    const float f = 1.0f / std::tan(Ogre::Degree(fovYDegrees).valueRadians() / 2.0f);
    const float n = 0.1f, far = 1000.0f;
    Ogre::Matrix4 m = Ogre::Matrix4::ZERO;
    m[0][0] = f / aspect;
    m[1][1] = f;
    m[2][2] = (far + n) / (n - far);
    m[2][3] = 2.0f * far * n / (n - far);
    m[3][2] = -1.0f;
    return m;
}

LmdScreenProjector viewFrom(const Ogre::Vector3& eye, const Ogre::Quaternion& orientation) {
    return LmdScreenProjector(Ogre::Affine3(eye, orientation).inverse(), perspective(90.0f, kWidth / kHeight), 0.0f,
                              0.0f, kWidth, kHeight);
}

Ogre::Vector2 screenOf(const LmdScreenProjector& view, const Ogre::Vector3& world) {
    Ogre::Vector2 pixel;
    EXPECT_TRUE(view.toScreen(world, pixel));
    return pixel;
}

struct Fired {
    LmdEventEnum id;
    std::shared_ptr<LmdEvent> event;
};

class GizmoTest : public ::testing::Test {
protected:
    GizmoTest() {
        crate = makeObject(1, "Crate", nullptr);
        ball = makeObject(2, "Ball", nullptr);
        wheel = makeObject(3, "Wheel", crate.get());

        LmdGizmo::Services services;
        services.fire = [this](LmdEventEnum id, std::shared_ptr<LmdEvent> event) { fired.push_back({id, event}); };
        services.selectionChanged = [this](LmdBase3D* object) { selection.push_back(object); };
        services.pick = [this](int, int) { return underPointer; };
        services.commit = [this](LmdBase3D& object, const LmdGizmoCommit::Transform& before,
                                 const LmdGizmoCommit::Transform& after) {
            commits.push_back({&object, before, after});
        };
        gizmo.setServices(services);
    }
    ~GizmoTest() override {
        gizmo.destroyVisual();
        wheel.reset();
        crate.reset();
        ball.reset();
    }

    std::unique_ptr<LmdBase3D> makeObject(int xmlId, const std::string& name, LmdBase3D* parent) {
        LmdObjectDesc desc;
        desc.kind = LmdObjectKind::Box;
        desc.xmlId = xmlId;
        desc.name = name;
        Ogre::SceneManager* scene = test::HeadlessOgre::sceneManager();
        auto object = std::make_unique<LmdBase3D>(desc, scene, parent ? parent->getNode() : scene->getRootSceneNode());
        if (parent) {
            object->setParent(parent);
            parent->addChild(object.get());
        }
        return object;
    }

    // Press, move in steps, release: what a person's drag delivers.
    bool drag(const Ogre::Vector2& from, const Ogre::Vector2& to, bool release = true) {
        if (!gizmo.mousePressed(int(std::lround(from.x)), int(std::lround(from.y)), view))
            return false;
        for (int step = 1; step <= 4; ++step) {
            const Ogre::Vector2 at = from + (to - from) * (float(step) / 4.0f);
            gizmo.mouseMoved(int(std::lround(at.x)), int(std::lround(at.y)), view);
        }
        return !release || gizmo.mouseReleased(int(std::lround(to.x)), int(std::lround(to.y)), view);
    }

    template <typename T>
    std::shared_ptr<T> last(LmdEventEnum id) {
        for (auto it = fired.rbegin(); it != fired.rend(); ++it)
            if (it->id == id)
                return std::dynamic_pointer_cast<T>(it->event);
        return nullptr;
    }

    struct Commit {
        LmdBase3D* object;
        LmdGizmoCommit::Transform before, after;
    };

    LmdScreenProjector view = viewFrom(Ogre::Vector3(0, 0, 10), Ogre::Quaternion::IDENTITY);
    std::unique_ptr<LmdBase3D> crate, ball, wheel;
    LmdGizmo gizmo;
    std::vector<Fired> fired;
    std::vector<LmdBase3D*> selection;
    std::vector<LmdBase3D*> underPointer;
    std::vector<Commit> commits;
};

TEST_F(GizmoTest, AttachingTellsTheSelectionFirstAndFiresOncePerObject) {
    gizmo.setServices([&] {
        LmdGizmo::Services services;
        services.selectionChanged = [this](LmdBase3D* object) { selection.push_back(object); };
        // A listener of event 15 sees the object already selected.
        services.fire = [this](LmdEventEnum id, std::shared_ptr<LmdEvent> event) {
            if (id == LmdEventGizmoAttached) {
                EXPECT_EQ(selection.back(), std::dynamic_pointer_cast<LmdGizmoEvent>(event)->getObject());
            }
            fired.push_back({id, event});
        };
        return services;
    }());
    gizmo.attach(crate.get(), false);
    gizmo.attach(crate.get(), false); // the same object: nothing new
    ASSERT_EQ(fired.size(), 1u);
    EXPECT_EQ(fired[0].id, LmdEventGizmoAttached);
    EXPECT_EQ(selection, std::vector<LmdBase3D*>{crate.get()});

    gizmo.attach(ball.get(), false);
    ASSERT_EQ(fired.size(), 3u);
    EXPECT_EQ(fired[1].id, LmdEventGizmoDetached);
    EXPECT_EQ(std::dynamic_pointer_cast<LmdGizmoEvent>(fired[1].event)->getObject(), crate.get());
    EXPECT_EQ(std::dynamic_pointer_cast<LmdGizmoEvent>(fired[2].event)->getObject(), ball.get());

    gizmo.attach(nullptr, false);
    EXPECT_FALSE(gizmo.isAttached());
    EXPECT_EQ(selection.back(), nullptr);
    EXPECT_EQ(fired.back().id, LmdEventGizmoDetached);
    gizmo.detach(); // nothing attached: nothing fired
    EXPECT_EQ(fired.size(), 4u);

    // An object destroyed behind the gizmo's back is let go of without being touched.
    gizmo.attach(wheel.get(), true);
    gizmo.forgetVanishedObject();
    EXPECT_FALSE(gizmo.isAttached());
    EXPECT_EQ(std::dynamic_pointer_cast<LmdGizmoEvent>(fired.back().event)->getObject(), nullptr);
}

TEST_F(GizmoTest, ShiftClickPicksTheSubObjectUnlessThatIsTheDefault) {
    bool sub = true;
    EXPECT_EQ(gizmo.resolvePick({}, false, sub), nullptr);
    EXPECT_FALSE(sub);
    // The crate's box is hit before its wheel.
    const std::vector<LmdBase3D*> hits{crate.get(), wheel.get(), ball.get()};
    EXPECT_EQ(gizmo.resolvePick(hits, false, sub), crate.get());
    EXPECT_FALSE(sub);
    EXPECT_EQ(gizmo.resolvePick(hits, true, sub), wheel.get());
    EXPECT_TRUE(sub);
    // A click on the wheel alone selects the object it belongs to.
    EXPECT_EQ(gizmo.resolvePick({wheel.get()}, false, sub), crate.get());
    // Shift over an object without sub-objects: the object itself.
    EXPECT_EQ(gizmo.resolvePick({ball.get(), wheel.get()}, true, sub), ball.get());
    EXPECT_FALSE(sub);

    EXPECT_EQ(gizmo.getSubObjectMode(), LmdGizmo::TopLevelPicking);
    gizmo.attach(wheel.get(), true);
    EXPECT_EQ(gizmo.getSubObjectMode(), LmdGizmo::PickedAsSubObject);
    gizmo.setPickChildObjectsByDefault(true);
    EXPECT_EQ(gizmo.getSubObjectMode(), LmdGizmo::SubObjectsByDefault);
    EXPECT_EQ(gizmo.resolvePick(hits, false, sub), wheel.get());
    EXPECT_EQ(gizmo.resolvePick(hits, true, sub), crate.get());
}

TEST_F(GizmoTest, TheXArrowMovesAlongXAndCommitsOnceOnRelease) {
    gizmo.createVisual(test::HeadlessOgre::sceneManager());
    crate->setPosition(Ogre::Vector3(0, 0, 0));
    gizmo.attach(crate.get(), false);
    gizmo.update(view, true);
    ASSERT_TRUE(gizmo.getVisual()->isVisible());
    // One gizmo unit is 110 pixels wherever the object is.
    EXPECT_NEAR(gizmo.getVisual()->getNode()->getScale().x, 110.0f / 30.0f, 1e-3f);

    Ogre::Vector2 grab;
    ASSERT_TRUE(gizmo.handlePoint(0, view, grab));
    EXPECT_EQ(gizmo.handleAt(grab.x, grab.y, view), 0);
    ASSERT_TRUE(drag(grab, grab + Ogre::Vector2(90, 25), false)); // 90 pixels along X, 25 across
    EXPECT_TRUE(gizmo.isDragging());
    EXPECT_NEAR(crate->getX(), 3.0f, 0.1f);
    EXPECT_FLOAT_EQ(crate->getY(), 0.0f);
    EXPECT_FLOAT_EQ(crate->getZ(), 0.0f);
    gizmo.update(view, true);
    EXPECT_EQ(gizmo.getVisual()->getHighlight(), 0);
    EXPECT_TRUE(commits.empty()); // nothing written while the drag runs

    EXPECT_TRUE(gizmo.mouseReleased(int(grab.x + 90), int(grab.y + 25), view));
    ASSERT_EQ(commits.size(), 1u);
    EXPECT_EQ(commits[0].object, crate.get());
    EXPECT_EQ(commits[0].before.position, Ogre::Vector3::ZERO);
    EXPECT_EQ(commits[0].after.position, crate->getPosition());
    // Rounded to a thousandth, in the scene as in what is written.
    EXPECT_FLOAT_EQ(crate->getX() * 1000.0f, std::round(crate->getX() * 1000.0f));
    EXPECT_FALSE(gizmo.isDragging());
}

TEST_F(GizmoTest, EscapeOrATypeChangeDuringADragPutsTheObjectBack) {
    crate->setPosition(Ogre::Vector3(1, 0, 0));
    gizmo.attach(crate.get(), false);
    Ogre::Vector2 grab;
    ASSERT_TRUE(gizmo.handlePoint(1, view, grab));
    ASSERT_TRUE(drag(grab, grab + Ogre::Vector2(0, -60), false));
    EXPECT_NEAR(crate->getY(), 2.0f, 0.05f);
    gizmo.setGizmoType(LmdGizmo::Rotate);
    EXPECT_EQ(crate->getPosition(), Ogre::Vector3(1, 0, 0));
    EXPECT_FALSE(gizmo.isDragging());

    gizmo.setGizmoType(LmdGizmo::Scale);
    ASSERT_TRUE(gizmo.handlePoint(0, view, grab));
    ASSERT_TRUE(drag(grab, grab + Ogre::Vector2(80, 0), false));
    EXPECT_GT(crate->getScale().x, 1.5f);
    gizmo.detach(); // what Escape does
    EXPECT_EQ(crate->getScale(), Ogre::Vector3::UNIT_SCALE);
    EXPECT_TRUE(commits.empty());

    gizmo.setGizmoType(42); // not a type: ignored
    EXPECT_EQ(gizmo.getGizmoType(), LmdGizmo::Scale);
}

TEST_F(GizmoTest, ARingTurnsTheObjectAsThePointerGoesRound) {
    crate->setRotation(Ogre::Vector3(0, 0, 10));
    gizmo.attach(crate.get(), false);
    gizmo.setGizmoType(LmdGizmo::Rotate);
    const Ogre::Vector2 centre = screenOf(view, Ogre::Vector3::ZERO);
    // The Z ring faces the viewer (99 pixels round); the X and Y rings are lines through the middle.
    const float r = 0.9f * 110.0f / std::sqrt(2.0f);
    const Ogre::Vector2 from = centre + Ogre::Vector2(r, -r);
    ASSERT_EQ(gizmo.handleAt(from.x, from.y, view), 2);
    // A quarter turn counterclockwise on screen, round the top: +90 degrees about +Z.
    ASSERT_TRUE(gizmo.mousePressed(int(from.x), int(from.y), view));
    gizmo.mouseMoved(int(centre.x), int(centre.y - 99), view);
    EXPECT_TRUE(gizmo.mouseReleased(int(centre.x - r), int(centre.y - r), view));
    ASSERT_EQ(commits.size(), 1u);
    EXPECT_NEAR(commits[0].after.rotation.z, 100.0f, 0.6f);
    EXPECT_NEAR(commits[0].after.rotation.x, 0.0f, 0.01f);
    EXPECT_FLOAT_EQ(commits[0].before.rotation.z, 10.0f);
}

TEST_F(GizmoTest, ScaleBoxesFollowTheObjectsOwnAxes) {
    // Turned a quarter about Z: its own X axis points up on screen.
    crate->setRotation(Ogre::Vector3(0, 0, 90));
    gizmo.attach(crate.get(), false);
    gizmo.setGizmoType(LmdGizmo::Scale);
    const Ogre::Vector2 centre = screenOf(view, Ogre::Vector3::ZERO);
    Ogre::Vector2 grab;
    ASSERT_TRUE(gizmo.handlePoint(0, view, grab));
    EXPECT_NEAR(grab.x, centre.x, 0.5f);
    EXPECT_LT(grab.y, centre.y);
    // Pulled out to twice its distance from the middle: twice as wide.
    ASSERT_TRUE(drag(grab, grab + (grab - centre)));
    EXPECT_NEAR(crate->getScale().x, 2.0f, 0.02f);
    EXPECT_FLOAT_EQ(crate->getScale().y, 1.0f);

    // The middle box scales all three: right and up grow.
    ASSERT_EQ(gizmo.handleAt(centre.x, centre.y, view), LmdGizmo::kCentreHandle);
    ASSERT_TRUE(drag(centre, centre + Ogre::Vector2(50, -50)));
    EXPECT_NEAR(crate->getScale().x, 4.0f, 0.05f);
    EXPECT_NEAR(crate->getScale().z, 2.0f, 0.02f);
    ASSERT_EQ(commits.size(), 2u);
    EXPECT_NEAR(commits[1].before.scale.y, 1.0f, 1e-6f);
}

TEST_F(GizmoTest, DraggingTheObjectItselfMovesItAcrossThePlacingPlane) {
    // Looking down at 45 degrees from (0, 10, 10).
    view = viewFrom(Ogre::Vector3(0, 10, 10), Ogre::Quaternion(Ogre::Degree(-45), Ogre::Vector3::UNIT_X));
    crate->setPosition(Ogre::Vector3(0, 1, 0));
    gizmo.attach(crate.get(), false);
    const Ogre::Vector2 on = screenOf(view, Ogre::Vector3(0, 1, 0));

    // Another object in front of it is clicked, not this one dragged.
    const int x = int(std::lround(on.x)), y = int(std::lround(on.y));
    underPointer = {ball.get(), crate.get()};
    EXPECT_FALSE(gizmo.mousePressed(x, y, view));
    // A press on its sub-object counts as on the object.
    underPointer = {wheel.get()};
    ASSERT_TRUE(gizmo.mousePressed(x, y, view));
    // Released without moving: a click, which selects as usual.
    EXPECT_FALSE(gizmo.mouseReleased(x, y, view));
    EXPECT_TRUE(commits.empty());

    const Ogre::Vector2 to = on + Ogre::Vector2(60, 40);
    ASSERT_TRUE(drag(on, to));
    // The point under the pointer on the plane y = 1 moved with it; the height did not change.
    Ogre::Vector3 expected;
    ASSERT_TRUE(LmdGizmoMath::rayPlane(view.ray(std::round(to.x), std::round(to.y)), Ogre::Vector3(0, 1, 0),
                                       Ogre::Vector3::UNIT_Y, expected));
    Ogre::Vector3 start;
    ASSERT_TRUE(LmdGizmoMath::rayPlane(view.ray(std::round(on.x), std::round(on.y)), Ogre::Vector3(0, 1, 0),
                                       Ogre::Vector3::UNIT_Y, start));
    EXPECT_NEAR(crate->getX(), expected.x - start.x, 0.01f);
    EXPECT_NEAR(crate->getZ(), expected.z - start.z, 0.01f);
    EXPECT_FLOAT_EQ(crate->getY(), 1.0f);
    EXPECT_GT(crate->getZ(), 0.0f); // down the screen is towards the viewer
    ASSERT_EQ(commits.size(), 1u);

    // Other types do not drag the object itself (a point clear of the rings).
    crate->setPosition(Ogre::Vector3(0, 1, 0));
    gizmo.setGizmoType(LmdGizmo::Rotate);
    underPointer = {crate.get()};
    const Ogre::Vector2 inside = screenOf(view, crate->getPosition()) + Ogre::Vector2(30, 5);
    ASSERT_EQ(gizmo.handleAt(inside.x, inside.y, view), LmdGizmo::kNoHandle);
    EXPECT_FALSE(gizmo.mousePressed(int(inside.x), int(inside.y), view));
}

TEST_F(GizmoTest, CopyHandlesAskForACopyOnTheSideTheDragWent) {
    gizmo.attach(crate.get(), false);
    gizmo.setGizmoType(LmdGizmo::Copy);
    const Ogre::Vector2 centre = screenOf(view, Ogre::Vector3::ZERO);
    Ogre::Vector2 grab;
    ASSERT_TRUE(gizmo.handlePoint(0, view, grab));
    ASSERT_TRUE(drag(grab, grab + Ogre::Vector2(-60, 5)));
    auto copy = last<LmdGizmoCopyEvent>(LmdEventGizmoCopy);
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->getObject(), crate.get());
    EXPECT_EQ(copy->getDirection(), Ogre::Vector3::NEGATIVE_UNIT_X);
    EXPECT_FALSE(copy->isSmartCopy());
    EXPECT_FALSE(copy->isRepeatCountRequested());
    EXPECT_EQ(crate->getPosition(), Ogre::Vector3::ZERO); // the copy is the block tree's to make
    EXPECT_TRUE(commits.empty());

    // Smart copy with Ctrl held: a count is asked for; a click goes to the side it was made on.
    gizmo.setGizmoType(LmdGizmo::SmartCopy);
    gizmo.setModifiers(false, true, false);
    const Ogre::Vector2 below = centre + Ogre::Vector2(0, 60); // the lower half of the Y handle
    ASSERT_EQ(gizmo.handleAt(below.x, below.y, view), 1);
    ASSERT_TRUE(drag(below, below));
    copy = last<LmdGizmoCopyEvent>(LmdEventGizmoCopy);
    EXPECT_EQ(copy->getDirection(), Ogre::Vector3::NEGATIVE_UNIT_Y);
    EXPECT_TRUE(copy->isSmartCopy());
    EXPECT_TRUE(copy->isRepeatCountRequested());

    // Alt belongs to the camera.
    gizmo.setModifiers(false, false, true);
    EXPECT_FALSE(gizmo.mousePressed(int(below.x), int(below.y), view));
}

TEST_F(GizmoTest, AVertexDragReportsEveryVertexOfThatCornerInTheObjectsFrame) {
    LmdOgreMesh::create("Test/GizmoBox", LmdPrimitiveMesh::box(1, 1, 1), {}, Ogre::RGN_DEFAULT);
    crate->setMesh("Test/GizmoBox", {});
    crate->setPosition(Ogre::Vector3(1, 2, 0));
    crate->setAxisX(0.5f);
    gizmo.attach(crate.get(), false);
    gizmo.setGizmoType(LmdGizmo::Vertex);
    // Eight corners, each shared by the three faces that meet there.
    const std::vector<LmdGizmoVertices::Handle>& handles = gizmo.getVertexHandles();
    ASSERT_EQ(handles.size(), 8u);
    for (const auto& handle : handles)
        EXPECT_EQ(handle.members.size(), 3u);
    const Ogre::Vector3 corner = handles[0].position; // node frame: pivot applied
    EXPECT_NEAR(std::abs(corner.x - 0.5f), 0.5f, 1e-5f);

    Ogre::Vector2 at;
    ASSERT_TRUE(gizmo.vertexPoint(0, view, at));
    const float depth = 10.0f - corner.z;
    ASSERT_TRUE(drag(at, at + Ogre::Vector2(0, -30)));
    auto moved = last<LmdGizmoVertexEvent>(LmdEventVerticesMoved);
    ASSERT_TRUE(moved);
    EXPECT_EQ(moved->getObject(), crate.get());
    ASSERT_EQ(moved->getVertices().size(), 3u);
    std::vector<int> indices;
    for (const LmdGizmoVertex& v : moved->getVertices()) {
        EXPECT_EQ(v.submesh, 0);
        indices.push_back(v.index);
        EXPECT_NEAR(v.x, corner.x, 0.01f);
        EXPECT_NEAR(v.y, corner.y + 30.0f * depth / 300.0f, 0.02f); // up the screen, parallel to it
        EXPECT_NEAR(v.z, corner.z, 0.01f);
    }
    EXPECT_NE(indices[0], indices[1]);
    EXPECT_TRUE(commits.empty()); // vertices go to the document through the editor, not as a transform
    EXPECT_EQ(crate->getPosition(), Ogre::Vector3(1, 2, 0));

    // No mesh, no handles; a press elsewhere is not the gizmo's.
    gizmo.attach(ball.get(), false);
    EXPECT_TRUE(gizmo.getVertexHandles().empty());
    EXPECT_FALSE(gizmo.mousePressed(400, 300, view));
    crate->setMesh("", {});
    LmdOgreMesh::remove("Test/GizmoBox");
}

TEST_F(GizmoTest, TheVisualShowsTheHandlesOfItsTypeOnlyWhenAsked) {
    gizmo.createVisual(test::HeadlessOgre::sceneManager());
    gizmo.update(view, true);
    EXPECT_FALSE(gizmo.getVisual()->isVisible()); // nothing attached
    gizmo.attach(crate.get(), false);
    const size_t sections[] = {3, 3, 4, 3, 3};
    for (int type = LmdGizmo::Move; type <= LmdGizmo::SmartCopy; ++type) {
        gizmo.setGizmoType(type);
        gizmo.update(view, true);
        EXPECT_TRUE(gizmo.getVisual()->isVisible()) << type;
        EXPECT_EQ(gizmo.getVisual()->sectionCount(), sections[type]) << type;
    }
    gizmo.setGizmoType(LmdGizmo::Vertex);
    gizmo.update(view, true);
    EXPECT_FALSE(gizmo.getVisual()->isVisible());
    gizmo.setGizmoType(LmdGizmo::Move);
    gizmo.update(view, false); // the game runs
    EXPECT_FALSE(gizmo.getVisual()->isVisible());
}

} // namespace
} // namespace Lumenda3D
