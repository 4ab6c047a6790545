#pragma once
// A yes/no attribute: the stored text, a checkbox (on for "true" or "1") that writes "true" or
// "false", and "x", which removes the attribute so that the game's default applies.
#include "attributes/AttributeRendererBase.h"

namespace Lumenda3D {

class BooleanInput : public AttributeRendererBase {
public:
    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;
};

} // namespace Lumenda3D
