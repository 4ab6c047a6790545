#include "assets/AssetElementDrop.h"

#include "assets/AssetLibraryHost.h"

namespace Lumenda3D {

namespace {

bool isMaterialField(const std::string& attribute) { return attribute == "texture"; }

std::string describe(const pugi::xml_node& node) {
    const std::string name = node.attribute("name").value();
    return name.empty() ? std::string("this ") + node.name() : "\"" + name + "\" (" + node.name() + ")";
}

} // namespace

const char* AssetElementDrop::kindWord(AssetSceneDrop::Kind kind) {
    switch (kind) {
    case AssetSceneDrop::Kind::Texture:
        return "a texture";
    case AssetSceneDrop::Kind::Model:
        return "a model";
    case AssetSceneDrop::Kind::Sound:
        return "a sound";
    case AssetSceneDrop::Kind::Material:
        break;
    }
    return "a material";
}

bool AssetElementDrop::takes(AssetSceneDrop::Kind kind, const std::string& attribute, const std::string& type) {
    switch (kind) {
    case AssetSceneDrop::Kind::Texture:
        return isMaterialField(attribute) || type == "picture";
    case AssetSceneDrop::Kind::Material:
        return isMaterialField(attribute);
    case AssetSceneDrop::Kind::Model:
        return type == "modelFilePicker";
    case AssetSceneDrop::Kind::Sound:
        return type == "soundFilePicker";
    }
    return false;
}

AssetElementDrop::Plan AssetElementDrop::plan(const AssetSceneDrop::Dragged& asset, int xmlId,
                                              const std::string& field) const {
    Plan plan;
    AssetLibraryHost* host = scene_.getHost();
    pugi::xml_node node = host ? host->getXmlNodeById(xmlId) : pugi::xml_node();
    if (!node) {
        plan.text = "The block is gone.";
        return plan;
    }
    const std::vector<std::pair<std::string, std::string>> attributes = host->attributesOf(node.name());
    if (!field.empty()) {
        std::string type;
        for (const auto& [name, attributeType] : attributes)
            if (name == field)
                type = attributeType;
        if (!takes(asset.kind, field, type)) {
            plan.text = "\"" + field + "\" does not take " + kindWord(asset.kind) + ".";
            return plan;
        }
        plan.attribute = field;
    } else {
        // The material of an object comes before any picture it may also have.
        for (const auto& [name, type] : attributes)
            if (isMaterialField(name) && takes(asset.kind, name, type))
                plan.attribute = name;
        for (const auto& [name, type] : attributes)
            if (plan.attribute.empty() && takes(asset.kind, name, type))
                plan.attribute = name;
        if (plan.attribute.empty()) {
            plan.text = describe(node) + " has no place for " + kindWord(asset.kind) + ".";
            return plan;
        }
    }
    plan.fits = true;
    const std::string shownName = node.attribute("name").value();
    plan.text = isMaterialField(plan.attribute) && field.empty()
                    ? "Apply to: " + (shownName.empty() ? std::string(node.name()) : shownName)
                    : plan.attribute + ": " + asset.name;
    return plan;
}

std::string AssetElementDrop::apply(const AssetSceneDrop::Dragged& asset, int xmlId, const std::string& field) {
    const Plan chosen = plan(asset, xmlId, field);
    if (!chosen.fits)
        return chosen.text;
    AssetLibraryHost& host = *scene_.getHost();
    host.beginEditGroup();
    std::string error;
    if (isMaterialField(chosen.attribute)) {
        const std::string material =
            asset.kind == AssetSceneDrop::Kind::Material ? asset.name : scene_.reuseOrCreateMaterial(asset.reference);
        if (material.empty())
            error = "No material could be made for \"" + asset.name + "\".";
        else if (field.empty())
            scene_.applyMaterialTo(xmlId, material);  // the block: as a drop on its object
        else
            scene_.applyMaterialToObject(xmlId, material);  // the field: this element only
    } else {
        host.setAttribute(xmlId, chosen.attribute, asset.reference);
    }
    host.endEditGroup();
    scene_.notifyChanged();
    return error;
}

} // namespace Lumenda3D
