#include "attributes/PickerByType.h"

namespace Lumenda3D {

SceneNodePicker& PickerByType::innerFor(const pugi::xml_node& node) {
    SceneNodePicker& inner = std::string(node.attribute("var").as_string()) == "PlayAnimation"
                                 ? static_cast<SceneNodePicker&>(animations_)
                                 : static_cast<SceneNodePicker&>(variables_);
    // The panel may have given this picker another context (a new engine) since.
    inner.setContext(context_);
    return inner;
}

void PickerByType::render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                          const pugi::xml_node& definition) {
    innerFor(node).render(name, attribute, node, definition);
}

} // namespace Lumenda3D
