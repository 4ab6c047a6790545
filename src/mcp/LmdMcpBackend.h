#pragma once
// What the agent server needs from the rest of the editor: the tool catalogue and its dispatch,
// the resources, the permission gate and the knowledge base. LmdMcpServer reaches all of them
// through this one interface, so the endpoint and protocol work (and are tested) on their own.
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "mcp/LmdMcpProtocol.h"

namespace Lumenda3D {

class LmdMcpBackend {
public:
    virtual ~LmdMcpBackend() = default;

    // The catalogue, read once per server start, in the order clients see it.
    virtual std::vector<LmdMcpProtocol::ToolDefinition> toolDefinitions() const = 0;
    virtual std::vector<LmdMcpProtocol::ResourceDefinition> resourceDefinitions() const = 0;

    // True for the few tools that touch nothing owned by the main thread; they run on the
    // connection thread and keep answering while the main thread hangs.
    virtual bool isThreadSafe(const std::string& tool) const = 0;

    // Runs a tool: on the main thread unless isThreadSafe(tool). Returns a tool result object.
    virtual nlohmann::json callTool(const std::string& tool, const nlohmann::json& arguments) = 0;

    // Main thread: goes on with a tool that answered with a wait (LmdMcpToolResult::waitResult),
    // given the wait's check. Answers another wait while the thing waited for is not there yet.
    virtual nlohmann::json resumeTool(const nlohmann::json& check) = 0;

    // The text of a resource; empty when there is none. Called on a connection thread.
    virtual std::string readResource(const std::string& uri) = 0;

    // The permission gate, on a connection thread; may block while the user is asked.
    // Null when the call may go ahead, otherwise the error result to answer with.
    virtual nlohmann::json checkPermission(const std::string& tool) = 0;

    // A knowledge-base section's text; empty when it has none.
    virtual std::string knowledgeSection(const std::string& name) const = 0;
};

} // namespace Lumenda3D
