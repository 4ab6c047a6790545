// The permission prompt and the permission rows, driven through real ImGui frames: a person's
// click answers the waiting tool call, a synthetic click (engine depth above zero) does not.
#include <chrono>
#include <future>
#include <thread>

#include <gtest/gtest.h>
#include <imgui.h>
#include <imgui_internal.h>

#include "ImGuiHarness.h"
#include "TestDataRoot.h"
#include "mcp/LmdMcpPermissionPrompt.h"
#include "mcp/LmdMcpSettingsPanel.h"
#include "services/EditorSettings.h"

namespace Lumenda3D {
namespace {
using namespace std::chrono_literals;
using test::ImGuiHarness;

// Finds a widget by hovering: sweeps the mouse over the window, bottom row first, until ImGui
// reports the widget with that id hovered. Returns false when it never shows up.
bool locate(ImGuiHarness& ui, const std::function<void()>& draw, const char* windowName, ImGuiID id, ImVec2& at) {
    ImGuiWindow* window = ImGui::FindWindowByName(windowName);
    if (!window || !(window->Active || window->WasActive))
        return false;
    const ImVec2 pos = window->Pos, size = window->Size;
    for (float y = pos.y + size.y - 3.0f; y > pos.y; y -= 5.0f) {
        for (float x = pos.x + 3.0f; x < pos.x + size.x; x += 8.0f) {
            ui.moveMouse(x, y);
            ui.frame(draw);
            if (ImGui::GetCurrentContext()->HoveredId == id) {
                at = ImVec2(x, y);
                return true;
            }
        }
    }
    return false;
}

ImGuiID idIn(const char* windowName, const char* label) {
    ImGuiWindow* window = ImGui::FindWindowByName(windowName);
    return window ? ImHashStr(label, 0, window->ID) : 0;
}

ImGuiID rowIdIn(const char* windowName, int row, const char* label) {
    ImGuiWindow* window = ImGui::FindWindowByName(windowName);
    return window ? ImHashStr(label, 0, ImHashData(&row, sizeof(row), window->ID)) : 0;
}

// Whether the popup is open, asked from inside a frame as the panel itself would.
bool popupOpen(ImGuiHarness& ui, const std::function<void()>& draw, const char* title) {
    bool open = false;
    ui.frame([&] {
        draw();
        open = ImGui::IsPopupOpen(title);
    });
    return open;
}

bool runUntil(ImGuiHarness& ui, const std::function<void()>& draw, const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (std::chrono::steady_clock::now() < deadline) {
        ui.frame(draw);
        if (done())
            return true;
        std::this_thread::sleep_for(1ms);
    }
    return false;
}

class PermissionPanelTest : public test::DataRootTest {
protected:
    void SetUp() override { EditorSettings::reloadForTesting(); }
    void TearDown() override { EditorSettings::reloadForTesting(); }

    LmdAgentClickGuard guard() {
        return LmdAgentClickGuard([this] { return syntheticDepth; },
                                  [this](const std::string& action) { blocked.push_back(action); });
    }

    int syntheticDepth = 0;
    std::vector<std::string> blocked;
};

TEST_F(PermissionPanelTest, PromptButtonsAnswerOnlyForThePerson) {
    ImGuiHarness ui;
    LmdMcpPermissions permissions(20s);
    LmdMcpPermissionPrompt prompt(permissions, guard());
    auto draw = [&] { prompt.draw(); };

    auto decision = std::async(std::launch::async, [&] { return permissions.requestDecision(McpPermission::Input); });
    ASSERT_TRUE(runUntil(ui, draw, [&] { return prompt.isOpen(); }));
    ui.frame(draw);
    const char* title = LmdMcpPermissionPrompt::kTitle;
    ImVec2 deny;
    ASSERT_TRUE(locate(ui, draw, title, idIn(title, "Deny"), deny));

    // An agent's click on Deny is ignored and reported; the call keeps waiting.
    syntheticDepth = 1;
    ui.click(deny.x, deny.y, draw);
    EXPECT_EQ(blocked, std::vector<std::string>{"answer MCP permission prompt"});
    McpPermission asked;
    EXPECT_TRUE(permissions.pendingPrompt(asked));
    EXPECT_TRUE(prompt.isOpen());

    // The person's click answers, closes the popup and stores the choice.
    syntheticDepth = 0;
    ui.click(deny.x, deny.y, draw);
    EXPECT_EQ(decision.get(), McpPromptDecision::DenyAlways);
    EXPECT_FALSE(prompt.isOpen());
    EXPECT_EQ(permissions.state(McpPermission::Input), McpPermissionState::Deny);
    EXPECT_FALSE(popupOpen(ui, draw, title));

    // The next prompt: "Approve once" runs the call and stores nothing.
    auto once = std::async(std::launch::async, [&] { return permissions.requestDecision(McpPermission::Run); });
    ASSERT_TRUE(runUntil(ui, draw, [&] { return prompt.isOpen(); }));
    ui.frame(draw);
    ImVec2 approve;
    ASSERT_TRUE(locate(ui, draw, title, idIn(title, "Approve once"), approve));
    ui.click(approve.x, approve.y, draw);
    EXPECT_EQ(once.get(), McpPromptDecision::ApproveOnce);
    EXPECT_EQ(permissions.state(McpPermission::Run), McpPermissionState::Ask);
}

TEST_F(PermissionPanelTest, PromptClosesByItselfWhenTheCallTimesOut) {
    ImGuiHarness ui;
    LmdMcpPermissions permissions(80ms);
    LmdMcpPermissionPrompt prompt(permissions, guard());
    auto draw = [&] { prompt.draw(); };

    auto decision = std::async(std::launch::async, [&] { return permissions.requestDecision(McpPermission::Export); });
    ASSERT_TRUE(runUntil(ui, draw, [&] { return prompt.isOpen(); }));
    EXPECT_EQ(decision.get(), McpPromptDecision::NoAnswer);
    ui.frame(draw);
    EXPECT_FALSE(prompt.isOpen());
    EXPECT_FALSE(popupOpen(ui, draw, LmdMcpPermissionPrompt::kTitle));
    EXPECT_EQ(permissions.state(McpPermission::Export), McpPermissionState::Ask);
}

TEST_F(PermissionPanelTest, PermissionRowsAndServerSwitchRefuseAgentClicks) {
    ImGuiHarness ui;
    LmdMcpPermissions permissions;
    std::vector<std::string> commands;
    LmdMcpSettingsPanel::Hooks hooks;
    hooks.isRunning = [] { return false; };
    hooks.applyCommand = [&](const std::string& value) { commands.push_back(value); };
    LmdMcpSettingsPanel panel(permissions, guard(), hooks);
    const char* window = "MCP settings##test";
    auto draw = [&] {
        ImGui::SetNextWindowPos(ImVec2(20, 20));
        ImGui::SetNextWindowSize(ImVec2(700, 300));
        ImGui::Begin(window);
        panel.draw();
        ImGui::End();
    };
    ui.frame(draw);

    const int inputRow = static_cast<int>(McpPermission::Input);
    ImVec2 deny;
    ASSERT_TRUE(locate(ui, draw, window, rowIdIn(window, inputRow, "Deny"), deny));
    syntheticDepth = 2;
    ui.click(deny.x, deny.y, draw);
    EXPECT_EQ(permissions.state(McpPermission::Input), McpPermissionState::Ask);
    EXPECT_EQ(blocked, std::vector<std::string>{"change MCP permission"});

    syntheticDepth = 0;
    ui.click(deny.x, deny.y, draw);
    EXPECT_EQ(permissions.state(McpPermission::Input), McpPermissionState::Deny);
    EXPECT_EQ(EditorSettings::getInstance().getInt("mcpPermInput", -1), 2);

    ImVec2 toggle;
    ASSERT_TRUE(locate(ui, draw, window, idIn(window, "Enable MCP server##mcpEnabled"), toggle));
    syntheticDepth = 1;
    ui.click(toggle.x, toggle.y, draw);
    EXPECT_TRUE(commands.empty());
    syntheticDepth = 0;
    ui.click(toggle.x, toggle.y, draw);
    EXPECT_EQ(commands, std::vector<std::string>{"on"});
}

} // namespace
} // namespace Lumenda3D
