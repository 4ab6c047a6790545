#pragma once
// The picker of several lights at once: the attribute holds their names joined by ",". The pop-up
// lists the document's point, directional and spot lights by name with their kind, each with a
// checkbox that writes the new list at once (the scene follows while the pop-up stays open);
// "Cancel" puts back the list as it was at opening. Names in the value that the document does not
// hold are kept, and the field marks them as missing.
#include "attributes/PickerBase.h"

namespace Lumenda3D {

class LightPicker : public PickerBase {
public:
    static constexpr const char* kNoLights = "No lights found in scene.";
    static constexpr const char* kNoLightsHint =
        "Add PointLight, DirectionalLight, or SpotLight blocks to your scene.";

    struct LightInfo {
        std::string name;
        std::string type;
        bool selected = false;
    };

    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;

    // The document's lights, sorted by name, none selected.
    std::vector<LightInfo> collectAvailableLights() const;
    // Marks the lights named in `value`; names not listed are kept aside for the joined value.
    void parseSelectedLights(const std::string& value);
    // The selected names in list order, then the kept unknown ones, joined by ",".
    std::string selectedLightsToString() const;
    const std::vector<LightInfo>& getLights() const { return lights_; }

private:
    std::vector<LightInfo> lights_;
    std::vector<std::string> unknown_;
    char searchBuffer_[128] = {};
    int listedVersion_ = -2;
};

} // namespace Lumenda3D
