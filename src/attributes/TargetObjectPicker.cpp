#include "attributes/TargetObjectPicker.h"

#include <set>

#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {

std::vector<std::string> collectObjectNames(const pugi::xml_node& root, const CodeSchema* schema, bool include2D) {
    std::set<std::string> names;
    if (!root || !schema)
        return {};
    for (const pugi::xpath_node& hit : root.select_nodes("//*[@name]")) {
        const std::string category = schema->getCommandCategory(hit.node().name());
        if (category == "3D Models" || (include2D && category == "2D Models")) {
            const std::string name = hit.node().attribute("name").as_string();
            if (!name.empty())
                names.insert(name);
        }
    }
    return {names.begin(), names.end()};
}

TargetObjectPicker::TargetObjectPicker(bool includeCamera, bool include2D)
    : SceneNodePicker("", "", "Search objects...", ""), includeCamera_(includeCamera), include2D_(include2D) {}

std::vector<std::string> TargetObjectPicker::collectNames(pugi::xml_node&, const pugi::xml_node&) {
    std::vector<std::string> names = collectObjectNames(documentRoot(), context_ ? context_->schema : nullptr, include2D_);
    if (includeCamera_)
        names.insert(names.begin(), "Camera");
    return names;
}

CollisionPicker::CollisionPicker() : SceneNodePicker("", "", "Search objects...", "") {}

std::vector<std::string> CollisionPicker::collectNames(pugi::xml_node&, const pugi::xml_node&) {
    return collectObjectNames(documentRoot(), context_ ? context_->schema : nullptr, true);
}

} // namespace Lumenda3D
