#pragma once
// A picker whose nature follows a sibling attribute: when the edited element's "var" is
// "PlayAnimation" it picks an animation, otherwise a variable. The choice is made in every frame,
// so the widget changes in the frame in which "var" changes.
#include "attributes/AnimationPicker.h"
#include "attributes/VarPicker.h"

namespace Lumenda3D {

class PickerByType : public PickerBase {
public:
    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;
    // The picker that draws the attribute of `node` now.
    SceneNodePicker& innerFor(const pugi::xml_node& node);

private:
    AnimationPicker animations_;
    VarPicker variables_;
};

} // namespace Lumenda3D
