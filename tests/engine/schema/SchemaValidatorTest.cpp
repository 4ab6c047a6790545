#include "engine/schema/SchemaValidator.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/LmdLog.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {
namespace {

using ::testing::HasSubstr;

// A small platformer that uses most of the language, written the way the editor writes games:
// with the attributes every node may carry (ids, guids, block state, assistant marks).
const char* kValidGame = R"(<KiteBench3D>
  <Var id="1" name="score" value="0"/>
  <Array id="2" name="coins" items="1, 2, 3"/>
  <Material id="3" name="grass" picture="local:grass.png" color="0x55AA55" tileU="4" tileV="4"/>
  <LoadSound id="4" name="jump" fileName="jump.wav" volume="0.8"/>
  <Function id="5" name="addPoints" params="n" isCollapse="true">
    <Increment id="6" var="score" value="n"/>
    <Return id="7" value="score"/>
  </Function>
  <OnStart id="8"><Print id="9" text="game started"/></OnStart>
  <SkyBox id="10" name="sky" picture="sky.jpg"/>
  <Level id="11" name="one" skyBox="sky" fog="mist" gravityY="-9.81" guidId="a1b2" showAttributes="false">
    <Fog id="12" name="mist" mode="exponential" density="0.02"/>
    <DirectionalLight id="13" name="sun" castShadows="true" x="0" y="10" z="0"/>
    <Plane id="14" name="ground" texture="grass" _aiChange="added"/>
    <Box id="15" name="player" y="1" body="dynamic" lockRotation="1" color="#8a5a2b" mass="2.5" scaleY="1.010000">
      <OnKeyHeld id="16" key="Left"><Move id="17" moveX="-speed * dt" space="local"/></OnKeyHeld>
      <OnKeyDown id="18" key="Space">
        <ApplyForce id="19" impulse="true" forceY="5"/>
        <PlaySound id="20" sound="jump"/>
      </OnKeyDown>
      <OnCollision id="21" with="coin">
        <Call id="22" function="addPoints" args="10" result="score"/>
        <Destroy id="23" target="coin"/>
        <If id="24" left="score" op="&gt;=" right="30">
          <GoToLevel id="25" level="two"/>
          <Else id="26"><Comment id="27" text="keep going"/></Else>
        </If>
      </OnCollision>
      <Camera id="28" name="eye" y="2" fov="70"/>
    </Box>
    <Model id="29" name="hero" fileName="local:hero.glb" x="3" xAxis="0.5">
      <Animation id="30" name="run" clip="Run" speed="1.5"/>
      <VertexList id="31"><Vertex id="32" num="0" pos="12" x="0.1" y="0" z="0"/></VertexList>
      <OnStart id="33"><PlayAnimation id="34" animation="run"/></OnStart>
    </Model>
    <Sphere id="35" name="coin" x="5" y="1" body="static" sensor="true" segments="16.000000"/>
    <Text2D id="36" name="hud" text="Score: {score}" fontSize="24" anchor="topRight" image="hud.png" var="score"/>
    <Joystick id="37" name="stick"/>
    <OnJoystick id="38" joystick="stick"><SetVelocity id="39" target="player" velocityX="stickX * 5"/></OnJoystick>
    <Timer id="40" interval="0.5">
      <ForEach id="41" array="coins"><If id="42" left="item" op="==" right="2"><Break id="43"/></If></ForEach>
      <Loop id="44" count="3"><ArrayAdd id="45" array="coins" value="i"/></Loop>
    </Timer>
    <Comment id="46" text="level one"/>
  </Level>
  <Level id="47" name="two"/>
</KiteBench3D>)";

class SchemaValidatorTest : public ::testing::Test {
protected:
    void SetUp() override {
        LmdLog::setEchoToStderr(false);
        ASSERT_TRUE(schema.load(LMD_SOURCE_MEDIA_DIR "/codeSchema.xml"));
    }
    void TearDown() override { LmdLog::setEchoToStderr(true); }

    std::vector<std::string> check(const std::string& xml, int limit = 100) {
        pugi::xml_document doc;
        EXPECT_TRUE(doc.load_string(xml.c_str())) << xml;
        return SchemaValidator::validate(doc.first_child(), schema, limit);
    }
    // The findings for one element placed inside a level.
    std::vector<std::string> checkInLevel(const std::string& element) {
        return check("<KiteBench3D><Level name=\"one\">" + element + "</Level></KiteBench3D>");
    }

    CodeSchema schema;
};

TEST_F(SchemaValidatorTest, AValidGameHasNoViolations) {
    EXPECT_EQ(check(kValidGame), std::vector<std::string>{});
    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_string(kValidGame));
    EXPECT_TRUE(SchemaValidator::validate(doc, schema).empty()); // the document node works as well
    EXPECT_TRUE(check("<KiteBench3D>\n</KiteBench3D>").empty());
}

TEST_F(SchemaValidatorTest, EachKindOfFaultGetsOneSentenceSayingWhatIsRight) {
    struct Case {
        std::string element;
        std::vector<std::string> expected; // parts of the one sentence
    };
    const std::vector<Case> cases = {
        {"<Boxx id=\"5\"/>", {"Element 'Boxx' (id 5) is not a command", "did you mean 'Box'?"}},
        {"<box id=\"5\"/>", {"did you mean 'Box'?"}},
        {"<Box id=\"5\" colour=\"red\"/>",
         {"Element 'Box' (id 5): attribute 'colour' is not defined for Box", "did you mean 'color'?",
          "Known attributes are name, x, y, z", "more)."}},
        {"<Box id=\"5\" body=\"dynamik\"/>", {"attribute 'body' is 'dynamik', which is not one of none, static, dynamic",
                                              "did you mean 'dynamic'?"}},
        {"<Box id=\"5\" mass=\"heavy\"/>", {"attribute 'mass' is 'heavy', which is not a number"}},
        {"<Box id=\"5\" mass=\"1.5kg\"/>", {"'1.5kg', which is not a number"}},
        {"<Sphere id=\"5\" segments=\"24.5\"/>", {"attribute 'segments' is '24.5', which is not a whole number"}},
        {"<Box id=\"5\" visible=\"yes\"/>", {"attribute 'visible' is 'yes', which is not a boolean; write true or false"}},
        {"<Box id=\"5\" color=\"red\"/>", {"attribute 'color' is 'red', which is not a colour", "0xFF8800"}},
        {"<Box id=\"5\" isCollapse=\"maybe\"/>", {"attribute 'isCollapse' is 'maybe', which is not a boolean"}},
        {"<Var id=\"5\" name=\"\"/>", {"Element 'Var' (id 5): required attribute 'name' is empty"}},
        {"<Model id=\"5\"/>", {"required attribute 'fileName' is missing; set it to a model file name."}},
        {"<OnStart><Call id=\"5\"/></OnStart>", {"required attribute 'function' is missing; set it to the name of a Function."}},
        {"<OnKeyDown id=\"5\" key=\"Spcae\"/>", {"is 'Spcae', which is not one of Space, Enter", "did you mean 'Space'?"}},
        {"<Set id=\"5\" var=\"score\"/>",
         {"Element 'Set' (id 5): Set cannot stand in Level; it may only stand in a logic block (an event, If"}},
        {"<Box id=\"5\"><Level name=\"inner\"/></Box>",
         {"Element 'Level' (name 'inner'): Level cannot stand in Box; it may only stand directly under KiteBench3D."}},
        {"<Vertex id=\"5\" num=\"0\" pos=\"3\"/>", {"Vertex cannot stand in Level; it may only stand in VertexList."}},
        {"<Box id=\"4\"><VertexList id=\"6\"/><Else id=\"5\"/></Box>", {"Else cannot stand in Box; it may only stand in If."}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.element);
        std::vector<std::string> found = checkInLevel(c.element);
        ASSERT_EQ(found.size(), 1u) << ::testing::PrintToString(found);
        for (const std::string& part : c.expected)
            EXPECT_THAT(found[0], HasSubstr(part));
    }
}

TEST_F(SchemaValidatorTest, ValuesThatTheEditorWritesAreAccepted) {
    // The number input writes "%f", the colour input "0x" + hex; a required attribute with a
    // default may be left out; empty optional values mean "use the default".
    EXPECT_TRUE(checkInLevel("<Sphere segments=\"24.000000\" radius=\"+1e-1\" color=\"0xA0b0C0\" mass=\"\"/>").empty());
    EXPECT_TRUE(checkInLevel("<OnKeyDown/>").empty());
    EXPECT_TRUE(checkInLevel("<Box name=\"b\" visible=\"0\" castShadows=\"false\"/>").empty());
    for (const char* bad : {"nan", "inf", "1,5", "0x10", " "})
        EXPECT_EQ(checkInLevel(std::string("<Box mass=\"") + bad + "\"/>").size(), 1u) << bad;
}

TEST_F(SchemaValidatorTest, RootAndTopLevelPlacement) {
    auto found = check("<Game><Level name=\"a\"/></Game>");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0], "The root element is 'Game', but a game document's root element must be KiteBench3D; rename it.");

    found = check("<KiteBench3D><Box name=\"crate\"/></KiteBench3D>");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0], "Element 'Box' (name 'crate'): Box cannot stand directly under KiteBench3D; it may only "
                        "stand in Level or in any 3D Models block.");
}

TEST_F(SchemaValidatorTest, ElementsAreNamedByIdThenNameThenPath) {
    auto found = check("<KiteBench3D><Level name=\"one\"><Box/><Box id=\"7\" name=\"b\" mass=\"x\"/>"
                       "<Box name=\"crate\" mass=\"x\"/><Box mass=\"x\"/></Level></KiteBench3D>");
    ASSERT_EQ(found.size(), 3u);
    EXPECT_THAT(found[0], HasSubstr("Element 'Box' (id 7): "));
    EXPECT_THAT(found[1], HasSubstr("Element 'Box' (name 'crate'): "));
    EXPECT_THAT(found[2], HasSubstr("Element 'Box' at /KiteBench3D/Level[1]/Box[4]: "));
}

TEST_F(SchemaValidatorTest, UnknownElementsAreReportedOnceAndTheirChildrenStillChecked) {
    // The Box under an unknown element gets no placement finding: only its own fault counts.
    auto found = checkInLevel("<Crate id=\"1\"><Box id=\"2\" mass=\"x\"/></Crate>");
    ASSERT_EQ(found.size(), 2u);
    EXPECT_THAT(found[0], HasSubstr("'Crate' (id 1) is not a command"));
    EXPECT_THAT(found[1], HasSubstr("(id 2): attribute 'mass'"));
}

TEST_F(SchemaValidatorTest, FindingsAreCutAtTheLimitInDocumentOrder) {
    std::string level;
    for (int i = 1; i <= 13; ++i)
        level += "<Box id=\"" + std::to_string(i) + "\" mass=\"x\"/>";
    EXPECT_EQ(checkInLevel(level).size(), 13u);
    auto found = check("<KiteBench3D><Level name=\"one\">" + level + "</Level></KiteBench3D>", 12);
    ASSERT_EQ(found.size(), 12u);
    EXPECT_THAT(found.front(), HasSubstr("(id 1)"));
    EXPECT_THAT(found.back(), HasSubstr("(id 12)"));
    pugi::xml_document doc;
    doc.load_string(("<KiteBench3D><Level name=\"one\">" + level + "</Level></KiteBench3D>").c_str());
    EXPECT_EQ(SchemaValidator::validate(doc.first_child(), schema).size(), 12u); // the default limit
    EXPECT_TRUE(SchemaValidator::validate(doc.first_child(), schema, 0).empty());
}

TEST_F(SchemaValidatorTest, AnUnloadedSchemaValidatesNothing) {
    const std::string bad = "<Game><Boxx/></Game>";
    pugi::xml_document doc;
    doc.load_string(bad.c_str());
    CodeSchema never;
    EXPECT_TRUE(SchemaValidator::validate(doc.first_child(), never).empty());
    CodeSchema failed;
    EXPECT_FALSE(failed.load("/nonexistent/codeSchema.xml"));
    EXPECT_TRUE(SchemaValidator::validate(doc.first_child(), failed).empty());
}

TEST_F(SchemaValidatorTest, DeepDocumentsDoNotExhaustTheStack) {
    pugi::xml_document doc;
    pugi::xml_node node = doc.append_child("KiteBench3D").append_child("Level");
    node.append_attribute("name") = "deep";
    for (int i = 0; i < 100000; ++i)
        node = node.append_child("Group");
    node.append_attribute("mass") = "1";
    auto found = SchemaValidator::validate(doc.first_child(), schema);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].substr(0, found[0].find(':')),
              "Element 'Group' at /KiteBench3D/Level[1]/.../Group[1]/Group[1]/Group[1]/Group[1]"); // kept short
    EXPECT_THAT(found[0], HasSubstr("attribute 'mass' is not defined for Group"));
}

TEST(SchemaValidatorSmallSchema, SharedAttributesAreAllowedOnCommandsWithoutAttributes) {
    LmdLog::setEchoToStderr(false);
    CodeSchema schema;
    ASSERT_TRUE(schema.loadFromString("<codeSchema><category name=\"C\"><command name=\"Tick\"/></category></codeSchema>"));
    LmdLog::setEchoToStderr(true);
    pugi::xml_document doc;
    doc.load_string("<KiteBench3D><Tick id=\"1\" guidId=\"g\" name=\"n\" isCollapse=\"true\" showAttributes=\"0\" "
                    "image=\"i.png\" _aiChange=\"updated\" x=\"1\" y=\"2\" z=\"3\" xAxis=\"0\" yAxis=\"0\" zAxis=\"0\" "
                    "rotationX=\"90\" rotationY=\"-90\" scaleY=\"2\" var=\"v\"/>"
                    "<Tick id=\"2\" speed=\"3\" _aiChange=\"changed\"/></KiteBench3D>");
    auto found = SchemaValidator::validate(doc.first_child(), schema);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0], "Element 'Tick' (id 2): attribute 'speed' is not defined for Tick, which has no attributes "
                        "of its own.");
    EXPECT_THAT(found[1], HasSubstr("attribute '_aiChange' is 'changed', which is not one of added, updated"));
}

} // namespace
} // namespace Lumenda3D
