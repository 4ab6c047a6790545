#include "mcp/LmdMcpPermissions.h"

#include <chrono>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "TestDataRoot.h"
#include "services/EditorSettings.h"

namespace Lumenda3D {
namespace {
using namespace std::chrono_literals;
using json = nlohmann::json;
using Clock = std::chrono::steady_clock;

std::string errorText(const json& result) { return result.is_null() ? "" : result["content"][0]["text"].get<std::string>(); }

class LmdMcpPermissionsTest : public test::DataRootTest {
protected:
    void SetUp() override { EditorSettings::reloadForTesting(); }
    void TearDown() override { EditorSettings::reloadForTesting(); }

    // Waits (bounded) until a connection thread's prompt is waiting for an answer.
    static bool waitForPrompt(const LmdMcpPermissions& permissions, McpPermission& asked) {
        const auto deadline = Clock::now() + 5s;
        while (Clock::now() < deadline) {
            if (permissions.pendingPrompt(asked))
                return true;
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }
};

TEST_F(LmdMcpPermissionsTest, LoadConvertsOldBooleansAndTreatsUnknownNumbersAsAsk) {
    EditorSettings& settings = EditorSettings::getInstance();
    settings.setBool("mcpPermRun", true);
    settings.setBool("mcpPermProjects", false);
    settings.setInt("mcpPermExport", 7);
    settings.setInt("mcpPermInput", 2);
    EditorSettings::reloadForTesting(); // as at the next start

    LmdMcpPermissions permissions;
    permissions.load();
    EXPECT_EQ(permissions.state(McpPermission::Run), McpPermissionState::Approve);
    EXPECT_EQ(permissions.state(McpPermission::Projects), McpPermissionState::Deny);
    EXPECT_EQ(permissions.state(McpPermission::Export), McpPermissionState::Ask);
    EXPECT_EQ(permissions.state(McpPermission::Input), McpPermissionState::Deny);

    // The booleans were rewritten as numbers; the unknown number was left alone.
    EditorSettings::reloadForTesting();
    EXPECT_FALSE(settings.isBool("mcpPermRun"));
    EXPECT_EQ(settings.getInt("mcpPermRun", -1), 1);
    EXPECT_EQ(settings.getInt("mcpPermProjects", -1), 2);
    EXPECT_EQ(settings.getInt("mcpPermExport", -1), 7);
}

TEST_F(LmdMcpPermissionsTest, ToolsNeedTheirPermissionByWholeName) {
    const std::pair<const char*, McpPermission> needs[] = {
        {"run_game", McpPermission::Run},          {"stop_game", McpPermission::Run},
        {"list_user_assets", McpPermission::Projects}, {"new_project", McpPermission::Projects},
        {"export_game", McpPermission::Export},    {"send_input", McpPermission::Input}};
    for (const auto& [tool, expected] : needs) {
        McpPermission out = McpPermission::Run;
        EXPECT_TRUE(LmdMcpPermissions::toolPermission(tool, out)) << tool;
        EXPECT_EQ(out, expected) << tool;
    }
    McpPermission out;
    for (const char* free : {"apply_edits", "set_game_xml", "import_asset", "get_screenshot", "select_object",
                             "run_game2", "send_inpu", ""})
        EXPECT_FALSE(LmdMcpPermissions::toolPermission(free, out)) << free;
}

TEST_F(LmdMcpPermissionsTest, ApproveAndDenyAnswerWithoutAsking) {
    LmdMcpPermissions permissions(10ms);
    permissions.setState(McpPermission::Run, McpPermissionState::Approve);
    permissions.setState(McpPermission::Export, McpPermissionState::Deny);
    EXPECT_TRUE(permissions.checkTool("run_game").is_null());
    EXPECT_TRUE(permissions.checkTool("apply_edits").is_null());
    const json denied = permissions.checkTool("export_game");
    EXPECT_TRUE(denied["isError"].get<bool>());
    EXPECT_EQ(errorText(denied),
              "export_game is blocked: permission to export your game to a distributable app is set to Deny in the "
              "editor (Settings > MCP Server). Ask the user to change it.");
    EXPECT_EQ(EditorSettings::getInstance().getInt("mcpPermExport", -1), 2);
}

TEST_F(LmdMcpPermissionsTest, PromptAnswersReachTheWaitingCall) {
    LmdMcpPermissions permissions(10s);
    McpPermission asked = McpPermission::Input;

    // Approve once: this call runs, the next one asks again.
    auto once = std::async(std::launch::async, [&] { return permissions.checkTool("run_game"); });
    ASSERT_TRUE(waitForPrompt(permissions, asked));
    EXPECT_EQ(asked, McpPermission::Run);
    permissions.resolvePrompt(McpPromptDecision::ApproveOnce);
    EXPECT_TRUE(once.get().is_null());
    EXPECT_EQ(permissions.state(McpPermission::Run), McpPermissionState::Ask);

    // Deny: refused, and remembered (also in the settings).
    auto deny = std::async(std::launch::async, [&] { return permissions.checkTool("stop_game"); });
    ASSERT_TRUE(waitForPrompt(permissions, asked));
    permissions.resolvePrompt(McpPromptDecision::DenyAlways);
    EXPECT_EQ(errorText(deny.get()), "stop_game was denied by the user.");
    EXPECT_EQ(permissions.state(McpPermission::Run), McpPermissionState::Deny);
    EXPECT_EQ(EditorSettings::getInstance().getInt("mcpPermRun", -1), 2);

    // A late answer, with nobody waiting, changes nothing.
    permissions.resolvePrompt(McpPromptDecision::ApproveAlways);
    EXPECT_EQ(permissions.state(McpPermission::Run), McpPermissionState::Deny);
    EXPECT_FALSE(permissions.pendingPrompt(asked));
}

TEST_F(LmdMcpPermissionsTest, RequestQueuedBehindApproveAlwaysStillAsks) {
    LmdMcpPermissions permissions(10s);
    McpPermission asked;
    auto first = std::async(std::launch::async, [&] { return permissions.requestDecision(McpPermission::Projects); });
    ASSERT_TRUE(waitForPrompt(permissions, asked));
    auto second = std::async(std::launch::async, [&] { return permissions.requestDecision(McpPermission::Projects); });
    std::this_thread::sleep_for(20ms); // the second waits on the gate, not yet prompting
    permissions.resolvePrompt(McpPromptDecision::ApproveAlways);
    EXPECT_EQ(first.get(), McpPromptDecision::ApproveAlways);
    EXPECT_EQ(permissions.state(McpPermission::Projects), McpPermissionState::Approve);

    ASSERT_TRUE(waitForPrompt(permissions, asked)) << "the queued request asks once more";
    permissions.resolvePrompt(McpPromptDecision::DenyAlways);
    EXPECT_EQ(second.get(), McpPromptDecision::DenyAlways);
}

TEST_F(LmdMcpPermissionsTest, UnansweredPromptTimesOutAndLeavesAsk) {
    LmdMcpPermissions permissions(60ms);
    const auto start = Clock::now();
    const json result = permissions.checkTool("send_input");
    EXPECT_GE(Clock::now() - start, 60ms);
    EXPECT_EQ(errorText(result),
              "send_input timed out waiting for the user to approve it (no response in the editor). Ask the user to "
              "allow 'control the keyboard and mouse to operate the editor and your game' in Settings > MCP Server, "
              "then retry.");
    EXPECT_EQ(permissions.state(McpPermission::Input), McpPermissionState::Ask);
    McpPermission asked;
    EXPECT_FALSE(permissions.pendingPrompt(asked));
}

TEST_F(LmdMcpPermissionsTest, ServerStopEndsThePromptAndBlocksNewOnesUntilResumed) {
    LmdMcpPermissions permissions(30s);
    McpPermission asked;
    auto waiting = std::async(std::launch::async, [&] { return permissions.checkTool("run_game"); });
    ASSERT_TRUE(waitForPrompt(permissions, asked));
    const auto start = Clock::now();
    permissions.cancelPendingPrompt();
    EXPECT_NE(errorText(waiting.get()).find("timed out waiting for the user"), std::string::npos);
    EXPECT_LT(Clock::now() - start, 5s);

    // While stopped, a request is refused at once and no prompt shows.
    EXPECT_EQ(permissions.requestDecision(McpPermission::Run), McpPromptDecision::NoAnswer);
    EXPECT_FALSE(permissions.pendingPrompt(asked));

    permissions.resumePrompts();
    auto again = std::async(std::launch::async, [&] { return permissions.requestDecision(McpPermission::Export); });
    ASSERT_TRUE(waitForPrompt(permissions, asked));
    EXPECT_EQ(asked, McpPermission::Export);
    permissions.resolvePrompt(McpPromptDecision::ApproveOnce);
    EXPECT_EQ(again.get(), McpPromptDecision::ApproveOnce);
}

} // namespace
} // namespace Lumenda3D
