// The document -> scene description step: schema defaults, faults (one critical line each, naming
// the node), levels, scoping of declarations, and the decisions about partial updates.
#include "engine/scene/LmdSceneReader.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/LmdLog.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/scene/LmdPartialSource.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/scene/ScriptParser.h"

namespace Lumenda3D {
namespace {

using ::testing::HasSubstr;

// The shipped schema, loaded once.
const CodeSchema& schema() {
    static ScriptParser parser(ScriptParser::defaultSchemaPath());
    EXPECT_TRUE(parser.hasSchema());
    return *parser.getCodeSchema();
}

// Collects the critical lines logged while it lives.
class CriticalLog {
public:
    CriticalLog() {
        LmdLog::setEchoToStderr(false);
        handle_ = LmdLog::addSink([this](const std::string& text, LogLevel level) {
            if (level == LogLevel::Critical)
                lines.push_back(text);
        });
    }
    ~CriticalLog() {
        LmdLog::removeSink(handle_);
        LmdLog::setEchoToStderr(true);
    }
    std::vector<std::string> lines;

private:
    int handle_ = 0;
};

struct Read {
    pugi::xml_document doc;
    LmdSceneFaults faults;
    LmdSceneDescription scene;

    explicit Read(const std::string& xml, const std::string& onlyLevel = "") {
        EXPECT_TRUE(LmdGameDocument::parse(xml, doc));
        LmdSceneReader reader(&schema(), faults);
        LmdSceneReader::Options options;
        options.onlyLevel = onlyLevel;
        reader.read(doc.document_element(), scene, options);
    }
    const LmdObjectDesc* object(const std::string& name) const {
        for (const LmdObjectDesc& o : scene.objects)
            if (o.name == name)
                return &o;
        return nullptr;
    }
    const LmdElementDesc* element(const std::string& name) const {
        for (const LmdElementDesc& e : scene.elements)
            if (e.name == name)
                return &e;
        return nullptr;
    }
};

TEST(LmdSceneReader, MissingAttributesTakeTheSchemaDefaultsOfTheirCommand) {
    Read read(R"(<KiteBench3D><Level name="L">
        <Box name="b"/>
        <Plane name="p"/>
        <Camera name="c"/>
        <Sphere name="s"/>
        <AmbientLight name="a"/>
        <Joystick name="j"/>
        <Text2D name="t"/>
      </Level></KiteBench3D>)");
    const LmdObjectDesc* box = read.object("b");
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->size, Ogre::Vector3(1, 1, 1));
    EXPECT_EQ(box->color, 0xFFFFFFu);
    EXPECT_EQ(box->physics.body, LmdBodyType::None);
    EXPECT_TRUE(box->visible);
    // Plane: 20 x 20 and solid by default (the command overrides the physics set's default).
    EXPECT_EQ(read.object("p")->size.x, 20.0f);
    EXPECT_EQ(read.object("p")->physics.body, LmdBodyType::Static);
    // Camera: starts above and behind, tilted down.
    EXPECT_EQ(read.object("c")->position, Ogre::Vector3(0, 5, 10));
    EXPECT_EQ(read.object("c")->rotation.x, -20.0f);
    EXPECT_EQ(read.object("c")->fov, 60.0f);
    EXPECT_EQ(read.object("s")->radius, 0.5f);
    EXPECT_EQ(read.object("s")->segments, 24);
    EXPECT_EQ(read.object("a")->color, 0x404040u);
    // A joystick sits at the bottom left; a text says "Text".
    EXPECT_EQ(read.element("j")->anchor, "bottomLeft");
    EXPECT_EQ(read.element("j")->x, 120.0f);
    EXPECT_EQ(read.element("t")->text, "Text");
    EXPECT_EQ(read.element("t")->fontSize, 24);
    EXPECT_EQ(read.faults.count(), 0u);
}

TEST(LmdSceneReader, EachBadValueIsOneCriticalLineNamingTheNodeAndTheDefaultIsUsed) {
    CriticalLog log;
    Read read(R"(<KiteBench3D><Level name="L">
        <Box id="12" name="crate" x="abc" width="-2" color="orange" visible="maybe" body="floaty"/>
        <Sphere id="13" name="ok" x="1.5" y="-2" z="1e1" color="#ff8800" visible="0"/>
      </Level></KiteBench3D>)");
    const LmdObjectDesc* crate = read.object("crate");
    ASSERT_NE(crate, nullptr);
    EXPECT_EQ(crate->position.x, 0.0f);
    EXPECT_EQ(crate->size.x, 1.0f);
    EXPECT_EQ(crate->color, 0xFFFFFFu);
    EXPECT_TRUE(crate->visible);
    EXPECT_EQ(crate->physics.body, LmdBodyType::None);
    ASSERT_EQ(log.lines.size(), 5u);
    for (const std::string& line : log.lines)
        EXPECT_THAT(line, HasSubstr("Scene error in Box (id 12, \"crate\")"));
    EXPECT_THAT(log.lines[0], HasSubstr("x is 'abc', which is not a number; using 0"));
    EXPECT_THAT(log.lines[1], HasSubstr("width is '-2', which is not above zero; using 1"));
    // Good values of every kind are read as written, without a word.
    const LmdObjectDesc* ok = read.object("ok");
    EXPECT_EQ(ok->position, Ogre::Vector3(1.5f, -2.0f, 10.0f));
    EXPECT_EQ(ok->color, 0xFF8800u);
    EXPECT_FALSE(ok->visible);
}

TEST(LmdSceneReader, TheSameFaultIsReportedOncePerDocumentUntilReset) {
    CriticalLog log;
    pugi::xml_document doc;
    ASSERT_TRUE(LmdGameDocument::parse(R"(<KiteBench3D><Level name="L"><Box id="3" x="?"/></Level></KiteBench3D>)", doc));
    LmdSceneFaults faults;
    LmdSceneReader reader(&schema(), faults);
    LmdSceneDescription scene;
    reader.read(doc.document_element(), scene); // the edit scene
    reader.read(doc.document_element(), scene); // the play scene, from the same document
    EXPECT_EQ(log.lines.size(), 1u);
    faults.reset(); // a new document
    reader.read(doc.document_element(), scene);
    EXPECT_EQ(log.lines.size(), 2u);
}

TEST(LmdSceneReader, UnknownElementsAreReportedAndTheirContentsStillLoad) {
    CriticalLog log;
    Read read(R"(<KiteBench3D><Level name="L">
        <Teapot id="7" name="pot"><Box name="inside"/></Teapot>
        <Box name="after"/>
        <OnUpdate><Move moveX="1"/></OnUpdate>
      </Level></KiteBench3D>)");
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_THAT(log.lines[0], HasSubstr("Teapot (id 7, \"pot\")"));
    EXPECT_THAT(log.lines[0], HasSubstr("not an element of the game language"));
    EXPECT_NE(read.object("inside"), nullptr);
    EXPECT_NE(read.object("after"), nullptr);
    EXPECT_EQ(read.scene.objects.size(), 2u); // logic is the runtime's, not scene objects
}

TEST(LmdSceneReader, ObjectsKnowTheirLevelAndParentAndChildrenFollowParents) {
    Read read(R"(<KiteBench3D>
        <Level name="one"><Box id="1" name="car"><Camera id="2" name="eye"/><PointLight id="3" name="lamp"/></Box></Level>
        <Level name="two"><Sphere id="4" name="ball"/><Text2D id="5" name="hud"><Rect2D id="6" name="bar"/></Text2D></Level>
      </KiteBench3D>)");
    ASSERT_EQ(read.scene.levels.size(), 2u);
    EXPECT_EQ(read.scene.levels[0].name, "one");
    EXPECT_EQ(read.object("car")->level, "one");
    EXPECT_EQ(read.object("car")->parent, -1);
    EXPECT_EQ(read.object("eye")->parent, 0);
    EXPECT_EQ(read.object("eye")->parentXmlId, 1);
    EXPECT_EQ(read.object("lamp")->parentXmlId, 1);
    EXPECT_EQ(read.object("ball")->level, "two");
    EXPECT_EQ(read.element("bar")->parentXmlId, 5);
    EXPECT_EQ(read.element("bar")->level, "two");
}

TEST(LmdSceneReader, OnlyOneLevelsContentsAreReadForPlayButEveryLevelIsListed) {
    Read read(R"(<KiteBench3D>
        <Material name="global" color="0x111111"/>
        <Level name="one"><Box name="a"/><Material name="local" color="0x222222"/></Level>
        <Level name="two"><Box name="b"/><Text2D name="t"/></Level>
      </KiteBench3D>)",
              "two");
    EXPECT_EQ(read.scene.levels.size(), 2u);
    EXPECT_EQ(read.object("a"), nullptr);
    EXPECT_NE(read.object("b"), nullptr);
    EXPECT_NE(read.element("t"), nullptr);
    EXPECT_NE(read.scene.findMaterial("global", "two"), nullptr);
    EXPECT_EQ(read.scene.findMaterial("local", "two"), nullptr);
}

TEST(LmdSceneReader, ALevelsDeclarationHidesTheGamesOfTheSameName) {
    Read read(R"(<KiteBench3D>
        <Material name="paint" color="0x111111"/>
        <Fog name="mist" density="0.5" mode="exponential"/>
        <Level name="one"><Material name="paint" color="0x222222"/></Level>
        <Level name="two"/>
      </KiteBench3D>)");
    EXPECT_EQ(read.scene.findMaterial("paint", "one")->color, 0x222222u);
    EXPECT_EQ(read.scene.findMaterial("paint", "two")->color, 0x111111u);
    EXPECT_EQ(read.scene.findMaterial("paint", "")->color, 0x111111u);
    EXPECT_TRUE(read.scene.findFog("mist", "two")->exponential);
    EXPECT_EQ(read.scene.findSky("mist", "two"), nullptr);
}

TEST(LmdSceneReader, VertexListsAndAnimationsBelongToTheirModel) {
    CriticalLog log;
    Read read(R"(<KiteBench3D><Level name="L">
        <Model id="9" name="m" fileName="robot.glb">
          <VertexList><Vertex num="0" pos="9" x="1" y="2" z="3"/><Vertex num="1" pos="-3"/></VertexList>
          <Animation name="walk" clip="Walk_Cycle" speed="2"/>
        </Model>
      </Level></KiteBench3D>)");
    const LmdObjectDesc* model = read.object("m");
    ASSERT_NE(model, nullptr);
    ASSERT_EQ(model->vertices.size(), 1u);
    EXPECT_EQ(model->vertices[0].index, 3); // pos is three times the vertex index
    EXPECT_EQ(model->vertices[0].offset, Ogre::Vector3(1, 2, 3));
    ASSERT_EQ(model->animations.size(), 1u);
    EXPECT_EQ(model->animations[0].clip, "Walk_Cycle");
    EXPECT_EQ(model->animations[0].speed, 2.0f);
    ASSERT_EQ(log.lines.size(), 1u); // the vertex with a negative pos
    EXPECT_THAT(log.lines[0], HasSubstr("Vertex"));
}

TEST(LmdSceneReader, OrientationAttributesWinOverRotationAngles) {
    Read read(R"(<KiteBench3D><Level name="L">
        <Box name="angles" rotationY="90"/>
        <Box name="quat" rotationY="90" orientationX="0" orientationY="0" orientationZ="0" orientationW="2"/>
      </Level></KiteBench3D>)");
    const Ogre::Vector3 forward = read.object("angles")->orientation * Ogre::Vector3::NEGATIVE_UNIT_Z;
    EXPECT_NEAR(forward.x, -1.0f, 1e-5f); // turned left about +Y
    EXPECT_TRUE(read.object("quat")->orientation.equals(Ogre::Quaternion::IDENTITY, Ogre::Radian(1e-5f)));
}

TEST(LmdSceneReader, ReadsOneNewElementWhereItStands) {
    pugi::xml_document doc;
    ASSERT_TRUE(LmdGameDocument::parse(
        R"(<KiteBench3D><Level name="L"><Box id="1" name="car"><Sphere id="2" name="wheel"/></Box></Level></KiteBench3D>)", doc));
    LmdSceneFaults faults;
    LmdSceneReader reader(&schema(), faults);
    LmdSceneDescription part;
    reader.readSubtree(doc.select_node("//Sphere").node(), part);
    ASSERT_EQ(part.objects.size(), 1u);
    EXPECT_EQ(part.objects[0].level, "L");
    EXPECT_EQ(part.objects[0].parent, -1);
    EXPECT_EQ(part.objects[0].parentXmlId, 1);
}

TEST(LmdPartialSource, NewSceneContentRunsAtOnceLogicWaitsForTheNextRun) {
    pugi::xml_document doc;
    ASSERT_TRUE(LmdGameDocument::parse(R"(<KiteBench3D><Level name="L"><Box name="b"><OnUpdate/></Box></Level></KiteBench3D>)", doc));
    LmdSceneFaults faults;
    LmdSceneReader reader(&schema(), faults);
    const pugi::xml_node root = doc.document_element();
    const pugi::xml_node level = root.child("Level");
    const pugi::xml_node box = level.child("Box");
    const pugi::xml_node event = box.child("OnUpdate");
    EXPECT_TRUE(LmdPartialSource::shouldRun("Sphere", level, reader));
    EXPECT_TRUE(LmdPartialSource::shouldRun("PointLight", box, reader)); // a child of an object
    EXPECT_TRUE(LmdPartialSource::shouldRun("Text2D", level, reader));
    EXPECT_TRUE(LmdPartialSource::shouldRun("Material", root, reader));
    EXPECT_TRUE(LmdPartialSource::shouldRun("VertexList", box, reader));
    EXPECT_TRUE(LmdPartialSource::shouldRun("Level", root, reader));
    EXPECT_FALSE(LmdPartialSource::shouldRun("Level", level, reader));
    EXPECT_FALSE(LmdPartialSource::shouldRun("Move", event, reader));
    EXPECT_FALSE(LmdPartialSource::shouldRun("OnClick", box, reader));
    EXPECT_FALSE(LmdPartialSource::shouldRun("Box", event, reader)); // not inside logic
    EXPECT_FALSE(LmdPartialSource::shouldRun("Teapot", level, reader));
    EXPECT_FALSE(LmdPartialSource::shouldRun("VertexList", level, reader));
}

TEST(LmdPartialSource, SizesFilesAndBodiesRebuildOtherValuesGoLive) {
    LmdSceneFaults faults;
    LmdSceneReader reader(&schema(), faults);
    using Update = LmdPartialSource::AttributeUpdate;
    EXPECT_EQ(LmdPartialSource::attributeUpdate("Box", "x", reader), Update::Live);
    EXPECT_EQ(LmdPartialSource::attributeUpdate("Box", "color", reader), Update::Live);
    EXPECT_EQ(LmdPartialSource::attributeUpdate("PointLight", "intensity", reader), Update::Live);
    EXPECT_EQ(LmdPartialSource::attributeUpdate("Box", "width", reader), Update::Rebuild);
    EXPECT_EQ(LmdPartialSource::attributeUpdate("Model", "fileName", reader), Update::Rebuild);
    EXPECT_EQ(LmdPartialSource::attributeUpdate("Sphere", "body", reader), Update::Rebuild);
    EXPECT_EQ(LmdPartialSource::attributeUpdate("Material", "color", reader), Update::Rebuild);
    EXPECT_EQ(LmdPartialSource::attributeUpdate("Text2D", "text", reader), Update::Live);
    EXPECT_EQ(LmdPartialSource::attributeUpdate("Move", "moveX", reader), Update::None);
    EXPECT_EQ(LmdPartialSource::attributeUpdate("Box", "isCollapse", reader), Update::None);
    pugi::xml_document doc;
    ASSERT_TRUE(LmdGameDocument::parse(R"(<KiteBench3D><Level name="L"><Box name="b"/></Level></KiteBench3D>)", doc));
    const pugi::xml_node box = doc.select_node("//Box").node();
    EXPECT_TRUE(LmdPartialSource::shouldRun("depth", box, reader));
    EXPECT_FALSE(LmdPartialSource::shouldRun("y", box, reader));
}

TEST(LmdSceneReader, LevelHelpersFindLevelsByName) {
    pugi::xml_document doc;
    ASSERT_TRUE(LmdGameDocument::parse(
        R"(<KiteBench3D><Var name="v"/><Level name="a"><Box name="x"/></Level><Level name="b"/></KiteBench3D>)", doc));
    const pugi::xml_node root = doc.document_element();
    EXPECT_EQ(LmdSceneReader::levelNames(root), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(LmdSceneReader::findLevel(root, "b"), root.child("Level").next_sibling("Level"));
    EXPECT_FALSE(LmdSceneReader::findLevel(root, "c"));
    EXPECT_EQ(LmdSceneReader::levelOf(doc.select_node("//Box").node()), "a");
    EXPECT_EQ(LmdSceneReader::levelOf(root.child("Var")), "");
}

} // namespace
} // namespace Lumenda3D
