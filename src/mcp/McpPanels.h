#pragma once
// The agent server's panel, put into its slot of AllUI: the settings dialog, wired to the
// controller. Its draw also raises the agents' permission prompts. `guard` refuses the clicks an
// agent's synthetic input delivers on the permission rows and the prompt: an agent must not grant
// itself rights. The editor's setup calls this before AllUI initialises the panels.
#include "mcp/LmdAgentClickGuard.h"

namespace Lumenda3D {

class AllUI;
class LmdMcpController;

void registerMcpPanels(AllUI& ui, LmdMcpController& controller, LmdAgentClickGuard guard);

} // namespace Lumenda3D
