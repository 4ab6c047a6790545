#include "attributes/NumberInput.h"

#include <cmath>
#include <cstdio>

#include <imgui.h>

#include "base/LmdValueParser.h"

namespace Lumenda3D {

std::string NumberInput::format(double value) {
    char text[64];
    std::snprintf(text, sizeof(text), "%f", value);
    return text;
}

void NumberInput::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                         const pugi::xml_node& definition) {
    const std::string type = definition.attribute("type").as_string("number");
    const double step = definition.attribute("upDownStep").as_double(1.0);
    const std::string value = getAttributeValue(node, name, definition);
    double number = 0.0;
    if (!LmdValueParser::parseNumber(value, number))
        number = 0.0;
    const std::string id = widgetId(name, node);
    const float buttonWidth = ImGui::GetFrameHeight();
    const float spacing = ImGui::GetStyle().ItemInnerSpacing.x;

    const std::string minus = "-##" + id;
    if (ImGui::Button(minus.c_str(), ImVec2(buttonWidth, 0)))
        setValueAndUpdateLua(type, name, node, format(number - step), definition);
    record(minus);
    ImGui::SameLine(0, spacing);

    // The handle: dragging sideways moves the value from where the drag began, so that the
    // value follows the pointer exactly and one drag is one run of writes (one undo step).
    const std::string handle = "<>##drag_" + id;
    ImGui::Button(handle.c_str(), ImVec2(buttonWidth, 0));
    record(handle);
    if (ImGui::IsItemHovered() || ImGui::IsItemActive())
        ImGui::SetMouseCursor(ImGuiMouseCursor_ResizeEW);
    if (ImGui::IsItemActivated()) {
        dragId_ = id;
        dragStartValue_ = number;
    }
    if (ImGui::IsItemActive() && dragId_ == id) {
        const float dx = ImGui::GetMouseDragDelta(ImGuiMouseButton_Left, 0.0f).x;
        const double dragged = dragStartValue_ + std::round(dx / kDragPixelsPerStep) * step;
        if (dragged != number)
            setValueAndUpdateLua(type, name, node, format(dragged), definition);
    }
    if (ImGui::IsItemDeactivated() && dragId_ == id)
        dragId_.clear();
    ImGui::SameLine(0, spacing);

    const float fieldWidth = ImGui::GetContentRegionAvail().x - buttonWidth - spacing;
    ImGui::PushItemWidth(fieldWidth > 1.0f ? fieldWidth : 1.0f);
    attributeInputText(name, node, value, definition, type);
    ImGui::PopItemWidth();
    ImGui::SameLine(0, spacing);
    const std::string plus = "+##" + id;
    if (ImGui::Button(plus.c_str(), ImVec2(buttonWidth, 0)))
        setValueAndUpdateLua(type, name, node, format(number + step), definition);
    record(plus);
    drawFieldError(id);
}

} // namespace Lumenda3D
