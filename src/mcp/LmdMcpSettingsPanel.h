#pragma once
// The rows of the MCP settings dialog that only the user may change: the server's on/off
// switch, its port, and the Ask / Approve / Deny choice of each permission. Clicks that the
// engine delivers for an agent (send_input) are refused, so an agent can't grant itself rights.
// The dialog's window around the rows belongs to the editor's chrome.
#include <functional>
#include <string>

#include "mcp/LmdAgentClickGuard.h"
#include "mcp/LmdMcpPermissions.h"

namespace Lumenda3D {

class LmdMcpSettingsPanel {
public:
    // What the rows read and do; each may be empty.
    struct Hooks {
        std::function<bool()> isRunning;                        // the listener runs
        std::function<int()> boundPort;                         // its port, 0 when stopped
        std::function<std::string()> lastError;                 // the listener's last error
        std::function<void(const std::string&)> applyCommand;   // "on" / "off"
        std::function<void(const std::string&)> applyPort;      // the port as typed
    };

    static constexpr const char* kPermissionAction = "change MCP permission";
    static constexpr const char* kServerAction = "change MCP server settings";
    static constexpr int kDefaultPort = 49222;

    LmdMcpSettingsPanel(LmdMcpPermissions& permissions, LmdAgentClickGuard guard, Hooks hooks);

    // Main thread, inside an ImGui window: the server rows, then one row per permission.
    void draw();
    void drawServerRows();
    void drawPermissionRows();

private:
    LmdMcpPermissions& permissions_;
    LmdAgentClickGuard guard_;
    Hooks hooks_;
    int portInput_ = 0;       // the port being typed; read from the settings on the first draw
    bool portLoaded_ = false;
};

} // namespace Lumenda3D
