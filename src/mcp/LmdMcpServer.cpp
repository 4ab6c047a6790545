#include "mcp/LmdMcpServer.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "base/LmdVersion.h"
#include "mcp/LmdMcpToolResult.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

const char* const kJsonType = "application/json";

LmdLocalHttpServer::Response jsonResponse(int status, std::string body) {
    return {status, kJsonType, std::move(body)};
}
} // namespace

const char* const LmdMcpServer::kFallbackInstructions =
    "Lumenda3D Editor MCP server. Call get_documentation(\"rules\") and get_documentation(\"schema\") before "
    "building; get_game_xml to read the game; apply_edits to change it; get_logs to verify.";

LmdMcpServer::LmdMcpServer(LmdMcpBackend* backend, int jobTimeoutMs)
    : backend_(backend), jobTimeoutMs_(jobTimeoutMs) {}

LmdMcpServer::~LmdMcpServer() {
    // A handler may be waiting for the main thread; fail its job so the listener can close now.
    dispatcher_.shutdown();
    http_.stop();
}

bool LmdMcpServer::start(int port) {
    // The protocol's configuration is read by live handlers without a lock: never rewrite it
    // under a running listener.
    if (http_.isRunning())
        return false;
    dispatcher_.reset();

    std::string instructions = backend_ ? backend_->knowledgeSection("mcp") : std::string();
    if (instructions.empty())
        instructions = kFallbackInstructions;

    std::vector<LmdMcpProtocol::ToolDefinition> tools;
    std::vector<LmdMcpProtocol::ResourceDefinition> resources;
    if (backend_) {
        tools = backend_->toolDefinitions();
        resources = backend_->resourceDefinitions();
    }
    protocol_.configure(
        LmdVersion::text(), std::move(instructions), std::move(tools), std::move(resources),
        [this](const std::string& name, const json& arguments) { return runTool(name, arguments); },
        [this](const std::string& uri) { return readResource(uri); });

    return http_.start(port, [this](const LmdLocalHttpServer::Request& request) { return handleHttp(request); });
}

void LmdMcpServer::stop() { http_.stop(); }

bool LmdMcpServer::isLocalOrigin(const std::string& origin) {
    if (origin.empty())
        return true; // non-browser clients send none
    std::string rest;
    if (origin.compare(0, 7, "http://") == 0)
        rest = origin.substr(7);
    else if (origin.compare(0, 8, "https://") == 0)
        rest = origin.substr(8);
    else
        return false;
    const std::string host = rest.substr(0, rest.find_first_of("/:"));
    return host == "127.0.0.1" || host == "localhost";
}

LmdLocalHttpServer::Response LmdMcpServer::handleHttp(const LmdLocalHttpServer::Request& request) const {
    // Checked first, so a web page learns nothing about paths or methods.
    if (!isLocalOrigin(request.origin))
        return jsonResponse(403, R"({"error":"forbidden origin"})");
    if (request.path != "/mcp")
        return jsonResponse(404, R"({"error":"not found — the MCP endpoint is /mcp"})");
    if (request.method != "POST")
        return jsonResponse(405, R"({"error":"method not allowed — MCP messages are POSTed to /mcp"})");
    LmdMcpProtocol::HttpResult result = protocol_.handleMessage(request.body);
    return jsonResponse(result.status, std::move(result.body));
}

json LmdMcpServer::checkPermission(const std::string& name) const {
    if (!backend_)
        return nullptr;
    return backend_->checkPermission(name);
}

json LmdMcpServer::runTool(const std::string& name, const json& arguments) const {
    json refusal = checkPermission(name);
    if (!refusal.is_null())
        return refusal;
    if (!backend_)
        return LmdMcpToolResult::errorResult("Unknown tool: " + name);
    if (backend_->isThreadSafe(name))
        return backend_->callTool(name, arguments);

    // The job may outlive this call (a timed-out poster), so it owns copies of what it needs.
    LmdMcpBackend* backend = backend_;
    LmdMainThreadDispatcher::Result result = dispatcher_.postAndWait(
        [backend, name, arguments] { return backend->callTool(name, arguments); }, jobTimeoutMs_);
    if (!result.ok)
        return LmdMcpToolResult::errorResult(result.error);
    return finishWait(std::move(result.value));
}

json LmdMcpServer::finishWait(json result) const {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(static_cast<long long>(
                                             std::max(0.0, LmdMcpToolResult::waitSeconds(result)) * 1000.0));
    LmdMcpBackend* backend = backend_;
    while (LmdMcpToolResult::isWait(result)) {
        if (Clock::now() >= deadline)
            return LmdMcpToolResult::errorResult(
                "Still waiting when the wait's time ran out — the action goes on in the editor; poll get_status.");
        std::this_thread::sleep_for(std::chrono::milliseconds(kWaitPollMs));
        const json check = LmdMcpToolResult::waitCheck(result);
        LmdMainThreadDispatcher::Result next =
            dispatcher_.postAndWait([backend, check] { return backend->resumeTool(check); }, jobTimeoutMs_);
        if (!next.ok)
            return LmdMcpToolResult::errorResult(next.error);
        result = std::move(next.value);
    }
    return result;
}

std::string LmdMcpServer::readResource(const std::string& uri) const {
    return backend_ ? backend_->readResource(uri) : std::string();
}

} // namespace Lumenda3D
