// The gizmo's copies: where a plain and a smart copy go, what a smart copy learns from a change by
// hand and repeats, and the whole operation on a real document (undo, selection, auto scale) with
// a stand-in scene that builds each object from its attributes, as the engine does.
#include "blocks/BlocksTestSupport.h"

#include "blocks/SmartCopy.h"
#include "engine/gizmo/LmdGizmoCommit.h"
#include "engine/scene/LmdEulerHelper.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Lumenda3D;
using Lumenda3D::test::BlocksScene;

namespace {

const Ogre::Vector3 kX(1, 0, 0);

Ogre::Quaternion turnY(float degrees) {
    return Ogre::Quaternion(Ogre::Degree(degrees), Ogre::Vector3::UNIT_Y);
}

SmartCopy::Snapshot snapshot(int id, const Ogre::Vector3& position, const Ogre::Quaternion& orientation = Ogre::Quaternion::IDENTITY,
                             const Ogre::Vector3& scale = Ogre::Vector3::UNIT_SCALE) {
    SmartCopy::Snapshot s;
    s.id = id;
    s.position = position;
    s.orientation = orientation;
    s.scale = scale;
    return s;
}

float yawOf(const Ogre::Quaternion& q) {
    float x = 0, y = 0, z = 0;
    LmdEulerHelper::decomposeYXZ(q, x, y, z);
    return y;
}

// --- The rules --------------------------------------------------------------------------------

TEST(SmartCopyRulesTest, CopiesGoOneLengthAlongTheObjectsOwnAxis) {
    const Ogre::Vector3 boxMin(-1, -0.5f, -0.5f), boxMax(1, 0.5f, 0.5f);
    // A plain copy of a box 2 wide with scale 3 lands 6 further along x; the pivot is untouched.
    SmartCopy::Placement plain =
        SmartCopy::place(snapshot(1, {1, 2, 3}, Ogre::Quaternion::IDENTITY, {3, 1, 1}), Ogre::Vector3::ZERO, boxMin,
                         boxMax, kX, false);
    EXPECT_FLOAT_EQ(plain.values[0], 7.0f);
    EXPECT_TRUE(plain.written[0]);
    EXPECT_FALSE(plain.written[1]);
    EXPECT_FALSE(plain.pivotWritten[0]);
    // A smart copy puts its origin on the shared face (3 along) and its shape beyond it (pivot 1,
    // which the object's scale makes 3 more): the shapes' middles are 6 apart, as above.
    SmartCopy::Placement smart =
        SmartCopy::place(snapshot(1, {1, 2, 3}, Ogre::Quaternion::IDENTITY, {3, 1, 1}), Ogre::Vector3::ZERO, boxMin,
                         boxMax, kX, true);
    EXPECT_FLOAT_EQ(smart.values[0], 4.0f);
    EXPECT_FLOAT_EQ(smart.pivots[0], 1.0f);
    EXPECT_TRUE(smart.pivotWritten[0]);
    // From that copy (pivot 1) the next one goes from its far face: origins 6 apart, edge to edge.
    SmartCopy::Placement next = SmartCopy::place(snapshot(2, {4, 2, 3}, Ogre::Quaternion::IDENTITY, {3, 1, 1}),
                                                 Ogre::Vector3(1, 0, 0), boxMin, boxMax, kX, true);
    EXPECT_FLOAT_EQ(next.values[0], 10.0f);
    EXPECT_FLOAT_EQ(next.pivots[0], 1.0f);
    // Backwards, the pivot is on the other side.
    SmartCopy::Placement back =
        SmartCopy::place(snapshot(1, {0, 0, 0}), Ogre::Vector3::ZERO, boxMin, boxMax, -kX, true);
    EXPECT_FLOAT_EQ(back.values[0], -1.0f);
    EXPECT_FLOAT_EQ(back.pivots[0], -1.0f);
    // A box off its origin (from 0 to 2 on x) still ends up edge to edge: the far face is at 2.
    SmartCopy::Placement offCentre = SmartCopy::place(snapshot(1, {0, 0, 0}), Ogre::Vector3::ZERO, {0, 0, 0},
                                                      {2, 1, 1}, kX, true);
    EXPECT_FLOAT_EQ(offCentre.values[0], 2.0f);
    EXPECT_FLOAT_EQ(offCentre.pivots[0], 0.0f);
    // A source turned 90 degrees about y: its x axis points to -z in the parent, and so does the copy.
    SmartCopy::Placement turned =
        SmartCopy::place(snapshot(1, {0, 0, 0}, turnY(90)), Ogre::Vector3::ZERO, boxMin, boxMax, kX, false);
    EXPECT_NEAR(turned.values[2], -2.0f, 1e-5f);
    EXPECT_NEAR(turned.values[0], 0.0f, 1e-5f);
    EXPECT_TRUE(turned.written[0]);
    EXPECT_TRUE(turned.written[2]);
}

TEST(SmartCopyRulesTest, LearnsOnlyAChangeByHandToTheNewestCopy) {
    SmartCopy copy;
    const Ogre::Vector3 born(3, 0, 0);
    // The first smart copy of a session learns nothing.
    copy.learn(snapshot(1, {0, 0, 0}), kX);
    EXPECT_FALSE(copy.hasStep());
    copy.remember(snapshot(2, born), kX);
    // Untouched, or changed by less than the tolerances: still nothing.
    copy.learn(snapshot(2, born + Ogre::Vector3(0.0005f, 0, 0), Ogre::Quaternion::IDENTITY, {1.0005f, 1, 1}), kX);
    EXPECT_FALSE(copy.hasStep());
    // Rounding of the orientation as it goes through the attributes is not a turn either.
    copy.learn(snapshot(2, born, LmdEulerHelper::composeYXZ(0.0f, 0.0f, 0.0f) * turnY(0.000001f)), kX);
    EXPECT_FALSE(copy.hasStep());
    // A turn of 10 degrees is learnt, and stays for the session.
    copy.learn(snapshot(2, born, turnY(10)), kX);
    ASSERT_TRUE(copy.hasStep());
    EXPECT_NEAR(yawOf(copy.rotationDelta()), 10.0f, 1e-3f);
    copy.remember(snapshot(3, {6, 0, 0}, turnY(20)), kX);
    copy.learn(snapshot(3, {6, 0, 0}, turnY(45)), kX);
    EXPECT_NEAR(yawOf(copy.rotationDelta()), 10.0f, 1e-3f) << "a later hand change is not learnt";
    // Copying from an older copy, or in another direction, starts again.
    copy.learn(snapshot(2, born, turnY(10)), kX);
    EXPECT_FALSE(copy.hasStep());
    copy.remember(snapshot(4, born), kX);
    copy.learn(snapshot(4, born, turnY(30)), Ogre::Vector3(0, 0, 1));
    EXPECT_FALSE(copy.hasStep());
}

TEST(SmartCopyRulesTest, TheLearntStepMovesTurnsAndScalesTheNextCopy) {
    SmartCopy copy;
    copy.remember(snapshot(2, {2, 0, 0}, turnY(10), {0, 2, 1}), kX);
    // Moved up by 0.5 (in the copy's own frame), scaled 1.5 on z, x scale was 0 when born.
    copy.learn(snapshot(2, {2, 0.5f, 0}, turnY(10), {2, 2, 1.5f}), kX);
    ASSERT_TRUE(copy.hasStep());
    EXPECT_NEAR(copy.positionDelta().y, 0.5f, 1e-5f);
    EXPECT_FLOAT_EQ(copy.scaleRatio().x, 2.0f) << "a zero scale gives the new scale, not infinity";
    EXPECT_FLOAT_EQ(copy.scaleRatio().z, 1.5f);
    SmartCopy::Placement placement;
    placement.values[0] = 4.0f;
    placement.written[0] = true;
    const SmartCopy::Step step = copy.applyStep(snapshot(2, {2, 0.5f, 0}, turnY(10), {2, 2, 1.5f}), placement);
    EXPECT_TRUE(step.applied);
    EXPECT_FLOAT_EQ(placement.values[0], 4.0f);
    EXPECT_TRUE(placement.written[1]);
    EXPECT_NEAR(placement.values[1], 1.0f, 1e-5f) << "from the source's 0.5, 0.5 higher";
    EXPECT_FALSE(placement.written[2]);
    EXPECT_FLOAT_EQ(step.scale.z, 2.25f);
    // Without a step the copy keeps its source's orientation and scale.
    SmartCopy fresh;
    SmartCopy::Placement untouched;
    EXPECT_FALSE(fresh.applyStep(snapshot(1, {0, 0, 0}, turnY(10)), untouched).applied);
}

TEST(SmartCopyRulesTest, ResetWaitsForTheCopyInProgressAndAutoScaleAlternates) {
    SmartCopy copy;
    copy.remember(snapshot(2, {1, 0, 0}), kX);
    {
        SmartCopy::SuppressReset during(copy);
        copy.reset();
        EXPECT_TRUE(copy.hasSession());
    }
    copy.reset();
    EXPECT_FALSE(copy.hasSession());
    EXPECT_FLOAT_EQ(copy.autoScaleY(1.0f), 1.01f);
    EXPECT_FLOAT_EQ(copy.autoScaleY(1.01f), 1.0f);
    EXPECT_FLOAT_EQ(copy.autoScaleY(1.0f), 1.01f);
}

// --- On a document ------------------------------------------------------------------------------

const char* kStairs = R"(<KiteBench3D>
  <Level name="one"><Box name="step" x="0" y="0" z="0" width="2" height="0.2" depth="1"/><Comment text="hi"/></Level>
</KiteBench3D>)";

class SmartCopyOperationTest : public ::testing::Test {
protected:
    SmartCopyOperationTest() {
        scene.helper->setScriptParser(test::sharedSchemaParser());
        // The scene builds every Box from its attributes (a box 2 by 0.2 by 1 around its pivot).
        scene.helper->setGetModelBoxCallback([this](int id, BlocksHelper::ModelBox& box) {
            const pugi::xml_node node = nodeById(id);
            if (!node)
                return false;
            box.boxMin = Ogre::Vector3(-1, -0.1f, -0.5f);
            box.boxMax = Ogre::Vector3(1, 0.1f, 0.5f);
            box.position = Ogre::Vector3(number(node, "x", 0), number(node, "y", 0), number(node, "z", 0));
            box.scale = Ogre::Vector3(number(node, "scaleX", 1), number(node, "scaleY", 1), number(node, "scaleZ", 1));
            if (node.attribute("orientationW"))
                box.orientation = Ogre::Quaternion(number(node, "orientationW", 1), number(node, "orientationX", 0),
                                                   number(node, "orientationY", 0), number(node, "orientationZ", 0));
            else
                box.orientation = LmdEulerHelper::composeYXZ(number(node, "rotationX", 0), number(node, "rotationY", 0),
                                                             number(node, "rotationZ", 0));
            return true;
        });
        savedOnSelected = Block::onSelected;
        // Selecting a copy detaches the gizmo from its source, which ends a session in the editor.
        Block::onSelected = [this](int id) {
            selected.push_back(id);
            scene.helper->resetSmartCopySession();
        };
    }
    ~SmartCopyOperationTest() override { Block::onSelected = savedOnSelected; }

    static float number(const pugi::xml_node& node, const char* name, float otherwise) {
        return node.attribute(name).as_float(otherwise);
    }
    pugi::xml_node nodeById(int id) const {
        return scene.document.root().find_node([id](pugi::xml_node n) { return n.attribute("id").as_int(-2) == id; });
    }
    std::vector<pugi::xml_node> steps() const {
        std::vector<pugi::xml_node> result;
        for (pugi::xml_node box : scene.document.root().child("Level").children("Box"))
            result.push_back(box);
        return result;
    }
    // Where the middle of a step's shape is: its origin plus its turned, scaled pivot.
    Ogre::Vector3 middleOf(const pugi::xml_node& node) {
        BlocksHelper::ModelBox box;
        EXPECT_TRUE(nodeById(node.attribute("id").as_int()) == node);
        const Ogre::Vector3 pivot(number(node, "xAxis", 0), number(node, "yAxis", 0), number(node, "zAxis", 0));
        Ogre::Quaternion q = node.attribute("orientationW")
                                 ? Ogre::Quaternion(number(node, "orientationW", 1), number(node, "orientationX", 0),
                                                    number(node, "orientationY", 0), number(node, "orientationZ", 0))
                                 : LmdEulerHelper::composeYXZ(0, number(node, "rotationY", 0), 0);
        return Ogre::Vector3(number(node, "x", 0), number(node, "y", 0), number(node, "z", 0)) + q * pivot;
    }
    // The far face of a step along its own x, where the next step must start.
    Ogre::Vector3 farFaceOf(const pugi::xml_node& node) {
        const Ogre::Quaternion q = node.attribute("orientationW")
                                       ? Ogre::Quaternion(number(node, "orientationW", 1), number(node, "orientationX", 0),
                                                          number(node, "orientationY", 0), number(node, "orientationZ", 0))
                                       : LmdEulerHelper::composeYXZ(0, number(node, "rotationY", 0), 0);
        return middleOf(node) + q * Ogre::Vector3(1, 0, 0);
    }
    // A person turns a step about y with the rotate gizmo.
    void turnByHand(const pugi::xml_node& node, float degrees) {
        LmdGizmoCommit::Transform before, after;
        before.rotation = Ogre::Vector3(0, number(node, "rotationY", 0), 0);
        after.rotation = before.rotation + Ogre::Vector3(0, degrees, 0);
        after.orientation = LmdEulerHelper::composeYXZ(after.rotation.x, after.rotation.y, after.rotation.z);
        ASSERT_GT(LmdGizmoCommit::writeTransform(scene.files, node, before, after, nullptr), 0);
    }

    BlocksScene scene{kStairs};
    std::vector<int> selected;
    std::function<void(int)> savedOnSelected;
};

TEST_F(SmartCopyOperationTest, ATurnByHandOnTheSecondStepMakesASpiral) {
    scene.helper->onBlockSmartCopy(scene.blockNamed("Box"), kX, 1);
    ASSERT_EQ(steps().size(), 2u);
    // Edge to edge: the second step's origin is on the first one's far face, its shape beyond.
    EXPECT_FLOAT_EQ(number(steps()[1], "x", 0), 1.0f);
    EXPECT_FLOAT_EQ(number(steps()[1], "xAxis", 0), 1.0f);
    EXPECT_FALSE(steps()[1].attribute("rotationY")) << "the first copy of a session learns nothing";
    EXPECT_TRUE(scene.helper->smartCopy().hasSession()) << "selecting the copy did not end the session";
    ASSERT_EQ(selected.size(), 1u);

    turnByHand(steps()[1], 10.0f);
    scene.helper->onBlockSmartCopy(Block::getBlockById(steps()[1].attribute("id").as_int()), kX, 1);
    scene.helper->onBlockSmartCopy(Block::getBlockById(steps()[2].attribute("id").as_int()), kX, 1);
    const std::vector<pugi::xml_node> all = steps();
    ASSERT_EQ(all.size(), 4u);
    EXPECT_NEAR(number(all[2], "rotationY", 0), 20.0f, 1e-3f);
    EXPECT_NEAR(number(all[3], "rotationY", 0), 30.0f, 1e-3f);
    // Each step starts where the one before ends.
    for (size_t i = 1; i < all.size(); ++i) {
        const Ogre::Quaternion q = LmdEulerHelper::composeYXZ(0, number(all[i], "rotationY", 0), 0);
        const Ogre::Vector3 nearFace = middleOf(all[i]) - q * Ogre::Vector3(1, 0, 0);
        EXPECT_LT(nearFace.distance(farFaceOf(all[i - 1])), 1e-4f) << "step " << i;
        EXPECT_FLOAT_EQ(number(all[i], "y", 0), 0.0f);
    }
    // Each pull is one undo step.
    scene.files.undo();
    scene.frame();
    EXPECT_EQ(steps().size(), 3u);
}

TEST_F(SmartCopyOperationTest, ARunOfCopiesIsOneStepSelectsTheLastAndAutoScaleAlternates) {
    scene.helper->setSmartCopyAutoScale(true);
    scene.helper->onBlockSmartCopy(scene.blockNamed("Box"), kX, 3);
    const std::vector<pugi::xml_node> all = steps();
    ASSERT_EQ(all.size(), 4u);
    ASSERT_EQ(selected.size(), 1u);
    EXPECT_EQ(selected[0], all[3].attribute("id").as_int());
    // The scale changes alternate, and the next copy is not taken for a scale by hand.
    EXPECT_FLOAT_EQ(number(all[1], "scaleY", 1), 1.01f);
    EXPECT_FLOAT_EQ(number(all[2], "scaleY", 1), 1.0f);
    EXPECT_FLOAT_EQ(number(all[3], "scaleY", 1), 1.01f);
    EXPECT_FALSE(scene.helper->smartCopy().hasStep());
    for (size_t i = 1; i < all.size(); ++i)
        EXPECT_NEAR(middleOf(all[i]).x - middleOf(all[i - 1]).x, 2.0f, 1e-5f);
    scene.files.undo();
    scene.frame();
    EXPECT_EQ(steps().size(), 1u);
    // A plain copy neither pivots nor scales.
    scene.helper->onBlockCopy(scene.blockNamed("Box"), -kX, 1);
    ASSERT_EQ(steps().size(), 2u);
    EXPECT_FLOAT_EQ(number(steps()[1], "x", 0), -2.0f);
    EXPECT_FALSE(steps()[1].attribute("xAxis"));
    EXPECT_FALSE(steps()[1].attribute("scaleY"));
    // A block that is no 3D model is duplicated in place, and the session is left as it was.
    const int before = scene.helper->smartCopy().sourceId();
    scene.helper->onBlockSmartCopy(scene.blockNamed("Comment"), kX, 2);
    EXPECT_EQ(std::distance(scene.document.root().child("Level").children("Comment").begin(),
                            scene.document.root().child("Level").children("Comment").end()),
              2);
    EXPECT_EQ(scene.helper->smartCopy().sourceId(), before);
}

} // namespace
