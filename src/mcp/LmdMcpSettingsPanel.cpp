#include "mcp/LmdMcpSettingsPanel.h"

#include <imgui.h>

#include "services/EditorSettings.h"

namespace Lumenda3D {

LmdMcpSettingsPanel::LmdMcpSettingsPanel(LmdMcpPermissions& permissions, LmdAgentClickGuard guard, Hooks hooks)
    : permissions_(permissions), guard_(std::move(guard)), hooks_(std::move(hooks)) {}

void LmdMcpSettingsPanel::draw() {
    drawServerRows();
    ImGui::Separator();
    drawPermissionRows();
}

void LmdMcpSettingsPanel::drawServerRows() {
    if (!portLoaded_) {
        portInput_ = EditorSettings::getInstance().getInt("mcpPort", kDefaultPort);
        portLoaded_ = true;
    }
    const bool running = hooks_.isRunning && hooks_.isRunning();

    bool enabled = running;
    if (ImGui::Checkbox("Enable MCP server##mcpEnabled", &enabled) && !guard_.blocks(kServerAction)) {
        if (hooks_.applyCommand)
            hooks_.applyCommand(enabled ? "on" : "off");
    }
    if (running) {
        const int port = hooks_.boundPort ? hooks_.boundPort() : 0;
        ImGui::Text("Listening on http://127.0.0.1:%d/mcp", port);
    } else {
        const std::string error = hooks_.lastError ? hooks_.lastError() : std::string();
        if (error.empty())
            ImGui::TextDisabled("Stopped");
        else
            ImGui::TextDisabled("Stopped: %s", error.c_str());
    }

    ImGui::SetNextItemWidth(120.0f);
    ImGui::InputInt("Port##mcpPort", &portInput_, 0, 0);
    ImGui::SameLine();
    if (ImGui::Button("Apply##mcpPortApply") && !guard_.blocks(kServerAction)) {
        if (hooks_.applyPort)
            hooks_.applyPort(std::to_string(portInput_));
    }
    ImGui::SameLine();
    ImGui::TextDisabled("(avoid 49200/49201)");
}

void LmdMcpSettingsPanel::drawPermissionRows() {
    static const McpPermissionState kChoices[] = {McpPermissionState::Ask, McpPermissionState::Approve,
                                                  McpPermissionState::Deny};
    // The choices start in one column, right of the widest label.
    float labelWidth = 0.0f;
    for (int i = 0; i < LmdMcpPermissions::kPermissionCount; ++i) {
        const float w = ImGui::CalcTextSize(LmdMcpPermissions::rowLabel(static_cast<McpPermission>(i))).x;
        labelWidth = w > labelWidth ? w : labelWidth;
    }
    const float column = ImGui::GetCursorPosX() + labelWidth + ImGui::GetStyle().ItemSpacing.x * 4.0f;
    for (int i = 0; i < LmdMcpPermissions::kPermissionCount; ++i) {
        const auto permission = static_cast<McpPermission>(i);
        const McpPermissionState current = permissions_.state(permission);
        ImGui::PushID(i);
        ImGui::TextUnformatted(LmdMcpPermissions::rowLabel(permission));
        bool first = true;
        for (McpPermissionState choice : kChoices) {
            ImGui::SameLine(first ? column : 0.0f);
            first = false;
            if (ImGui::RadioButton(LmdMcpPermissions::stateWord(choice), current == choice) && current != choice &&
                !guard_.blocks(kPermissionAction))
                permissions_.setState(permission, choice);
        }
        ImGui::PopID();
    }
}

} // namespace Lumenda3D
