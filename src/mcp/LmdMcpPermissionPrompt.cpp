#include "mcp/LmdMcpPermissionPrompt.h"

#include <imgui.h>

namespace Lumenda3D {

LmdMcpPermissionPrompt::LmdMcpPermissionPrompt(LmdMcpPermissions& permissions, LmdAgentClickGuard guard)
    : permissions_(permissions), guard_(std::move(guard)) {}

void LmdMcpPermissionPrompt::draw() {
    McpPermission permission = McpPermission::Run;
    const bool pending = permissions_.pendingPrompt(permission);
    if (pending && !promptOpen_) {
        ImGui::OpenPopup(kTitle);
        promptOpen_ = true;
    }
    if ((pending || promptOpen_) && !ImGui::IsPopupOpen(kTitle)) {
        // Closed from outside (another popup took its place): the request must not wait on.
        promptOpen_ = false;
        permissions_.resolvePrompt(McpPromptDecision::NoAnswer);
        return;
    }

    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    ImGui::SetNextWindowPos(viewport->GetCenter(), ImGuiCond_Always, ImVec2(0.5f, 0.5f));
    if (!ImGui::BeginPopupModal(kTitle, nullptr, ImGuiWindowFlags_AlwaysAutoResize | ImGuiWindowFlags_NoCollapse))
        return;

    if (!pending) {
        // The request timed out or the server stopped.
        ImGui::CloseCurrentPopup();
        promptOpen_ = false;
        ImGui::EndPopup();
        return;
    }

    ImGui::Text("The AI agent wants to %s.", LmdMcpPermissions::actionDescription(permission));
    ImGui::NewLine();
    ImGui::TextDisabled(
        "'Approve always' and 'Deny' are remembered in MCP settings; 'Approve once' allows just this action.");
    ImGui::NewLine();

    const float width = kButtonWidth * (pixelRatio_ > 1.0f ? pixelRatio_ : 1.0f);
    bool clicked = false;
    McpPromptDecision decision = McpPromptDecision::NoAnswer;
    if (ImGui::Button("Approve once", ImVec2(width, 0))) {
        clicked = true;
        decision = McpPromptDecision::ApproveOnce;
    }
    ImGui::SameLine();
    if (ImGui::Button("Approve always", ImVec2(width, 0))) {
        clicked = true;
        decision = McpPromptDecision::ApproveAlways;
    }
    ImGui::SameLine();
    if (ImGui::Button("Deny", ImVec2(width, 0))) {
        clicked = true;
        decision = McpPromptDecision::DenyAlways;
    }
    if (clicked && !guard_.blocks("answer MCP permission prompt")) {
        permissions_.resolvePrompt(decision);
        ImGui::CloseCurrentPopup();
        promptOpen_ = false;
    }
    ImGui::EndPopup();
}

} // namespace Lumenda3D
