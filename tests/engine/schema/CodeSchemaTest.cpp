#include "engine/schema/CodeSchema.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/LmdLog.h"
#include "engine/schema/SchemaValidator.h"

namespace Lumenda3D {
namespace {

const std::string kRealSchema = LMD_SOURCE_MEDIA_DIR "/codeSchema.xml";

// Collects the log lines written while it lives, and keeps them off stderr.
class LogCapture {
public:
    LogCapture() {
        LmdLog::setEchoToStderr(false);
        handle_ = LmdLog::addSink([this](const std::string& text, LogLevel level) { lines.push_back({text, level}); });
    }
    ~LogCapture() {
        LmdLog::removeSink(handle_);
        LmdLog::setEchoToStderr(true);
    }
    struct Line {
        std::string text;
        LogLevel level;
    };
    std::vector<Line> lines;

private:
    int handle_ = 0;
};

std::vector<std::string> names(const std::vector<pugi::xml_node>& nodes) {
    std::vector<std::string> out;
    for (const pugi::xml_node& node : nodes)
        out.push_back(node.attribute("name").value());
    return out;
}

// A small language that exercises every feature of the file format.
const char* kSmallSchema = R"(<codeSchema>
  <groups>
    <group name="General" priority="0" open="true"/>
    <group name="Physics" priority="5" open="false"/>
    <group name="Other" priority="9"/>
  </groups>
  <varPicker commands="Counter|Holder"/>
  <parentList name="stage" parents="root|Holder"/>
  <attributeSet name="body">
    <attribute name="mass" type="number" default="1" group="Physics"/>
    <attribute name="bouncy" type="boolean" default="false" group="Physics"/>
  </attributeSet>
  <category name="Things" contextMenuColor="0x112233" parents="stage">
    <command name="Holder" en_caption="Holder" freeChildPosition="true">
      <attribute name="name" type="string" group="General"/>
    </command>
    <command name="Ball" en_caption="Bouncing BALL" fillColor2="0x445566">
      <attribute name="name" type="string" default="ball" group="General"/>
      <use set="body"/>
      <attribute name="mass" type="number" default="5" group="Physics"/>
      <attribute name="note" type="string"/>
      <attribute name="empty" type="string" group=""/>
    </command>
  </category>
  <category name="Logic" contextMenuColor="0x00FF00">
    <command name="Counter" en_caption="Counter" category="Logic" parents="Things">
      <attribute name="start" type="int" paramType="int" default=""/>
    </command>
  </category>
  <category name="Empty"/>
  <command name="Hidden" en_caption="Hidden"/>
</codeSchema>)";

class CodeSchemaSmallTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(schema.loadFromString(kSmallSchema, &error)) << error;
    }
    LogCapture log;
    CodeSchema schema;
};

TEST_F(CodeSchemaSmallTest, CategoriesAndCommandsKeepTheFilesOrder) {
    EXPECT_TRUE(schema.isLoaded());
    EXPECT_TRUE(schema.getLoadWarnings().empty());
    EXPECT_EQ(names(schema.getCategories()), (std::vector<std::string>{"Things", "Logic", "Empty"}));
    EXPECT_EQ(names(schema.getCommands("")), (std::vector<std::string>{"Holder", "Ball", "Counter", "Hidden"}));
    EXPECT_EQ(names(schema.getCommandsByCategory("Things")), (std::vector<std::string>{"Holder", "Ball"}));
    EXPECT_TRUE(schema.getCommandsByCategory("Empty").empty());
    EXPECT_TRUE(schema.getCommandsByCategory("Nope").empty());
}

TEST_F(CodeSchemaSmallTest, FiltersMatchNameOrCaptionIgnoringCase) {
    EXPECT_EQ(names(schema.getCommands("ball")), (std::vector<std::string>{"Ball"}));
    EXPECT_EQ(names(schema.getCommands("BOUNCING")), (std::vector<std::string>{"Ball"}));
    EXPECT_TRUE(schema.getCommands("zzz").empty());
    EXPECT_EQ(names(schema.getAttributes("Ball", "MA")), (std::vector<std::string>{"mass"}));
}

TEST_F(CodeSchemaSmallTest, LookupsOfUnknownNamesGiveEmptyResults) {
    EXPECT_FALSE(schema.getCommand("Nope"));
    EXPECT_FALSE(schema.getCommand(""));
    EXPECT_EQ(schema.getCommandCategory("Nope"), "");
    EXPECT_TRUE(schema.getAttributes("Nope", "").empty());
    EXPECT_FALSE(schema.getAttribute("Nope", "name"));
    EXPECT_FALSE(schema.getAttribute("Ball", "nope"));
    bool hasName = true;
    EXPECT_TRUE(schema.getCommandAttributeInfo("Nope", &hasName).empty());
    EXPECT_FALSE(hasName);
}

TEST_F(CodeSchemaSmallTest, CommandsInheritFromTheirCategory) {
    pugi::xml_node ball = schema.getCommand("Ball");
    ASSERT_TRUE(ball);
    EXPECT_STREQ(ball.attribute("category").value(), "Things");
    EXPECT_STREQ(ball.attribute("contextMenuColor").value(), "0x112233");
    EXPECT_STREQ(ball.attribute("fillColor2").value(), "0x445566"); // its own value wins
    EXPECT_STREQ(ball.attribute("parents").value(), "stage");
    EXPECT_STREQ(schema.getCommand("Counter").attribute("parents").value(), "Things");
    EXPECT_EQ(schema.getCommandCategory("Counter"), "Logic");
    // Outside any category: known to the schema, but in no palette list.
    EXPECT_TRUE(schema.getCommand("Hidden"));
    EXPECT_EQ(schema.getCommandCategory("Hidden"), "");
}

TEST_F(CodeSchemaSmallTest, AttributeSetsAreExpandedInPlaceAndOwnAttributesWin) {
    // The command's own "mass" (default 5) replaces the set's; the set's others stand where <use> stood.
    EXPECT_EQ(names(schema.getAttributes("Ball", "")),
              (std::vector<std::string>{"name", "bouncy", "mass", "note", "empty"}));
    EXPECT_STREQ(schema.getAttribute("Ball", "mass").attribute("default").value(), "5");
    for (pugi::xml_node child : schema.getCommand("Ball").children())
        EXPECT_STREQ(child.name(), "attribute"); // consumers treat every child as an attribute definition
}

TEST_F(CodeSchemaSmallTest, AttributesWithoutGroupLandInOther) {
    EXPECT_STREQ(schema.getAttribute("Ball", "note").attribute("group").value(), "Other");
    EXPECT_STREQ(schema.getAttribute("Ball", "empty").attribute("group").value(), "Other");
    EXPECT_STREQ(schema.getAttribute("Ball", "mass").attribute("group").value(), "Physics");
}

TEST_F(CodeSchemaSmallTest, AttributeInfoHoldsNonEmptyDefaultsAndTellsWhetherANameExists) {
    bool hasName = false;
    auto info = schema.getCommandAttributeInfo("Ball", &hasName);
    EXPECT_TRUE(hasName);
    EXPECT_EQ(info, (std::unordered_map<std::string, std::string>{{"name", "ball"}, {"mass", "5"}, {"bouncy", "false"}}));
    info = schema.getCommandAttributeInfo("Counter", &hasName);
    EXPECT_FALSE(hasName);
    EXPECT_TRUE(info.empty());
}

TEST_F(CodeSchemaSmallTest, GroupsAndVariablePickerComeFromTheSchemaLists) {
    EXPECT_EQ(schema.getAttributeGroupPriority("General"), 0);
    EXPECT_EQ(schema.getAttributeGroupPriority("Physics"), 5);
    EXPECT_EQ(schema.getAttributeGroupPriority("Unknown"), -1);
    EXPECT_TRUE(schema.isAttributeGroupDefaultOpen("General"));
    EXPECT_FALSE(schema.isAttributeGroupDefaultOpen("Physics"));
    EXPECT_TRUE(schema.isAttributeGroupDefaultOpen("Other")); // open unless said otherwise
    EXPECT_TRUE(schema.isAttributeGroupDefaultOpen("Unknown"));
    EXPECT_EQ(names(schema.getVarPickerCommands()), (std::vector<std::string>{"Counter", "Holder"}));
}

TEST_F(CodeSchemaSmallTest, PlacementResolvesKeywordsListsAndCategories) {
    const CodeSchema::CommandDef* ball = schema.findCommandDef("Ball");
    const CodeSchema::CommandDef* counter = schema.findCommandDef("Counter");
    const CodeSchema::CommandDef* hidden = schema.findCommandDef("Hidden");
    ASSERT_TRUE(ball && counter && hidden);
    EXPECT_TRUE(schema.canStandUnder(*ball, "", true));          // "stage" holds "root"
    EXPECT_TRUE(schema.canStandUnder(*ball, "Holder", false));   // ... and Holder
    EXPECT_FALSE(schema.canStandUnder(*ball, "Ball", false));
    EXPECT_TRUE(schema.canStandUnder(*counter, "Ball", false));  // category "Things"
    EXPECT_FALSE(schema.canStandUnder(*counter, "", true));
    EXPECT_TRUE(schema.canStandUnder(*hidden, "Counter", false)); // no rule: anywhere
    EXPECT_EQ(ball->placement.description, "directly under KiteBench3D or in Holder");
}

TEST(CodeSchemaLoad, ReportsFaultsInsideAWellFormedSchemaWithoutFailing) {
    LogCapture log;
    CodeSchema schema;
    ASSERT_TRUE(schema.loadFromString(R"(<codeSchema>
      <groups><group name="General" priority="0"/></groups>
      <varPicker commands="Ghost"/>
      <category name="C">
        <command name="A" parents="Nowhere"><use set="missing"/>
          <attribute name="v" group="Elsewhere" showWhen="w=1"/></command>
        <command name="A"/>
      </category>
    </codeSchema>)"));
    const std::vector<std::string>& warnings = schema.getLoadWarnings();
    auto mentions = [&](const std::string& word) {
        for (const std::string& w : warnings)
            if (w.find(word) != std::string::npos)
                return true;
        return false;
    };
    for (const char* word : {"Ghost", "Nowhere", "missing", "Elsewhere", "'w'", "defined twice"})
        EXPECT_TRUE(mentions(word)) << word;
    EXPECT_EQ(warnings.size(), 6u);
    EXPECT_EQ(schema.getCommands("").size(), 1u);
    EXPECT_FALSE(schema.getCommand("A").child("use")); // the unknown <use> is removed all the same
}

TEST(CodeSchemaLoad, MissingOrMalformedSchemaFailsWithOneLogLine) {
    struct Case {
        const char* label;
        bool fromFile;
        std::string input;
        std::string expectedInError;
    };
    const std::vector<Case> cases = {
        {"missing file", true, "/nonexistent/dir/codeSchema.xml", "/nonexistent/dir/codeSchema.xml"},
        {"not XML", false, "<codeSchema><category></codeSchema>", "not well-formed"},
        {"empty text", false, "", "document element"},
        {"wrong root", false, "<KiteBench3D/>", "<KiteBench3D>"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        CodeSchema schema;
        LogCapture log;
        ASSERT_TRUE(schema.loadFromString(kSmallSchema)); // a failed load also drops what was there
        log.lines.clear();
        std::string error;
        bool ok = c.fromFile ? schema.load(c.input, &error) : schema.loadFromString(c.input, &error);
        EXPECT_FALSE(ok);
        EXPECT_FALSE(schema.isLoaded());
        EXPECT_NE(error.find(c.expectedInError), std::string::npos) << error;
        ASSERT_EQ(log.lines.size(), 1u);
        EXPECT_EQ(log.lines[0].level, LogLevel::Critical);
        EXPECT_NE(log.lines[0].text.find(error), std::string::npos);
        EXPECT_EQ(log.lines[0].text.find('\n'), std::string::npos);
        EXPECT_TRUE(schema.getCommands("").empty());
        EXPECT_FALSE(schema.getCommand("Ball"));
        EXPECT_TRUE(schema.getCategories().empty());
    }
}

// The shipped language file.
class CodeSchemaRealTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(schema.load(kRealSchema, &error)) << error;
    }
    LogCapture log;
    CodeSchema schema;
};

TEST_F(CodeSchemaRealTest, LoadsWithoutWarnings) {
    for (const std::string& warning : schema.getLoadWarnings())
        ADD_FAILURE() << warning;
}

TEST_F(CodeSchemaRealTest, HoldsTheElementsAndCategoriesTheEditorRefersTo) {
    for (const char* name : {"Level", "Function", "LoadSound", "Array", "SkyBox", "Joystick", "Fog", "PointLight",
                             "DirectionalLight", "SpotLight", "Material", "Set", "Var", "Increment", "Loop", "If",
                             "Comment", "VertexList", "Vertex", "Model", "Animation", "PlayAnimation", "Camera"})
        EXPECT_TRUE(schema.getCommand(name)) << name;
    EXPECT_EQ(schema.getCommandCategory("Box"), "3D Models");
    EXPECT_EQ(schema.getCommandCategory("Model"), "3D Models");
    EXPECT_EQ(schema.getCommandCategory("Text2D"), "2D Models");
    EXPECT_EQ(schema.getCommandCategory("Joystick"), "2D Models");
    EXPECT_EQ(schema.getCommandCategory("SpotLight"), "Light");
    // Attributes that editor code writes or reads by name.
    const std::vector<std::pair<const char*, const char*>> attributes = {
        {"Model", "fileName"},     {"Material", "name"},       {"Material", "picture"}, {"LoadSound", "name"},
        {"LoadSound", "fileName"}, {"Box", "texture"},         {"Model", "texture"},    {"Box", "rotationZ"},
        {"Box", "scaleX"},         {"Box", "orientationW"},    {"Vertex", "num"},       {"Vertex", "pos"},
        {"Vertex", "x"},           {"Level", "name"},          {"Set", "var"}};
    for (const auto& [command, attribute] : attributes)
        EXPECT_TRUE(schema.getAttribute(command, attribute)) << command << "." << attribute;
    EXPECT_TRUE(schema.getCommand("Level").attribute("freeChildPosition").as_bool());
    EXPECT_FALSE(schema.getVarPickerCommands().empty());
    EXPECT_GE(schema.getAttributeGroupPriority("Other"), 0);
}

TEST_F(CodeSchemaRealTest, EveryCommandIsReachableFromThePaletteOrPlacedByTools) {
    std::set<std::string> categorised;
    for (const pugi::xml_node& category : schema.getCategories())
        for (const pugi::xml_node& command : schema.getCommandsByCategory(category.attribute("name").value()))
            categorised.insert(command.attribute("name").value());
    for (const pugi::xml_node& command : schema.getCommands("")) {
        std::string name = command.attribute("name").value();
        if (name == "VertexList" || name == "Vertex")
            continue; // written by the vertex tool, not offered in the palette
        EXPECT_TRUE(categorised.count(name)) << name;
        EXPECT_FALSE(std::string(command.attribute("en_caption").value()).empty()) << name;
        EXPECT_FALSE(std::string(command.attribute("contextMenuColor").value()).empty()) << name;
    }
}

// The language file must not contradict itself: every default passes the validator's own check,
// every showWhen names a sibling attribute and a value it can take, and every input type is one
// the attributes panel has a renderer for (an unknown type would silently fall back to text).
TEST_F(CodeSchemaRealTest, LanguageIsConsistentWithItselfAndWithThePanel) {
    const std::set<std::string> panelTypes = {
        "string",          "number",          "int",           "boolean",          "color",
        "button",          "picker",          "optionsPicker", "valuesDialogPicker", "animationPicker",
        "fogPicker",       "modelFilePicker", "animationFilePicker", "soundFilePicker", "pluginFilePicker",
        "functionPicker",  "soundPicker",     "arrayPicker",   "levelPicker",      "skyBoxPicker",
        "joystickPicker",  "collisionPicker", "targetObjectAll", "targetObjectPicker", "lookAtObjectPicker",
        "pickerByType",    "pickerPlus",      "picture"};
    const std::set<std::string> paramTypes = {"", "string", "number", "int", "boolean", "color", "expression"};
    for (std::string_view commandName : schema.getCommandNames()) {
        const CodeSchema::CommandDef& command = *schema.findCommandDef(commandName);
        for (const CodeSchema::AttributeDef& attribute : command.attributes) {
            std::string where = std::string(commandName) + "." + std::string(attribute.name);
            EXPECT_TRUE(panelTypes.count(attribute.node.attribute("type").value())) << where;
            EXPECT_TRUE(paramTypes.count(attribute.node.attribute("paramType").value())) << where;
            EXPECT_EQ(SchemaValidator::checkValue(attribute, attribute.defaultValue), "") << where;
            std::string_view showWhen = attribute.node.attribute("showWhen").value();
            if (showWhen.empty())
                continue;
            size_t eq = showWhen.find('=');
            ASSERT_NE(eq, std::string_view::npos) << where;
            const CodeSchema::AttributeDef* other = CodeSchema::findAttributeDef(command, showWhen.substr(0, eq));
            ASSERT_NE(other, nullptr) << where;
            EXPECT_EQ(SchemaValidator::checkValue(*other, showWhen.substr(eq + 1)), "") << where;
        }
    }
}

} // namespace
} // namespace Lumenda3D
