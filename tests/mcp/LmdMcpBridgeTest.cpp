// The stdio bridge lmd-mcp as a real process: JSON-RPC lines in on its standard input, replies
// out on its standard output, relayed to a real agent server on a free loopback port.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "UnusedPort.h"
#include "mcp/LmdMcpEditorBackend.h"
#include "mcp/LmdMcpServer.h"
#include "mcp/LmdMcpTools.h"

namespace Lumenda3D {
using test::unusedPort;

namespace {
using json = nlohmann::json;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// The bridge with pipes on its standard input and output.
class Bridge {
public:
    explicit Bridge(int port) {
        int in[2], out[2];
        if (::pipe(in) != 0 || ::pipe(out) != 0)
            return;
        // Everything the child needs is made before fork: it only calls async-signal-safe functions.
        const std::string portText = std::to_string(port);
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(in[0], STDIN_FILENO);
            ::dup2(out[1], STDOUT_FILENO);
            ::close(in[0]);
            ::close(in[1]);
            ::close(out[0]);
            ::close(out[1]);
            ::execl(LMD_MCP_BRIDGE_EXE, LMD_MCP_BRIDGE_EXE, "--port", portText.c_str(), static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        toChild_ = in[1];
        fromChild_ = out[0];
    }
    ~Bridge() {
        closeInput();
        if (pid_ > 0 && !exited_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        if (fromChild_ >= 0)
            ::close(fromChild_);
    }

    bool started() const { return pid_ > 0; }
    void send(const std::string& line) {
        const std::string data = line + "\n";
        ASSERT_EQ(::write(toChild_, data.data(), data.size()), static_cast<ssize_t>(data.size()));
    }
    void closeInput() {
        if (toChild_ >= 0)
            ::close(toChild_);
        toChild_ = -1;
    }
    // The next line of output; "" on end of output or after the timeout.
    std::string readLine(std::chrono::milliseconds timeout) {
        const auto deadline = Clock::now() + timeout;
        for (;;) {
            const auto newline = buffer_.find('\n');
            if (newline != std::string::npos) {
                std::string line = buffer_.substr(0, newline);
                buffer_.erase(0, newline + 1);
                return line;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
            if (left <= 0)
                return "";
            pollfd p{fromChild_, POLLIN, 0};
            if (::poll(&p, 1, static_cast<int>(left)) <= 0)
                return "";
            char chunk[4096];
            const ssize_t n = ::read(fromChild_, chunk, sizeof chunk);
            if (n <= 0)
                return "";
            buffer_.append(chunk, static_cast<size_t>(n));
        }
    }
    // Waits for the process to end by itself; its exit status, or -1 after the timeout.
    int wait(std::chrono::milliseconds timeout) {
        const auto deadline = Clock::now() + timeout;
        while (Clock::now() < deadline) {
            int status = 0;
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                exited_ = true;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(5ms);
        }
        return -1;
    }

private:
    pid_t pid_ = -1;
    int toChild_ = -1;
    int fromChild_ = -1;
    bool exited_ = false;
    std::string buffer_;
};

json request(int id, const char* method, json params = json::object()) {
    return {{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", std::move(params)}};
}

TEST(LmdMcpBridge, WithoutAnEditorEveryRequestFailsAtOnce) {
    const int port = unusedPort();
    ASSERT_GT(port, 0);
    Bridge bridge(port);
    ASSERT_TRUE(bridge.started());

    const auto start = Clock::now();
    bridge.send(request(1, "initialize", {{"protocolVersion", "2025-06-18"}}).dump());
    const json reply = json::parse(bridge.readLine(5s), nullptr, false);
    EXPECT_LT(Clock::now() - start, 3s);
    ASSERT_TRUE(reply.is_object());
    EXPECT_EQ(reply["id"], 1);
    EXPECT_EQ(reply["error"]["code"], -32000);
    const std::string message = reply["error"]["message"];
    EXPECT_NE(message.find("Start the Lumenda3D editor and enable its MCP server"), std::string::npos) << message;
    EXPECT_NE(message.find(std::to_string(port)), std::string::npos);

    // A notification stays silent; the next request gets its own error with its own id.
    bridge.send(R"({"jsonrpc":"2.0","method":"notifications/initialized"})");
    bridge.send(request(2, "tools/list").dump());
    EXPECT_EQ(json::parse(bridge.readLine(5s), nullptr, false)["id"], 2);
    bridge.closeInput();
    EXPECT_EQ(bridge.readLine(5s), "");
    EXPECT_EQ(bridge.wait(5s), 0);
}

TEST(LmdMcpBridge, RelaysToARealServerAndStaysSilentForNotifications) {
    LmdMcpTools tools(nullptr, nullptr, [](const std::string& name) {
        return name == "mcp" ? std::string("Bridge test instructions.") : std::string();
    });
    LmdMcpEditorBackend backend(tools, nullptr);
    LmdMcpServer server(&backend);
    ASSERT_TRUE(server.start(0));
    Bridge bridge(server.http().port());
    ASSERT_TRUE(bridge.started());

    bridge.send(request(1, "initialize", {{"protocolVersion", "2025-06-18"}}).dump());
    bridge.send(R"({"jsonrpc":"2.0","method":"notifications/initialized"})");
    bridge.send(request(2, "tools/list").dump());
    std::map<int, json> replies;
    for (int i = 0; i < 2; ++i) {
        const json reply = json::parse(bridge.readLine(5s), nullptr, false);
        ASSERT_TRUE(reply.is_object());
        replies[reply["id"].get<int>()] = reply;
    }
    EXPECT_EQ(replies[1]["result"]["serverInfo"]["name"], "lumenda3d-editor");
    EXPECT_EQ(replies[1]["result"]["instructions"], "Bridge test instructions.");
    EXPECT_EQ(replies[2]["result"]["tools"].size(), 22u);

    bridge.closeInput();
    EXPECT_EQ(bridge.readLine(5s), "") << "nothing is written for the notification";
    EXPECT_EQ(bridge.wait(5s), 0);
    server.dispatcher().shutdown();
    server.stop();
}

} // namespace
} // namespace Lumenda3D
