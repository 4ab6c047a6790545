#pragma once
// Joins the tool catalogue and the permissions into the backend the agent server reaches the
// editor through: tools/list and resources/list from LmdMcpTools, the permission gate from
// LmdMcpPermissions, the server's instructions from the knowledge base.
//
// Wiring (the controller does this once): make the tools with the editor access, this backend
// with the tools and the permissions, the server with this backend, then hand the server's log
// buffer to the tools (setLogBuffer) before starting it.
#include "mcp/LmdMcpBackend.h"

namespace Lumenda3D {

class LmdMcpPermissions;
class LmdMcpTools;

class LmdMcpEditorBackend : public LmdMcpBackend {
public:
    // Neither is owned. Without permissions every tool may run.
    LmdMcpEditorBackend(LmdMcpTools& tools, LmdMcpPermissions* permissions);

    std::vector<LmdMcpProtocol::ToolDefinition> toolDefinitions() const override;
    std::vector<LmdMcpProtocol::ResourceDefinition> resourceDefinitions() const override;
    bool isThreadSafe(const std::string& tool) const override;
    nlohmann::json callTool(const std::string& tool, const nlohmann::json& arguments) override;
    nlohmann::json resumeTool(const nlohmann::json& check) override;
    std::string readResource(const std::string& uri) override;
    nlohmann::json checkPermission(const std::string& tool) override;
    std::string knowledgeSection(const std::string& name) const override;

private:
    LmdMcpTools& tools_;
    LmdMcpPermissions* permissions_;
};

} // namespace Lumenda3D
