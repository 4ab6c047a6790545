#pragma once
// The modal popup "AI agent permission" that asks the user whether a waiting tool call may run.
// draw() is called first thing in the MCP settings dialog's draw, every frame, whether that
// dialog is open or not; it polls the permissions for a pending prompt and answers it from the
// buttons. When the request ends on its own (timeout, server stop) the popup closes at the next
// frame; when the popup is closed from outside, the request is answered with NoAnswer.
#include "mcp/LmdAgentClickGuard.h"
#include "mcp/LmdMcpPermissions.h"

namespace Lumenda3D {

class LmdMcpPermissionPrompt {
public:
    static constexpr const char* kTitle = "AI agent permission";
    static constexpr float kButtonWidth = 150.0f;

    LmdMcpPermissionPrompt(LmdMcpPermissions& permissions, LmdAgentClickGuard guard);

    // Main thread, inside an ImGui frame.
    void draw();

    // The display's pixel ratio; button widths grow with it when it is above 1.
    void setPixelRatio(float ratio) { pixelRatio_ = ratio; }
    bool isOpen() const { return promptOpen_; }

private:
    LmdMcpPermissions& permissions_;
    LmdAgentClickGuard guard_;
    bool promptOpen_ = false;
    float pixelRatio_ = 1.0f;
};

} // namespace Lumenda3D
