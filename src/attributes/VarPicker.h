#pragma once
// The picker of a variable: the names of the declarations (the schema's variable commands, Var
// and Array) in scope of the edited element: those standing directly in the element itself or in
// any of its ancestors, up to the document's top (the game's globals).
#include "attributes/SceneNodePicker.h"

namespace Lumenda3D {

class VarPicker : public SceneNodePicker {
public:
    VarPicker();
    std::vector<std::string> collectNames(pugi::xml_node& node, const pugi::xml_node& definition) override;
};

} // namespace Lumenda3D
