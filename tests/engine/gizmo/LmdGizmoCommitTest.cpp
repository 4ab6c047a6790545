// What a finished gizmo drag writes into the document: only what changed, only what the element's
// command has, and always as one undo step.
#include "engine/gizmo/LmdGizmoCommit.h"

#include <gtest/gtest.h>

#include "base/LmdLog.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/scene/LmdEulerHelper.h"
#include "engine/scene/ScriptParser.h"

namespace Lumenda3D {
namespace {

const char* kGame = R"(<KiteBench3D>
  <Level name="Main">
    <Box name="Crate" x="1" rotationY="30"/>
    <Box name="Turned" orientationX="0" orientationY="0" orientationZ="0" orientationW="1"/>
    <PointLight name="Lamp" y="3"/>
    <Text2D name="Score" text="0" x="10" y="20"/>
  </Level>
</KiteBench3D>)";

class GizmoCommitTest : public ::testing::Test {
protected:
    void SetUp() override {
        LmdLog::setEchoToStderr(false);
        ASSERT_TRUE(doc.setXmlSourceString(kGame));
        files.attachDocument(&doc);
        files.setHistoryEnabled(true);
    }
    void TearDown() override { LmdLog::setEchoToStderr(true); }

    static const CodeSchema* schema() {
        static ScriptParser parser(ScriptParser::defaultSchemaPath());
        return parser.getCodeSchema();
    }
    pugi::xml_node named(const char* name) {
        return doc.root().find_node([name](const pugi::xml_node& n) { return std::string(name) == n.attribute("name").value(); });
    }
    static LmdGizmoCommit::Transform rotated(float x, float y, float z) {
        LmdGizmoCommit::Transform t;
        t.rotation = Ogre::Vector3(x, y, z);
        t.orientation = LmdEulerHelper::composeYXZ(x, y, z);
        return t;
    }

    LmdGameDocument doc;
    LmdSourceFiles files;
};

TEST_F(GizmoCommitTest, OnlyChangedValuesAreWrittenAsOneUndoStep) {
    const std::string original = doc.getSourceXmlString(false, false);
    LmdGizmoCommit::Transform before = rotated(0, 30, 0);
    before.position = Ogre::Vector3(1, 0, 0);
    LmdGizmoCommit::Transform after = before;
    after.position = Ogre::Vector3(2.5f, 0, 0);
    after.scale = Ogre::Vector3(1, 1.25f, 1);

    EXPECT_EQ(LmdGizmoCommit::writeTransform(files, named("Crate"), before, after, schema()), 2);
    EXPECT_STREQ(named("Crate").attribute("x").value(), "2.5");
    EXPECT_STREQ(named("Crate").attribute("scaleY").value(), "1.25");
    // Unchanged components stay as they were (absent ones are not filled in with defaults).
    EXPECT_FALSE(named("Crate").attribute("y"));
    EXPECT_FALSE(named("Crate").attribute("scaleX"));
    EXPECT_STREQ(named("Crate").attribute("rotationY").value(), "30");
    files.update();
    EXPECT_EQ(files.undoStepCount(), 1u);
    files.undo();
    EXPECT_EQ(doc.getSourceXmlString(false, false), original);

    // Nothing changed: nothing written, no step.
    EXPECT_EQ(LmdGizmoCommit::writeTransform(files, named("Crate"), before, before, schema()), 0);
    EXPECT_EQ(LmdGizmoCommit::writeTransform(files, pugi::xml_node(), before, after, schema()), 0);
    files.update();
    EXPECT_FALSE(files.canUndo());
}

TEST_F(GizmoCommitTest, RotationsKeepAStoredQuaternionInStepAndSkipWhatTheCommandLacks) {
    const LmdGizmoCommit::Transform before = rotated(0, 0, 0);
    const LmdGizmoCommit::Transform after = rotated(0, 90, 0);
    EXPECT_EQ(LmdGizmoCommit::writeTransform(files, named("Turned"), before, after, schema()), 5);
    EXPECT_STREQ(named("Turned").attribute("rotationY").value(), "90");
    EXPECT_NEAR(named("Turned").attribute("orientationY").as_float(), after.orientation.y, 1e-6f);
    EXPECT_NEAR(named("Turned").attribute("orientationW").as_float(), after.orientation.w, 1e-6f);
    // An element without a quaternion gets none.
    EXPECT_EQ(LmdGizmoCommit::writeTransform(files, named("Crate"), rotated(0, 30, 0), after, schema()), 1);
    EXPECT_FALSE(named("Crate").attribute("orientationW"));

    // A point light has a position and nothing to turn or scale.
    LmdGizmoCommit::Transform lampAfter = after;
    lampAfter.position = Ogre::Vector3(0, 4, 0);
    lampAfter.scale = Ogre::Vector3(2, 2, 2);
    EXPECT_EQ(LmdGizmoCommit::writeTransform(files, named("Lamp"), before, lampAfter, schema()), 1);
    EXPECT_STREQ(named("Lamp").attribute("y").value(), "4");
    EXPECT_FALSE(named("Lamp").attribute("rotationY"));
    EXPECT_FALSE(named("Lamp").attribute("scaleX"));
    // Without a schema everything goes.
    EXPECT_EQ(LmdGizmoCommit::writeTransform(files, named("Lamp"), before, lampAfter, nullptr), 5);
}

TEST_F(GizmoCommitTest, NumbersOfA2DElementSkipUnchangedTextsAndUnknownAttributes) {
    const pugi::xml_node score = named("Score");
    EXPECT_EQ(LmdGizmoCommit::writeNumbers(files, score, {{"x", 10.0f}, {"y", 35.0f}, {"fontSize", 30.0f}}, schema()), 2);
    EXPECT_STREQ(score.attribute("y").value(), "35");
    EXPECT_STREQ(score.attribute("fontSize").value(), "30");
    // A text has no width: its size comes from its font.
    EXPECT_EQ(LmdGizmoCommit::writeNumbers(files, score, {{"width", 120.0f}}, schema()), 0);
    EXPECT_FALSE(score.attribute("width"));
    files.update();
    EXPECT_EQ(files.undoStepCount(), 1u);
    EXPECT_TRUE(LmdGizmoCommit::hasAttribute(score, "anything", nullptr));
}

} // namespace
} // namespace Lumenda3D
