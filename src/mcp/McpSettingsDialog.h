#pragma once
// The "MCP Server (AI Agents)" settings window: the server's on/off switch and port, where agents
// connect, and the Ask / Approve / Deny row of each permission. Its draw() also draws the
// permission prompt, every frame, whether the window is open or not: that prompt is how a tool
// call waiting under "Ask" reaches the user.
#include <memory>
#include <string>

#include "mcp/LmdAgentClickGuard.h"
#include "mcp/LmdMcpPermissionPrompt.h"
#include "mcp/LmdMcpSettingsPanel.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {

class McpSettingsDialog : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "mcpSettingsDialog";
    static constexpr const char* kTitle = "MCP Server (AI Agents)###mcpSettingsDialog";

    McpSettingsDialog(const std::string& name, LmdMcpPermissions& permissions, LmdAgentClickGuard guard,
                      LmdMcpSettingsPanel::Hooks hooks);

    void draw() override;
    void show() { open_ = true; }
    void hide() { open_ = false; }
    bool isOpen() const { return open_; }
    bool isPromptOpen() const { return prompt_.isOpen(); }

private:
    void drawWindow();

    LmdMcpPermissionPrompt prompt_;
    LmdMcpSettingsPanel rows_;
    LmdMcpSettingsPanel::Hooks hooks_;
    bool open_ = false;
};

} // namespace Lumenda3D
