#pragma once
// An attribute with a long fixed list of values (more than 12): the list in a searchable pop-up.
#include "attributes/SceneNodePicker.h"

namespace Lumenda3D {

class ValuesDialogPicker : public SceneNodePicker {
public:
    ValuesDialogPicker();
    std::vector<std::string> collectNames(pugi::xml_node& node, const pugi::xml_node& definition) override;
};

} // namespace Lumenda3D
