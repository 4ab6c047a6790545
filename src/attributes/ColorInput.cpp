#include "attributes/ColorInput.h"

#include <cstdio>

#include <imgui.h>

#include "base/LmdValueParser.h"

namespace Lumenda3D {

void ColorInput::toChannels(const std::string& value, float rgb[3]) {
    std::uint32_t packed = 0;
    if (!LmdValueParser::parseColor(value, packed))
        packed = 0;
    rgb[0] = float((packed >> 16) & 0xFF) / 255.0f;
    rgb[1] = float((packed >> 8) & 0xFF) / 255.0f;
    rgb[2] = float(packed & 0xFF) / 255.0f;
}

std::string ColorInput::fromChannels(const float rgb[3]) {
    auto channel = [](float c) {
        const float clamped = c < 0.0f ? 0.0f : (c > 1.0f ? 1.0f : c);
        return unsigned(clamped * 255.0f);
    };
    char text[16];
    std::snprintf(text, sizeof(text), "0x%02X%02X%02X", channel(rgb[0]), channel(rgb[1]), channel(rgb[2]));
    return text;
}

void ColorInput::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                        const pugi::xml_node& definition) {
    const std::string value = getAttributeValue(node, name, definition);
    const std::string id = widgetId(name, node);
    float rgb[3];
    toChannels(value, rgb);
    const std::string swatch = "##color_" + id;
    if (ImGui::ColorEdit3(swatch.c_str(), rgb, ImGuiColorEditFlags_NoInputs))
        setValueAndUpdateLua("color", name, node, fromChannels(rgb), definition);
    record(swatch);
    ImGui::SameLine(0, ImGui::GetStyle().ItemInnerSpacing.x);
    ImGui::PushItemWidth(ImGui::GetContentRegionAvail().x);
    attributeInputText(name, node, value, definition, "color");
    ImGui::PopItemWidth();
    drawFieldError(id);
}

} // namespace Lumenda3D
