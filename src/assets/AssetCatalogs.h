#pragma once
// The three catalogs of the editor (textures, models, sounds), shared by the asset library and
// the attribute panel's asset pickers, so that both list the same assets from one fetch.
#include <array>
#include <memory>
#include <string>

#include "assets/AssetCatalog.h"

namespace Lumenda3D {

class AssetCatalogs {
public:
    AssetCatalogs();
    // The editor's catalogs, made on first use.
    static std::shared_ptr<AssetCatalogs> shared();

    // 0 textures, 1 models, 2 sounds.
    AssetCatalog& at(size_t index) { return *catalogs_[index]; }
    // The catalog of "textures", "models" or "sounds"; null for anything else.
    AssetCatalog* forType(const std::string& assetType);
    static constexpr size_t size() { return 3; }

private:
    std::array<std::unique_ptr<AssetCatalog>, 3> catalogs_;
};

} // namespace Lumenda3D
