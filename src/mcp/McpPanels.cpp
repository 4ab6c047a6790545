#include "mcp/McpPanels.h"

#include <memory>
#include <string>
#include <utility>

#include "mcp/LmdMcpController.h"
#include "mcp/McpSettingsDialog.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

void registerMcpPanels(AllUI& ui, LmdMcpController& controller, LmdAgentClickGuard guard) {
    LmdMcpSettingsPanel::Hooks hooks;
    hooks.isRunning = [&controller] { return controller.isRunning(); };
    hooks.boundPort = [&controller] { return controller.port(); };
    hooks.lastError = [&controller] { return controller.lastError(); };
    hooks.applyCommand = [&controller](const std::string& value) { controller.applyCommand(value); };
    hooks.applyPort = [&controller](const std::string& value) { controller.applyPort(value); };
    ui.setElement(McpSettingsDialog::kName,
                  std::make_shared<McpSettingsDialog>(McpSettingsDialog::kName, controller.getPermissions(),
                                                      std::move(guard), std::move(hooks)));
}

} // namespace Lumenda3D
