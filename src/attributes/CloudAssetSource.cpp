#include "attributes/CloudAssetSource.h"

#include <filesystem>

#include "assets/AssetCatalogs.h"
#include "base/LmdPaths.h"
#include "engine/assets/LmdAssetResolver.h"
#include "services/ApiConfig.h"
#include "services/AuthenticationManager.h"
#include "services/CloudReply.h"
#include "services/FileManager.h"
#include "services/MyHttpClient.h"

namespace Lumenda3D {

namespace fs = std::filesystem;

namespace {

// GETs `url` and stores the body atomically at `path`; `done` gets "" or why not.
void download(const std::string& url, const std::string& path, const std::string& shownName,
              std::function<void(const std::string&)> done) {
    std::shared_ptr<MyHttpClient> client = AuthenticationManager::getInstance().getHttpClient();
    if (!client)
        return done(CloudReply::kNoClientText);
    client->get(url, [path, shownName, done](const HttpResponse& response) {
        if (!response.success) {
            const std::string why = response.status ? "the server answered " + std::to_string(response.status)
                                                    : response.error;
            return done("Could not fetch '" + shownName + "' from the Lumenda3D server: " + why + ".");
        }
        std::string error;
        if (!LmdPaths::ensureDir(fs::path(path).parent_path().string(), &error) ||
            !FileManager::writeFileAtomic(path, response.body, &error))
            return done("Could not keep '" + shownName + "' on this computer: " + error);
        done("");
    });
}

} // namespace

CloudAssetSource::CloudAssetSource(std::string cacheDir, std::shared_ptr<AssetCatalogs> catalogs)
    : cacheDir_(std::move(cacheDir)), catalogs_(catalogs ? std::move(catalogs) : AssetCatalogs::shared()) {}

std::vector<AssetEntry> CloudAssetSource::entriesOf(const AssetCatalog& catalog) {
    std::vector<AssetEntry> entries;
    for (const std::string& name : catalog.getMyAssets())
        if (!name.empty())
            entries.push_back({name, catalog.assetUrl(name, true), "", catalog.thumbnailUrl(name, true)});
    return entries;
}

void CloudAssetSource::list(const std::string& assetType, ListDone done) {
    if (!done)
        return;
    AssetCatalog* catalog = catalogs_->forType(assetType);
    if (!catalog)
        return done({}, "Unknown asset type '" + assetType + "': use textures, models or sounds.");
    if (ApiConfig::getAssetsBaseUrl().empty())
        return done({}, "No Lumenda3D server is set up, so there are no cloud assets to show.");
    if (!AuthenticationManager::getInstance().isAuthenticated())
        return done({}, "Log in to see your cloud assets.");
    std::weak_ptr<AssetCatalogs> catalogs = catalogs_;
    catalog->fetchListThen([catalogs, catalog, done](const std::string& error) {
        if (!catalogs.lock())
            return;
        if (!error.empty())
            return done({}, error);
        if (catalog->getUsername().empty())
            return done({}, "The Lumenda3D server did not say where your assets are.");
        done(entriesOf(*catalog), "");
    });
}

std::string CloudAssetSource::cacheDir() const {
    return cacheDir_.empty() ? (fs::path(LmdPaths::cacheDir()) / "assets").string() : cacheDir_;
}

std::string CloudAssetSource::cachedPath(const std::string& assetType, const std::string& reference) const {
    return (fs::path(cacheDir()) / assetType / LmdAssetResolver::fileNameOf(reference)).string();
}

void CloudAssetSource::fetch(const std::string& assetType, const AssetEntry& entry, FetchDone done) {
    download(entry.reference, cachedPath(assetType, entry.reference), entry.name,
             [done](const std::string& error) {
                 if (done)
                     done(error);
             });
}

void CloudAssetSource::fetchThumbnail(const std::string& assetType, const AssetEntry& entry, ThumbnailDone done) {
    if (entry.thumbnailUrl.empty())
        return done ? done("") : void();
    const std::string path =
        (fs::path(cacheDir()) / "thumbs" / assetType / LmdAssetResolver::fileNameOf(entry.thumbnailUrl)).string();
    std::error_code error;
    if (fs::is_regular_file(path, error))
        return done ? done(path) : void();
    // A thumbnail that cannot be had only costs its picture.
    download(entry.thumbnailUrl, path, entry.name, [path, done](const std::string& failure) {
        if (done)
            done(failure.empty() ? path : "");
    });
}

} // namespace Lumenda3D
