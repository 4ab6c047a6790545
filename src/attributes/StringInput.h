#pragma once
// A text attribute: one line, or four lines for the attribute "text" (what a 2D text shows).
#include "attributes/AttributeRendererBase.h"

namespace Lumenda3D {

class StringInput : public AttributeRendererBase {
public:
    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;
};

} // namespace Lumenda3D
