#pragma once
// An attribute with a short fixed list of values ("values" of 12 items or fewer): a drop-down
// list. Unless the definition says "required", an empty item comes first, so that the attribute
// can be unset. A value in the document that is not in the list (written by hand or by an older
// version) is shown as it is, marked, with the game language's reason underneath; choosing an
// item replaces it.
#include "attributes/AttributeRendererBase.h"

namespace Lumenda3D {

class OptionsPicker : public AttributeRendererBase {
public:
    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;

    // The items the list offers, the empty one included when the attribute may be unset.
    static std::vector<std::string> items(const pugi::xml_node& definition);
};

} // namespace Lumenda3D
