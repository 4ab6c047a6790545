#pragma once
// The Model Context Protocol over JSON-RPC 2.0, one request body in, one response body out.
// It knows nothing of the editor or of HTTP: the tool and resource lists and the two callbacks
// that run them arrive through configure(). It keeps no state per client, so a client may call
// tools/call without ever having called initialize.
#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace Lumenda3D {

class LmdMcpProtocol {
public:
    using json = nlohmann::json;

    struct ToolDefinition {
        std::string name;          // matched exactly
        std::string description;   // shown to the model
        json inputSchema;          // JSON Schema object of the arguments
    };

    struct ResourceDefinition {
        std::string uri;           // matched exactly
        std::string name;
        std::string description;
        std::string mimeType;
    };

    struct HttpResult {
        int status = 200;
        std::string body;          // empty for a notification (202)
    };

    // Runs a tool by name with its arguments; returns the tool result object.
    using ToolHandler = std::function<json(const std::string& name, const json& arguments)>;
    // Reads a resource's text; an empty string means there is none.
    using ResourceReader = std::function<std::string(const std::string& uri)>;

    // Protocol versions this server speaks, newest first.
    static const std::vector<std::string>& supportedProtocolVersions();

    // Called before the listener opens; afterwards everything here is only read, so
    // handleMessage may run on any number of threads at once.
    void configure(std::string version, std::string instructions, std::vector<ToolDefinition> tools,
                   std::vector<ResourceDefinition> resources, ToolHandler toolHandler,
                   ResourceReader resourceReader);

    // The entry: a whole HTTP request body to a status and response body. Never throws, and no
    // answer carries a library's exception text: a mistyped member is a JSON-RPC error (-32600
    // for an "id" or "method" of the wrong type, -32602 for "params", a tool "name" or its
    // "arguments" of the wrong type), and a handler that throws gives -32603.
    HttpResult handleMessage(const std::string& body) const;

    // Answers one request (a message with a non-null id) with a full JSON-RPC response object.
    json handleRequest(const std::string& method, const json& params, const json& id) const;

    json initializeResult(const json& params) const;
    json toolsListResult() const;
    json resourcesListResult() const;
    // Null when the URI is not in the catalogue or its text is empty.
    json resourceReadResult(const json& params) const;

    static json rpcResult(const json& id, const json& result);
    static json rpcError(const json& id, int code, const std::string& message);

    // Compact, sorted keys, non-ASCII characters as they stand.
    static std::string serialize(const json& value);

    const std::string& instructions() const { return instructions_; }

private:
    const ToolDefinition* findTool(const std::string& name) const;
    const ResourceDefinition* findResource(const std::string& uri) const;

    std::string version_;
    std::string instructions_;
    std::vector<ToolDefinition> tools_;
    std::vector<ResourceDefinition> resources_;
    ToolHandler toolHandler_;
    ResourceReader resourceReader_;
};

} // namespace Lumenda3D
