#pragma once
// An action button in the attribute panel. The attribute names an action (the schema's "button"
// type); the panel runs the action of that name, and draws nothing for a name it does not know.
#include <functional>
#include <unordered_map>

#include "attributes/AttributeRendererBase.h"

namespace Lumenda3D {

class ButtonInput : public AttributeRendererBase {
public:
    // What a button does: it draws itself and acts on a click.
    using Action = std::function<void(ButtonInput& input, const std::string& name, pugi::xml_node& node,
                                      const pugi::xml_node& definition)>;

    ButtonInput();
    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;

    // Puts the camera element `node` where the editor's view is: x, y, z and rotationX/Y/Z from
    // the editor camera, written as one undo step and sent to the live scene. Nothing without an
    // engine or a camera.
    void useCurrentPosition(pugi::xml_node& node);

private:
    std::unordered_map<std::string, Action> actions_;
};

} // namespace Lumenda3D
