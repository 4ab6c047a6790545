#include "mcp/McpSettingsDialog.h"

#include <imgui.h>

namespace Lumenda3D {

McpSettingsDialog::McpSettingsDialog(const std::string& name, LmdMcpPermissions& permissions,
                                     LmdAgentClickGuard guard, LmdMcpSettingsPanel::Hooks hooks)
    : BaseUI(name), prompt_(permissions, guard), rows_(permissions, guard, hooks), hooks_(std::move(hooks)) {}

void McpSettingsDialog::draw() {
    prompt_.setPixelRatio(getDpiScale());
    prompt_.draw();
    if (open_)
        drawWindow();
}

void McpSettingsDialog::drawWindow() {
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    ImGui::SetNextWindowPos(ImVec2(viewport->Pos.x + viewport->Size.x * 0.5f, viewport->Pos.y + viewport->Size.y * 0.5f),
                            ImGuiCond_Appearing, ImVec2(0.5f, 0.5f));
    ImGui::SetNextWindowSize(ImVec2(scaled(520.0f), 0.0f), ImGuiCond_Appearing);
    if (!ImGui::Begin(kTitle, &open_, ImGuiWindowFlags_NoCollapse | ImGuiWindowFlags_AlwaysAutoResize)) {
        ImGui::End();
        return;
    }
    ImGui::TextWrapped("AI agents on this computer can read and edit your game, run it, take screenshots and "
                       "read the log through this local server. Nothing outside this computer can reach it.");
    ImGui::Spacing();
    rows_.drawServerRows();
    const int port = hooks_.boundPort ? hooks_.boundPort() : 0;
    if (hooks_.isRunning && hooks_.isRunning() && port > 0) {
        ImGui::Spacing();
        ImGui::TextDisabled("Agents that speak stdio start the bridge:");
        const std::string bridge = "lmd-mcp --port " + std::to_string(port);
        ImGui::TextUnformatted(bridge.c_str());
    }
    ImGui::Separator();
    ImGui::TextUnformatted("What agents may do without asking:");
    rows_.drawPermissionRows();
    ImGui::Spacing();
    if (ImGui::Button("Close##mcpSettingsClose"))
        open_ = false;
    calculateSize();
    ImGui::End();
}

} // namespace Lumenda3D
