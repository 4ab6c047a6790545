#pragma once
// The picker of an asset file of one kind ("textures" for pictures, "models", "sounds"): the
// assets on this machine and the user's cloud assets, each with a thumbnail where there is one,
// searchable. A local asset is written at once. A cloud asset is first fetched to this machine
// (the pop-up says so meanwhile), then written, so that the game finds the file as soon as the
// document names it. A cloud that is absent or does not answer gives its message in the cloud
// part of the list; the local part works as always. A value whose file cannot be found is shown
// marked as missing.
#include <memory>
#include <string>
#include <vector>

#include "attributes/AssetSource.h"
#include "attributes/AssetThumbnails.h"
#include "attributes/PickerBase.h"

namespace Lumenda3D {

class AssetPicker : public PickerBase {
public:
    static constexpr const char* kLocalHeading = "On this computer";
    static constexpr const char* kCloudHeading = "In your cloud";
    static constexpr const char* kCloudLoading = "Loading your cloud assets...";

    // `cloud` may be null: then only the local assets are offered.
    AssetPicker(std::string assetType, std::unique_ptr<AssetSource> local, std::unique_ptr<AssetSource> cloud);

    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;

    const std::string& getAssetType() const { return assetType_; }
    // What the open pop-up lists, and what it says about the cloud and a fetch.
    const std::vector<AssetEntry>& getLocalEntries() const { return state_->local; }
    const std::vector<AssetEntry>& getCloudEntries() const { return state_->cloud; }
    const std::string& getCloudStatus() const { return state_->cloudStatus; }
    const std::string& getFetchStatus() const { return state_->fetchStatus; }

private:
    // What asynchronous answers write into; they hold it weakly, so a picker that is gone is
    // never touched.
    struct State {
        std::vector<AssetEntry> local;
        std::vector<AssetEntry> cloud;
        std::string cloudStatus;
        std::string fetchStatus;
        bool fetching = false;
        // Set when a fetched asset was written: the pop-up closes in its next frame.
        bool closeWanted = false;
        // Thumbnail files by reference, for entries whose picture came later.
        std::unordered_map<std::string, std::string> thumbnails;
        unsigned listing = 0;
    };

    void refresh();
    // One row: the picture (or a plain frame) and the name; true when clicked.
    bool drawEntry(const AssetEntry& entry, bool current);
    void chooseCloud(const std::string& key, const pugi::xml_node& node, const pugi::xml_node& definition,
                     const AssetEntry& entry);
    bool exists(const std::string& value);

    std::string assetType_;
    std::unique_ptr<AssetSource> localSource_;
    std::unique_ptr<AssetSource> cloudSource_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
    AssetThumbnails thumbnails_;
    char searchBuffer_[256] = {};
    std::string checkedValue_;
    int checkedVersion_ = -2;
    bool checkedExists_ = true;
};

} // namespace Lumenda3D
