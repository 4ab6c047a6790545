#include "assets/AssetCatalog.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <OgreDataStream.h>
#include <OgreImage.h>
#include <OgrePixelFormat.h>

#include "assets/AssetListing.h"
#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "engine/app/LmdImageEncoder.h"
#include "engine/assets/LmdAssetResolver.h"
#include "engine/assets/LmdMeshData.h"
#include "engine/assets/LmdModelImporter.h"
#include "services/ApiConfig.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "services/CloudReply.h"
#include "services/FileManager.h"
#include "services/LmdAssetFormats.h"
#include "services/LocalStorage.h"
#include "services/MyHttpClient.h"
#include "services/ResourceLoader.h"
#include "services/UrlUtils.h"

namespace Lumenda3D {

namespace fs = std::filesystem;

namespace {

std::string stemOf(const std::string& name) {
    const size_t dot = name.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

bool readFile(const std::string& path, std::string& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

} // namespace

AssetCatalog::Config AssetCatalog::texturesConfig() {
    return {"textures", "Texture", "getTextures", "uploadTexture", "textures", "my_textures", "imageData", "thumb_",
            "TexturesCatalog", LocalStorage::allowedExtensions("textures"), &AssetCatalog::writeDownscaledImageThumbnail};
}

AssetCatalog::Config AssetCatalog::modelsConfig() {
    return {"models", "Model", "getModels", "uploadModel", "models", "my_models", "modelData", "model_thumb_",
            "ModelsCatalog", LocalStorage::allowedExtensions("models"), nullptr, true};
}

AssetCatalog::Config AssetCatalog::soundsConfig() {
    return {"sounds", "Sound", "getSounds", "uploadSound", "sounds", "my_sounds", "soundData", "sound_thumb_",
            "SoundsCatalog", LocalStorage::allowedExtensions("sounds"), nullptr};
}

AssetCatalog::AssetCatalog(Config config)
    : config_(std::move(config)), remoteThumbs_("LmdCatalogThumb/" + config_.assetType + "/"),
      localThumbs_("LmdCatalogLocalThumb/" + config_.assetType + "/") {}

bool AssetCatalog::allowsExtension(const std::string& fileName) const {
    const std::string extension = "." + LmdAssetFormats::extensionOf(fileName);
    return std::find(config_.extensions.begin(), config_.extensions.end(), extension) != config_.extensions.end();
}

// --- The cloud ---------------------------------------------------------------------------------

bool AssetCatalog::retryAfterLogin(const std::string& error, bool isRetry, std::function<void()> retry,
                                   std::function<void()> giveUp) {
    if (isRetry || !AuthenticationFlowManager::isAuthenticationError(error) ||
        !AuthenticationFlowManager::getInstance().hasLoginPrompt())
        return false;
    std::weak_ptr<bool> alive = alive_;
    // A login the person gives up on ends the call with the refusal it had.
    AuthenticationFlowManager::getInstance().checkLogin(
        [alive, retry] {
            if (alive.lock())
                retry();
        },
        true,
        [alive, giveUp] {
            if (alive.lock())
                giveUp();
        });
    return true;
}

void AssetCatalog::fetchList(bool isRetry) {
    if (fetchInFlight_) {
        refetchRequested_ = true;
        return;
    }
    fetchInFlight_ = true;
    std::weak_ptr<bool> alive = alive_;
    ResourceLoader::getInstance().postAssetForm(
        {{"action", config_.listAction}}, [this, alive, isRetry](const CloudReply& reply) {
            if (!alive.lock())
                return;
            fetchInFlight_ = false;
            if (!reply.ok) {
                LmdLog::message(config_.logName + ": Failed to fetch " + config_.assetType +
                                ", status=" + std::to_string(reply.status));
                // Held as in flight while the login is asked for, so that other fetches wait.
                fetchInFlight_ = retryAfterLogin(
                    reply.error, isRetry,
                    [this] {
                        fetchInFlight_ = false;
                        fetchList(true);
                    },
                    [this, reply] {
                        fetchInFlight_ = false;
                        finishFetch(reply);
                    });
                if (fetchInFlight_)
                    return;
            }
            finishFetch(reply);
        });
}

void AssetCatalog::finishFetch(const CloudReply& reply) {
    if (reply.ok)
        parseListResponse(reply.body.dump());
    else
        listError_ = reply.error;
    if (refetchRequested_) {
        refetchRequested_ = false;
        fetchList();
        return;  // the waiters hear of the newest list
    }
    std::vector<std::function<void(const std::string&)>> waiters;
    waiters.swap(listWaiters_);
    for (auto& waiter : waiters)
        waiter(listError_);
}

void AssetCatalog::fetchListThen(std::function<void(const std::string& error)> then) {
    if (then)
        listWaiters_.push_back(std::move(then));
    fetchList();
}

bool AssetCatalog::parseListResponse(const std::string& body) {
    AssetListing listing = AssetListing::parse(config_.listKey, config_.myListKey, body);
    if (!listing.ok) {
        LmdLog::message(config_.logName + ": JSON parse error: " + listing.error);
        listError_ = "The Lumenda3D server sent an asset list the editor cannot read.";
        return false;
    }
    catalogAssets_ = std::move(listing.catalog);
    myAssets_ = std::move(listing.mine);
    username_ = listing.username;
    storageKnown_ = listing.storageKnown;
    storageUnlimited_ = listing.storageUnlimited;
    storageUsedMb_ = listing.storageUsedMb;
    storageQuotaMb_ = listing.storageQuotaMb;
    listed_ = true;
    listError_.clear();
    return true;
}

void AssetCatalog::uploadToServer(const std::string& fileName, const std::string& data, const std::string& thumbData,
                                  const std::string& thumbName, Done callback, bool isRetry) {
    uploading_ = true;
    uploadStatus_ = "Uploading \"" + fileName + "\"...";
    std::vector<HttpFormPart> parts = {HttpFormPart::field("action", config_.uploadAction),
                                       HttpFormPart::field("fileName", fileName),
                                       HttpFormPart::file(config_.uploadField, fileName, data)};
    if (!thumbData.empty())
        parts.push_back(HttpFormPart::file("thumbData", thumbName.empty() ? "thumb.jpg" : thumbName, thumbData));
    std::weak_ptr<bool> alive = alive_;
    ResourceLoader::getInstance().postAssetMultipart(
        std::move(parts), uploadTimeoutMs_,
        [this, alive, fileName, data, thumbData, thumbName, callback, isRetry](const CloudReply& reply) {
            if (!alive.lock())
                return;
            auto finish = [this, fileName, callback](const CloudReply& reply) {
                uploading_ = false;
                if (reply.ok) {
                    uploadStatus_ = "Uploaded \"" + fileName + "\"";
                    invalidateThumbnail(fileName);
                    fetchList();
                } else {
                    uploadStatus_ = "Upload failed: " + reply.error;
                    LmdLog::message(config_.logName + ": upload of " + fileName + " failed: " + reply.error);
                }
                if (callback)
                    callback(reply.ok, reply.error);
            };
            if (!reply.ok &&
                retryAfterLogin(
                    reply.error, isRetry,
                    [this, fileName, data, thumbData, thumbName, callback] {
                        uploadToServer(fileName, data, thumbData, thumbName, callback, true);
                    },
                    [finish, reply] { finish(reply); }))
                return;
            finish(reply);
        });
}

void AssetCatalog::deleteAsset(const std::string& fileName, Done callback, bool isRetry) {
    std::weak_ptr<bool> alive = alive_;
    ResourceLoader::getInstance().postAssetForm(
        {{"action", "deleteAsset"}, {"assetType", config_.assetType}, {"fileName", fileName}},
        [this, alive, fileName, callback, isRetry](const CloudReply& reply) {
            if (!alive.lock())
                return;
            auto finish = [this, fileName, callback](const CloudReply& reply) {
                if (reply.ok) {
                    myAssets_.erase(std::remove(myAssets_.begin(), myAssets_.end(), fileName), myAssets_.end());
                    invalidateThumbnail(fileName);
                    fetchList();
                } else {
                    LmdLog::message(config_.logName + ": delete of " + fileName + " failed: " + reply.error);
                }
                if (callback)
                    callback(reply.ok, reply.error);
            };
            if (!reply.ok &&
                retryAfterLogin(
                    reply.error, isRetry, [this, fileName, callback] { deleteAsset(fileName, callback, true); },
                    [finish, reply] { finish(reply); }))
                return;
            finish(reply);
        });
}

std::string AssetCatalog::assetUrl(const std::string& fileName, bool mine) const {
    std::string url = ApiConfig::getAssetsBaseUrl() + "/" + config_.assetType + "/";
    if (mine && !username_.empty())
        url += UrlUtils::urlEncode(username_) + "/";
    return url + UrlUtils::urlEncode(fileName);
}

std::string AssetCatalog::thumbnailUrl(const std::string& fileName, bool mine) const {
    std::string url = ApiConfig::getAssetsBaseUrl() + "/" + config_.assetType + "/";
    if (mine && !username_.empty())
        url += UrlUtils::urlEncode(username_) + "/";
    return url + "thumbs/" + config_.thumbPrefix + UrlUtils::urlEncode(stemOf(fileName)) + ".jpg";
}

std::string AssetCatalog::cloudReference(const std::string& fileName, bool mine) const {
    return assetUrl(fileName, mine);
}

void AssetCatalog::fetchAssetBytes(const std::string& fileName, bool mine, BytesDone callback) const {
    std::shared_ptr<MyHttpClient> client = AuthenticationManager::getInstance().getHttpClient();
    if (ApiConfig::getAssetsBaseUrl().empty() || !client) {
        if (callback)
            callback(false, "", "No Lumenda3D server is set up, so cloud assets are out of reach.");
        return;
    }
    client->get(assetUrl(fileName, mine), [fileName, callback](const HttpResponse& response) {
        if (!callback)
            return;
        if (!response.success)
            return callback(false, "",
                            "Could not fetch \"" + fileName + "\" from the Lumenda3D server: " +
                                (response.status ? "the server answered " + std::to_string(response.status)
                                                 : response.error) + ".");
        callback(true, response.body, "");
    });
}

// --- Local assets --------------------------------------------------------------------------------

void AssetCatalog::refreshLocalList() {
    localAssets_.clear();
    for (const std::string& name : LocalStorage::listLocalAssets(config_.assetType))
        if (allowsExtension(name))
            localAssets_.push_back(name);
}

bool AssetCatalog::localAssetExists(const std::string& name) const {
    return std::find(localAssets_.begin(), localAssets_.end(), name) != localAssets_.end();
}

std::string AssetCatalog::importLocalFile(const FileData& file, std::string& error) const {
    if (!LocalStorage::isFeatureAvailable()) {
        error = "Local " + config_.assetType + " are not supported in this build.";
        return "";
    }
    const std::string name = file.name.empty() ? fs::path(file.path).filename().string() : file.name;
    // A model must be one the importer reads: a file it refuses never enters the store.
    if (config_.assetType == "models" && LmdModelImporter::canRead(name) && !LmdModelImporter::isOgreMesh(name)) {
        std::string bytes;
        if (readFile(file.path, bytes) && LmdAssetFormats::check("models", name, bytes).empty()) {
            LmdMeshData mesh;
            std::string why;
            if (!LmdModelImporter::load(file.path, mesh, why)) {
                error = "\"" + name + "\" could not be read as a model: " + why;
                return "";
            }
        }
    }
    const std::string stored = LocalStorage::importAsset(file.path, config_.assetType, name, file.overwrite, error);
    if (stored.empty())
        return "";
    std::string why;
    if (!file.thumbnailPath.empty()) {
        if (!LocalStorage::importThumbnailFromPath(config_.assetType, stored, file.thumbnailPath, why))
            LmdLog::message(config_.logName + ": thumbnail of " + stored + " not taken: " + why);
    } else if (config_.thumbnailWriter) {
        config_.thumbnailWriter(config_.assetType, stored);
    }
    return stored;
}

std::string AssetCatalog::importLocalAsset(const FileData& file, std::string& error) {
    const std::string stored = importLocalFile(file, error);
    if (stored.empty())
        return "";
    localThumbs_.invalidate(stored);
    if (onLocalChange_)
        onLocalChange_();
    refreshLocalList();
    return stored;
}

bool AssetCatalog::deleteLocalAsset(const std::string& name, std::string& error) {
    if (!LocalStorage::deleteLocalAsset(config_.assetType, name, error))
        return false;
    localThumbs_.invalidate(name);
    if (onLocalChange_)
        onLocalChange_();
    refreshLocalList();
    return true;
}

std::string AssetCatalog::makeThumbnailJpeg(const std::string& bytes, const std::string& fileName) {
    const std::string extension = LmdAssetFormats::detectImageFormat(bytes, LmdAssetFormats::extensionOf(fileName));
    Ogre::Image image;
    Ogre::DataStreamPtr stream(new Ogre::MemoryDataStream(const_cast<char*>(bytes.data()), bytes.size(), false, true));
    image.load(stream, extension);
    if (image.getWidth() > kThumbnailSize || image.getHeight() > kThumbnailSize) {
        const float scale =
            static_cast<float>(kThumbnailSize) / static_cast<float>(std::max(image.getWidth(), image.getHeight()));
        image.resize(static_cast<Ogre::ushort>(std::max(1.0f, image.getWidth() * scale)),
                     static_cast<Ogre::ushort>(std::max(1.0f, image.getHeight() * scale)), Ogre::Image::FILTER_BILINEAR);
    }
    const unsigned width = image.getWidth(), height = image.getHeight();
    std::vector<std::uint8_t> rgb(size_t(width) * height * 3);
    Ogre::PixelUtil::bulkPixelConversion(image.getPixelBox(),
                                         Ogre::PixelBox(width, height, 1, Ogre::PF_BYTE_RGB, rgb.data()));
    const std::vector<unsigned char> jpeg = LmdImageEncoder::encodeJpeg(rgb.data(), int(width), int(height), 85);
    if (jpeg.empty())
        throw std::runtime_error("the JPEG encoder made nothing");
    return std::string(jpeg.begin(), jpeg.end());
}

void AssetCatalog::writeDownscaledImageThumbnail(const std::string& assetType, const std::string& fileName) {
    std::vector<unsigned char> raw;
    if (!LocalStorage::readLocalAsset(assetType, fileName, raw))
        return;
    const std::string bytes(raw.begin(), raw.end());
    const std::string path = LocalStorage::getAssetThumbnailFilePath(assetType, fileName);
    try {
        std::string why;
        if (!FileManager::writeFileAtomic(path, makeThumbnailJpeg(bytes, fileName), &why))
            throw std::runtime_error(why);
        return;
    } catch (const std::exception& e) {
        LmdLog::message("AssetCatalog: downscale failed for " + fileName +
                        ", falling back to original-size thumb: " + e.what());
    } catch (...) {
        LmdLog::message("AssetCatalog: downscale failed for " + fileName +
                        ", falling back to original-size thumb (unknown exception)");
    }
    std::string why;
    if (!FileManager::writeFileAtomic(path, bytes, &why))
        LmdLog::message("AssetCatalog: failed to write thumbnail fallback for " + fileName);
}

// --- Thumbnails ----------------------------------------------------------------------------------

void AssetCatalog::setBackgroundRunner(ThumbnailCache::Runner runner) {
    runner_ = runner;
    remoteThumbs_.setRunner(runner);
    localThumbs_.setRunner(std::move(runner));
}

void AssetCatalog::updateThumbnails() {
    remoteThumbs_.update();
    localThumbs_.update();
}

void AssetCatalog::requestLocalThumbnail(const std::string& name) {
    if (localThumbs_.isRequested(name))
        return;
    const std::string type = config_.assetType, logName = config_.logName;
    std::weak_ptr<ModelThumbnailRenderer> renderer;
    ModelThumbnailRenderer::Done rendered;
    if (config_.rendersThumbnails && !modelRenderer_.expired()) {
        renderer = modelRenderer_;
        std::weak_ptr<bool> alive = alive_;
        rendered = [this, alive](const std::string& key, std::vector<unsigned char> rgb, const std::string& error) {
            if (alive.lock())
                storeRenderedThumbnail(key, std::move(rgb), error);
        };
    }
    localThumbs_.request(
        name,
        [type, name, logName, renderer, rendered] {
            std::vector<unsigned char> bytes;
            if (LocalStorage::readLocalAssetThumbnail(type, name, bytes) ||
                (type == "textures" && LocalStorage::readLocalAsset(type, name, bytes)))
                return std::string(bytes.begin(), bytes.end());
            if (rendered)
                queueModelRender(renderer, name, rendered);
            else
                LmdLog::message(logName + ": no local thumbnail for " + name);
            return std::string();
        },
        LmdAssetFormats::extensionOf(name));
}

bool AssetCatalog::queueModelRender(const std::weak_ptr<ModelThumbnailRenderer>& renderer, const std::string& name,
                                    ModelThumbnailRenderer::Done done) {
    if (!LocalStorage::isValidAssetName(name))
        return false;
    const std::string path = (fs::path(LocalStorage::localAssetsDir()) / "models" / name).string();
    if (!LmdModelImporter::canRead(name) || LmdModelImporter::isOgreMesh(name)) {
        LmdLog::message("ModelsCatalog: no thumbnail for " + name + ": the importer does not read this format");
        return false;
    }
    auto mesh = std::make_shared<LmdMeshData>();
    std::string why;
    if (!LmdModelImporter::load(path, *mesh, why)) {
        LmdLog::message("ModelsCatalog: no thumbnail for " + name + ": " + why);
        return false;
    }
    std::shared_ptr<ModelThumbnailRenderer> alive = renderer.lock();
    if (!alive)
        return false;
    alive->enqueue(name, std::move(mesh), std::move(done));
    return true;
}

void AssetCatalog::storeRenderedThumbnail(const std::string& name, std::vector<unsigned char> rgb,
                                          const std::string& error) {
    if (rgb.empty()) {
        LmdLog::message(config_.logName + ": the thumbnail of " + name + " could not be rendered: " + error);
        return;
    }
    const std::string path = LocalStorage::getAssetThumbnailFilePath(config_.assetType, name);
    if (path.empty() || !runner_)
        return;
    auto written = std::make_shared<bool>(false);
    std::weak_ptr<bool> alive = alive_;
    // Encoding and writing stay off the main thread; the cell then reads the file like a texture's.
    runner_(
        [path, name, rgb = std::move(rgb), written, logName = config_.logName] {
            const unsigned side = ModelThumbnailRenderer::kSize;
            const std::vector<unsigned char> jpeg = LmdImageEncoder::encodeJpeg(rgb.data(), int(side), int(side), 85);
            std::string why = "the JPEG encoder made nothing";
            *written = !jpeg.empty() && FileManager::writeFileAtomic(path, std::string(jpeg.begin(), jpeg.end()), &why);
            if (!*written)
                LmdLog::message(logName + ": the thumbnail of " + name + " was not written: " + why);
        },
        [this, alive, name, written] {
            if (*written && alive.lock())
                localThumbs_.invalidate(name);
        });
}

void AssetCatalog::requestThumbnail(const std::string& name, bool mine) {
    if (remoteThumbs_.isRequested(name))
        return;
    std::shared_ptr<MyHttpClient> client = AuthenticationManager::getInstance().getHttpClient();
    if (!client || ApiConfig::getAssetsBaseUrl().empty())
        return;
    // Held as requested from now on; the bytes come later, then decode off the main thread.
    remoteThumbs_.hold(name);
    std::weak_ptr<bool> alive = alive_;
    client->get(
        thumbnailUrl(name, mine),
        [this, alive, name](const HttpResponse& response) {
            if (!alive.lock())
                return;
            if (!response.success) {
                LmdLog::message(config_.logName + ": Failed to load thumbnail for " + name);
                return;
            }
            const std::string bytes = response.body;
            remoteThumbs_.provide(name, [bytes] { return bytes; }, LmdAssetFormats::detectImageFormat(bytes, "jpg"));
        },
        true);
}

void AssetCatalog::invalidateThumbnail(const std::string& name) {
    remoteThumbs_.invalidate(name);
    localThumbs_.invalidate(name);
}

} // namespace Lumenda3D
