#include "services/XmlMerge.h"

#include <sstream>

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

const char* const kDoc = R"(<KiteBench3D id="1">
  <Level id="2" name="Main">
    <Box id="3" name="A" x="1"/>
    <Box id="4" name="B"><OnClick id="5"><Hide id="6"/></OnClick></Box>
    <Sphere id="7" name="C"/>
  </Level>
</KiteBench3D>)";

class XmlMergeTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(doc.load_string(kDoc)); }

    int apply(const json& ops, bool mark = false) { return XmlMerge::applyAiOps(doc.first_child(), ops, error, mark); }
    pugi::xml_node byId(const char* id) {
        return doc.find_node([&](const pugi::xml_node& n) { return std::string(n.attribute("id").value()) == id; });
    }
    // The names of the level's children, in order.
    std::string levelChildren() {
        std::string out;
        for (pugi::xml_node child : doc.first_child().child("Level").children())
            out += std::string(out.empty() ? "" : ",") + child.attribute("name").value();
        return out;
    }

    pugi::xml_document doc;
    std::string error;
};

TEST_F(XmlMergeTest, UpdateSetsAndRemovesAttributesButNeverIds) {
    EXPECT_EQ(apply({{{"op", "update"}, {"id", "3"}, {"attrs", {{"x", 2.5}, {"visible", false}, {"name", "A2"}, {"id", "99"}}},
                      {"removeAttrs", {"x", "id"}}}}),
              1);
    EXPECT_EQ(error, "");
    pugi::xml_node box = byId("3");
    ASSERT_TRUE(box);
    EXPECT_STREQ(box.attribute("name").value(), "A2");
    EXPECT_STREQ(box.attribute("visible").value(), "false");
    EXPECT_FALSE(box.attribute("x")) << "removeAttrs runs after attrs";

    // A bad member leaves the node untouched.
    EXPECT_EQ(apply({{{"op", "update"}, {"id", 3}, {"attrs", {{"y", "4"}, {"bad name", "1"}}}}}), 0);
    EXPECT_FALSE(byId("3").attribute("y"));
    EXPECT_NE(error.find("'bad name' is not a valid attribute name"), std::string::npos);
    EXPECT_EQ(apply({{{"op", "update"}, {"id", "3"}, {"attrs", {{"y", json::array()}}}}}), 0);
    EXPECT_EQ(apply({{{"op", "update"}, {"id", "3"}}}), 0);
    EXPECT_EQ(error, "op 1 (update): needs 'attrs' or 'removeAttrs'");
}

TEST_F(XmlMergeTest, ReplaceAndInsertTakeOneElementAndDropItsIds) {
    EXPECT_EQ(apply({{{"op", "replace"}, {"id", "4"}, {"xml", "<Cone id=\"3\" name=\"B2\"><Show id=\"2\"/></Cone>"}},
                     // Ids in the same batch still mean the document as read: 3 is the Box A.
                     {{"op", "update"}, {"id", "3"}, {"attrs", {{"z", "7"}}}}}),
              2);
    EXPECT_EQ(levelChildren(), "A,B2,C");
    pugi::xml_node cone = doc.first_child().child("Level").child("Cone");
    EXPECT_FALSE(cone.attribute("id"));
    EXPECT_FALSE(cone.child("Show").attribute("id"));
    EXPECT_STREQ(byId("3").attribute("z").value(), "7");
    EXPECT_FALSE(byId("5")) << "the replaced subtree is gone";

    EXPECT_EQ(apply({{{"op", "insert"}, {"parentId", "2"}, {"after", "3"}, {"xml", "<Capsule name=\"D\"/>"}},
                     {{"op", "insert"}, {"parentId", "2"}, {"xml", "<Plane name=\"E\"/>"}},
                     {{"op", "insert"}, {"parentId", "2"}, {"after", ""}, {"xml", "<Group name=\"F\"/>"}}}),
              3);
    EXPECT_EQ(levelChildren(), "A,D,B2,C,E,F") << "no 'after' appends as the last child";
}

TEST_F(XmlMergeTest, DeleteRemovesTheSubtreeButNeverTheRoot) {
    EXPECT_EQ(apply({{{"op", "delete"}, {"id", "4"}}, {{"op", "update"}, {"id", "6"}, {"attrs", {{"target", "A"}}}}}), 1);
    EXPECT_EQ(levelChildren(), "A,C");
    EXPECT_EQ(error.rfind("op 2 (update): no node with id 6", 0), 0u) << error;
    EXPECT_EQ(apply({{{"op", "delete"}, {"id", "1"}}}), 0);
    EXPECT_NE(error.find("root element can't be deleted"), std::string::npos);
}

// Found by fuzzing: pugixml reads an attribute given twice, and only the first "id" was dropped
// from new XML, so an edit could bring in a second element with an existing id.
TEST_F(XmlMergeTest, NewXmlWithAnAttributeGivenTwiceIsRefused) {
    const std::string before = [&] {
        std::ostringstream out;
        doc.save(out);
        return out.str();
    }();
    EXPECT_EQ(apply({{{"op", "replace"}, {"id", "6"}, {"xml", R"(<Show id="5" id="7"/>)"}},
                     {{"op", "insert"}, {"parentId", "2"}, {"xml", R"(<Box name="a"><Hide x="1" x="2"/></Box>)"}}}),
              0);
    EXPECT_EQ(error, "op 1 (replace): 'xml' is not well-formed: <Show> has the attribute 'id' twice; "
                     "op 2 (insert): 'xml' is not well-formed: <Hide> has the attribute 'x' twice");
    std::ostringstream after;
    doc.save(after);
    EXPECT_EQ(after.str(), before);
}

TEST_F(XmlMergeTest, BadOperationsAreReportedAndSkipped) {
    const json ops = {
        42,
        {{"id", "3"}},
        {{"op", "rename"}},
        {{"op", "delete"}, {"id", "999"}},
        {{"op", "replace"}, {"id", "3"}, {"xml", "<Box name=\"x\">"}},
        {{"op", "insert"}, {"parentId", "2"}, {"xml", "<A/><B/>"}},
        {{"op", "insert"}, {"parentId", "2"}, {"xml", "just text"}},
        {{"op", "insert"}, {"parentId", "2"}, {"after", "6"}, {"xml", "<Box/>"}},
        {{"op", "createDocument"}, {"xml", "<KiteBench3D/>"}},
        {{"op", "delete"}, {"id", "7"}},
    };
    EXPECT_EQ(apply(ops), 1);
    EXPECT_EQ(levelChildren(), "A,B");
    std::vector<std::string> parts;
    std::stringstream in(error);
    for (std::string part; std::getline(in, part, ';');)
        parts.push_back(part.substr(part.find_first_not_of(' ')));
    ASSERT_EQ(parts.size(), 9u) << error;
    EXPECT_EQ(parts[0], "op 1: is not a JSON object");
    EXPECT_EQ(parts[1], "op 2: needs a string 'op'");
    EXPECT_EQ(parts[2].rfind("op 3 (rename): unknown op 'rename'", 0), 0u);
    EXPECT_EQ(parts[3].rfind("op 4 (delete): no node with id 999", 0), 0u);
    EXPECT_EQ(parts[4].rfind("op 5 (replace): 'xml' is not well-formed", 0), 0u);
    EXPECT_EQ(parts[5].rfind("op 6 (insert): 'xml' must hold exactly one element", 0), 0u);
    EXPECT_EQ(parts[6].rfind("op 7 (insert): 'xml' ", 0), 0u);
    EXPECT_EQ(parts[7].rfind("op 8 (insert): 'after' 6 is not a child of parent 2", 0), 0u);
    EXPECT_EQ(parts[8].rfind("op 9 (createDocument):", 0), 0u);

    EXPECT_EQ(XmlMerge::applyAiOps(doc.first_child(), json::object(), error, false), 0);
    EXPECT_EQ(error, "the operations must be a JSON array");
}

TEST_F(XmlMergeTest, MarksShowWhatChanged) {
    EXPECT_EQ(apply({{{"op", "insert"}, {"parentId", "4"}, {"xml", "<OnUpdate><Hide/></OnUpdate>"}},
                     {{"op", "update"}, {"id", "3"}, {"attrs", {{"x", "5"}}}},
                     {{"op", "replace"}, {"id", "7"}, {"xml", "<Sphere name=\"C\" radius=\"2\"/>"}}},
                    true),
              3);
    pugi::xml_node level = doc.first_child().child("Level");
    EXPECT_STREQ(level.child("Box").next_sibling("Box").child("OnUpdate").attribute("_aiChange").value(), "added");
    EXPECT_FALSE(level.child("Box").next_sibling("Box").child("OnUpdate").child("Hide").attribute("_aiChange"));
    EXPECT_STREQ(byId("3").attribute("_aiChange").value(), "updated");
    EXPECT_STREQ(level.child("Sphere").attribute("_aiChange").value(), "updated");
    EXPECT_FALSE(byId("4").attribute("_aiChange")) << "a parent that only received a child is not marked";

    // Without marking nothing is written; an "added" node stays "added" when updated later.
    byId("6").append_attribute("_aiChange") = "added";
    EXPECT_EQ(apply({{{"op", "update"}, {"id", "6"}, {"attrs", {{"target", "A"}}}}}, true), 1);
    EXPECT_STREQ(byId("6").attribute("_aiChange").value(), "added");
    EXPECT_EQ(apply({{{"op", "update"}, {"id", "5"}, {"attrs", {{"target", "A"}}}}}, false), 1);
    EXPECT_FALSE(byId("5").attribute("_aiChange"));
}

} // namespace
} // namespace Lumenda3D
