#include "attributes/StringInput.h"

namespace Lumenda3D {

void StringInput::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                         const pugi::xml_node& definition) {
    const std::string value = getAttributeValue(node, name, definition);
    if (name == "text")
        attributeInputTextMultiline(name, node, value, definition, "string");
    else
        attributeInputText(name, node, value, definition, "string");
}

} // namespace Lumenda3D
