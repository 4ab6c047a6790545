#pragma once
// What the editor holds of the agent server. Made with the editor whether or not the server will
// run; it decides at startup whether to start, owns the server and the permissions, applies the
// on/off and port commands that come from the command line, from a second start of the program
// and from the settings dialog, and gives the frame loop its one entry into the server.
//
// The server, its tool catalogue and the editor access behind them are made on the first start
// and kept through stops, so log lines and the operation record survive a restart.
//
// Main thread only.
#include <memory>
#include <string>

#include "mcp/LmdMcpPermissions.h"

namespace Lumenda3D {

class LmdMcpEditorAccess;
class LmdMcpHost;
class LmdMcpEditorBackend;
class LmdMcpServer;
class LmdMcpTools;

class LmdMcpController {
public:
    static constexpr int kDefaultPort = 49222;
    static constexpr int kMinPort = 1024;
    static constexpr int kMaxPort = 65535;
    static constexpr const char* kEnabledKey = "mcpEnabled";
    static constexpr const char* kPortKey = "mcpPort";

    // The editor is not owned; it receives the toasts and gives the access the tools act on.
    explicit LmdMcpController(LmdMcpHost* editor);
    ~LmdMcpController();
    LmdMcpController(const LmdMcpController&) = delete;
    LmdMcpController& operator=(const LmdMcpController&) = delete;

    // Once, from the editor's setup: the permissions, then the pending port, then the pending
    // command; without a command, the server starts when the settings ask for it.
    void setup();
    bool start(int port);
    // Wakes everything a connection thread may wait for, then closes the listener.
    void stop();
    bool isRunning() const;
    // The bound port; 0 with no server.
    int port() const;
    // The listener's last error; empty with no server.
    std::string lastError() const;
    // Each frame: runs the work queued for the main thread, then an export a tool left for it.
    void pumpMainThread();
    // "on"/"1"/"true" enables, "off"/"0"/"false" disables, anything else is ignored.
    void applyCommand(const std::string& value);
    // A port from 1024 to 65535, stored and applied (moving a running server).
    void applyPort(const std::string& value);

    LmdMcpPermissions& getPermissions() { return permissions; }
    LmdMcpServer* getServer() { return server.get(); }

    // Fields, in their order of declaration. pendingCommand and pendingPort hold the command line's
    // "mcp" and "mcp-port" values until setup takes them.
    LmdMcpHost* editor;
    LmdMcpPermissions permissions;
    std::string pendingCommand;
    std::string pendingPort;

private:
    void enable();
    void disable();
    void toast(const std::string& text);

    // Made together with the server, and destroyed after it: the server holds the backend, the
    // backend the tools, the tools the editor access.
    std::unique_ptr<LmdMcpEditorAccess> access_;
    std::unique_ptr<LmdMcpTools> tools_;
    std::unique_ptr<LmdMcpEditorBackend> backend_;
    // Null until the first start; kept through stops.
    std::unique_ptr<LmdMcpServer> server;
};

} // namespace Lumenda3D
