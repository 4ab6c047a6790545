#include "attributes/LightPicker.h"

#include <algorithm>

#include <imgui.h>

#include "base/LmdValueParser.h"
#include "engine/Lumenda3DEngine.h"

namespace Lumenda3D {

namespace {

std::vector<std::string> splitNames(const std::string& value) {
    std::vector<std::string> names;
    size_t start = 0;
    while (start <= value.size()) {
        const size_t comma = std::min(value.find(',', start), value.size());
        const std::string name(LmdValueParser::trim(value.substr(start, comma - start)));
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
        start = comma + 1;
    }
    return names;
}

} // namespace

std::vector<LightPicker::LightInfo> LightPicker::collectAvailableLights() const {
    std::vector<LightInfo> lights;
    if (!context_ || !context_->engine || !context_->engine->getSourceXml())
        return lights;
    const pugi::xml_node root = *context_->engine->getSourceXml();
    for (const char* type : {"PointLight", "DirectionalLight", "SpotLight"})
        for (const pugi::xpath_node& hit : root.select_nodes((std::string("//") + type).c_str())) {
            const std::string name = hit.node().attribute("name").as_string();
            const bool listed = std::any_of(lights.begin(), lights.end(),
                                            [&](const LightInfo& light) { return light.name == name; });
            if (!name.empty() && !listed)
                lights.push_back({name, type, false});
        }
    std::stable_sort(lights.begin(), lights.end(),
                     [](const LightInfo& a, const LightInfo& b) { return a.name < b.name; });
    return lights;
}

void LightPicker::parseSelectedLights(const std::string& value) {
    unknown_.clear();
    for (LightInfo& light : lights_)
        light.selected = false;
    for (const std::string& name : splitNames(value)) {
        auto found = std::find_if(lights_.begin(), lights_.end(), [&](const LightInfo& l) { return l.name == name; });
        if (found != lights_.end())
            found->selected = true;
        else
            unknown_.push_back(name);
    }
}

std::string LightPicker::selectedLightsToString() const {
    std::string joined;
    auto add = [&](const std::string& name) { joined += (joined.empty() ? "" : ",") + name; };
    for (const LightInfo& light : lights_)
        if (light.selected)
            add(light.name);
    for (const std::string& name : unknown_)
        add(name);
    return joined;
}

void LightPicker::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                         const pugi::xml_node& definition) {
    const std::string& key = name;
    const std::string value = getAttributeValue(node, name, definition);
    // The list is taken again when the document changed, but never while the pop-up is open,
    // so that the rows stay where the user is clicking.
    const int version = context_ && context_->engine ? context_->engine->getSourceVersion() : -1;
    if (!isPickerOpen(key) && version != listedVersion_) {
        lights_ = collectAvailableLights();
        listedVersion_ = version;
    }
    parseSelectedLights(value);
    if (drawField(key, value, !unknown_.empty(), node)) {
        lights_ = collectAvailableLights();
        parseSelectedLights(value);
        searchBuffer_[0] = '\0';
    }
    if (!beginPickerPopup(key))
        return;
    drawSearchBar("##LightSearch", searchBuffer_, sizeof(searchBuffer_), "Search lights...");
    ImGui::BeginChild("##LightList", ImVec2(0, -bottomRowHeight()), true);
    if (lights_.empty()) {
        ImGui::TextDisabled("%s", kNoLights);
        ImGui::TextDisabled("%s", kNoLightsHint);
    } else if (ImGui::BeginTable("LightPickerTable", 3, ImGuiTableFlags_RowBg | ImGuiTableFlags_SizingStretchProp)) {
        ImGui::TableSetupColumn("Select", ImGuiTableColumnFlags_WidthFixed);
        ImGui::TableSetupColumn("Name");
        ImGui::TableSetupColumn("Type");
        ImGui::TableHeadersRow();
        for (LightInfo& light : lights_) {
            if (!matchesSearch(light.name, searchBuffer_))
                continue;
            ImGui::TableNextRow();
            ImGui::TableNextColumn();
            const std::string label = "##light_" + light.name;
            if (ImGui::Checkbox(label.c_str(), &light.selected))
                setValueAndUpdateLua("string", key, node, selectedLightsToString(), definition);
            record(label);
            ImGui::TableNextColumn();
            ImGui::TextUnformatted(light.name.c_str());
            ImGui::TableNextColumn();
            ImGui::TextDisabled("%s", light.type.c_str());
        }
        ImGui::EndTable();
    }
    ImGui::EndChild();
    drawPickerBottomButtons(key, node, definition, true, true, true);
    ImGui::EndPopup();
}

} // namespace Lumenda3D
