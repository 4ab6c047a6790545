#include "mcp/LmdMcpEditorBackend.h"

#include "mcp/LmdMcpPermissions.h"
#include "mcp/LmdMcpTools.h"

namespace Lumenda3D {

LmdMcpEditorBackend::LmdMcpEditorBackend(LmdMcpTools& tools, LmdMcpPermissions* permissions)
    : tools_(tools), permissions_(permissions) {}

std::vector<LmdMcpProtocol::ToolDefinition> LmdMcpEditorBackend::toolDefinitions() const {
    return LmdMcpTools::definitions();
}

std::vector<LmdMcpProtocol::ResourceDefinition> LmdMcpEditorBackend::resourceDefinitions() const {
    return LmdMcpTools::resourceDefinitions();
}

bool LmdMcpEditorBackend::isThreadSafe(const std::string& tool) const { return LmdMcpTools::isThreadSafe(tool); }

nlohmann::json LmdMcpEditorBackend::callTool(const std::string& tool, const nlohmann::json& arguments) {
    return tools_.call(tool, arguments);
}

nlohmann::json LmdMcpEditorBackend::resumeTool(const nlohmann::json& check) { return tools_.resume(check); }

std::string LmdMcpEditorBackend::readResource(const std::string& uri) { return tools_.readResource(uri); }

nlohmann::json LmdMcpEditorBackend::checkPermission(const std::string& tool) {
    return permissions_ ? permissions_->checkTool(tool) : nlohmann::json();
}

std::string LmdMcpEditorBackend::knowledgeSection(const std::string& name) const {
    return tools_.knowledgeSection(name);
}

} // namespace Lumenda3D
