// AIChatPanel's model choice and reasoning controls: which provider and model answer the next
// messages ("Auto (by priority)" tries the configured providers in the user's order), and how hard
// a reasoning model thinks.
#include <algorithm>
#include <string>

#include "ai/AIChatPanel.h"
#include "services/AiProviderSettings.h"

namespace Lumenda3D {

namespace {

// The provider and model that will answer the next message.
void activeModel(std::string& provider, std::string& model) {
    const std::string chosen = AiProviderSettings::chosenModel();
    const size_t slash = chosen.find('/');
    if (slash != std::string::npos && AiProviderSettings::isConfigured(chosen.substr(0, slash))) {
        provider = chosen.substr(0, slash);
        model = chosen.substr(slash + 1);
        return;
    }
    for (const std::string& id : AIChatService::getInstance().configuredProviders()) {
        provider = id;
        model = AiProviderSettings::model(id);
        return;
    }
}

} // namespace

std::string AIChatPanel::activeReasoningCaps() const {
    std::string provider, model;
    activeModel(provider, model);
    return provider.empty() ? "" : AiProviderSettings::reasoningCaps(provider, model);
}

void AIChatPanel::drawModelSelector() {
    const std::string chosen = AiProviderSettings::chosenModel();
    std::string preview = "Auto (by priority)";
    const size_t slash = chosen.find('/');
    if (slash != std::string::npos) {
        const AiProviderSettings::Provider* p = AiProviderSettings::find(chosen.substr(0, slash));
        preview = (p ? p->label : chosen.substr(0, slash)) + ": " + chosen.substr(slash + 1);
    }
    ImGui::SetNextItemWidth(scaled(240.0f));
    if (!ImGui::BeginCombo("##aiModel", preview.c_str()))
        return;
    if (ImGui::Selectable("Auto (by priority)", chosen.empty()))
        AiProviderSettings::setChosenModel("");
    for (const std::string& id : AIChatService::getInstance().configuredProviders()) {
        const AiProviderSettings::Provider* p = AiProviderSettings::find(id);
        std::vector<std::string> models = p->models;
        const std::string own = AiProviderSettings::model(id);
        if (std::find(models.begin(), models.end(), own) == models.end())
            models.insert(models.begin(), own);
        for (const std::string& model : models) {
            const std::string value = id + "/" + model;
            const std::string label = p->label + ": " + model + "##" + value;
            if (ImGui::Selectable(label.c_str(), chosen == value))
                AiProviderSettings::setChosenModel(value);
        }
    }
    ImGui::EndCombo();
}

void AIChatPanel::drawReasoningControls() {
    const std::string caps = activeReasoningCaps();
    if (caps == "effort_levels") {
        ImGui::TextUnformatted("Effort:");
        ImGui::SameLine();
        const char* levels[] = {"default", "low", "medium", "high"};
        const std::string effort = AiProviderSettings::effort();
        ImGui::SetNextItemWidth(scaled(110.0f));
        if (ImGui::BeginCombo("##aiEffort", effort.empty() ? "default" : effort.c_str())) {
            for (const char* level : levels) {
                const std::string value = std::string(level) == "default" ? "" : level;
                if (ImGui::Selectable(level, value == effort))
                    AiProviderSettings::setEffort(value);
            }
            ImGui::EndCombo();
        }
    } else if (caps == "deep_think") {
        bool deep = AiProviderSettings::deepThink();
        if (ImGui::Checkbox("Deep think##aiDeep", &deep))
            AiProviderSettings::setDeepThink(deep);
    }
}

} // namespace Lumenda3D
