#pragma once
// A panel test for pickers: the panel on a game document, clicks on its widgets, and a look at
// which picker pop-up is open and what it lists.
#include "AttributesTestSupport.h"
#include "PanelTestSupport.h"
#include "TestDataRoot.h"

#include "attributes/PickerBase.h"
#include "attributes/SceneNodePicker.h"

#include <string>
#include <vector>

namespace Lumenda3D::test {

class PickerTest : public PanelTest {
protected:
    explicit PickerTest(const char* xml) : scene(xml, ui) {}

    void frames(int count = 2) {
        for (int i = 0; i < count; ++i)
            scene.frame();
    }
    void clickWidget(const std::string& label) { clickItem(*scene.panel, label, [this] { scene.panel->draw(); }); }
    // The renderer of the shown element's attribute.
    AttributeRendererBase* rendererOf(const std::string& attribute) {
        return scene.panel->rendererFor(
            attributesSchemaParser().getCodeSchema()->getAttribute(scene.panel->getNode().name(), attribute));
    }
    // Opens the picker of `attribute` and returns what it lists.
    std::vector<std::string> open(const std::string& attribute) {
        clickWidget("...##" + attribute);
        frames();
        auto* picker = dynamic_cast<SceneNodePicker*>(rendererOf(attribute));
        return picker ? picker->getItems() : std::vector<std::string>{"<not a list picker>"};
    }
    bool popupOpen(const std::string& attribute) {
        ImGuiContext& g = *ImGui::GetCurrentContext();
        for (const ImGuiPopupData& popup : g.OpenPopupStack)
            if (popup.Window && std::string(popup.Window->Name).find(PickerBase::popupId(attribute)) != std::string::npos)
                return true;
        return false;
    }

    TestDataRoot root;
    AttributesScene scene;
};

} // namespace Lumenda3D::test
