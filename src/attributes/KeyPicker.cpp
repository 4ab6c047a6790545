#include "attributes/KeyPicker.h"

#include <algorithm>

#include <imgui.h>

#include "engine/app/LmdKeyNames.h"

namespace Lumenda3D {

std::vector<std::string> KeyPicker::keyNames(const pugi::xml_node& definition) {
    const std::string values = definition.attribute("values").as_string();
    if (!values.empty() && values != "dynamic")
        return splitValues(values);
    // Without a list in the schema: the names the game's input knows (the game compares them
    // in lower case), then the letters and digits.
    std::vector<std::string> keys;
    for (const auto& [keyName, code] : LmdKeyNames::namedKeys())
        keys.push_back(keyName);
    for (char c = 'a'; c <= 'z'; ++c)
        keys.emplace_back(1, c);
    for (char c = '0'; c <= '9'; ++c)
        keys.emplace_back(1, c);
    return keys;
}

void KeyPicker::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                       const pugi::xml_node& definition) {
    const std::string& key = name;
    const std::string value = getAttributeValue(node, name, definition);
    const std::vector<std::string> known = keyNames(definition);
    const bool missing = !value.empty() && std::find(known.begin(), known.end(), value) == known.end();
    if (drawField(key, value, missing, node)) {
        keys_ = known;
        searchBuffer_[0] = '\0';
    }
    if (!beginPickerPopup(key))
        return;
    drawSearchBar("##KeySearch", searchBuffer_, sizeof(searchBuffer_), "Search keys...");
    if (const auto chosen = drawChoiceList("##KeyList", keys_, value, searchBuffer_, kNoKeys)) {
        choose(key, node, definition, *chosen);
        ImGui::EndPopup();
        return;
    }
    drawPickerBottomButtons(key, node, definition, false, true, true);
    ImGui::EndPopup();
}

} // namespace Lumenda3D
