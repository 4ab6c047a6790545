#include "attributes/ButtonInput.h"

#include <imgui.h>

#include <OgreSceneNode.h>

#include "attributes/NumberInput.h"
#include "engine/Lumenda3DEngine.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/scene/LmdEulerHelper.h"

namespace Lumenda3D {

ButtonInput::ButtonInput() {
    actions_["useCurrentPosition"] = [](ButtonInput& input, const std::string& name, pugi::xml_node& node,
                                        const pugi::xml_node& definition) {
        const std::string caption = definition.attribute("en_caption").as_string(name.c_str());
        const std::string label = caption + "##btn_" + widgetId(name, node);
        if (ImGui::Button(label.c_str(), ImVec2(-1.0f, 0)))
            input.useCurrentPosition(node);
        input.record(label);
    };
}

void ButtonInput::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                         const pugi::xml_node& definition) {
    const auto found = actions_.find(name);
    if (found != actions_.end())
        found->second(*this, name, node, definition);
}

void ButtonInput::useCurrentPosition(pugi::xml_node& node) {
    Lumenda3DEngine* engine = context_ ? context_->engine : nullptr;
    if (!engine || !engine->getCameraNode() || !node)
        return;
    const Ogre::Vector3 position = engine->getCameraNode()->_getDerivedPosition();
    float rx = 0, ry = 0, rz = 0;
    LmdEulerHelper::decomposeYXZ(engine->getCameraNode()->_getDerivedOrientation(), rx, ry, rz);
    const std::pair<const char*, float> values[] = {{"x", position.x},   {"y", position.y},   {"z", position.z},
                                                    {"rotationX", rx}, {"rotationY", ry}, {"rotationZ", rz}};
    const int id = node.attribute("id").as_int(0);
    LmdSourceFiles* files = engine->sourceFiles;
    if (files)
        files->beginEditGroup();
    for (const auto& [attribute, value] : values) {
        const std::string text = NumberInput::format(value);
        if (files)
            files->setAttribute(node, attribute, text);
        else
            (node.attribute(attribute) ? node.attribute(attribute) : node.append_attribute(attribute)).set_value(text.c_str());
    }
    if (files)
        files->endEditGroup();
    for (const auto& [attribute, value] : values)
        engine->updateLuaAttribute(id, attribute, NumberInput::format(value), "number");
}

} // namespace Lumenda3D
