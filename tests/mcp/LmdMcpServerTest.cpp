#include "mcp/LmdMcpServer.h"

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include <gtest/gtest.h>
#include <httplib.h>

#include "mcp/LmdMcpToolResult.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;
using Clock = std::chrono::steady_clock;

// Stands in for the tool catalogue, the permissions and the knowledge base.
class FakeBackend : public LmdMcpBackend {
public:
    std::vector<LmdMcpProtocol::ToolDefinition> toolDefinitions() const override {
        return {{"get_logs", "", json::object()}, {"get_status", "", json::object()}, {"run_game", "", json::object()},
                {"send_input", "", json::object()}};
    }
    std::vector<LmdMcpProtocol::ResourceDefinition> resourceDefinitions() const override {
        return {{"lumenda3d://docs/rules", "Rules", "", "text/markdown"}};
    }
    bool isThreadSafe(const std::string& tool) const override { return tool == "get_logs"; }
    json callTool(const std::string& tool, const json&) override {
        std::lock_guard<std::mutex> lock(mutex);
        calledOn[tool] = std::this_thread::get_id();
        // "send_input" stands for a tool that waits for something the frames play out.
        if (tool == "send_input")
            return LmdMcpToolResult::waitResult({{"left", framesToWait}}, waitSeconds);
        return LmdMcpToolResult::textResult(tool + " ok");
    }
    json resumeTool(const json& check) override {
        std::lock_guard<std::mutex> lock(mutex);
        resumedOn.insert(std::this_thread::get_id());
        const int left = check.value("left", 0);
        if (left > 0)
            return LmdMcpToolResult::waitResult({{"left", left - 1}}, waitSeconds);
        return LmdMcpToolResult::textResult("played out");
    }
    std::string readResource(const std::string& uri) override { return uri == "lumenda3d://docs/rules" ? "# Rules" : ""; }
    json checkPermission(const std::string& tool) override {
        return tool == "run_game" ? LmdMcpToolResult::errorResult("run_game was denied by the user.") : json();
    }
    std::string knowledgeSection(const std::string& name) const override { return name == "mcp" ? mcpSection : ""; }

    std::thread::id threadOf(const std::string& tool) {
        std::lock_guard<std::mutex> lock(mutex);
        auto it = calledOn.find(tool);
        return it == calledOn.end() ? std::thread::id() : it->second;
    }

    std::string mcpSection;
    int framesToWait = 3;
    double waitSeconds = 5.0;
    std::set<std::thread::id> resumedOn;
    std::mutex mutex;
    std::map<std::string, std::thread::id> calledOn;
};

const char* const kPing = R"({"jsonrpc":"2.0","id":1,"method":"ping"})";
const char* const kForbidden = R"({"error":"forbidden origin"})";
const char* const kNotFound = R"({"error":"not found — the MCP endpoint is /mcp"})";
const char* const kNotAllowed = R"({"error":"method not allowed — MCP messages are POSTed to /mcp"})";

TEST(LmdMcpServer, OriginMustBeLoopbackOverHttpOrHttps) {
    for (const char* ok : {"", "http://localhost", "http://localhost:3000", "https://127.0.0.1", "http://127.0.0.1:8080/app"})
        EXPECT_TRUE(LmdMcpServer::isLocalOrigin(ok)) << ok;
    for (const char* bad : {"null", "http://localhost.evil.com", "http://localhostx:3000", "http://127.0.0.1.nip.io",
                            "http://[::1]:3000", "HTTP://localhost", "http://LOCALHOST", "ftp://localhost", "localhost",
                            "http://", "http://evil.com/http://localhost"})
        EXPECT_FALSE(LmdMcpServer::isLocalOrigin(bad)) << bad;
}

TEST(LmdMcpServer, ChecksOriginThenPathThenMethod) {
    LmdMcpServer server(nullptr);
    const std::tuple<LmdLocalHttpServer::Request, int, const char*> cases[] = {
        {{"GET", "/other", "", "http://evil.com", ""}, 403, kForbidden},
        {{"POST", "/mcp", "", "null", kPing}, 403, kForbidden},
        {{"POST", "/other", "", "", kPing}, 404, kNotFound},
        {{"POST", "/mcp/", "", "", kPing}, 404, kNotFound},
        {{"GET", "/mcp", "", "http://localhost:3000", ""}, 405, kNotAllowed},
        {{"OPTIONS", "/mcp", "", "http://localhost:3000", ""}, 405, kNotAllowed},
        {{"post", "/mcp", "", "", kPing}, 405, kNotAllowed},
    };
    for (const auto& [request, status, body] : cases) {
        auto response = server.handleHttp(request);
        EXPECT_EQ(response.status, status) << request.method << " " << request.path << " " << request.origin;
        EXPECT_EQ(response.body, body);
        EXPECT_EQ(response.contentType, "application/json");
    }
}

class LmdMcpServerLive : public ::testing::Test {
protected:
    void startServer(int jobTimeoutMs = LmdMcpServer::kDefaultJobTimeoutMs) {
        server = std::make_unique<LmdMcpServer>(&backend, jobTimeoutMs);
        ASSERT_TRUE(server->start(0)) << server->http().lastError();
    }
    httplib::Result post(const std::string& body, const std::string& path = "/mcp", const std::string& origin = "") {
        httplib::Client client("127.0.0.1", server->http().port());
        client.set_read_timeout(15);
        httplib::Headers headers;
        if (!origin.empty())
            headers.emplace("Origin", origin);
        return client.Post(path.c_str(), headers, body, "application/json");
    }
    json callTool(const std::string& name) {
        auto res = post(R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":")" + name + R"("}})");
        return res ? json::parse(res->body)["result"] : json("no answer");
    }
    // Stands in for the frame loop while `body` runs.
    template <class F> void withPumpingMainThread(F body) {
        std::atomic<bool> stop{false};
        std::thread mainThread([&] { while (!stop) { server->dispatcher().pump(); std::this_thread::yield(); } });
        mainThreadId = mainThread.get_id();
        body();
        stop = true;
        mainThread.join();
    }

    FakeBackend backend;
    std::unique_ptr<LmdMcpServer> server;
    std::thread::id mainThreadId;
};

TEST_F(LmdMcpServerLive, LoopbackRequestsReachTheProtocol) {
    startServer();
    auto init = post(R"({"jsonrpc":"2.0","id":1,"method":"initialize"})");
    ASSERT_TRUE(init);
    EXPECT_EQ(init->status, 200);
    EXPECT_EQ(init->get_header_value("Content-Type"), "application/json");
    json result = json::parse(init->body)["result"];
    EXPECT_EQ(result["instructions"], LmdMcpServer::kFallbackInstructions); // no "mcp" section
    EXPECT_EQ(result["serverInfo"]["version"], "2.1.3");

    EXPECT_EQ(post(kPing, "/mcp?x=1", "https://127.0.0.1")->body, R"({"id":1,"jsonrpc":"2.0","result":{}})");
    auto forbidden = post(kPing, "/elsewhere", "http://localhost.evil.com");
    EXPECT_EQ(forbidden->status, 403);
    EXPECT_EQ(forbidden->body, kForbidden);
    auto read = post(R"({"id":3,"method":"resources/read","params":{"uri":"lumenda3d://docs/rules"}})");
    EXPECT_EQ(json::parse(read->body)["result"]["contents"][0]["text"], "# Rules"); // no permission, no dispatcher

    server->stop();
    backend.mcpSection = "Workflow: read, edit, verify.";
    ASSERT_TRUE(server->start(0));
    EXPECT_EQ(json::parse(post(R"({"id":1,"method":"initialize"})")->body)["result"]["instructions"], backend.mcpSection);
}

TEST_F(LmdMcpServerLive, ToolCallsRouteByPermissionAndThreadSafety) {
    startServer();
    // Thread-safe tools answer on the connection thread, with nobody pumping.
    EXPECT_EQ(callTool("get_logs"), LmdMcpToolResult::textResult("get_logs ok"));
    // A refusal is the answer; the tool never runs.
    EXPECT_EQ(callTool("run_game"), LmdMcpToolResult::errorResult("run_game was denied by the user."));
    EXPECT_EQ(backend.threadOf("run_game"), std::thread::id());
    // Everything else runs on the main thread.
    withPumpingMainThread([&] { EXPECT_EQ(callTool("get_status"), LmdMcpToolResult::textResult("get_status ok")); });
    EXPECT_EQ(backend.threadOf("get_status"), mainThreadId);
}

TEST_F(LmdMcpServerLive, AWaitingToolAnswersOnceItsCheckPassesOrItsTimeRunsOut) {
    startServer();
    withPumpingMainThread([&] { EXPECT_EQ(callTool("send_input"), LmdMcpToolResult::textResult("played out")); });
    // Each check ran on the main thread, and the client never saw a wait.
    EXPECT_EQ(backend.resumedOn, std::set<std::thread::id>{mainThreadId});

    backend.framesToWait = 1000000;
    backend.waitSeconds = 0.1;
    withPumpingMainThread([&] {
        const json result = callTool("send_input");
        EXPECT_TRUE(result.value("isError", false));
        EXPECT_NE(result["content"][0]["text"].get<std::string>().find("poll get_status"), std::string::npos);
    });
}

TEST_F(LmdMcpServerLive, MainThreadTimeoutBecomesAToolErrorAndTheJobRunsLater) {
    startServer(50);
    EXPECT_EQ(callTool("get_status"), LmdMcpToolResult::errorResult("editor did not respond within 0s (a native dialog may be open)"));
    server->dispatcher().pump();
    EXPECT_NE(backend.threadOf("get_status"), std::thread::id());
}

TEST_F(LmdMcpServerLive, ShutdownFailsWaitingCallsAndARestartAcceptsWorkAgain) {
    startServer();
    json waiting;
    std::thread agent([&] { waiting = callTool("get_status"); });
    while (server->dispatcher().queuedCount() == 0)
        std::this_thread::yield();
    const auto before = Clock::now();
    server->dispatcher().shutdown(); // the controller's order: fail waiting jobs, then close
    server->stop();
    agent.join();
    EXPECT_LT(Clock::now() - before, std::chrono::seconds(3));
    EXPECT_EQ(waiting, LmdMcpToolResult::errorResult("editor is shutting down"));

    ASSERT_TRUE(server->start(0));
    withPumpingMainThread([&] { EXPECT_EQ(callTool("get_status"), LmdMcpToolResult::textResult("get_status ok")); });

    // Destroying a server with a waiting call must not sit out the 10 s job timeout.
    std::thread late([&] { callTool("get_status"); });
    while (server->dispatcher().queuedCount() == 0)
        std::this_thread::yield();
    const auto destroyStart = Clock::now();
    server.reset();
    late.join();
    EXPECT_LT(Clock::now() - destroyStart, std::chrono::seconds(3));
}

} // namespace
} // namespace Lumenda3D
