#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"

#include <gtest/gtest.h>

#include <set>

using namespace Lumenda3D;

namespace {

const char* kGame = R"(<KiteBench3D>
  <Level name="Main">
    <Box name="Crate" x="1" color="#ff0000" _aiChange="added">
      <VertexList><Vertex num="0" pos="3" x="0.5" y="0" z="0" /></VertexList>
    </Box>
    <Text2D name="Score" text="Score: 0" />
  </Level>
</KiteBench3D>)";

void collectIds(const pugi::xml_node& node, std::vector<int>& ids) {
    for (pugi::xml_node c = node.first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element)
            continue;
        ids.push_back(c.attribute("id").as_int(-1));
        collectIds(c, ids);
    }
}

} // namespace

TEST(LmdGameDocument, BadTextLeavesTheOldDocumentAndItsHandlesAlone) {
    LmdGameDocument doc;
    EXPECT_EQ(doc.getSourceXml(), nullptr);
    EXPECT_EQ(doc.getSourceXmlString(false, true), "");
    ASSERT_TRUE(doc.setXmlSourceString(kGame));
    pugi::xml_node crate = doc.root().child("Level").child("Box");
    const int version = doc.getSourceVersion();
    const std::string before = doc.getSourceXmlString(true, false);

    for (const char* bad : {"", "   ", "<KiteBench3D><Level></KiteBench3D>", "not xml at all", "<a></b>"}) {
        std::string error;
        EXPECT_FALSE(doc.setXmlSourceString(bad, &error)) << bad;
        EXPECT_FALSE(error.empty()) << bad;
    }
    EXPECT_EQ(doc.getSourceXmlString(true, false), before);
    EXPECT_EQ(doc.getSourceVersion(), version);
    EXPECT_STREQ(crate.attribute("name").value(), "Crate");  // the old handle is still alive
}

TEST(LmdGameDocument, EveryElementGetsAFreshRegisteredIdOnLoad) {
    LmdGameDocument doc;
    // Ids in the text are not trusted: duplicates and junk are replaced.
    ASSERT_TRUE(doc.setXmlSourceString(R"(<KiteBench3D id="7"><Level id="7" name="A"><Box id="x"/></Level></KiteBench3D>)"));
    std::vector<int> ids{doc.root().attribute("id").as_int(-1)};
    collectIds(doc.root(), ids);
    ASSERT_EQ(ids.size(), 3u);
    EXPECT_EQ(std::set<int>(ids.begin(), ids.end()).size(), 3u);
    for (int id : ids) {
        EXPECT_GT(id, 0);
        EXPECT_TRUE(doc.getXmlNodeById(id));
    }
    EXPECT_EQ(doc.getXmlNodeById(ids[2]), doc.root().child("Level").child("Box"));

    // A reload gives new ids: the old ones no longer resolve.
    ASSERT_TRUE(doc.setXmlSourceString(doc.getSourceXmlString(false, true)));
    for (int id : ids)
        EXPECT_FALSE(doc.getXmlNodeById(id));
}

TEST(LmdGameDocument, AppendedNodeIsFoundOnlyAfterRegistration) {
    LmdGameDocument doc;
    ASSERT_TRUE(doc.setXmlSourceString(LmdGameDocument::kEmptyGameXml));
    pugi::xml_node box = doc.root().append_child("Box");
    box.append_attribute("id").set_value(987654);
    EXPECT_FALSE(doc.getXmlNodeById(987654));
    doc.registerXmlNode(box);
    EXPECT_EQ(doc.getXmlNodeById(987654), box);
    doc.unregisterSubtree(box);
    EXPECT_FALSE(doc.getXmlNodeById(987654));
}

TEST(LmdGameDocument, TextFormsDifferOnlyInIdsAndSessionMarks) {
    LmdGameDocument doc;
    ASSERT_TRUE(doc.setXmlSourceString(kGame));
    const std::string agent = doc.getSourceXmlString(true, false);
    const std::string stored = doc.getSourceXmlString(false, true);
    EXPECT_EQ(stored.find(" id=\""), std::string::npos);
    EXPECT_EQ(stored.find("_aiChange"), std::string::npos);
    EXPECT_NE(agent.find("_aiChange=\"added\""), std::string::npos);

    // Every element of the agent form carries an id.
    pugi::xml_document parsed;
    ASSERT_TRUE(parsed.load_string(agent.c_str()));
    std::vector<int> ids{parsed.document_element().attribute("id").as_int(-1)};
    collectIds(parsed.document_element(), ids);
    for (int id : ids)
        EXPECT_GT(id, 0);
    EXPECT_EQ(ids.size(), 6u);

    // The stored form is a fixed point: loading and writing it again gives the same bytes.
    LmdGameDocument again;
    ASSERT_TRUE(again.setXmlSourceString(stored));
    EXPECT_EQ(again.getSourceXmlString(false, true), stored);
    EXPECT_EQ(stored.rfind("<KiteBench3D>\n  <Level name=\"Main\">\n", 0), 0u) << stored;
}

TEST(LmdGameDocument, ValuesSurviveTheRoundTripByteForByte) {
    LmdGameDocument doc;
    ASSERT_TRUE(doc.setXmlSourceString("<KiteBench3D><Text2D name=\"t\"/><Script/></KiteBench3D>"));
    pugi::xml_node text = doc.root().child("Text2D");
    const std::string tricky = "a \"quoted\" <tag> & 'single'\nsecond line\ttab\r end";
    text.attribute("name").set_value(tricky.c_str());
    doc.root().child("Script").append_child(pugi::node_pcdata).set_value("if a < b && c > d then\n  x()\nend");
    doc.root().child("Script").append_child(pugi::node_cdata).set_value("raw ]]> inside");

    LmdGameDocument again;
    ASSERT_TRUE(again.setXmlSourceString(doc.getSourceXmlString(false, true)));
    EXPECT_EQ(again.root().child("Text2D").attribute("name").value(), tricky);
    EXPECT_EQ(std::string(again.root().child("Script").child_value()), "if a < b && c > d then\n  x()\nend");
    EXPECT_EQ(again.getSourceXmlString(false, true), doc.getSourceXmlString(false, true));
}

// Found by fuzzing: "&#0;" leaves an element a text node without text, which was written as
// <e></e> and read back as <e />, so the saved form was not a fixed point.
TEST(LmdGameDocument, AnEmptyTextNodeIsWrittenAsNoChild) {
    LmdGameDocument doc;
    ASSERT_TRUE(doc.setXmlSourceString("<KiteBench3D><e>&#0;</e><f>&#0;<g/></f></KiteBench3D>"));
    const std::string stored = doc.getSourceXmlString(false, true);
    EXPECT_EQ(stored, "<KiteBench3D>\n  <e />\n  <f>\n    <g />\n  </f>\n</KiteBench3D>\n");
    LmdGameDocument again;
    ASSERT_TRUE(again.setXmlSourceString(stored));
    EXPECT_EQ(again.getSourceXmlString(false, true), stored);
}

// Found by fuzzing: a text of white space only ("&#10;") was written as it stands, and the parser
// drops such text, so the element lost it on the next load.
TEST(LmdGameDocument, TextOfWhiteSpaceOnlySurvivesTheRoundTrip) {
    LmdGameDocument doc;
    ASSERT_TRUE(doc.setXmlSourceString("<KiteBench3D><t>&#10;</t><u>&#32;&#9;<v/> x </u></KiteBench3D>"));
    const std::string stored = doc.getSourceXmlString(false, true);
    EXPECT_EQ(stored, "<KiteBench3D>\n  <t>&#10;</t>\n  <u>&#32;&#9;<v /> x </u>\n</KiteBench3D>\n");
    LmdGameDocument again;
    ASSERT_TRUE(again.setXmlSourceString(stored));
    EXPECT_STREQ(again.root().child("t").child_value(), "\n");
    EXPECT_EQ(again.getSourceXmlString(false, true), stored);
}

// Found by fuzzing: pugixml reads "<D/><D/>" as two top-level elements; only the first got ids,
// was validated and reached the engine, while the saved form kept both.
TEST(LmdGameDocument, TextWithMoreThanOneRootElementIsRefused) {
    LmdGameDocument doc;
    ASSERT_TRUE(doc.setXmlSourceString("<KiteBench3D/>"));
    std::string error;
    EXPECT_FALSE(doc.setXmlSourceString("<KiteBench3D><Level name=\"a\"/></KiteBench3D>\n<Evil/>", &error));
    EXPECT_EQ(error, "the text holds more than one root element (<Evil> after </KiteBench3D>)");
    EXPECT_EQ(doc.getSourceXmlString(false, true), "<KiteBench3D />\n");
    EXPECT_FALSE(LmdSourceFiles::getInstance().isXmlSourceStringValid("<D/><D/>"));
    EXPECT_TRUE(LmdSourceFiles::getInstance().isXmlSourceStringValid("<D/>\n"));
}

// Found by fuzzing: pugixml reads an attribute given twice; a second id survived the numbering and
// the agent form then held it too, which other XML readers refuse.
TEST(LmdGameDocument, TextWithAnAttributeGivenTwiceIsRefused) {
    LmdGameDocument doc;
    std::string error;
    EXPECT_FALSE(doc.setXmlSourceString("<KiteBench3D><Level name=\"a\"><Move id=\"\" id=\"4\"/></Level></KiteBench3D>", &error));
    EXPECT_EQ(error, "the element <Move> has the attribute 'id' twice");
    EXPECT_FALSE(LmdSourceFiles::getInstance().isXmlSourceStringValid("<A b=\"1\" c=\"2\" b=\"3\"/>"));
    EXPECT_TRUE(LmdSourceFiles::getInstance().isXmlSourceStringValid("<A b=\"1\"><A b=\"2\"/></A>"));
}

TEST(LmdGameDocument, LocalAssetsAndTheAssetList) {
    LmdGameDocument doc;
    ASSERT_TRUE(doc.setXmlSourceString(kGame));
    EXPECT_FALSE(doc.sourceHasLocalAssets());
    ASSERT_TRUE(doc.setXmlSourceString(R"(<KiteBench3D><Level name="L">
        <Model name="a" file="local:ship.glb"/><Model name="b" file="local:ship.glb"/>
        <Material texture="local:wood.png"/></Level></KiteBench3D>)"));
    EXPECT_TRUE(doc.sourceHasLocalAssets());

    pugi::xml_document assets;
    ASSERT_TRUE(assets.load_string(doc.getAssetsXmlString().c_str()));
    std::vector<std::string> refs;
    for (pugi::xml_node a : assets.child("Assets").children("Asset"))
        refs.push_back(a.attribute("ref").value());
    EXPECT_EQ(refs, (std::vector<std::string>{"local:ship.glb", "local:wood.png"}));
}
