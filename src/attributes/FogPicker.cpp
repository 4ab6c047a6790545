#include "attributes/FogPicker.h"

#include <algorithm>

#include <imgui.h>

#include "engine/Lumenda3DEngine.h"

namespace Lumenda3D {

std::vector<FogPicker::FogInfo> FogPicker::collectAvailableFogs() const {
    std::vector<FogInfo> fogs;
    if (!context_ || !context_->engine || !context_->engine->getSourceXml())
        return fogs;
    const pugi::xml_node root = *context_->engine->getSourceXml();
    for (const pugi::xpath_node& hit : root.select_nodes("//Fog")) {
        const std::string name = hit.node().attribute("name").as_string();
        const bool listed = std::any_of(fogs.begin(), fogs.end(), [&](const FogInfo& fog) { return fog.name == name; });
        if (!name.empty() && !listed)
            fogs.push_back({name, hit.node().attribute("mode").as_string("linear")});
    }
    std::sort(fogs.begin(), fogs.end(), [](const FogInfo& a, const FogInfo& b) { return a.name < b.name; });
    return fogs;
}

void FogPicker::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                       const pugi::xml_node& definition) {
    const std::string& key = name;
    const std::string value = getAttributeValue(node, name, definition);
    const int version = context_ && context_->engine ? context_->engine->getSourceVersion() : -1;
    if (version != knownVersion_) {
        known_ = collectAvailableFogs();
        knownVersion_ = version;
    }
    const bool missing = !value.empty() && std::none_of(known_.begin(), known_.end(),
                                                        [&](const FogInfo& fog) { return fog.name == value; });
    if (drawField(key, value, missing, node)) {
        fogs_ = collectAvailableFogs();
        searchBuffer_[0] = '\0';
    }
    if (!beginPickerPopup(key))
        return;
    drawSearchBar("##FogSearch", searchBuffer_, sizeof(searchBuffer_), "Search fogs...");
    std::optional<std::string> chosen;
    ImGui::BeginChild("##FogList", ImVec2(0, -bottomRowHeight()), true);
    if (fogs_.empty()) {
        ImGui::TextDisabled("%s", kNoFogs);
        ImGui::TextDisabled("%s", kNoFogsHint);
    } else if (ImGui::BeginTable("FogPickerTable", 2, ImGuiTableFlags_RowBg | ImGuiTableFlags_SizingStretchProp)) {
        for (const FogInfo& fog : fogs_) {
            if (!matchesSearch(fog.name, searchBuffer_))
                continue;
            ImGui::TableNextRow();
            ImGui::TableNextColumn();
            const std::string label = fog.name + "##item";
            if (ImGui::Selectable(label.c_str(), fog.name == value, ImGuiSelectableFlags_SpanAllColumns))
                chosen = fog.name;
            record(label);
            ImGui::TableNextColumn();
            ImGui::TextDisabled("%s", fog.mode.c_str());
        }
        ImGui::EndTable();
    }
    ImGui::EndChild();
    if (chosen) {
        choose(key, node, definition, *chosen);
        ImGui::EndPopup();
        return;
    }
    drawPickerBottomButtons(key, node, definition, true, true, true);
    ImGui::EndPopup();
}

} // namespace Lumenda3D
