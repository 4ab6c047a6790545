#include "attributes/LocalAssetSource.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "assets/AssetCatalogs.h"
#include "base/LmdPaths.h"
#include "engine/assets/LmdAssetResolver.h"
#include "services/LocalStorage.h"

namespace Lumenda3D {

namespace fs = std::filesystem;

LocalAssetSource::LocalAssetSource(std::string mediaDir, std::shared_ptr<AssetCatalogs> catalogs)
    : mediaDir_(mediaDir.empty() ? LmdPaths::mediaDir() : std::move(mediaDir)),
      catalogs_(catalogs ? std::move(catalogs) : AssetCatalogs::shared()) {}

std::vector<AssetEntry> LocalAssetSource::listNow(const std::string& assetType) const {
    std::vector<AssetEntry> entries;
    AssetCatalog* catalog = catalogs_->forType(assetType);
    if (!catalog)
        return entries;
    const bool images = assetType == "textures";
    catalog->refreshLocalList();
    for (const std::string& name : catalog->getLocalAssets()) {
        AssetEntry entry{name, LmdAssetResolver::kLocalPrefix + name, "", ""};
        std::error_code error;
        const std::string thumb = LocalStorage::getAssetThumbnailFilePath(assetType, name);
        if (!thumb.empty() && fs::is_regular_file(thumb, error))
            entry.thumbnail = thumb;
        else if (images)
            entry.thumbnail = (fs::path(LocalStorage::localAssetsDir()) / assetType / name).string();
        entries.push_back(std::move(entry));
    }
    // The shipped assets: what the example games use.
    std::vector<AssetEntry> shipped;
    std::error_code error;
    for (fs::directory_iterator it(fs::path(mediaDir_) / assetType, error), end; !error && it != end;
         it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (it->is_regular_file(error) && LocalStorage::hasAllowedExtension(assetType, name))
            shipped.push_back({name, name, images ? it->path().string() : "", ""});
    }
    std::sort(shipped.begin(), shipped.end(), [](const AssetEntry& a, const AssetEntry& b) { return a.name < b.name; });
    entries.insert(entries.end(), shipped.begin(), shipped.end());
    return entries;
}

void LocalAssetSource::list(const std::string& assetType, ListDone done) {
    if (done)
        done(listNow(assetType), "");
}

void LocalAssetSource::fetch(const std::string&, const AssetEntry&, FetchDone done) {
    if (done)
        done("");
}

void LocalAssetSource::fetchThumbnail(const std::string&, const AssetEntry& entry, ThumbnailDone done) {
    if (done)
        done(entry.thumbnail);
}

} // namespace Lumenda3D
