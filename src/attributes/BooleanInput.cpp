#include "attributes/BooleanInput.h"

#include <cstring>

#include <imgui.h>

namespace Lumenda3D {

void BooleanInput::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                          const pugi::xml_node& definition) {
    const std::string value = getAttributeValue(node, name, definition);
    const std::string id = widgetId(name, node);
    char shown[32];
    std::strncpy(shown, value.c_str(), sizeof(shown) - 1);
    shown[sizeof(shown) - 1] = '\0';
    ImGui::PushItemWidth(ImGui::CalcTextSize("false").x + ImGui::GetStyle().FramePadding.x * 2);
    ImGui::InputText(("##val_" + id).c_str(), shown, sizeof(shown), ImGuiInputTextFlags_ReadOnly);
    ImGui::PopItemWidth();
    ImGui::SameLine();
    bool checked = value == "true" || value == "1";
    const std::string check = "##chk_" + id;
    if (ImGui::Checkbox(check.c_str(), &checked))
        setValueAndUpdateLua("boolean", name, node, checked ? "true" : "false", definition);
    record(check);
    ImGui::SameLine();
    const std::string remove = "x##del_" + id;
    if (ImGui::SmallButton(remove.c_str()))
        removeValue(node, name);
    record(remove);
}

} // namespace Lumenda3D
