// What the attribute panel shows for a node, without drawing: visibility by "hidden" and
// "showWhen", search, groups and their order, the rows of the position/rotation/scale groups, and
// the choice of renderer.
#include "attributes/AttributeLayout.h"

#include "engine/schema/CodeSchema.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace Lumenda3D {
namespace {

const char* kSchema = R"(<codeSchema version="1">
  <groups>
    <group name="General" priority="0" open="true"/>
    <group name="Rotation" priority="20" open="true"/>
    <group name="Physics" priority="100" open="false"/>
    <group name="Other" priority="120" open="true"/>
  </groups>
  <category name="Things">
    <command name="Thing">
      <attribute name="physics" type="boolean" group="Physics"/>
      <attribute name="mass" en_caption="Mass" type="number" group="Physics" showWhen="physics=true"/>
      <attribute name="count" type="number" group="Physics" showWhen="physics=3"/>
      <attribute name="secret" type="number" group="Physics" hidden="true" showWhen="physics=true"/>
      <attribute name="loose" type="string"/>
      <attribute name="shape" type="string" group="Looks"/>
      <attribute name="rotationX" en_caption="X" type="number" group="Rotation"/>
      <attribute name="rotationY" en_caption="Y" type="number" group="Rotation"/>
      <attribute name="rotationSpeed" en_caption="Speed" type="number" group="Rotation" newLine="true"/>
      <attribute name="name" en_caption="Name" type="string" group="General"/>
      <attribute name="pivot" type="number" group="Hidden" hidden="true"/>
    </command>
  </category>
</codeSchema>)";

class AttributeLayoutTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(schema.loadFromString(kSchema));
        ASSERT_TRUE(document.load_string("<Thing/>"));
        node = document.document_element();
    }
    pugi::xml_node definition(const char* name) const { return schema.getAttribute("Thing", name); }
    std::vector<std::string> groupNames(const std::string& search = "") const {
        std::vector<std::string> names;
        for (const AttributeGroup& group : AttributeLayout::groupAttributes(schema, node, search))
            names.push_back(group.name);
        return names;
    }
    std::vector<std::string> shown(const std::string& group, const std::string& search = "") const {
        std::vector<std::string> names;
        for (const AttributeGroup& g : AttributeLayout::groupAttributes(schema, node, search))
            if (g.name == group)
                for (const pugi::xml_node& d : g.definitions)
                    names.push_back(d.attribute("name").as_string());
        return names;
    }

    CodeSchema schema;
    pugi::xml_document document;
    pugi::xml_node node;
};

TEST_F(AttributeLayoutTest, ShowWhenComparesTheLiveValueAsAFlagOrAsText) {
    // Missing counts as false, so an attribute that expects true is hidden.
    EXPECT_FALSE(AttributeLayout::isAttributeVisible(definition("mass"), node));
    node.append_attribute("physics") = "1";
    EXPECT_TRUE(AttributeLayout::isAttributeVisible(definition("mass"), node));
    node.attribute("physics") = "true";
    EXPECT_TRUE(AttributeLayout::isAttributeVisible(definition("mass"), node));
    node.attribute("physics") = "false";
    EXPECT_FALSE(AttributeLayout::isAttributeVisible(definition("mass"), node));
    // Text, not numbers: 3.0 is not 3.
    node.attribute("physics") = "3.0";
    EXPECT_FALSE(AttributeLayout::isAttributeVisible(definition("count"), node));
    node.attribute("physics") = "3";
    EXPECT_TRUE(AttributeLayout::isAttributeVisible(definition("count"), node));
    // Hidden wins over a true condition.
    node.attribute("physics") = "true";
    EXPECT_FALSE(AttributeLayout::isAttributeVisible(definition("secret"), node));
    EXPECT_EQ(shown("Physics"), (std::vector<std::string>{"physics", "mass"}));
}

TEST_F(AttributeLayoutTest, GroupsFollowThePriorityWithUnknownGroupsJustBeforeOther) {
    // "Looks" is not listed: it stands before "Other" ("loose" has no group). "Hidden" holds only
    // a hidden attribute and does not appear at all.
    EXPECT_EQ(groupNames(), (std::vector<std::string>{"General", "Rotation", "Physics", "Looks", "Other"}));
}

TEST_F(AttributeLayoutTest, SearchMatchesGroupNameAndCaptionButNeverValues) {
    node.append_attribute("shape") = "pyramid";
    EXPECT_EQ(groupNames("rotation"), (std::vector<std::string>{"Rotation"}));
    EXPECT_EQ(shown("Rotation", "rotation").size(), 3u);
    EXPECT_EQ(shown("Rotation", "speed"), (std::vector<std::string>{"rotationSpeed"}));
    EXPECT_TRUE(groupNames("pyramid").empty());
}

TEST_F(AttributeLayoutTest, PrefixRowsTakeTheGroupsNamePrefixUnlessANewLineIsAsked) {
    const auto groups = AttributeLayout::groupAttributes(schema, node, "");
    const auto rotation = std::find_if(groups.begin(), groups.end(), [](auto& g) { return g.name == "Rotation"; });
    ASSERT_NE(rotation, groups.end());
    const auto [row, plain] = AttributeLayout::splitPrefixMatched(rotation->name, rotation->definitions);
    ASSERT_EQ(row.size(), 2u);
    ASSERT_EQ(plain.size(), 1u);
    EXPECT_STREQ(plain[0].attribute("name").as_string(), "rotationSpeed");
    // Other groups never share a row, whatever their attribute names.
    EXPECT_TRUE(AttributeLayout::splitPrefixMatched("Physics", {definition("physics")}).first.empty());

    EXPECT_EQ(AttributeLayout::stripPrefixIgnoreCase("rotationX", "Rotation", "?"), "X");
    EXPECT_EQ(AttributeLayout::stripPrefixIgnoreCase("rotation", "Rotation", "?"), "?");
    EXPECT_EQ(AttributeLayout::stripPrefixIgnoreCase("scaleX", "Rotation", "?"), "?");
}

TEST(AttributeRendererChoice, TypeNameAndValuesListDecideInThatOrder) {
    const std::set<std::string> types = {"string", "number", "soundFilePicker", "modelFilePicker"};
    const std::set<std::string> named = {"fileName", "texture"};
    auto choose = [&](const char* xml) {
        pugi::xml_document d;
        d.load_string(xml);
        return AttributeLayout::chooseRenderer(
            d.document_element(), [&](const std::string& t) { return types.count(t) > 0; },
            [&](const std::string& n) { return named.count(n) > 0; });
    };
    // A sound file type beats the picker registered for the name "fileName".
    EXPECT_EQ(choose(R"(<a name="fileName" type="soundFilePicker"/>)"), "soundFilePicker");
    EXPECT_EQ(choose(R"(<a name="fileName" type="modelFilePicker"/>)"), "name:fileName");
    EXPECT_EQ(choose(R"(<a name="texture" type="string"/>)"), "name:texture");
    EXPECT_EQ(choose(R"(<a name="m" type="string" values="1|2|3|4|5|6|7|8|9|10|11|12"/>)"), "optionsPicker");
    EXPECT_EQ(choose(R"(<a name="m" type="string" values="1|2|3|4|5|6|7|8|9|10|11|12|13"/>)"), "valuesDialogPicker");
    EXPECT_EQ(choose(R"(<a name="m" type="string" values="dynamic"/>)"), "string");
    // No type, or one nobody draws: a text field, so that every attribute stays editable.
    EXPECT_EQ(choose(R"(<a name="m"/>)"), "string");
    EXPECT_EQ(choose(R"(<a name="m" type="hologram"/>)"), "string");
}

} // namespace
} // namespace Lumenda3D
