// get_game_xml, apply_edits and set_game_xml against a real document and the real schema.
#include <algorithm>

#include <gtest/gtest.h>

#include "FakeMcpEditor.h"
#include "engine/scene/ScriptParser.h"
#include "engine/document/AiXmlEdit.h"
#include "mcp/LmdMcpTools.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;
using test::FakeMcpEditor;

const char* const kGame = R"(<KiteBench3D>
  <Var name="score" value="0"/>
  <Level name="Main">
    <Camera name="Cam"/>
    <Box name="Player" y="1" color="0xFF0000"/>
    <Sphere name="Ball" x="2"/>
  </Level>
</KiteBench3D>)";

std::string text(const json& result) { return result["content"][0]["text"].get<std::string>(); }
bool isError(const json& result) { return result.value("isError", false); }

class DocumentToolsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(editor.schemaLoaded);
        ASSERT_TRUE(editor.load(kGame));
    }

    // The id of the first element with this name attribute in the agent form.
    std::string idOf(const char* name) const {
        return editor.document.root().find_node([&](const pugi::xml_node& n) {
            return std::string(n.attribute("name").value()) == name;
        }).attribute("id").value();
    }
    std::string revision() { return LmdMcpTools::revisionOf(tools.currentXmlWithIds()); }
    json apply(json ops, const std::string& base = "") {
        json args = {{"ops", std::move(ops)}};
        if (!base.empty())
            args["baseRevision"] = base;
        return tools.call("apply_edits", args);
    }

    FakeMcpEditor editor;
    LmdMcpTools tools{&editor, nullptr, [](const std::string&) { return std::string(); }};
};

TEST(RevisionOf, UsesItsOwnStartValue) {
    EXPECT_EQ(LmdMcpTools::revisionOf(""), "14650fb0739d0383");
    EXPECT_EQ(LmdMcpTools::revisionOf("a").size(), 16u);
    EXPECT_NE(LmdMcpTools::revisionOf("<A/>"), LmdMcpTools::revisionOf("<B/>"));
}

TEST(AiXmlEdit, ValidatesWithTheEngineSchemaWhenGivenNone) {
    const std::string bad = "<KiteBench3D><Gizmo/></KiteBench3D>";
    ScriptParser parser(LMD_SOURCE_MEDIA_DIR "/codeSchema.xml");
    ASSERT_EQ(AiXmlEdit::engineSchema(), parser.getCodeSchema());
    EXPECT_EQ(AiXmlEdit::validateAgainstSchema(bad).size(), 1u);
    EXPECT_EQ(AiXmlEdit::introducedViolations(bad, bad), std::vector<std::string>{});
    EXPECT_EQ(AiXmlEdit::validateAgainstSchema(bad, nullptr), std::vector<std::string>{});
}

TEST_F(DocumentToolsTest, GetGameXmlAndStatusShareTheRevisionOfTheAgentForm) {
    const std::string reply = text(tools.call("get_game_xml", json::object()));
    const std::string agentForm = editor.getSourceXmlString(true, false);
    EXPECT_EQ(reply, "revision: " + LmdMcpTools::revisionOf(agentForm) +
                         "  (pass as baseRevision to apply_edits; node ids are ephemeral)\n\n" + agentForm);
    EXPECT_EQ(json::parse(text(tools.call("get_status", json::object())))["revision"], revision());

    FakeMcpEditor empty;
    LmdMcpTools noGame(&empty, nullptr);
    EXPECT_EQ(text(noGame.call("get_game_xml", json::object())), "No game is open in the editor.");
}

TEST_F(DocumentToolsTest, ArgumentCheckComesBeforeBusyAndBusyRefusesEditsButNotReading) {
    editor.playStatus = LmdMcpEditorAccess::Loading;
    for (const json& args : {json::object(), json{{"ops", json::array()}}, json{{"ops", "[]"}}})
        EXPECT_EQ(text(tools.call("apply_edits", args)), "apply_edits requires a non-empty 'ops' array.");
    const char* busy = "The editor is busy loading a script — retry shortly.";
    EXPECT_EQ(text(apply({{{"op", "delete"}, {"id", idOf("Ball")}}})), busy);
    EXPECT_EQ(text(tools.call("set_game_xml", {{"xml", kGame}})), busy);
    EXPECT_EQ(text(tools.call("set_game_xml", json::object())), "set_game_xml requires a non-empty 'xml' string.");
    EXPECT_FALSE(isError(tools.call("get_game_xml", json::object())));
    EXPECT_EQ(editor.applyCount, 0);
}

TEST_F(DocumentToolsTest, StaleRevisionIsRefusedBeforeAnyOperation) {
    const std::string before = editor.getSourceXmlString(true, false);
    // The first op would fail and the second succeed: neither may be tried.
    const json result = apply({{{"op", "delete"}, {"id", "999999"}}, {{"op", "delete"}, {"id", idOf("Ball")}}},
                              "0000000000000000");
    EXPECT_EQ(text(result),
              "Stale revision: the document changed since you read it. Call get_game_xml and re-derive your edits.");
    EXPECT_EQ(editor.getSourceXmlString(true, false), before);

    const std::string first = revision();
    editor.playStatus = LmdMcpEditorAccess::Playing;
    const json applied = apply({{{"op", "update"}, {"id", idOf("Player")}, {"attrs", {{"y", "3"}}}}}, first);
    ASSERT_FALSE(isError(applied)) << text(applied);
    EXPECT_EQ(text(applied), "Applied. New revision: " + revision() +
                                 "\nNode ids were reassigned — call get_game_xml before further edits. The game reloaded "
                                 "and restarted; check get_logs for script errors.");
    EXPECT_NE(revision(), first);
    // Without a running game the reply says what happened instead.
    editor.playStatus = LmdMcpEditorAccess::Stopped;
    const json stopped = apply({{{"op", "update"}, {"id", idOf("Player")}, {"attrs", {{"y", "4"}}}}});
    EXPECT_NE(text(stopped).find("The game is not running: the editor's scene was rebuilt"), std::string::npos)
        << text(stopped);
    EXPECT_EQ(text(stopped).find("restarted"), std::string::npos);
    EXPECT_EQ(text(apply({{{"op", "delete"}, {"id", idOf("Ball")}}}, first)).rfind("Stale revision", 0), 0u);
}

TEST_F(DocumentToolsTest, PartialSuccessAppliesTheGoodOpAndWarns) {
    const json result = apply({{{"op", "update"}, {"id", idOf("Player")}, {"attrs", {{"color", "0x00FF00"}}}},
                               {{"op", "delete"}, {"id", "999999"}}});
    ASSERT_FALSE(isError(result)) << text(result);
    EXPECT_EQ(text(result).rfind("Warning: some operations failed (op 2 (delete): no node with id 999999", 0), 0u)
        << text(result);
    EXPECT_NE(text(result).find(") — verify with get_game_xml.\nApplied. New revision: "), std::string::npos);
    EXPECT_STREQ(editor.document.root().child("Level").child("Box").attribute("color").value(), "0x00FF00");

    // Nothing applicable: nothing changes, and the sentence says why.
    const std::string before = editor.getSourceXmlString(true, false);
    const json none = apply({{{"op", "delete"}, {"id", "999999"}}});
    EXPECT_EQ(text(none).rfind("No changes could be applied: op 1 (delete): no node with id 999999", 0), 0u);
    EXPECT_EQ(editor.getSourceXmlString(true, false), before);
}

TEST_F(DocumentToolsTest, CreateDocumentDecidesAloneAndMustBeClean) {
    const std::string fresh = "<KiteBench3D><Level name=\"Two\"><Cone name=\"Tip\"/></Level></KiteBench3D>";
    const json result = apply({{{"op", "update"}, {"id", idOf("Player")}, {"attrs", {{"y", "9"}}}},
                               {{"op", "createDocument"}, {"xml", fresh}}});
    ASSERT_FALSE(isError(result)) << text(result);
    EXPECT_STREQ(editor.document.root().child("Level").attribute("name").value(), "Two");
    EXPECT_FALSE(editor.document.root().find_node([](const pugi::xml_node& n) { return n.attribute("y"); }));

    EXPECT_EQ(text(apply({{{"op", "createDocument"}}})), "No changes could be applied: createDocument had no xml.");

    // An existing violation (a Box without its level) counts against a whole new document.
    ASSERT_TRUE(editor.load("<KiteBench3D><Box name=\"Stray\"/><Level name=\"L\"/></KiteBench3D>"));
    const std::string current = editor.getSourceXmlString(false, true);
    const json refused = apply({{{"op", "createDocument"}, {"xml", current}}});
    EXPECT_EQ(text(refused).rfind("Schema violations — nothing was applied. Fix these and retry:\n- ", 0), 0u)
        << text(refused);
}

TEST_F(DocumentToolsTest, OldViolationsDontBlockUnrelatedEditsButBlockSetGameXml) {
    const std::string broken = "<KiteBench3D><Box name=\"Stray\"/><Level name=\"L\"><Box name=\"Crate\"/></Level></KiteBench3D>";
    ASSERT_TRUE(editor.load(broken));
    ASSERT_EQ(AiXmlEdit::validateAgainstSchema(broken, &editor.schema).size(), 1u);

    const json edit = apply({{{"op", "update"}, {"id", idOf("Crate")}, {"attrs", {{"x", "4"}}}}});
    EXPECT_FALSE(isError(edit)) << text(edit);

    // An edit that adds a violation is refused as a whole, naming only the new one.
    const std::string before = editor.getSourceXmlString(true, false);
    const json bad = apply({{{"op", "update"}, {"id", idOf("Crate")}, {"attrs", {{"width", "wide"}}}}});
    ASSERT_TRUE(isError(bad));
    const std::string badText = text(bad);
    EXPECT_EQ(std::count(badText.begin(), badText.end(), '\n'), 1) << badText;
    EXPECT_NE(badText.find("width"), std::string::npos);
    EXPECT_EQ(editor.getSourceXmlString(true, false), before);

    const json set = tools.call("set_game_xml", {{"xml", broken}});
    EXPECT_TRUE(isError(set));
    EXPECT_NE(text(set).find("Schema violations — nothing was applied."), std::string::npos);
}

TEST_F(DocumentToolsTest, AtMostTwelveViolationsAreListed) {
    std::string xml = "<KiteBench3D><Level name=\"L\">";
    for (int i = 0; i < 13; ++i)
        xml += "<Box name=\"B" + std::to_string(i) + "\" width=\"wide\"/>";
    xml += "</Level></KiteBench3D>";
    const json result = tools.call("set_game_xml", {{"xml", xml}});
    const std::string reply = text(result);
    EXPECT_EQ(std::count(reply.begin(), reply.end(), '\n'), 12) << reply;
    EXPECT_NE(reply.find("B11"), std::string::npos);
    EXPECT_EQ(reply.find("B12"), std::string::npos);
}

TEST_F(DocumentToolsTest, WellFormednessAndRefusalGates) {
    // With a schema the parse failure is reported as a finding...
    const json withSchema = tools.call("set_game_xml", {{"xml", "<KiteBench3D><Level name=\"L\">"}});
    EXPECT_EQ(text(withSchema).rfind("Schema violations — nothing was applied. Fix these and retry:\n- XML is not "
                                     "well-formed: ",
                                     0),
              0u)
        << text(withSchema);
    // ...without one the well-formedness gate catches it.
    editor.withSchema = false;
    EXPECT_EQ(text(tools.call("set_game_xml", {{"xml", "<KiteBench3D><Level name=\"L\">"}})),
              "The resulting XML is not well-formed — nothing was applied.");
    editor.refuseApply = true;
    EXPECT_EQ(text(tools.call("set_game_xml", {{"xml", "<KiteBench3D/>"}})), "The edit was refused — nothing was applied.");
}

// Members of the wrong type fail their operation in the tool's own words; nothing throws (the
// dispatcher used to pass the JSON library's exception text on to the agent).
TEST_F(DocumentToolsTest, MistypedOperationsFailAsOperations) {
    const std::string before = editor.getSourceXmlString(true, false);
    EXPECT_EQ(text(apply({{{"op", 5}, {"id", idOf("Ball")}}})), "No changes could be applied: op 1: needs a string 'op'");
    EXPECT_EQ(text(apply({{{"op", "createDocument"}, {"xml", 5}}})), "No changes could be applied: createDocument had no xml.");
    EXPECT_EQ(editor.getSourceXmlString(true, false), before);

    const json mixed = apply({{{"op", {{"kind", "delete"}}}}, {{"op", "delete"}, {"id", idOf("Ball")}}});
    ASSERT_FALSE(isError(mixed)) << text(mixed);
    EXPECT_EQ(text(mixed).rfind("Warning: some operations failed (op 1: needs a string 'op')", 0), 0u) << text(mixed);
    EXPECT_FALSE(editor.document.root().child("Level").child("Sphere"));
}

TEST_F(DocumentToolsTest, AppliedEditsCarryMarksAndFreshIds) {
    const std::string oldId = idOf("Ball");
    const json result = apply({{{"op", "insert"}, {"parentId", idOf("Main")}, {"xml", "<Cone id=\"5\" name=\"Tip\"/>"}}});
    ASSERT_FALSE(isError(result)) << text(result);
    pugi::xml_node cone = editor.document.root().child("Level").last_child();
    EXPECT_STREQ(cone.name(), "Cone");
    EXPECT_STREQ(cone.attribute("_aiChange").value(), "added");
    EXPECT_STRNE(cone.attribute("id").value(), "5");
    EXPECT_NE(idOf("Ball"), oldId);
}

TEST_F(DocumentToolsTest, WhatTheGameWouldFindOnlyWhenRunningIsReportedAsWarningsWithNewIds) {
    const json edited = apply({{{"op", "insert"}, {"parentId", idOf("Player")},
                                {"xml", "<OnKeyDown key=\"Space\"><Set var=\"lifes\" value=\"1\"/>"
                                        "<GoToLevel level=\"Moon\"/><Move moveX=\"(1 +\"/></OnKeyDown>"}}});
    ASSERT_FALSE(isError(edited)) << text(edited); // warnings never refuse the edit
    const std::string reply = text(edited);
    const size_t warnings = reply.find("\nWarnings — the edit was applied, but these blocks will not work as written");
    ASSERT_NE(warnings, std::string::npos) << reply;
    // One line per block at fault, named by its id in the new agent form.
    auto idOfElement = [&](const char* element) {
        return std::string("n") + editor.document.root().find_node([&](const pugi::xml_node& n) {
            return std::string(n.name()) == element;
        }).attribute("id").value();
    };
    EXPECT_NE(reply.find("\n- " + idOfElement("Set") + " Set: "), std::string::npos) << reply;
    EXPECT_NE(reply.find("'lifes'"), std::string::npos) << reply;
    EXPECT_NE(reply.find("\n- " + idOfElement("GoToLevel") + " GoToLevel: "), std::string::npos) << reply;
    EXPECT_NE(reply.find("\n- " + idOfElement("Move") + " Move: "), std::string::npos) << reply;
    // A clean game gets no warnings section.
    EXPECT_EQ(text(tools.call("set_game_xml", {{"xml", kGame}})).find("Warnings"), std::string::npos);
}

TEST_F(DocumentToolsTest, LiveEditsChangeValuesInPlaceAndRefuseStructureAllOrNothing) {
    editor.playStatus = LmdMcpEditorAccess::Playing;
    const std::string before = editor.getSourceXmlString(true, false);
    auto live = [&](json ops) { return tools.call("apply_edits", {{"ops", std::move(ops)}, {"live", true}}); };

    // Structure, a failing op, a schema violation or an expression for a running variable:
    // refused whole, and nothing reaches the document or the game.
    const json structural = live({{{"op", "update"}, {"id", idOf("Ball")}, {"attrs", {{"x", 5}}}},
                                  {{"op", "delete"}, {"id", idOf("Player")}}});
    EXPECT_EQ(text(structural).rfind("Live mode changes attribute values only: operation 2 is 'delete'", 0), 0u)
        << text(structural);
    EXPECT_TRUE(isError(live({{{"op", "update"}, {"id", idOf("Ball")}, {"attrs", {{"x", 5}}}},
                              {{"op", "update"}, {"id", "999"}, {"attrs", {{"x", 1}}}}})));
    EXPECT_EQ(text(live({{{"op", "update"}, {"id", idOf("Ball")}, {"attrs", {{"bogus", 1}}}}})).rfind("Schema violations", 0), 0u);
    const json expression = live({{{"op", "update"}, {"id", idOf("score")}, {"attrs", {{"value", "score + 1"}}}}});
    EXPECT_NE(text(expression).find("for Var 'score'"), std::string::npos) << text(expression);
    EXPECT_EQ(editor.getSourceXmlString(true, false), before);
    EXPECT_TRUE(editor.liveEdits.empty());
    EXPECT_EQ(editor.applyCount, 0);

    // Values go in without a reload: the ids stay, the editor gets each attribute once.
    const std::string ballId = idOf("Ball");
    const json applied = live({{{"op", "update"}, {"id", ballId}, {"attrs", {{"x", 4.5}, {"visible", false}}}},
                               {{"op", "update"}, {"id", idOf("score")}, {"attrs", {{"value", "'high'"}}}},
                               {{"op", "update"}, {"id", idOf("Player")}, {"removeAttrs", {"color"}}}});
    ASSERT_FALSE(isError(applied)) << text(applied);
    EXPECT_NE(text(applied).find("without a restart (status: playing)"), std::string::npos) << text(applied);
    EXPECT_EQ(editor.applyCount, 0);
    EXPECT_EQ(idOf("Ball"), ballId);
    ASSERT_EQ(editor.liveEdits.size(), 4u);
    EXPECT_EQ(editor.liveEdits[0].xmlId, std::stoi(ballId));
    EXPECT_EQ(editor.liveEdits[0].attribute + "=" + editor.liveEdits[0].value, "visible=false");
    EXPECT_EQ(editor.liveEdits[1].attribute + "=" + editor.liveEdits[1].value, "x=4.5");
    EXPECT_EQ(editor.liveEdits[2].value, "'high'");
    EXPECT_TRUE(editor.liveEdits[3].remove);
    EXPECT_EQ(editor.liveEdits[3].attribute, "color");
    EXPECT_NE(text(applied).find(revision()), std::string::npos);

    editor.playStatus = LmdMcpEditorAccess::Stopped;
    editor.liveError = "no node with id 7";
    EXPECT_EQ(text(live({{{"op", "update"}, {"id", ballId}, {"attrs", {{"x", 1}}}}})),
              "The live edit was refused — nothing was applied: no node with id 7");
    editor.liveError.clear();
    EXPECT_NE(text(live({{{"op", "update"}, {"id", ballId}, {"attrs", {{"x", 1}}}}})).find("The game is not running"),
              std::string::npos);
}

} // namespace
} // namespace Lumenda3D
