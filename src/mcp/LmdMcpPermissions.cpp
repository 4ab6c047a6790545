#include "mcp/LmdMcpPermissions.h"


#include "mcp/LmdMcpToolResult.h"
#include "services/EditorSettings.h"

namespace Lumenda3D {
namespace {

struct PermissionInfo {
    const char* key;
    const char* description;
    const char* label;
};

const PermissionInfo kInfo[LmdMcpPermissions::kPermissionCount] = {
    {"mcpPermRun", "run or stop your game", "Running / stopping games"},
    {"mcpPermProjects", "save, load or list your projects", "Saving / loading projects"},
    {"mcpPermExport", "export your game to a distributable app", "Exporting games"},
    {"mcpPermInput", "control the keyboard and mouse to operate the editor and your game",
     "Controlling keyboard & mouse"},
};

struct ToolNeed {
    const char* tool;
    McpPermission permission;
};

const ToolNeed kToolNeeds[] = {
    {"run_game", McpPermission::Run},
    {"stop_game", McpPermission::Run},
    {"save_project", McpPermission::Projects},
    {"save_project_as", McpPermission::Projects},
    {"open_project", McpPermission::Projects},
    {"new_project", McpPermission::Projects},
    {"list_projects", McpPermission::Projects},
    {"list_user_assets", McpPermission::Projects},
    {"export_game", McpPermission::Export},
    {"send_input", McpPermission::Input},
};

int indexOf(McpPermission permission) {
    const int i = static_cast<int>(permission);
    return (i >= 0 && i < LmdMcpPermissions::kPermissionCount) ? i : 0;
}

} // namespace

LmdMcpPermissions::LmdMcpPermissions(std::chrono::milliseconds promptTimeout) : promptTimeout_(promptTimeout) {
    for (auto& s : states_)
        s.store(static_cast<int>(McpPermissionState::Ask));
}

void LmdMcpPermissions::load() {
    EditorSettings& settings = EditorSettings::getInstance();
    for (int i = 0; i < kPermissionCount; ++i) {
        const auto permission = static_cast<McpPermission>(i);
        const char* key = kInfo[i].key;
        if (settings.isBool(key)) {
            // An older settings file held yes or no here: keep its meaning, store it as a number.
            setState(permission, settings.getBool(key, false) ? McpPermissionState::Approve : McpPermissionState::Deny);
            continue;
        }
        const int value = settings.getInt(key, 0);
        states_[i].store(value >= 0 && value <= 2 ? value : static_cast<int>(McpPermissionState::Ask));
    }
}

McpPermissionState LmdMcpPermissions::state(McpPermission permission) const {
    return static_cast<McpPermissionState>(states_[indexOf(permission)].load());
}

void LmdMcpPermissions::setState(McpPermission permission, McpPermissionState value) {
    const int i = indexOf(permission);
    states_[i].store(static_cast<int>(value));
    EditorSettings::getInstance().setInt(kInfo[i].key, static_cast<int>(value));
}

bool LmdMcpPermissions::toolPermission(const std::string& tool, McpPermission& out) {
    for (const ToolNeed& need : kToolNeeds) {
        if (tool == need.tool) {
            out = need.permission;
            return true;
        }
    }
    return false;
}

const char* LmdMcpPermissions::actionDescription(McpPermission permission) {
    return kInfo[indexOf(permission)].description;
}

const char* LmdMcpPermissions::settingsKey(McpPermission permission) { return kInfo[indexOf(permission)].key; }

const char* LmdMcpPermissions::rowLabel(McpPermission permission) { return kInfo[indexOf(permission)].label; }

const char* LmdMcpPermissions::stateWord(McpPermissionState value) {
    switch (value) {
    case McpPermissionState::Approve:
        return "Approve";
    case McpPermissionState::Deny:
        return "Deny";
    case McpPermissionState::Ask:
        break;
    }
    return "Ask";
}

nlohmann::json LmdMcpPermissions::checkTool(const std::string& tool) {
    McpPermission permission;
    if (!toolPermission(tool, permission))
        return nullptr;
    const std::string description = actionDescription(permission);
    switch (state(permission)) {
    case McpPermissionState::Approve:
        return nullptr;
    case McpPermissionState::Deny:
        return LmdMcpToolResult::errorResult(tool + " is blocked: permission to " + description +
                                             " is set to Deny in the editor (Settings > MCP Server). Ask the user "
                                             "to change it.");
    case McpPermissionState::Ask:
        break;
    }
    switch (requestDecision(permission)) {
    case McpPromptDecision::DenyAlways:
        return LmdMcpToolResult::errorResult(tool + " was denied by the user.");
    case McpPromptDecision::NoAnswer:
        return LmdMcpToolResult::errorResult(
            tool + " timed out waiting for the user to approve it (no response in the editor). Ask the user to allow '" +
            description + "' in Settings > MCP Server, then retry.");
    case McpPromptDecision::ApproveOnce:
    case McpPromptDecision::ApproveAlways:
        break;
    }
    return nullptr;
}

McpPromptDecision LmdMcpPermissions::requestDecision(McpPermission permission) {
    // A second request waits here, without a time limit, until the first one is answered.
    std::lock_guard<std::mutex> gate(promptGate_);
    std::unique_lock<std::mutex> lock(stateMutex_);
    if (promptsCancelled_)
        return McpPromptDecision::NoAnswer;
    promptActive_ = true;
    promptResolved_ = false;
    promptPermission_ = permission;
    promptDecision_ = McpPromptDecision::NoAnswer;
    // The state is not looked at again: a request queued behind an "Approve always" asks too.
    promptCondition_.wait_for(lock, promptTimeout_, [this] { return promptResolved_ || promptsCancelled_; });
    promptActive_ = false;
    return promptDecision_;
}

bool LmdMcpPermissions::pendingPrompt(McpPermission& out) const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    if (!promptActive_ || promptResolved_)
        return false;
    out = promptPermission_;
    return true;
}

void LmdMcpPermissions::resolvePrompt(McpPromptDecision decision) {
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        if (!promptActive_ || promptResolved_)
            return;
        if (decision == McpPromptDecision::ApproveAlways)
            setState(promptPermission_, McpPermissionState::Approve);
        else if (decision == McpPromptDecision::DenyAlways)
            setState(promptPermission_, McpPermissionState::Deny);
        promptDecision_ = decision;
        promptResolved_ = true;
    }
    promptCondition_.notify_all();
}

void LmdMcpPermissions::cancelPendingPrompt() {
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        promptDecision_ = McpPromptDecision::NoAnswer;
        promptResolved_ = true;
        promptsCancelled_ = true;
    }
    promptCondition_.notify_all();
}

void LmdMcpPermissions::resumePrompts() {
    std::lock_guard<std::mutex> lock(stateMutex_);
    promptsCancelled_ = false;
}

} // namespace Lumenda3D
