#include "attributes/ValuesDialogPicker.h"

namespace Lumenda3D {

ValuesDialogPicker::ValuesDialogPicker() : SceneNodePicker("", "", "Search...", "") {}

std::vector<std::string> ValuesDialogPicker::collectNames(pugi::xml_node&, const pugi::xml_node& definition) {
    std::vector<std::string> items;
    for (const std::string& item : splitValues(definition.attribute("values").as_string()))
        if (!item.empty())
            items.push_back(item);
    return items;
}

} // namespace Lumenda3D
