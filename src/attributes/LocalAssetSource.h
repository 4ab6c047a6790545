#pragma once
// The assets on this machine: the local asset store that the agent's import tools fill (named
// "local:<file>" in the document), then the assets shipped with the editor in media/ (named by
// their file name). Both are listed now; nothing needs fetching.
#include <string>

#include "attributes/AssetSource.h"

namespace Lumenda3D {

class LocalAssetSource : public AssetSource {
public:
    // `mediaDir` empty: the editor's media folder.
    explicit LocalAssetSource(std::string mediaDir = "");

    void list(const std::string& assetType, ListDone done) override;
    void fetch(const std::string& assetType, const AssetEntry& entry, FetchDone done) override;
    void fetchThumbnail(const std::string& assetType, const AssetEntry& entry, ThumbnailDone done) override;

    std::vector<AssetEntry> listNow(const std::string& assetType) const;

private:
    std::string mediaDir_;
};

} // namespace Lumenda3D
