#pragma once
// Where an asset picker finds the assets it offers. A source lists the assets of one kind
// ("textures", "models", "sounds") and makes a chosen one available on this machine before the
// document names it. The picker knows only this interface: the local store and the user's cloud
// assets are two sources.
#include <functional>
#include <string>
#include <vector>

namespace Lumenda3D {

struct AssetEntry {
    // The file name shown in the list.
    std::string name;
    // What the attribute gets when the asset is chosen ("local:bark.png", "grass.png", a URL).
    std::string reference;
    // An image file on this machine that shows the asset; empty when there is none (yet).
    std::string thumbnail;
    // Where a thumbnail can be fetched from when `thumbnail` is empty; empty for none.
    std::string thumbnailUrl;
};

class AssetSource {
public:
    // (entries, error): error is one sentence for the person, empty on success.
    using ListDone = std::function<void(std::vector<AssetEntry> entries, const std::string& error)>;
    // (error): empty when the asset is ready to be used.
    using FetchDone = std::function<void(const std::string& error)>;
    // (path): the thumbnail's file on this machine, empty when there is none.
    using ThumbnailDone = std::function<void(const std::string& path)>;

    virtual ~AssetSource() = default;
    // Lists the assets of `assetType`; `done` runs once, now or later on the main thread.
    virtual void list(const std::string& assetType, ListDone done) = 0;
    // Makes the asset usable by the game before the document names it.
    virtual void fetch(const std::string& assetType, const AssetEntry& entry, FetchDone done) = 0;
    // Brings the entry's thumbnail to this machine.
    virtual void fetchThumbnail(const std::string& assetType, const AssetEntry& entry, ThumbnailDone done) = 0;
};

} // namespace Lumenda3D
