#include "core/LmdEditorAssetAccess.h"

#include <OgreEntity.h>
#include <OgreSceneNode.h>

#include "core/Lumenda3DEditor.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/ScriptParser.h"
#include "engine/schema/CodeSchema.h"
#include "services/AuthenticationManager.h"

namespace Lumenda3D {

namespace {
constexpr const char* kPreviewSound = "__assetLibraryPreview";
}

pugi::xml_document* LmdEditorAssetAccess::getSourceXml() { return editor_->getSourceXml(); }

std::string LmdEditorAssetAccess::createBlock(const std::string& command,
                                              const std::map<std::string, std::string>& attributes) {
    return editor_->createBlock(command, attributes);
}

std::string LmdEditorAssetAccess::getNextAutoName(const std::string& base) {
    return editor_->sourceFiles ? editor_->sourceFiles->getNextAutoName(base) : base;
}

pugi::xml_node LmdEditorAssetAccess::getXmlNodeById(int xmlId) { return editor_->getXmlNodeById(xmlId); }

void LmdEditorAssetAccess::setAttribute(int xmlId, const std::string& attribute, const std::string& value) {
    pugi::xml_node node = editor_->getXmlNodeById(xmlId);
    if (!node || !editor_->sourceFiles)
        return;
    editor_->sourceFiles->setAttribute(node, attribute.c_str(), value);
    editor_->updateLuaAttribute(xmlId, attribute, value, "string");
}

void LmdEditorAssetAccess::updateLuaAttribute(int xmlId, const std::string& attribute, const std::string& value) {
    editor_->updateLuaAttribute(xmlId, attribute, value, "string");
}

void LmdEditorAssetAccess::beginEditGroup() {
    if (editor_->sourceFiles)
        editor_->sourceFiles->beginEditGroup();
}

void LmdEditorAssetAccess::endEditGroup() {
    if (editor_->sourceFiles)
        editor_->sourceFiles->endEditGroup();
}

std::vector<std::pair<std::string, std::string>> LmdEditorAssetAccess::attributesOf(const std::string& command) {
    std::vector<std::pair<std::string, std::string>> attributes;
    std::shared_ptr<ScriptParser> parser = editor_->getScriptParser();
    if (CodeSchema* schema = parser ? parser->getCodeSchema() : nullptr)
        for (const pugi::xml_node& attribute : schema->getAttributes(command))
            attributes.emplace_back(attribute.attribute("name").value(), attribute.attribute("type").value());
    return attributes;
}

bool LmdEditorAssetAccess::commandSupportsTexture(const std::string& command) {
    std::shared_ptr<ScriptParser> parser = editor_->getScriptParser();
    CodeSchema* schema = parser ? parser->getCodeSchema() : nullptr;
    return schema && schema->getAttribute(command, "texture");
}

void LmdEditorAssetAccess::convert2DTo3D(ImVec2 screen, float& x, float& y, float& z) {
    const Ogre::Vector3 point = editor_->convert2DTo3D(screen);
    x = point.x;
    y = point.y;
    z = point.z;
}

int LmdEditorAssetAccess::objectUnderScreenPoint(ImVec2 screen) {
    const std::vector<Ogre::Entity*> entities =
        editor_->getEntitiesUnderScreenPoint(static_cast<int>(screen.x), static_cast<int>(screen.y));
    if (entities.empty() || !entities.front())
        return -1;
    const std::string name = entities.front()->getName();
    for (LmdBase3D* object : editor_->getObjectList())
        if (object && object->getEntityName() == name)
            return object->getXmlId();
    return -1;
}

int LmdEditorAssetAccess::wholeModelOf(int xmlId) {
    LmdBase3D* object = editor_->getObjByXmlId(xmlId);
    if (!object || !object->getParent())
        return -1;
    while (object->getParent())
        object = object->getParent();
    return object->getXmlId();
}

void LmdEditorAssetAccess::showBoundingBox(int xmlId, bool on) {
    if (LmdBase3D* object = editor_->getObjByXmlId(xmlId))
        if (Ogre::SceneNode* node = object->getNode())
            node->showBoundingBox(on);
}

void LmdEditorAssetAccess::refreshLocalAssets() { editor_->refreshLocalAssets(); }

bool LmdEditorAssetAccess::isOverScene(ImVec2) {
    // Over the 3D view is where no panel is; the pressed cell does not count as hovering.
    return ImGui::GetCurrentContext() &&
           !ImGui::IsWindowHovered(ImGuiHoveredFlags_AnyWindow | ImGuiHoveredFlags_AllowWhenBlockedByActiveItem |
                                   ImGuiHoveredFlags_AllowWhenBlockedByPopup);
}

void LmdEditorAssetAccess::showToast(const std::string& text) { editor_->showToast(text, 3.0f); }

void LmdEditorAssetAccess::showError(const std::string& text) { editor_->showErrorMessage(text); }

void LmdEditorAssetAccess::runInBackground(std::function<void()> work, std::function<void()> done) {
    editor_->runInBackground("assets", std::move(work), std::move(done));
}

bool LmdEditorAssetAccess::previewSound(const std::string& path) {
    LmdSoundSystem& sound = editor_->getSound();
    sound.unload(kPreviewSound);
    if (path.empty())
        return true;
    LmdSoundSystem::SoundDeclaration declaration;
    declaration.name = kPreviewSound;
    declaration.fileName = path;
    declaration.path = path;
    return sound.load(declaration) && sound.play(kPreviewSound);
}

std::vector<std::string> LmdEditorAssetAccess::takeDroppedFiles() { return editor_->takeDroppedFiles(); }

bool LmdEditorAssetAccess::isLoggedIn() { return AuthenticationManager::getInstance().isAuthenticated(); }

} // namespace Lumenda3D
