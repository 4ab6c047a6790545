#include "attributes/CloudAssetSource.h"

#include <filesystem>

#include <nlohmann/json.hpp>

#include "base/LmdPaths.h"
#include "engine/assets/LmdAssetResolver.h"
#include "services/ApiConfig.h"
#include "services/AuthenticationManager.h"
#include "services/CloudReply.h"
#include "services/FileManager.h"
#include "services/MyHttpClient.h"
#include "services/ResourceLoader.h"
#include "services/UrlUtils.h"

namespace Lumenda3D {

namespace fs = std::filesystem;

namespace {

const char* thumbnailPrefix(const std::string& assetType) {
    if (assetType == "models")
        return "model_thumb_";
    if (assetType == "sounds")
        return "sound_thumb_";
    return "thumb_";
}

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

CloudAssetSource::CloudAssetSource(std::string cacheDir) : cacheDir_(std::move(cacheDir)) {}

std::vector<AssetEntry> CloudAssetSource::parseListing(const std::string& assetType, const std::string& data,
                                                       std::string& error) {
    std::vector<AssetEntry> entries;
    const nlohmann::json answer = nlohmann::json::parse(data, nullptr, false);
    if (!answer.is_object() || !answer.value("assets", nlohmann::json()).is_array()) {
        error = "The Lumenda3D server sent an asset list the editor cannot read.";
        return entries;
    }
    const nlohmann::json user = answer.value("username", nlohmann::json());
    const std::string username = user.is_string() ? user.get<std::string>() : "";
    const std::string base = ApiConfig::getAssetsBaseUrl();
    if (username.empty() || base.empty()) {
        error = "The Lumenda3D server did not say where your assets are.";
        return entries;
    }
    const std::string folder = base + "/" + assetType + "/" + UrlUtils::urlEncode(username) + "/";
    for (const nlohmann::json& item : answer["assets"]) {
        if (!item.is_string() || item.get<std::string>().empty())
            continue;
        const std::string name = item.get<std::string>();
        const std::string stem = fs::path(name).stem().string();
        entries.push_back({name, folder + UrlUtils::urlEncode(name), "",
                           folder + "thumbs/" + thumbnailPrefix(assetType) + UrlUtils::urlEncode(stem) + ".jpg"});
    }
    return entries;
}

void CloudAssetSource::list(const std::string& assetType, ListDone done) {
    if (!done)
        return;
    if (ApiConfig::getAssetsBaseUrl().empty())
        return done({}, "No Lumenda3D server is set up, so there are no cloud assets to show.");
    if (!AuthenticationManager::getInstance().isAuthenticated())
        return done({}, "Log in to see your cloud assets.");
    ResourceLoader::getInstance().listUserAssets(
        assetType, [assetType, done](bool ok, const std::string& data, const std::string& error) {
            if (!ok)
                return done({}, error);
            std::string unreadable;
            std::vector<AssetEntry> entries = parseListing(assetType, data, unreadable);
            done(std::move(entries), unreadable);
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
