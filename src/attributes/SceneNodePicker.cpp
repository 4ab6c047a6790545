#include "attributes/SceneNodePicker.h"

#include <algorithm>
#include <set>

#include <imgui.h>

#include "engine/Lumenda3DEngine.h"
#include "engine/editing/LmdSourceFiles.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {

SceneNodePicker::SceneNodePicker(std::string blockName, std::string addCaption, std::string searchHint,
                                 std::string xpath)
    : blockName_(std::move(blockName)),
      addCaption_(std::move(addCaption)),
      searchHint_(std::move(searchHint)),
      xpath_(std::move(xpath)) {}

pugi::xml_node SceneNodePicker::documentRoot() const {
    if (!context_ || !context_->engine || !context_->engine->getSourceXml())
        return {};
    return *context_->engine->getSourceXml();
}

std::vector<std::string> SceneNodePicker::collectNames(pugi::xml_node&, const pugi::xml_node&) {
    std::set<std::string> names;
    const pugi::xml_node root = documentRoot();
    if (root && !xpath_.empty())
        for (const pugi::xpath_node& hit : root.select_nodes(xpath_.c_str())) {
            const std::string name = hit.node().attribute("name").as_string();
            if (!name.empty())
                names.insert(name);
        }
    return {names.begin(), names.end()};
}

bool SceneNodePicker::isKnown(const std::string& value, pugi::xml_node& node, const pugi::xml_node& definition) {
    if (!context_ || !context_->engine)
        return true;
    const int version = context_->engine->getSourceVersion();
    if (version != knownVersion_ || knownNode_ != node.internal_object()) {
        known_ = collectNames(node, definition);
        knownVersion_ = version;
        knownNode_ = node.internal_object();
    }
    return std::find(known_.begin(), known_.end(), value) != known_.end();
}

void SceneNodePicker::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                             const pugi::xml_node& definition) {
    const std::string& key = name;
    const std::string value = getAttributeValue(node, name, definition);
    const bool missing = !value.empty() && !isKnown(value, node, definition);
    if (drawField(key, value, missing, node)) {
        items_ = collectNames(node, definition);
        searchBuffer_[0] = '\0';
    }

    if (!beginPickerPopup(key))
        return;
    drawSearchBar("##pickerSearch", searchBuffer_, sizeof(searchBuffer_), searchHint_.c_str());
    if (const auto chosen = drawChoiceList("##SceneNodeList", items_, value, searchBuffer_, kNoItems)) {
        choose(key, node, definition, *chosen);
        ImGui::EndPopup();
        return;
    }
    drawPickerBottomButtons(key, node, definition, true, true, true,
                            blockName_.empty() ? std::function<void()>()
                                               : [&] { drawAddButton(key, node, definition); });
    ImGui::EndPopup();
}

void SceneNodePicker::drawAddButton(const std::string& key, pugi::xml_node& node, const pugi::xml_node& definition) {
    const std::string label = (addCaption_.empty() ? std::string("Add") : addCaption_) + "##add_" + key;
    const bool pressed = ImGui::Button(label.c_str(), ImVec2(BaseUI::scaled(80.0f), 0));
    record(label);
    if (!pressed || !context_ || !context_->createBlock)
        return;
    // The new element gets a free name of its kind ("SkyBox1"), which becomes the value.
    LmdSourceFiles* files = context_->engine ? context_->engine->sourceFiles : nullptr;
    const std::string newName = files ? files->getNextAutoName(blockName_) : blockName_;
    if (!context_->createBlock(blockName_, {{"name", newName}}).empty())
        setValueAndUpdateLua("string", key, node, newName, definition);
    closePicker(key);
}

} // namespace Lumenda3D
