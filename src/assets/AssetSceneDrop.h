#pragma once
// What a drag from the asset library does when it ends over the scene: a model becomes a Model
// block where it was dropped, a sound a LoadSound block (once per file), and a texture or a
// material is put on the object under the pointer, on the whole model or on the part, through a
// Material block that is found by its picture or made once. While a texture is dragged, the
// object it would go onto shows its bounding box. Document first, running game second.
#include <functional>
#include <string>

#include <imgui.h>
#include <pugixml.hpp>

namespace Lumenda3D {

class AssetLibraryHost;

class AssetSceneDrop {
public:
    enum class Kind { Texture, Model, Sound, Material };
    struct Dragged {
        Kind kind = Kind::Texture;
        std::string name;       // the file (or material) name shown
        std::string reference;  // what the document gets: "local:bark.png", an address, a name
    };

    AssetSceneDrop() = default;
    explicit AssetSceneDrop(AssetLibraryHost* host) : host_(host) {}
    void setHost(AssetLibraryHost* host) { host_ = host; }
    AssetLibraryHost* getHost() const { return host_; }

    // "Apply to:" Model (the whole model) or Sub Model (the part under the pointer).
    void setApplyToWholeModel(bool whole) { applyToWholeModel_ = whole; }
    bool getApplyToWholeModel() const { return applyToWholeModel_; }

    // Follows the pointer while a texture or material is dragged.
    void updateTextureDropTarget(ImVec2 screen);
    int getTargetXmlId() const { return targetXmlId_; }
    const std::string& getTargetName() const { return targetName_; }
    // Ends a drag over the scene. Returns the xml id of the block made or changed, -1 for none.
    int dropAssetIntoScene(const Dragged& asset, ImVec2 screen);
    // The drag ended (anywhere): the highlight goes, the target is forgotten.
    void endDrag();

    // The name of the Material whose picture is `picture`, made when there is none; "" on failure.
    std::string reuseOrCreateMaterial(const std::string& picture);
    std::string findMaterialNameByPicture(const std::string& picture);
    void applyDroppedMaterial(const std::string& material);
    // The material onto object `xmlId`: with the whole model chosen also onto its parts that take one.
    void applyMaterialTo(int xmlId, const std::string& material);
    void applyMaterialToObject(int xmlId, const std::string& material);
    void applyMaterialToObjectAndChildren(pugi::xml_node node, const std::string& material);
    // Called after a material was applied (the attribute panel shows the new value).
    void setRefreshCallback(std::function<void()> refresh) { refresh_ = std::move(refresh); }
    void notifyChanged() {
        if (refresh_)
            refresh_();
    }

private:
    int findTextureTarget(ImVec2 screen);
    void highlight(int xmlId);

    AssetLibraryHost* host_ = nullptr;
    bool applyToWholeModel_ = true;
    int targetXmlId_ = -1;
    std::string targetName_;
    int highlighted_ = -1;
    std::function<void()> refresh_;
};

} // namespace Lumenda3D
