#pragma once
// The picker of a level's fog: the document's Fog elements by name, with their mode, in a
// searchable table. A click writes the name and closes.
#include "attributes/PickerBase.h"

namespace Lumenda3D {

class FogPicker : public PickerBase {
public:
    static constexpr const char* kNoFogs = "No Fog blocks found in scene.";
    static constexpr const char* kNoFogsHint = "Add a Fog block to your scene first.";

    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;

    struct FogInfo {
        std::string name;
        std::string mode;
    };
    // The named Fog elements of the document, each name once, sorted.
    std::vector<FogInfo> collectAvailableFogs() const;
    const std::vector<FogInfo>& getFogs() const { return fogs_; }

private:
    std::vector<FogInfo> fogs_;
    char searchBuffer_[128] = {};
    int knownVersion_ = -2;
    std::vector<FogInfo> known_;
};

} // namespace Lumenda3D
