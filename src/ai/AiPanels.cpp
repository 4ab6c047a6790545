#include "ai/AiPanels.h"

#include "ai/AIChatPanel.h"
#include "ai/AISettingsDialog.h"
#include "ai/AiSystemPrompt.h"
#include "ai/MergeConflictDialog.h"
#include "services/AIChatService.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

std::shared_ptr<AIChatPanel> registerAiPanels(AllUI& ui, AiChatHost* host) {
    AIChatService::getInstance().setSystemPrompt([] { return AiSystemPrompt::build(); });
    auto panel = std::make_shared<AIChatPanel>(host);
    ui.setElement(AIChatPanel::kName, panel);
    ui.setElement(AISettingsDialog::kName, std::make_shared<AISettingsDialog>());
    ui.setElement(MergeConflictDialog::kName, std::make_shared<MergeConflictDialog>());
    return panel;
}

} // namespace Lumenda3D
