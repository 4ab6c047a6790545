#include "assets/AssetCatalogs.h"

namespace Lumenda3D {

AssetCatalogs::AssetCatalogs() {
    catalogs_[0] = std::make_unique<AssetCatalog>(AssetCatalog::texturesConfig());
    catalogs_[1] = std::make_unique<AssetCatalog>(AssetCatalog::modelsConfig());
    catalogs_[2] = std::make_unique<AssetCatalog>(AssetCatalog::soundsConfig());
}

std::shared_ptr<AssetCatalogs> AssetCatalogs::shared() {
    static std::shared_ptr<AssetCatalogs> catalogs = std::make_shared<AssetCatalogs>();
    return catalogs;
}

AssetCatalog* AssetCatalogs::forType(const std::string& assetType) {
    for (auto& catalog : catalogs_)
        if (catalog->getConfig().assetType == assetType)
            return catalog.get();
    return nullptr;
}

} // namespace Lumenda3D
