#pragma once
// The editor's view of one kind of asset (textures, models or sounds) on the Lumenda3D server and
// in the local asset store: it lists, uploads, deletes and keeps thumbnails. One class serves the
// three kinds through its Config, so there is no texture, model or sound branch here.
//
// Cloud calls go through ResourceLoader's assets endpoint calls (docs/cloud-api.md, "Assets");
// their answers come on the main thread, where the catalog lives. A list fetch that fails keeps
// the old lists, so a bad connection never empties the library. The person's paths (upload,
// delete, list) log in once and retry once when the session has ended.
//
// Local assets are the one local store (LocalStorage) that the agent tools fill too; a local
// asset is named "local:<file>" in the document.
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ui/ThumbnailCache.h"
#include "assets/ModelThumbnailRenderer.h"

namespace Lumenda3D {

struct CloudReply;

class AssetCatalog {
public:
    // Writes the thumbnail of a freshly imported local asset (type, file name).
    using ThumbnailWriter = std::function<void(const std::string& assetType, const std::string& fileName)>;
    // (ok, error): error is one sentence for the person, empty on success.
    using Done = std::function<void(bool ok, const std::string& error)>;
    using BytesDone = std::function<void(bool ok, const std::string& bytes, const std::string& error)>;

    struct Config {
        std::string assetType;     // "textures"
        std::string displayName;   // "Texture"
        std::string listAction;    // "getTextures"
        std::string uploadAction;  // "uploadTexture"
        std::string listKey;       // "textures"
        std::string myListKey;     // "my_textures"
        std::string uploadField;   // "imageData"
        std::string thumbPrefix;   // "thumb_"
        std::string logName;       // "TexturesCatalog"
        std::vector<std::string> extensions;  // lower case, with the dot
        ThumbnailWriter thumbnailWriter;      // set for textures only
        // Local files without a thumbnail get one rendered by the engine (models).
        bool rendersThumbnails = false;
    };
    static Config texturesConfig();
    static Config modelsConfig();
    static Config soundsConfig();

    // A file on this machine to import into the local store.
    struct FileData {
        std::string path;           // the file to copy
        std::string name;           // the name in the store; empty: the file's own name
        std::string thumbnailPath;  // an image to take as the thumbnail; empty: the writer makes one
        bool overwrite = false;
    };

    static constexpr int kUploadTimeoutMs = 120000;
    // How long an upload may take before it counts as failed (tests shorten it).
    void setUploadTimeoutMs(int milliseconds) { uploadTimeoutMs_ = milliseconds; }

    explicit AssetCatalog(Config config);

    const Config& getConfig() const { return config_; }

    // --- The cloud ---------------------------------------------------------------------------
    // Requests the list; calls made while one is on its way collapse into one more fetch.
    void fetchList(bool isRetry = false);
    // Fetches the list and calls `then` once when the fetch has ended, with "" or the reason the
    // list could not be had (the old lists then stay).
    void fetchListThen(std::function<void(const std::string& error)> then);
    // Fills the lists, the user name and the storage block from a list answer (AssetListing);
    // false (lists kept) when it cannot be read.
    bool parseListResponse(const std::string& body);

    void uploadToServer(const std::string& fileName, const std::string& data, const std::string& thumbData,
                        const std::string& thumbName, Done callback, bool isRetry = false);
    void deleteAsset(const std::string& fileName, Done callback, bool isRetry = false);
    // The address of a stored file; `mine` with a known user name: the user's folder.
    std::string assetUrl(const std::string& fileName, bool mine) const;
    std::string thumbnailUrl(const std::string& fileName, bool mine) const;
    void fetchAssetBytes(const std::string& fileName, bool mine, BytesDone callback) const;
    // How the document names a cloud asset: the public catalogue's file by its name, an upload of
    // the user by its address.
    std::string cloudReference(const std::string& fileName, bool mine) const;

    const std::vector<std::string>& getCatalogAssets() const { return catalogAssets_; }
    const std::vector<std::string>& getMyAssets() const { return myAssets_; }
    const std::string& getUsername() const { return username_; }
    bool isFetching() const { return fetchInFlight_; }
    // True once a list answer arrived (the grid tells "Loading..." from "No ... found").
    bool hasListed() const { return listed_; }
    const std::string& getListError() const { return listError_; }
    bool isStorageKnown() const { return storageKnown_; }
    bool isStorageUnlimited() const { return storageUnlimited_; }
    double getStorageUsedMb() const { return storageUsedMb_; }
    double getStorageQuotaMb() const { return storageQuotaMb_; }
    bool isUploading() const { return uploading_; }
    const std::string& getUploadStatus() const { return uploadStatus_; }

    // --- Local assets --------------------------------------------------------------------------
    // Lists the store's files of this kind whose extension the Config allows.
    void refreshLocalList();
    const std::vector<std::string>& getLocalAssets() const { return localAssets_; }
    // Checks the file (its contents must be what its extension says; a model must be one the
    // importer reads) and copies it into the store with its thumbnail. Returns the stored name,
    // or "" with the reason in `error`; nothing is left behind on failure. Safe off the main
    // thread (it touches no catalog state): call refreshLocalList on the main thread afterwards.
    std::string importLocalFile(const FileData& file, std::string& error) const;
    // importLocalFile, then the lists and the engine's local assets refreshed.
    std::string importLocalAsset(const FileData& file, std::string& error);
    bool deleteLocalAsset(const std::string& name, std::string& error);
    bool localAssetExists(const std::string& name) const;
    // Called after the local store changed (the engine refreshes its local assets).
    void setOnLocalChange(std::function<void()> onChange) { onLocalChange_ = std::move(onChange); }

    // --- Thumbnails ----------------------------------------------------------------------------
    ThumbnailCache::Picture getThumbnail(const std::string& name) const { return remoteThumbs_.get(name); }
    ThumbnailCache::Picture getLocalThumbnail(const std::string& name) const { return localThumbs_.get(name); }
    void requestThumbnail(const std::string& name, bool mine);
    void requestLocalThumbnail(const std::string& name);
    void invalidateThumbnail(const std::string& name);
    // Where decoding runs (the editor's job service); without it no picture is decoded.
    void setBackgroundRunner(ThumbnailCache::Runner runner);
    // Main thread, once a frame: a few decoded pictures become textures.
    void updateThumbnails();
    // Renders the thumbnails of local models that have none (Config::rendersThumbnails): the
    // model is read off the main thread, rendered when the renderer's turn comes, and the
    // picture is written into the store's thumbnails and shown like any other.
    void setModelRenderer(std::weak_ptr<ModelThumbnailRenderer> renderer) { modelRenderer_ = std::move(renderer); }
    // The two halves of a model's picture. Off the main thread: reads the local model `name` and
    // queues its render; false (nothing queued) when the importer cannot read it.
    static bool queueModelRender(const std::weak_ptr<ModelThumbnailRenderer>& renderer, const std::string& name,
                                 ModelThumbnailRenderer::Done done);
    // Main thread, after the render: the pixels become the store's thumbnail (encoded and written
    // off the main thread), and the cell reads it like any other.
    void storeRenderedThumbnail(const std::string& name, std::vector<unsigned char> rgb, const std::string& error);
    ThumbnailCache& localThumbnails() { return localThumbs_; }
    ThumbnailCache& remoteThumbnails() { return remoteThumbs_; }

    // Writes a local texture's thumbnail: the picture scaled to at most kThumbnailSize pixels, or
    // its own bytes when it cannot be decoded.
    static void writeDownscaledImageThumbnail(const std::string& assetType, const std::string& fileName);
    static constexpr unsigned kThumbnailSize = 128;
    // A picture's bytes as a JPEG of at most kThumbnailSize pixels a side; throws when they cannot
    // be decoded (no codec, not a picture).
    static std::string makeThumbnailJpeg(const std::string& bytes, const std::string& fileName);

    bool allowsExtension(const std::string& fileName) const;

private:
    // After a refusal for a lapsed session (and not on a retry): asks for a login, then runs
    // `retry`, or `giveUp` when the person cancels. False when no login is asked for.
    bool retryAfterLogin(const std::string& error, bool isRetry, std::function<void()> retry,
                         std::function<void()> giveUp);
    void finishFetch(const CloudReply& reply);

    Config config_;
    bool fetchInFlight_ = false;
    bool refetchRequested_ = false;
    bool listed_ = false;
    std::string listError_;
    std::vector<std::string> catalogAssets_;
    std::vector<std::string> myAssets_;
    std::string username_;
    bool storageKnown_ = false;
    bool storageUnlimited_ = false;
    double storageUsedMb_ = 0.0;
    double storageQuotaMb_ = 0.0;
    bool uploading_ = false;
    int uploadTimeoutMs_ = kUploadTimeoutMs;
    std::string uploadStatus_;
    std::vector<std::string> localAssets_;
    ThumbnailCache remoteThumbs_;
    ThumbnailCache localThumbs_;
    std::function<void()> onLocalChange_;
    ThumbnailCache::Runner runner_;
    std::weak_ptr<ModelThumbnailRenderer> modelRenderer_;

    std::vector<std::function<void(const std::string&)>> listWaiters_;
    // Answers of requests of a catalog that is gone are dropped.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace Lumenda3D
