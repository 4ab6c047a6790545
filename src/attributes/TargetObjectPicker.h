#pragma once
// Pickers of the game's objects by name: the 3D objects (and with `include2D` the 2D elements),
// with "Camera" first when `includeCamera`; the collision picker lists 3D and 2D objects. What
// counts as an object is the schema's category of the element.
#include "attributes/SceneNodePicker.h"

namespace Lumenda3D {

class TargetObjectPicker : public SceneNodePicker {
public:
    TargetObjectPicker(bool includeCamera, bool include2D);
    std::vector<std::string> collectNames(pugi::xml_node& node, const pugi::xml_node& definition) override;

private:
    bool includeCamera_;
    bool include2D_;
};

class CollisionPicker : public SceneNodePicker {
public:
    CollisionPicker();
    std::vector<std::string> collectNames(pugi::xml_node& node, const pugi::xml_node& definition) override;
};

// The names of the elements of the categories "3D Models" (and "2D Models" with `include2D`),
// unique, in byte order.
std::vector<std::string> collectObjectNames(const pugi::xml_node& root, const CodeSchema* schema, bool include2D);

} // namespace Lumenda3D
