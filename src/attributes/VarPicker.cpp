#include "attributes/VarPicker.h"

#include <set>

#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {

VarPicker::VarPicker() : SceneNodePicker("", "", "Search variables...", "") {}

std::vector<std::string> VarPicker::collectNames(pugi::xml_node& node, const pugi::xml_node&) {
    std::set<std::string> commands;
    if (context_ && context_->schema)
        for (const pugi::xml_node& command : context_->schema->getVarPickerCommands())
            commands.insert(command.attribute("name").as_string());
    std::set<std::string> names;
    for (pugi::xml_node scope = node; scope && scope.type() == pugi::node_element; scope = scope.parent())
        for (const pugi::xml_node& child : scope.children())
            if (commands.count(child.name())) {
                const std::string name = child.attribute("name").as_string();
                if (!name.empty())
                    names.insert(name);
            }
    return {names.begin(), names.end()};
}

} // namespace Lumenda3D
