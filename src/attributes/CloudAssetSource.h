#pragma once
// The user's own uploaded assets on the product's web server, as the asset catalog lists them
// (the same catalog the asset library shows).
// The document names such an asset by its address; the asset resolver looks a URL up by its file
// name in the asset cache, so `fetch` downloads the file there first and the game finds it at
// once. Thumbnails are fetched into the cache's "thumbs" folder. Answers come on the main thread
// through the cloud services' HTTP client; failures (no server, not logged in, a dead server)
// come back as one sentence for the person.
#include <memory>
#include <string>

#include "attributes/AssetSource.h"

namespace Lumenda3D {

class AssetCatalog;
class AssetCatalogs;

class CloudAssetSource : public AssetSource {
public:
    // `cacheDir`: the asset cache the engine's resolver reads; empty: its default,
    // LmdPaths::cacheDir()/assets, taken when a file is stored.
    // `catalogs` null: the editor's shared catalogs.
    explicit CloudAssetSource(std::string cacheDir = "", std::shared_ptr<AssetCatalogs> catalogs = nullptr);

    void list(const std::string& assetType, ListDone done) override;
    void fetch(const std::string& assetType, const AssetEntry& entry, FetchDone done) override;
    void fetchThumbnail(const std::string& assetType, const AssetEntry& entry, ThumbnailDone done) override;

    // The entries of the catalog's list of the user's uploads.
    static std::vector<AssetEntry> entriesOf(const AssetCatalog& catalog);
    // Where a fetched asset lies in the cache.
    std::string cachedPath(const std::string& assetType, const std::string& reference) const;

private:
    std::string cacheDir() const;

    std::string cacheDir_;
    std::shared_ptr<AssetCatalogs> catalogs_;
};

} // namespace Lumenda3D
