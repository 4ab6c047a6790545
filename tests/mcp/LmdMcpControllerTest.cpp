// The agent server's controller inside the real (windowless) editor: the command line's and a
// second start's commands, ports, the settings they leave behind, and stops that must never
// leave a connection thread hanging.
#include <chrono>
#include <future>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "UnusedPort.h"
#include "core/HeadlessEditor.h"
#include "mcp/LmdMcpController.h"
#include "mcp/LmdMcpServer.h"
#include "mcp/McpSettingsDialog.h"
#include "services/EditorSettings.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;
using test::LogCapture;
using test::unusedPort;

class McpControllerTest : public test::EditorTest {
protected:
    McpControllerTest() { EditorSettings::reloadForTesting(); }
    ~McpControllerTest() override {
        controller().stop();
        EditorSettings::reloadForTesting();
    }

    LmdMcpController& controller() { return editor->mcpController; }
    EditorSettings& settings() { return EditorSettings::getInstance(); }
    bool toastShown(const std::string& text) {
        for (const std::string& t : toasts())
            if (t == text)
                return true;
        return false;
    }

    // A tools/call over HTTP on a thread of its own, as an agent makes it.
    std::future<json> callTool(const std::string& tool) {
        const int port = controller().port();
        return std::async(std::launch::async, [port, tool] {
            httplib::Client http("127.0.0.1", port);
            http.set_read_timeout(30, 0);
            const json request = {{"jsonrpc", "2.0"}, {"id", 1}, {"method", "tools/call"},
                                  {"params", {{"name", tool}, {"arguments", json::object()}}}};
            auto response = http.Post("/mcp", request.dump(), "application/json");
            return response ? json::parse(response->body, nullptr, false) : json();
        });
    }
    // Runs frames until the call has its answer (at most ~5 s).
    json answer(std::future<json>& call) {
        for (int i = 0; i < 2500 && call.wait_for(std::chrono::milliseconds(2)) != std::future_status::ready; ++i)
            controller().pumpMainThread();
        return call.get();
    }
    static std::string textOf(const json& reply) { return reply["result"]["content"][0].value("text", ""); }
};

TEST_F(McpControllerTest, CommandLineOnWithPortWritesBothAndStartsThere) {
    const int port = unusedPort();
    controller().pendingCommand = "on";
    controller().pendingPort = std::to_string(port);
    controller().setup();
    EXPECT_TRUE(controller().pendingCommand.empty());
    EXPECT_TRUE(controller().pendingPort.empty());
    ASSERT_TRUE(controller().isRunning()) << controller().lastError();
    EXPECT_EQ(controller().port(), port);
    EXPECT_TRUE(settings().getBool("mcpEnabled", false));
    EXPECT_EQ(settings().getInt("mcpPort", 0), port);
    EXPECT_TRUE(toastShown("MCP server enabled on port " + std::to_string(port)));

    // The server really answers, and its main-thread tools run in the editor's frames.
    auto call = callTool("get_status");
    const json reply = answer(call);
    EXPECT_NE(textOf(reply).find("\"playStatus\": \"stopped\""), std::string::npos) << reply.dump();
}

TEST_F(McpControllerTest, CommandOffWinsOverTheSettingAndClearsIt) {
    settings().setBool("mcpEnabled", true);
    settings().setInt("mcpPort", unusedPort());
    controller().pendingCommand = "off";
    controller().setup();
    EXPECT_FALSE(controller().isRunning());
    EXPECT_FALSE(settings().getBool("mcpEnabled", true));
    // Nothing ran, so there is nothing to announce.
    EXPECT_FALSE(toastShown("MCP server disabled"));
}

TEST_F(McpControllerTest, TheSettingsStartTheServerWithoutFlags) {
    const int port = unusedPort();
    settings().setBool("mcpEnabled", true);
    settings().setInt("mcpPort", port);
    controller().setup();
    ASSERT_TRUE(controller().isRunning());
    EXPECT_EQ(controller().port(), port);

    controller().applyCommand("maybe");  // ignored without a word
    EXPECT_TRUE(controller().isRunning());
    controller().applyCommand("0");
    EXPECT_FALSE(controller().isRunning());
    EXPECT_TRUE(toastShown("MCP server disabled"));
    EXPECT_FALSE(settings().getBool("mcpEnabled", true));
}

TEST_F(McpControllerTest, PortsOutsideTheRangeAreRefusedAndChangeNothing) {
    settings().setInt("mcpPort", 50000);
    for (const char* bad : {"1023", "65536", "abc", ""}) {
        controller().applyPort(bad);
        EXPECT_TRUE(toastShown(std::string("Invalid MCP port: ") + bad + " (use 1024-65535)")) << bad;
        EXPECT_EQ(settings().getInt("mcpPort", 0), 50000) << bad;
    }
    // The edges are valid; a stopped server takes the port at its next start.
    controller().applyPort("1024");
    EXPECT_EQ(settings().getInt("mcpPort", 0), 1024);
    controller().applyPort("65535");
    EXPECT_EQ(settings().getInt("mcpPort", 0), 65535);
    EXPECT_FALSE(controller().isRunning());
}

TEST_F(McpControllerTest, MovingARunningServerRebindsAndTheSamePortIsQuiet) {
    const int first = unusedPort();
    ASSERT_TRUE(controller().start(first));
    editor->allUI->getPanel<ToastNotification>()->clear();
    controller().applyPort(std::to_string(first));
    EXPECT_TRUE(toasts().empty());
    EXPECT_EQ(controller().port(), first);

    const int second = unusedPort();
    controller().applyPort(std::to_string(second));
    ASSERT_TRUE(controller().isRunning());
    EXPECT_EQ(controller().port(), second);
    EXPECT_TRUE(toastShown("MCP server moved to port " + std::to_string(second)));

    // A port that another program holds: the server stays stopped, the setting keeps the port.
    int holder = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof addr;
    ASSERT_EQ(::bind(holder, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    ASSERT_EQ(::listen(holder, 1), 0);
    ASSERT_EQ(::getsockname(holder, reinterpret_cast<sockaddr*>(&addr), &length), 0);
    const int taken = ntohs(addr.sin_port);
    controller().applyPort(std::to_string(taken));
    ::close(holder);
    EXPECT_FALSE(controller().isRunning());
    EXPECT_EQ(settings().getInt("mcpPort", 0), taken);
    EXPECT_TRUE(toastShown("MCP server failed to rebind: " + controller().lastError()));
    EXPECT_FALSE(controller().lastError().empty());
}

TEST_F(McpControllerTest, StopWakesARequestWaitingForTheUserAndARestartServesAgain) {
    LogCapture log;
    controller().stop();  // no server yet: nothing happens, nothing is logged
    EXPECT_FALSE(log.contains("MCP server stopped"));

    controller().getPermissions().setState(McpPermission::Run, McpPermissionState::Ask);
    ASSERT_TRUE(controller().start(unusedPort()));
    auto waiting = callTool("run_game");
    McpPermission pending;
    for (int i = 0; i < 2500 && !controller().getPermissions().pendingPrompt(pending); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    ASSERT_TRUE(controller().getPermissions().pendingPrompt(pending));
    controller().stop();  // returns only when no handler runs any more
    ASSERT_EQ(waiting.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(textOf(waiting.get()).rfind("run_game timed out waiting for the user", 0), 0u);
    EXPECT_TRUE(log.contains("MCP server stopped"));

    // The same server object starts again: the dispatcher takes work, the log has one listener.
    ASSERT_TRUE(controller().start(unusedPort()));
    LmdLog::message("one line after the restart");
    auto call = callTool("get_logs");
    const std::string logs = textOf(call.get());
    const auto first = logs.find("one line after the restart");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(logs.find("one line after the restart", first + 1), std::string::npos);
    auto status = callTool("get_status");
    EXPECT_NE(textOf(answer(status)).find("playStatus"), std::string::npos);
}

TEST_F(McpControllerTest, TheEditorsInterfaceAsksTheUserEvenWithTheSettingsClosed) {
    controller().getPermissions().setState(McpPermission::Projects, McpPermissionState::Ask);
    ASSERT_TRUE(controller().start(unusedPort()));
    auto dialog = editor->allUI->getElement<McpSettingsDialog>("mcpSettingsDialog");
    ASSERT_TRUE(dialog);
    EXPECT_FALSE(dialog->isOpen());

    auto call = callTool("save_project");
    McpPermission pending;
    for (int i = 0; i < 2500 && !controller().getPermissions().pendingPrompt(pending); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    drawFrame();
    drawFrame();
    EXPECT_TRUE(dialog->isPromptOpen());
    EXPECT_TRUE(isPopupOpen("AI agent permission"));

    // The user's answer lets the call go on to the main thread, where the save path answers.
    controller().getPermissions().resolvePrompt(McpPromptDecision::ApproveOnce);
    const json reply = answer(call);
    EXPECT_EQ(textOf(reply), "The project has no save target yet — use save_project_as.") << reply.dump();
    drawFrame();
    EXPECT_FALSE(dialog->isPromptOpen());
}

} // namespace
} // namespace Lumenda3D
