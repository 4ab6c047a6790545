#include "mcp/LmdMcpController.h"

#include <cstdlib>

#include "base/LmdLog.h"
#include "mcp/LmdMcpEditorAccess.h"
#include "mcp/LmdMcpEditorBackend.h"
#include "mcp/LmdMcpHost.h"
#include "mcp/LmdMcpServer.h"
#include "mcp/LmdMcpTools.h"
#include "services/EditorSettings.h"

namespace Lumenda3D {

namespace {

constexpr float kToastSeconds = 3.0f;

bool isEnableWord(const std::string& value) { return value == "on" || value == "1" || value == "true"; }
bool isDisableWord(const std::string& value) { return value == "off" || value == "0" || value == "false"; }

} // namespace

LmdMcpController::LmdMcpController(LmdMcpHost* editorPtr) : editor(editorPtr) {}

LmdMcpController::~LmdMcpController() {
    // A server still running at destruction (a start without onClose, a test) must not leave
    // connection threads waiting on a dispatcher that is about to go.
    stop();
}

void LmdMcpController::setup() {
    permissions.load();
    if (!pendingPort.empty()) {
        const std::string value = pendingPort;
        pendingPort.clear();
        applyPort(value);
    }
    if (!pendingCommand.empty()) {
        const std::string value = pendingCommand;
        pendingCommand.clear();
        applyCommand(value);
        return;
    }
    EditorSettings& settings = EditorSettings::getInstance();
    if (!settings.getBool(kEnabledKey, false))
        return;
    if (!start(settings.getInt(kPortKey, kDefaultPort)))
        toast("MCP server failed to start: " + lastError());
}

bool LmdMcpController::start(int port) {
    permissions.resumePrompts();
    if (!server) {
        access_ = editor ? editor->makeMcpEditorAccess() : nullptr;
        tools_ = std::make_unique<LmdMcpTools>(access_.get(), nullptr);
        backend_ = std::make_unique<LmdMcpEditorBackend>(*tools_, &permissions);
        server = std::make_unique<LmdMcpServer>(backend_.get());
        tools_->setLogBuffer(&server->logs());
    }
    if (!server->start(port)) {
        LmdLog::message("MCP server failed to start: " + server->http().lastError());
        return false;
    }
    // On the engine's default log and the editor's; attach removes an earlier registration
    // first, so a restart never records a line twice.
    server->logs().attach();
    LmdLog::message("MCP server listening on http://127.0.0.1:" + std::to_string(server->http().port()) + "/mcp");
    return true;
}

void LmdMcpController::stop() {
    if (!server || !server->http().isRunning())
        return;
    server->logs().detach();
    // Wake every connection thread that waits (for the user's answer, for the main thread), so
    // that the listener's stop, which waits for all handlers, returns.
    permissions.cancelPendingPrompt();
    server->dispatcher().shutdown();
    server->stop();
    LmdLog::message("MCP server stopped");
}

bool LmdMcpController::isRunning() const { return server && server->http().isRunning(); }

int LmdMcpController::port() const { return server ? server->http().port() : 0; }

std::string LmdMcpController::lastError() const { return server ? server->http().lastError() : std::string(); }

void LmdMcpController::pumpMainThread() {
    if (!server)
        return;
    server->dispatcher().pump();
    tools_->startPendingExport();
}

void LmdMcpController::applyCommand(const std::string& value) {
    if (isEnableWord(value))
        enable();
    else if (isDisableWord(value))
        disable();
}

void LmdMcpController::enable() {
    EditorSettings& settings = EditorSettings::getInstance();
    settings.setBool(kEnabledKey, true);
    if (isRunning())
        return;
    if (start(settings.getInt(kPortKey, kDefaultPort)))
        toast("MCP server enabled on port " + std::to_string(port()));
    else
        toast("MCP server failed to start: " + lastError());
}

void LmdMcpController::disable() {
    EditorSettings::getInstance().setBool(kEnabledKey, false);
    if (!isRunning())
        return;
    stop();
    toast("MCP server disabled");
}

void LmdMcpController::applyPort(const std::string& value) {
    const int number = std::atoi(value.c_str());
    if (number < kMinPort || number > kMaxPort) {
        toast("Invalid MCP port: " + value + " (use 1024-65535)");
        return;
    }
    EditorSettings::getInstance().setInt(kPortKey, number);
    if (!isRunning() || port() == number)
        return;
    stop();
    if (start(number))
        toast("MCP server moved to port " + std::to_string(number));
    else
        toast("MCP server failed to rebind: " + lastError());
}

void LmdMcpController::toast(const std::string& text) {
    if (editor)
        editor->showToast(text, kToastSeconds);
}

} // namespace Lumenda3D
