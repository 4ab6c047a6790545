// The catalogue, its dispatch and the tools other than the document tools.
#include "mcp/LmdMcpTools.h"

#include <set>

#include <gtest/gtest.h>

#include "FakeMcpEditor.h"
#include "mcp/LmdLogRingBuffer.h"
#include "mcp/LmdMcpEditorBackend.h"
#include "mcp/LmdMcpPermissions.h"
#include "mcp/LmdMcpServer.h"
#include "mcp/LmdMcpToolResult.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;
using test::FakeMcpEditor;

std::string text(const json& result) { return result["content"][0]["text"].get<std::string>(); }
bool isError(const json& result) { return result.value("isError", false); }

TEST(LmdMcpToolsCatalogue, TwentyTwoToolsInOrderWithWellFormedSchemas) {
    const auto tools = LmdMcpTools::definitions();
    const std::vector<std::string> expected = {
        "get_game_xml",   "apply_edits",     "set_game_xml",  "run_game",          "stop_game",
        "get_status",     "get_logs",        "get_screenshot", "send_input",       "import_asset",
        "list_local_assets", "get_scene_info", "select_object", "save_project",    "save_project_as",
        "open_project",   "new_project",     "list_projects", "list_user_assets",  "export_game",
        "get_operation_status", "get_documentation"};
    ASSERT_EQ(tools.size(), expected.size());
    for (size_t i = 0; i < tools.size(); ++i) {
        SCOPED_TRACE(tools[i].name);
        EXPECT_EQ(tools[i].name, expected[i]);
        EXPECT_FALSE(tools[i].description.empty());
        const json& schema = tools[i].inputSchema;
        // Serialised and parsed back as a client would, the schema keeps its form.
        const json parsed = json::parse(schema.dump());
        EXPECT_EQ(parsed["type"], "object");
        ASSERT_TRUE(parsed["properties"].is_object());
        ASSERT_TRUE(parsed["required"].is_array());
        for (const json& name : parsed["required"])
            EXPECT_TRUE(parsed["properties"].contains(name.get<std::string>())) << name;
        for (const auto& [name, property] : parsed["properties"].items())
            EXPECT_TRUE(property.contains("type")) << name;
    }
    // apply_edits repeats its edit-ops text as the description of `ops`.
    const std::string& applyText = tools[1].description;
    const std::string opsText = tools[1].inputSchema["properties"]["ops"]["description"];
    EXPECT_EQ(applyText.substr(applyText.find("Edit ops (JSON array)")), opsText);
    EXPECT_EQ(tools[21].inputSchema["properties"]["section"]["enum"],
              json({"rules", "schema", "assets", "protocol", "examples", "mcp"}));
}

TEST(LmdMcpToolsCatalogue, OnlyLogsAndDocumentationAreThreadSafe) {
    std::set<std::string> safe;
    for (const auto& tool : LmdMcpTools::definitions())
        if (LmdMcpTools::isThreadSafe(tool.name))
            safe.insert(tool.name);
    EXPECT_EQ(safe, (std::set<std::string>{"get_logs", "get_documentation"}));
    EXPECT_FALSE(LmdMcpTools::isThreadSafe("get_logs2"));
    EXPECT_FALSE(LmdMcpTools::isThreadSafe("get_log"));
    LmdMcpTools tools(nullptr, nullptr);
    EXPECT_EQ(text(tools.call("no_such_tool", json::object())), "Unknown tool: no_such_tool");
}

TEST(LmdMcpToolsCatalogue, ResourcesReadWholeSectionsAndMcpOnlyThroughDocumentation) {
    LmdMcpTools tools(nullptr, nullptr, [](const std::string& name) { return "text of " + name; });
    const auto resources = LmdMcpTools::resourceDefinitions();
    ASSERT_EQ(resources.size(), 5u);
    EXPECT_EQ(resources[0].uri, "lumenda3d://docs/rules");
    EXPECT_EQ(tools.readResource("lumenda3d://docs/rules"), "text of instructions");
    EXPECT_EQ(tools.readResource("lumenda3d://docs/examples"), "text of examples");
    EXPECT_EQ(tools.readResource("lumenda3d://docs/other"), "");
    EXPECT_EQ(tools.readResource("file://docs/rules"), "");

    // Through the server: the mcp section is no resource, but get_documentation serves it.
    LmdMcpEditorBackend backend(tools, nullptr);
    LmdMcpServer server(&backend);
    ASSERT_TRUE(server.start(0));
    auto post = [&](const json& message) {
        return json::parse(server.handleHttp({"POST", "/mcp", "", "", message.dump()}).body);
    };
    const json read = post({{"jsonrpc", "2.0"}, {"id", 1}, {"method", "resources/read"},
                            {"params", {{"uri", "lumenda3d://docs/mcp"}}}});
    EXPECT_EQ(read["error"]["code"], -32002);
    const json doc = post({{"jsonrpc", "2.0"}, {"id", 2}, {"method", "tools/call"},
                           {"params", {{"name", "get_documentation"}, {"arguments", {{"section", "mcp"}}}}}});
    EXPECT_EQ(doc["result"]["content"][0]["text"], "text of mcp");
    EXPECT_EQ(server.protocol().instructions(), "text of mcp");
    server.dispatcher().shutdown();
    server.stop();
}

TEST(LmdMcpToolsCatalogue, PermissionRefusalReachesTheClientBeforeTheTool) {
    FakeMcpEditor editor;
    LmdMcpTools tools(&editor, nullptr);
    LmdMcpPermissions permissions;
    permissions.setState(McpPermission::Run, McpPermissionState::Deny);
    LmdMcpEditorBackend backend(tools, &permissions);
    const json refused = backend.checkPermission("run_game");
    EXPECT_EQ(text(refused).rfind("run_game is blocked: permission to run or stop your game is set to Deny", 0), 0u);
    EXPECT_TRUE(backend.checkPermission("apply_edits").is_null());
}

TEST(LmdMcpDocumentation, SectionsExamplesAndErrors) {
    const std::string examples = "# Examples\nintro\n\n## Alpha\nFirst one.\n\n```\n<A/>\n```\n========\n"
                                 "## Beta\r\n\r\nSecond one.\r\n```\r\n<B/>\r\n```\r\n";
    LmdMcpTools tools(nullptr, nullptr, [&](const std::string& name) {
        return name == "examples" ? examples : name == "schema" ? std::string("the reference") : std::string();
    });
    auto doc = [&](const json& args) { return tools.call("get_documentation", args); };

    EXPECT_EQ(text(doc({{"section", "schema"}})), "the reference");
    EXPECT_EQ(text(doc({{"section", "nope"}})), "Unknown section — use rules | schema | assets | protocol | examples | mcp.");
    EXPECT_EQ(text(doc({{"section", "rules"}})), "Documentation is unavailable (knowledge base missing from this build).");
    EXPECT_EQ(text(doc({{"section", "examples"}})),
              "Example games available (call get_documentation section:\"examples\" name:\"<Title>\" to fetch one's "
              "full XML):\n- Alpha — First one.\n- Beta — Second one.\n");
    EXPECT_EQ(text(doc({{"section", "examples"}, {"name", "Alpha"}})), "## Alpha\nFirst one.\n\n```\n<A/>\n```\n");
    EXPECT_EQ(text(doc({{"section", "examples"}, {"name", "alpha"}})),
              "No example named \"alpha\". Available: Alpha, Beta.");
    // A text without examples comes back whole.
    EXPECT_EQ(text(LmdMcpTools::getExamples("just prose", "")), "just prose");
}

TEST(LmdMcpLogs, DefaultsAndUnknownLevel) {
    LmdLogRingBuffer logs;
    for (int i = 0; i < 250; ++i)
        logs.record("line " + std::to_string(i), i % 2 ? LmdLogRingBuffer::Level::Trivial
                                                             : LmdLogRingBuffer::Level::Normal);
    logs.record("boom", LmdLogRingBuffer::Level::Critical);
    LmdMcpTools tools(nullptr, &logs);
    const std::string all = text(tools.call("get_logs", json::object()));
    EXPECT_EQ(all.rfind("lastLogId: 251  (pass as sinceId next time)\n", 0), 0u);
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 1 + 126); // 125 normal lines + the critical one
    EXPECT_EQ(text(tools.call("get_logs", {{"minLevel", "loud"}})), all);
    EXPECT_EQ(text(tools.call("get_logs", {{"minLevel", "critical"}, {"maxLines", 5}})),
              "lastLogId: 251  (pass as sinceId next time)\n[251][critical] boom\n");
    EXPECT_EQ(text(tools.call("get_logs", {{"sinceId", 251}})),
              "lastLogId: 251  (pass as sinceId next time)\n(no matching log lines)");
}

TEST(LmdMcpPlayTools, ScreenshotArgumentsAndSelection) {
    FakeMcpEditor editor;
    LmdMcpTools tools(&editor, nullptr);
    EXPECT_FALSE(isError(tools.call("get_screenshot", {{"width", 10}, {"height", 5000}})));
    EXPECT_EQ(editor.lastCapture, "scene");
    EXPECT_EQ(editor.lastWidth, 64);
    EXPECT_EQ(editor.lastHeight, 2048);

    const char* both = "Provide both 'cameraPosition' and 'lookAt' together, or neither (to use the live editor camera).";
    EXPECT_EQ(text(tools.call("get_screenshot", {{"lookAt", {{"x", 1}}}})), both);
    EXPECT_EQ(text(tools.call("get_screenshot", {{"lookAt", {{"x", 1}}}, {"includeOverlay", true}})), both);
    EXPECT_TRUE(isError(tools.call("get_screenshot",
                                   {{"lookAt", json::object()}, {"cameraPosition", json::object()}, {"includeOverlay", true}})));
    tools.call("get_screenshot", {{"cameraPosition", {{"x", 1}, {"y", 2}}}, {"lookAt", {{"z", -3.5}}}});
    EXPECT_EQ(editor.lastCapture, "view");
    EXPECT_EQ(editor.lastEye.y, 2.0f);
    EXPECT_EQ(editor.lastEye.z, 0.0f);
    EXPECT_EQ(editor.lastTarget.z, -3.5f);
    editor.captureBytes.clear();
    EXPECT_EQ(text(tools.call("get_screenshot", {{"includeOverlay", true}})),
              "Screenshot capture failed — the render window is not available.");

    EXPECT_EQ(text(tools.call("select_object", {{"id", "42"}})), "id must be a node id from get_game_xml, e.g. n42");
    EXPECT_EQ(text(tools.call("select_object", {{"id", "n42"}})), "Selection requested for n42.");
    EXPECT_EQ(editor.selected, std::vector<int>{42});

    editor.playStatus = LmdMcpEditorAccess::Loading;
    EXPECT_EQ(text(tools.call("run_game", json::object())), "The editor is busy loading a script — retry shortly.");
    EXPECT_EQ(editor.playCount, 0);
    EXPECT_EQ(json::parse(text(tools.call("get_status", json::object())))["playStatus"], "loading");
    EXPECT_EQ(text(tools.call("stop_game", json::object())),
              "Stop requested (asynchronous). Status: loading — poll get_status.");
}

TEST(LmdMcpPlayTools, SceneInfoTellsClonesApartAndReadsTheGameState) {
    FakeMcpEditor editor;
    LmdMcpTools tools(&editor, nullptr);
    LmdMcpEditorAccess::SceneObject ball;
    ball.xmlId = 7;
    ball.name = "Ball";
    ball.hasNode = true;
    ball.position = {1.23456f, 0.0f, -2.0f};
    ball.hasVelocity = true;
    ball.velocity = {0.0f, -9.8104f, 0.0f};
    LmdMcpEditorAccess::SceneObject copy = ball;
    copy.name = "Ball1";
    copy.cloneSerial = 3;
    copy.hasVelocity = false;
    copy.visible = false;
    LmdMcpEditorAccess::SceneObject copyOfCopy = copy;
    copyOfCopy.cloneSerial = 4;
    copyOfCopy.cloneSourceSerial = 3;
    editor.objects = {ball, copy, copyOfCopy};
    editor.gameState.level = "Game";
    editor.gameState.gameTime = 2.50004;
    LmdMcpEditorAccess::Variable score;
    score.name = "score";
    score.kind = LmdMcpEditorAccess::Variable::Kind::Number;
    score.number = 12;
    LmdMcpEditorAccess::Variable over;
    over.name = "over";
    over.kind = LmdMcpEditorAccess::Variable::Kind::Boolean;
    LmdMcpEditorAccess::Variable player;
    player.name = "player";
    player.text = "Ann";
    editor.gameState.variables = {score, over, player};
    LmdMcpEditorAccess::ScreenElement label;
    label.xmlId = 9;
    label.name = "ScoreText";
    label.element = "Text2D";
    label.x = 10;
    label.y = 20;
    label.width = 80.5f;
    label.height = 16;
    label.shown = true;
    label.text = "Score: 12";
    LmdMcpEditorAccess::ScreenElement panel;
    panel.xmlId = 10;
    panel.element = "Rect2D";
    panel.level = "Menu";
    panel.visible = false;
    editor.gameState.elements = {label, panel};

    const json info = json::parse(text(tools.call("get_scene_info", json::object())));
    ASSERT_EQ(info["objectCount"], 3);
    const json& objects = info["objects"];
    // The document's fields come first and keep their forms.
    EXPECT_EQ(objects[0].begin().key(), "id");
    EXPECT_EQ(objects[0]["id"], "7");
    EXPECT_EQ(objects[0]["nodeId"], "n7");
    EXPECT_FALSE(objects[0].contains("cloneOf"));
    EXPECT_EQ(objects[0]["position"], json::parse("[1.235, 0.0, -2.0]"));
    EXPECT_EQ(objects[0]["velocity"][1], -9.81);
    EXPECT_EQ(objects[0]["scale"], json::parse("[1.0, 1.0, 1.0]"));
    EXPECT_EQ(objects[0]["visible"], true);
    // A clone shares the element's id but has its own, and names what it was copied from.
    EXPECT_EQ(objects[1]["id"], "7");
    EXPECT_EQ(objects[1]["nodeId"], "c3");
    EXPECT_EQ(objects[1]["cloneOf"], "n7");
    EXPECT_EQ(objects[1]["visible"], false);
    EXPECT_FALSE(objects[1].contains("velocity"));
    EXPECT_EQ(objects[2]["nodeId"], "c4");
    EXPECT_EQ(objects[2]["cloneOf"], "c3");

    EXPECT_EQ(info["level"], "Game");
    EXPECT_EQ(info["gameTime"], 2.5);
    EXPECT_EQ(info["variables"], json::parse(R"({"score": 12.0, "over": false, "player": "Ann"})"));
    ASSERT_EQ(info["elements2D"].size(), 2u);
    EXPECT_EQ(info["elements2D"][0]["nodeId"], "n9");
    EXPECT_EQ(info["elements2D"][0]["text"], "Score: 12");
    EXPECT_EQ(info["elements2D"][0]["rect"], json::parse("[10.0, 20.0, 80.5, 16.0]"));
    EXPECT_EQ(info["elements2D"][0]["shown"], true);
    EXPECT_FALSE(info["elements2D"][0].contains("level"));
    EXPECT_EQ(info["elements2D"][1]["level"], "Menu");
    EXPECT_FALSE(info["elements2D"][1].contains("text"));

    json status = json::parse(text(tools.call("get_status", json::object())));
    EXPECT_EQ(status["level"], "Game");
    EXPECT_EQ(status["audioDeviceOpen"], false);
    editor.gameState.audioDeviceOpen = true;
    status = json::parse(text(tools.call("get_status", json::object())));
    EXPECT_EQ(status["audioDeviceOpen"], true);
}

TEST(LmdMcpPlayTools, RunSecondsPlaysASpanAndWaitsForItsEnd) {
    FakeMcpEditor editor;
    LmdMcpTools tools(&editor, nullptr);
    for (const json& bad : {json(0), json(-1), json(601), json("2")})
        EXPECT_EQ(text(tools.call("run_game", {{"runSeconds", bad}})),
                  "runSeconds must be a number of seconds of game time above 0 and at most 600.")
            << bad;
    EXPECT_EQ(editor.spanSeconds, 0.0);
    EXPECT_EQ(editor.playCount, 0);

    EXPECT_EQ(text(tools.call("run_game", {{"runSeconds", 1.5}})).rfind("Running for 1.5 s of game time", 0), 0u);
    EXPECT_EQ(editor.spanSeconds, 1.5);

    // With wait the answer is a wait until the span has played; the check then reports the time.
    const json waiting = tools.call("run_game", {{"runSeconds", 2}, {"wait", true}});
    ASSERT_TRUE(LmdMcpToolResult::isWait(waiting));
    const json check = LmdMcpToolResult::waitCheck(waiting);
    editor.spanRunning = true;
    EXPECT_TRUE(LmdMcpToolResult::isWait(tools.resume(check)));
    editor.spanRunning = false;
    editor.playStatus = LmdMcpEditorAccess::Paused;
    editor.gameState.gameTime = 3.5;
    EXPECT_EQ(text(tools.resume(check)).rfind("The span has played. Status: paused, game time 3.5 s.", 0), 0u);

    // send_input's wait lasts while the input plays, and a refused input is answered at once.
    editor.inputActive = true;
    const json input = tools.call("send_input", {{"type", "keys"}, {"keys", {"Space"}}, {"wait", true}});
    ASSERT_TRUE(LmdMcpToolResult::isWait(input));
    EXPECT_TRUE(LmdMcpToolResult::isWait(tools.resume(LmdMcpToolResult::waitCheck(input))));
    editor.inputActive = false;
    EXPECT_EQ(text(tools.resume(LmdMcpToolResult::waitCheck(input))).rfind("Done: the input has played out.", 0), 0u);
    EXPECT_TRUE(isError(tools.call("send_input", {{"type", "keys"}, {"wait", true}})));
    EXPECT_TRUE(isError(tools.resume(json::object())));
}

TEST(LmdMcpInputTool, ClampsValidatesAndQueuesAllOrNothing) {
    FakeMcpEditor editor;
    editor.windowWidth = 800;
    editor.windowHeight = 600;
    LmdMcpTools tools(&editor, nullptr);
    auto input = [&](const json& args) { return tools.call("send_input", args); };

    EXPECT_FALSE(isError(input({{"type", "click"}, {"x", -5}, {"y", 99999}, {"holdSeconds", 50}, {"button", "right"}})));
    EXPECT_EQ(editor.lastX, 0);
    EXPECT_EQ(editor.lastY, 599);
    EXPECT_EQ(editor.hold, 10.0f);
    EXPECT_EQ(editor.lastButton, OgreBites::BUTTON_RIGHT);
    EXPECT_EQ(text(input({{"type", "click"}, {"x", 5}})), "send_input type 'click' requires 'x' and 'y' window pixels.");

    input({{"type", "keys"}, {"keys", {"W", 3}}, {"holdSeconds", -1}});
    EXPECT_EQ(editor.keys, std::vector<std::string>{"W"});
    EXPECT_EQ(editor.hold, 0.0f);
    EXPECT_EQ(text(input({{"type", "keys"}, {"keys", {3}}})), "send_input type 'keys' requires a non-empty 'keys' array.");

    input({{"type", "drag"}, {"fromX", 1}, {"fromY", 2}, {"toX", 3}, {"toY", 4}, {"durationSeconds", 0}});
    EXPECT_FLOAT_EQ(editor.hold, 0.05f);
    input({{"type", "scroll"}, {"x", 1}, {"y", 1}, {"amount", 500}});
    EXPECT_EQ(editor.scrollAmount, 100.0f);

    const json bad = input({{"type", "sequence"},
                            {"steps", {{{"op", "move"}, {"x", 1}, {"y", 1}}, {{"op", "down"}}, {{"op", "hop"}}}}});
    EXPECT_EQ(text(bad), "Unknown sequence step op 'hop' — use move | down | up | keyDown | keyUp | scroll | wait.");
    EXPECT_TRUE(editor.sequence.empty());
    const json good = input({{"type", "sequence"}, {"steps", {{{"op", "down"}}, {{"op", "wait"}, {"seconds", 30}}}}});
    EXPECT_EQ(text(good), "Queued. Poll get_status for inputActive:false before the next action or a screenshot.");
    ASSERT_EQ(editor.sequence.size(), 2u);
    EXPECT_EQ(editor.sequence[1].seconds, 10.0f);

    EXPECT_EQ(text(input({{"type", "tap"}})), "Unknown send_input type — use keys | click | drag | scroll | sequence.");
    editor.inputError = "Input simulation is off.";
    EXPECT_EQ(text(input({{"type", "keys"}, {"keys", {"A"}}})), "Input simulation is off.");
}

TEST(LmdMcpOperations, OneLongOperationAtATime) {
    FakeMcpEditor editor;
    LmdMcpTools tools(&editor, nullptr);
    auto status = [&] { return json::parse(text(tools.call("get_operation_status", json::object()))); };
    EXPECT_EQ(status()["state"], "idle");

    // A local save ends at once.
    EXPECT_EQ(text(tools.call("save_project", json::object())), "Saved.");
    EXPECT_EQ(status()["state"], "done");

    // A cloud save goes on; a second operation is refused until it ends.
    editor.asynchronous = true;
    editor.loggedIn = true;
    EXPECT_EQ(text(tools.call("save_project_as", {{"name", "Mine"}, {"location", "cloud"}})),
              "Saving as 'Mine' (asynchronous) — poll get_operation_status.");
    EXPECT_EQ(status()["state"], "running");
    EXPECT_EQ(text(tools.call("export_game", {{"platform", "web"}, {"appName", "Game"}})),
              "Another operation (save_project_as) is still running — poll get_operation_status first.");
    editor.pending(false, "Upload failed.");
    EXPECT_EQ(status()["state"], "failed");
    EXPECT_EQ(status()["error"], "Upload failed.");
    editor.pending(true, "late"); // a second answer from the same operation is ignored
    EXPECT_EQ(status()["state"], "failed");

    // Unsaved changes need force.
    editor.unsaved = true;
    EXPECT_TRUE(isError(tools.call("new_project", json::object())));
    EXPECT_FALSE(isError(tools.call("open_project", {{"nameOrId", "Alpha"}, {"location", "local"}, {"force", true}})));
    EXPECT_EQ(editor.opened, "Alpha");
    editor.pending(true, "Opened Alpha.");

    // An export starts after the frame's jobs and reports progress, then its deliverable.
    EXPECT_FALSE(isError(tools.call("export_game", {{"platform", "windows"}, {"appName", "My Game"}})));
    EXPECT_TRUE(tools.hasPendingExport());
    EXPECT_TRUE(editor.exportOptions.is_null());
    tools.startPendingExport();
    EXPECT_EQ(editor.exportOptions["appName"], "My Game");
    editor.exportProgress(0.5f, "packaging");
    EXPECT_EQ(status()["progress"], 0.5);
    EXPECT_EQ(status()["stage"], "packaging");
    editor.pending(true, "/home/user/Documents/Lumenda3D/Exports/My_Game.zip");
    EXPECT_EQ(status()["result"], "/home/user/Documents/Lumenda3D/Exports/My_Game.zip");
}

} // namespace
} // namespace Lumenda3D
