#include "mcp/LmdMcpProtocol.h"

#include <utility>

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

// A member that is present and not null; JSON-RPC lets clients send "params": null for "none".
bool hasMember(const json& object, const char* key) {
    auto it = object.find(key);
    return it != object.end() && !it->is_null();
}

// A member's text; "" when the member is absent, null or not a string (or `object` isn't one).
std::string stringMember(const json& object, const char* key) {
    if (!object.is_object())
        return "";
    auto it = object.find(key);
    return it != object.end() && it->is_string() ? it->get<std::string>() : std::string();
}
} // namespace

const std::vector<std::string>& LmdMcpProtocol::supportedProtocolVersions() {
    static const std::vector<std::string> versions = {"2025-06-18", "2025-03-26", "2024-11-05"};
    return versions;
}

void LmdMcpProtocol::configure(std::string version, std::string instructions, std::vector<ToolDefinition> tools,
                               std::vector<ResourceDefinition> resources, ToolHandler toolHandler,
                               ResourceReader resourceReader) {
    version_ = std::move(version);
    instructions_ = std::move(instructions);
    tools_ = std::move(tools);
    resources_ = std::move(resources);
    toolHandler_ = std::move(toolHandler);
    resourceReader_ = std::move(resourceReader);
}

LmdMcpProtocol::HttpResult LmdMcpProtocol::handleMessage(const std::string& body) const {
    HttpResult out;
    const json message = json::parse(body, nullptr, /*allow_exceptions=*/false);
    if (message.is_discarded()) {
        out.body = serialize(rpcError(nullptr, -32700, "Parse error: request body is not valid JSON"));
        return out;
    }
    if (!message.is_object()) {
        // Batches (arrays) are not supported.
        out.body = serialize(rpcError(nullptr, -32600, "Invalid request: expected a single JSON-RPC object"));
        return out;
    }

    // An id is a string or a number; anything else can't be echoed as one.
    const bool hasId = hasMember(message, "id");
    if (hasId && !message.at("id").is_string() && !message.at("id").is_number()) {
        out.body = serialize(rpcError(nullptr, -32600, "Invalid request: 'id' must be a string or a number"));
        return out;
    }
    const json id = hasId ? message.at("id") : json(nullptr);
    if (hasMember(message, "method") && !message.at("method").is_string()) {
        out.body = serialize(rpcError(id, -32600, "Invalid request: 'method' must be a string"));
        return out;
    }
    const std::string method = stringMember(message, "method");
    if (method.empty()) {
        out.body = serialize(rpcError(id, -32600, "Invalid request: missing method"));
        return out;
    }

    if (!hasId) {
        // A notification, whatever its method (initialized, cancelled, unknown ones): accepted
        // and ignored. A cancellation therefore never stops a running tool.
        out.status = 202;
        return out;
    }
    if (hasMember(message, "params") && !message.at("params").is_object()) {
        out.body = serialize(rpcError(id, -32602, "Invalid params: 'params' must be an object"));
        return out;
    }
    const json params = hasMember(message, "params") ? message.at("params") : json::object();
    try {
        out.body = serialize(handleRequest(method, params, id));
    } catch (const std::exception&) {
        // Nothing of a library's internals goes back to the client: a tool or a resource reader
        // that throws is a fault of this program, not of the request.
        out.body = serialize(rpcError(id, -32603, "Internal error: the editor could not handle " + method));
    }
    return out;
}

json LmdMcpProtocol::handleRequest(const std::string& method, const json& params, const json& id) const {
    if (method == "initialize")
        return rpcResult(id, initializeResult(params));
    if (method == "ping")
        return rpcResult(id, json::object());
    if (method == "tools/list")
        return rpcResult(id, toolsListResult());
    if (method == "tools/call") {
        if (hasMember(params, "name") && !params.at("name").is_string())
            return rpcError(id, -32602, "Invalid params: the tool 'name' must be a string");
        if (hasMember(params, "arguments") && !params.at("arguments").is_object())
            return rpcError(id, -32602, "Invalid params: 'arguments' must be an object");
        const std::string name = stringMember(params, "name");
        if (!findTool(name))
            return rpcError(id, -32602, "Unknown tool: " + name);
        const json arguments = hasMember(params, "arguments") ? params.at("arguments") : json::object();
        json result = toolHandler_ ? toolHandler_(name, arguments) : json(nullptr);
        return rpcResult(id, result);
    }
    if (method == "resources/list")
        return rpcResult(id, resourcesListResult());
    if (method == "resources/read") {
        if (hasMember(params, "uri") && !params.at("uri").is_string())
            return rpcError(id, -32602, "Invalid params: 'uri' must be a string");
        json result = resourceReadResult(params);
        if (result.is_null())
            return rpcError(id, -32002, "Resource not found: " + stringMember(params, "uri"));
        return rpcResult(id, result);
    }
    if (method == "prompts/list")
        return rpcResult(id, json{{"prompts", json::array()}});
    return rpcError(id, -32601, "Method not found: " + method);
}

json LmdMcpProtocol::initializeResult(const json& params) const {
    // A version that isn't a string is as unknown as one that isn't supported.
    const std::string requested = stringMember(params, "protocolVersion");
    const auto& versions = supportedProtocolVersions();
    std::string chosen = versions.front();
    for (const std::string& v : versions) {
        if (v == requested)
            chosen = v;
    }
    return json{
        {"protocolVersion", chosen},
        {"capabilities", {{"tools", json::object()}, {"resources", json::object()}}},
        {"serverInfo", {{"name", "lumenda3d-editor"}, {"title", "Lumenda3D Editor"}, {"version", version_}}},
        {"instructions", instructions_},
    };
}

json LmdMcpProtocol::toolsListResult() const {
    json tools = json::array();
    for (const ToolDefinition& tool : tools_)
        tools.push_back({{"name", tool.name}, {"description", tool.description}, {"inputSchema", tool.inputSchema}});
    return json{{"tools", std::move(tools)}};
}

json LmdMcpProtocol::resourcesListResult() const {
    json resources = json::array();
    for (const ResourceDefinition& r : resources_)
        resources.push_back(
            {{"uri", r.uri}, {"name", r.name}, {"description", r.description}, {"mimeType", r.mimeType}});
    return json{{"resources", std::move(resources)}};
}

json LmdMcpProtocol::resourceReadResult(const json& params) const {
    const std::string uri = stringMember(params, "uri");
    const ResourceDefinition* definition = findResource(uri);
    if (!definition || !resourceReader_)
        return nullptr;
    std::string text = resourceReader_(uri);
    if (text.empty())
        return nullptr;
    json content = {{"uri", uri}, {"mimeType", definition->mimeType}, {"text", std::move(text)}};
    return json{{"contents", json::array({std::move(content)})}};
}

json LmdMcpProtocol::rpcResult(const json& id, const json& result) {
    return json{{"jsonrpc", "2.0"}, {"id", id}, {"result", result}};
}

json LmdMcpProtocol::rpcError(const json& id, int code, const std::string& message) {
    return json{{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}};
}

std::string LmdMcpProtocol::serialize(const json& value) {
    // Tool output may carry bytes that are not valid UTF-8 (a log line, a file name); those are
    // replaced rather than failing the whole response.
    return value.dump(-1, ' ', /*ensure_ascii=*/false, json::error_handler_t::replace);
}

const LmdMcpProtocol::ToolDefinition* LmdMcpProtocol::findTool(const std::string& name) const {
    for (const ToolDefinition& tool : tools_) {
        if (tool.name == name)
            return &tool;
    }
    return nullptr;
}

const LmdMcpProtocol::ResourceDefinition* LmdMcpProtocol::findResource(const std::string& uri) const {
    for (const ResourceDefinition& r : resources_) {
        if (r.uri == uri)
            return &r;
    }
    return nullptr;
}

} // namespace Lumenda3D
