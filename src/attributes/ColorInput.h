#pragma once
// A colour attribute, stored as text ("0xRRGGBB"; "#RRGGBB" and "RRGGBB" are read too, an empty
// value is black): a swatch that opens the colour picker, and the text form, which takes a
// colour typed in any of those forms and refuses other text. A colour edited with the picker is
// written in the "0x" form.
#include "attributes/AttributeRendererBase.h"

namespace Lumenda3D {

class ColorInput : public AttributeRendererBase {
public:
    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;

    // The channels 0..1 of a stored colour; black for text that is not a colour.
    static void toChannels(const std::string& value, float rgb[3]);
    // "0xRRGGBB" from channels 0..1, each truncated after scaling to 255.
    static std::string fromChannels(const float rgb[3]);
};

} // namespace Lumenda3D
