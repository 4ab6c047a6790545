#include "attributes/AnimationPicker.h"

#include <algorithm>

#include "base/LmdValueParser.h"

namespace Lumenda3D {

namespace {

bool isModel(const pugi::xml_node& node) {
    const std::string name = LmdValueParser::toLower(node.name());
    return name == "model" || name == "character";
}

void addOnce(std::vector<std::string>& names, const std::string& name) {
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
        names.push_back(name);
}

} // namespace

AnimationPicker::AnimationPicker() : SceneNodePicker("", "", "Search animations...", "") {}

void AnimationPicker::collectFromNearestModel(const pugi::xml_node& node, std::vector<std::string>& names) const {
    pugi::xml_node model = node;
    while (model && model.type() == pugi::node_element && !isModel(model))
        model = model.parent();
    if (!model || model.type() != pugi::node_element) {
        // A block in an event list names its model instead of standing in it.
        const std::string target = node.attribute("target").as_string();
        const pugi::xml_node root = documentRoot();
        model = {};
        if (!target.empty() && root)
            for (const pugi::xpath_node& hit : root.select_nodes("//*[@name]"))
                if (isModel(hit.node()) && target == hit.node().attribute("name").as_string()) {
                    model = hit.node();
                    break;
                }
    }
    if (model)
        for (const pugi::xpath_node& hit : model.select_nodes(".//Animation[@name]"))
            addOnce(names, hit.node().attribute("name").as_string());
}

std::vector<std::string> AnimationPicker::collectNames(pugi::xml_node& node, const pugi::xml_node&) {
    std::vector<std::string> names;
    if (!node)
        return names;
    collectFromNearestModel(node, names);
    for (const pugi::xpath_node& hit : node.select_nodes(".//LoadAnimation//*[@name]"))
        addOnce(names, hit.node().attribute("name").as_string());
    return names;
}

} // namespace Lumenda3D
