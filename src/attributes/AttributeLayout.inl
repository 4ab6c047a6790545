// The renderer choice of AttributeLayout.h, a template so that the panel and its tests give
// their own tables.
#include <string>

namespace Lumenda3D::AttributeLayout {

size_t countValues(const std::string& values);

template <typename HasType, typename HasNamed>
std::string chooseRenderer(const pugi::xml_node& definition, HasType hasType, HasNamed hasNamed) {
    const std::string name = definition.attribute("name").as_string();
    const std::string type = definition.attribute("type").as_string();
    const std::string values = definition.attribute("values").as_string();
    const bool fileType = type == "soundFilePicker" || type == "animationFilePicker" || type == "pluginFilePicker";
    std::string chosen;
    if (fileType && hasType(type))
        chosen = type;
    else if (hasNamed(name))
        chosen = "name:" + name;
    if (!values.empty() && values != "dynamic") {
        if (!chosen.empty())
            return chosen;
        return countValues(values) > 12 ? "valuesDialogPicker" : "optionsPicker";
    }
    if (!chosen.empty())
        return chosen;
    return hasType(type) ? type : "string";
}

} // namespace Lumenda3D::AttributeLayout
