#pragma once
// The picker of a keyboard key: a searchable list of the key names the game understands (the
// attribute's "values" in the schema, or the named keys, letters and digits of the game's input
// when it has none). A click
// writes the key and closes; "Clear" and "Cancel" as in every picker.
#include "attributes/PickerBase.h"

namespace Lumenda3D {

class KeyPicker : public PickerBase {
public:
    static constexpr const char* kNoKeys = "No keys to choose from.";

    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;
    // The keys offered for an attribute of this definition.
    static std::vector<std::string> keyNames(const pugi::xml_node& definition);

private:
    std::vector<std::string> keys_;
    char searchBuffer_[64] = {};
};

} // namespace Lumenda3D
