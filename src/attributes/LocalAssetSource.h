#pragma once
// The assets on this machine: the local asset store as the asset catalog lists it (the store the
// agent's import tools fill too; named "local:<file>" in the document), then the assets shipped
// with the editor in media/ (named by their file name). Both are listed now; nothing needs
// fetching.
#include <memory>
#include <string>

#include "attributes/AssetSource.h"

namespace Lumenda3D {

class AssetCatalogs;

class LocalAssetSource : public AssetSource {
public:
    // `mediaDir` empty: the editor's media folder.
    // `catalogs` null: the editor's shared catalogs.
    explicit LocalAssetSource(std::string mediaDir = "", std::shared_ptr<AssetCatalogs> catalogs = nullptr);

    void list(const std::string& assetType, ListDone done) override;
    void fetch(const std::string& assetType, const AssetEntry& entry, FetchDone done) override;
    void fetchThumbnail(const std::string& assetType, const AssetEntry& entry, ThumbnailDone done) override;

    std::vector<AssetEntry> listNow(const std::string& assetType) const;

private:
    std::string mediaDir_;
    std::shared_ptr<AssetCatalogs> catalogs_;
};

} // namespace Lumenda3D
