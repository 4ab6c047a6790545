#include "attributes/OptionsPicker.h"

#include <algorithm>

#include <imgui.h>

namespace Lumenda3D {

std::vector<std::string> OptionsPicker::items(const pugi::xml_node& definition) {
    std::vector<std::string> list;
    if (!definition.attribute("required").as_bool(false))
        list.emplace_back();
    const std::string values = definition.attribute("values").as_string();
    if (values.empty() || values == "dynamic")
        return list;
    for (const std::string& item : splitValues(values))
        if (!item.empty())
            list.push_back(item);
    return list;
}

void OptionsPicker::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                           const pugi::xml_node& definition) {
    const std::string value = getAttributeValue(node, name, definition);
    const std::vector<std::string> list = items(definition);
    const bool known = std::find(list.begin(), list.end(), value) != list.end();
    const std::string id = "##" + widgetId(name, node);
    const std::string preview = known || value.empty() ? value : value + " (not allowed)";
    if (ImGui::BeginCombo(id.c_str(), preview.c_str())) {
        for (const std::string& item : list) {
            const bool selected = item == value;
            const std::string label = (item.empty() ? std::string(" ") : item) + "##" + item;
            if (ImGui::Selectable(label.c_str(), selected) && !selected) {
                if (item.empty())
                    removeValue(node, name);
                else
                    setValueAndUpdateLua("string", name, node, item, definition);
            }
            record(label);
            if (selected)
                ImGui::SetItemDefaultFocus();
        }
        ImGui::EndCombo();
    }
    record(id);
    if (!known && !value.empty()) {
        const std::string reason = refusal(node, name, definition, value, "");
        if (!reason.empty())
            ImGui::TextColored(ImVec4(1.0f, 0.45f, 0.35f, 1.0f), "%s", reason.c_str());
    }
}

} // namespace Lumenda3D
