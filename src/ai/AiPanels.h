#pragma once
// The assistant's panels, put into their slots of AllUI: the chat panel, its settings dialog and
// the merge conflict dialog. It also gives AIChatService its system text. The editor's setup calls
// this before AllUI initialises the panels; `host` outlives them.
#include <memory>

namespace Lumenda3D {

class AllUI;
class AiChatHost;
class AIChatPanel;

std::shared_ptr<AIChatPanel> registerAiPanels(AllUI& ui, AiChatHost* host);

} // namespace Lumenda3D
