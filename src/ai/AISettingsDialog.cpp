#include "ai/AISettingsDialog.h"

#include <algorithm>
#include <memory>

#include "services/AIChatService.h"
#include "services/AiProviderSettings.h"

namespace Lumenda3D {

namespace {

const char* const kTitle = "AI Settings";

// The last four characters of a key, so that the user can tell which one is stored.
std::string keyHint(const std::string& key) {
    if (key.size() <= 8)
        return "set";
    return "ending in " + key.substr(key.size() - 4);
}

} // namespace

void AISettingsDialog::show() {
    drafts_.clear();
    for (const AiProviderSettings::Provider& p : AiProviderSettings::providers()) {
        Draft& d = drafts_[p.id];
        d.baseUrl = AiProviderSettings::baseUrl(p.id);
        d.model = AiProviderSettings::model(p.id);
    }
    visible_ = true;
    openRequested_ = true;
}

void AISettingsDialog::saveProvider(const std::string& id) {
    Draft& d = draft(id);
    if (!d.key.empty())
        AiProviderSettings::setKey(id, d.key);
    const AiProviderSettings::Provider* p = AiProviderSettings::find(id);
    if (p && d.baseUrl != p->defaultBaseUrl)
        AiProviderSettings::setBaseUrl(id, d.baseUrl);
    else
        AiProviderSettings::setBaseUrl(id, "");
    if (!d.model.empty())
        AiProviderSettings::setModel(id, d.model);
    d.key.clear();
    d.statusOk = true;
    d.status = AiProviderSettings::isConfigured(id) ? "Saved." : "Saved. Add a key to use this provider.";
}

void AISettingsDialog::removeKey(const std::string& id) {
    AIChatService::getInstance().clearKey(id);
    Draft& d = draft(id);
    d.key.clear();
    d.statusOk = true;
    d.status = "Key removed.";
}

void AISettingsDialog::testConnection(const std::string& id) {
    Draft& d = draft(id);
    const std::string key = d.key.empty() ? AiProviderSettings::key(id) : d.key;
    d.testing = true;
    d.status = "Testing…";
    // The dialog outlives the request in the editor; a weak handle keeps a late answer harmless.
    std::weak_ptr<bool> alive = alive_;
    AIChatService::getInstance().testConnection(id, key, d.baseUrl, d.model, [this, id, alive](bool ok, const std::string& text) {
        if (alive.expired())
            return;
        Draft& result = draft(id);
        result.testing = false;
        result.statusOk = ok;
        result.status = text;
    });
}

void AISettingsDialog::moveProvider(const std::string& id, int delta) {
    std::vector<std::string> order = AiProviderSettings::order();
    auto it = std::find(order.begin(), order.end(), id);
    if (it == order.end())
        return;
    const long from = it - order.begin();
    const long to = from + delta;
    if (to < 0 || to >= static_cast<long>(order.size()))
        return;
    std::swap(order[from], order[to]);
    AiProviderSettings::setOrder(order);
}

void AISettingsDialog::draw() {
    if (!visible_)
        return;
    if (openRequested_ && openPopupWhenFree(kTitle))
        openRequested_ = false;
    if (!beginPopupModal(kTitle, 640.0f))
        return;
    ImGui::TextWrapped("The assistant asks these providers in this order; when one fails, the next one answers. "
                       "Keys stay on this computer, in your settings.");
    ImGui::Separator();
    const std::vector<std::string> order = AiProviderSettings::order();
    for (size_t i = 0; i < order.size(); ++i)
        drawProvider(order[i], static_cast<int>(i), static_cast<int>(order.size()));
    ImGui::Separator();
    if (button("Close##aiSettings") || keyPressedOnce(ImGuiKey_Escape)) {
        visible_ = false;
        ImGui::CloseCurrentPopup();
    }
    ImGui::EndPopup();
}

void AISettingsDialog::drawProvider(const std::string& id, int position, int count) {
    const AiProviderSettings::Provider* p = AiProviderSettings::find(id);
    if (!p)
        return;
    Draft& d = draft(id);
    ImGui::PushID(id.c_str());
    const bool configured = AiProviderSettings::isConfigured(id);
    ImGui::Text("%d. %s", position + 1, p->label.c_str());
    ImGui::SameLine();
    if (configured)
        ImGui::TextColored(ImVec4(0.5f, 1.0f, 0.5f, 1.0f), "(ready%s)",
                           AiProviderSettings::hasKey(id) ? (", key " + keyHint(AiProviderSettings::key(id))).c_str() : "");
    else
        ImGui::TextColored(ImVec4(0.7f, 0.7f, 0.7f, 1.0f), "(not set up)");
    ImGui::SameLine(ImGui::GetWindowContentRegionMax().x - scaled(110.0f));
    ImGui::BeginDisabled(position == 0);
    if (button(("Up##" + id).c_str()))
        moveProvider(id, -1);
    ImGui::EndDisabled();
    ImGui::SameLine();
    ImGui::BeginDisabled(position + 1 >= count);
    if (button(("Down##" + id).c_str()))
        moveProvider(id, +1);
    ImGui::EndDisabled();

    ImGui::SetNextItemWidth(scaled(360.0f));
    inputText(("API key" + std::string(p->keyOptional ? " (optional)" : "") + "##key" + id).c_str(), d.key,
              ImGuiInputTextFlags_Password);
    recordItem(("##key" + id).c_str());
    ImGui::SetNextItemWidth(scaled(360.0f));
    inputText(("Base URL##url" + id).c_str(), d.baseUrl);
    if (p->keyOptional && d.baseUrl.empty())
        ImGui::TextDisabled("For example http://localhost:11434/v1 (Ollama) or http://localhost:8080/v1 (llama.cpp).");
    ImGui::SetNextItemWidth(scaled(240.0f));
    inputText(("Model##model" + id).c_str(), d.model);
    ImGui::SameLine();
    if (ImGui::BeginCombo(("##models" + id).c_str(), "", ImGuiComboFlags_NoPreview)) {
        for (const std::string& model : p->models)
            if (ImGui::Selectable(model.c_str(), model == d.model))
                d.model = model;
        ImGui::EndCombo();
    }
    if (button(("Save##" + id).c_str()))
        saveProvider(id);
    ImGui::SameLine();
    ImGui::BeginDisabled(d.testing);
    if (button(("Test connection##" + id).c_str()))
        testConnection(id);
    ImGui::EndDisabled();
    ImGui::SameLine();
    ImGui::BeginDisabled(!AiProviderSettings::hasKey(id));
    if (button(("Remove key##" + id).c_str()))
        removeKey(id);
    ImGui::EndDisabled();
    if (!d.status.empty())
        ImGui::TextColored(d.statusOk ? ImVec4(0.5f, 1.0f, 0.5f, 1.0f) : ImVec4(1.0f, 0.45f, 0.4f, 1.0f), "%s",
                           d.status.c_str());
    ImGui::Separator();
    ImGui::PopID();
}

} // namespace Lumenda3D
