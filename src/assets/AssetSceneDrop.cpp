#include "assets/AssetSceneDrop.h"

#include <OgreStringConverter.h>

#include "assets/AssetLibraryHost.h"
#include "base/LmdLog.h"

namespace Lumenda3D {

namespace {

std::string number(float value) { return Ogre::StringConverter::toString(value, 6); }

int parseId(const std::string& text, const char* what) {
    try {
        size_t used = 0;
        const int id = std::stoi(text, &used);
        if (used != text.size())
            throw std::invalid_argument("trailing characters in '" + text + "'");
        return id;
    } catch (const std::exception& e) {
        LmdLog::message(std::string(what) + e.what());
        return -1;
    }
}

} // namespace

int AssetSceneDrop::findTextureTarget(ImVec2 screen) {
    if (!host_)
        return -1;
    const int xmlId = host_->objectUnderScreenPoint(ImVec2(static_cast<float>(static_cast<int>(screen.x)),
                                                          static_cast<float>(static_cast<int>(screen.y))));
    if (xmlId < 0)
        return -1;
    pugi::xml_node node = host_->getXmlNodeById(xmlId);
    if (!node || !host_->commandSupportsTexture(node.name()))
        return -1;
    return xmlId;
}

void AssetSceneDrop::highlight(int xmlId) {
    if (!host_)
        return;
    if (xmlId == highlighted_)
        return;
    if (highlighted_ >= 0)
        host_->showBoundingBox(highlighted_, false);
    if (xmlId >= 0)
        host_->showBoundingBox(xmlId, true);
    highlighted_ = xmlId;
}

void AssetSceneDrop::updateTextureDropTarget(ImVec2 screen) {
    if (!host_)
        return;
    int target = findTextureTarget(screen);
    if (target >= 0 && applyToWholeModel_) {
        const int whole = host_->wholeModelOf(target);
        if (whole >= 0)
            target = whole;
    }
    highlight(target);
    targetXmlId_ = target;
    pugi::xml_node node = target >= 0 ? host_->getXmlNodeById(target) : pugi::xml_node();
    targetName_ = node ? node.attribute("name").value() : "";
}

void AssetSceneDrop::endDrag() {
    highlight(-1);
    targetXmlId_ = -1;
    targetName_.clear();
}

int AssetSceneDrop::dropAssetIntoScene(const Dragged& asset, ImVec2 screen) {
    if (!host_)
        return -1;
    if (asset.kind == Kind::Texture || asset.kind == Kind::Material) {
        updateTextureDropTarget(screen);
        const int target = targetXmlId_;
        int changed = -1;
        if (target >= 0) {
            // The material made and the objects given it are one undo step.
            host_->beginEditGroup();
            const std::string material =
                asset.kind == Kind::Material ? asset.name : reuseOrCreateMaterial(asset.reference);
            if (!material.empty()) {
                applyDroppedMaterial(material);
                changed = target;
            }
            host_->endEditGroup();
        }
        endDrag();
        return changed;
    }
    if (asset.kind == Kind::Model) {
        float x = 0, y = 0, z = 0;
        host_->convert2DTo3D(screen, x, y, z);
        const std::string id = host_->createBlock(
            "Model", {{"fileName", asset.reference}, {"x", number(x)}, {"y", number(y)}, {"z", number(z)}});
        if (id.empty())
            return -1;
        const int xmlId = parseId(id, "AssetLibraryPanel: failed to parse block id: ");
        if (xmlId >= 0)
            // The model is read by now: sending its file again lets the engine fit its scale.
            host_->updateLuaAttribute(xmlId, "fileName", asset.reference);
        return xmlId;
    }
    // A sound is loaded once per game: a second drop of the same file makes nothing new.
    pugi::xml_document* document = host_->getSourceXml();
    if (!document)
        return -1;
    for (const pugi::xpath_node& hit : document->select_nodes("//LoadSound"))
        if (asset.reference == hit.node().attribute("fileName").value())
            return hit.node().attribute("id").as_int(-1);
    const std::string id =
        host_->createBlock("LoadSound", {{"name", host_->getNextAutoName("sound")}, {"fileName", asset.reference}});
    return id.empty() ? -1 : parseId(id, "AssetLibraryPanel: failed to parse block id: ");
}

std::string AssetSceneDrop::findMaterialNameByPicture(const std::string& picture) {
    if (!host_)
        return "";
    pugi::xml_document* document = host_->getSourceXml();
    if (!document)
        return "";
    for (const pugi::xpath_node& hit : document->select_nodes("//Material"))
        if (picture == hit.node().attribute("picture").value())
            return hit.node().attribute("name").value();
    return "";
}

std::string AssetSceneDrop::reuseOrCreateMaterial(const std::string& picture) {
    if (!host_)
        return "";
    const std::string found = findMaterialNameByPicture(picture);
    if (!found.empty())
        return found;
    const std::string name = host_->getNextAutoName("material");
    const std::string id = host_->createBlock("Material", {{"name", name}, {"picture", picture}});
    if (id.empty() || parseId(id, "AssetLibraryPanel: failed to parse material block id: ") < 0)
        return "";
    return name;
}

void AssetSceneDrop::applyMaterialToObject(int xmlId, const std::string& material) {
    if (host_ && host_->getXmlNodeById(xmlId))
        host_->setAttribute(xmlId, "texture", material);
}

void AssetSceneDrop::applyMaterialToObjectAndChildren(pugi::xml_node node, const std::string& material) {
    if (!node || !host_)
        return;
    if (host_->commandSupportsTexture(node.name()))
        applyMaterialToObject(node.attribute("id").as_int(-1), material);
    for (pugi::xml_node child : node.children())
        if (child.type() == pugi::node_element)
            applyMaterialToObjectAndChildren(child, material);
}

void AssetSceneDrop::applyMaterialTo(int xmlId, const std::string& material) {
    if (xmlId < 0 || !host_)
        return;
    if (applyToWholeModel_)
        applyMaterialToObjectAndChildren(host_->getXmlNodeById(xmlId), material);
    else
        applyMaterialToObject(xmlId, material);
}

void AssetSceneDrop::applyDroppedMaterial(const std::string& material) {
    applyMaterialTo(targetXmlId_, material);
    notifyChanged();
}

} // namespace Lumenda3D
