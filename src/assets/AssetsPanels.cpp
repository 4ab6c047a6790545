#include "assets/AssetsPanels.h"

#include "assets/AssetLibraryPanel.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

std::shared_ptr<AssetLibraryPanel> registerAssetsPanels(AllUI& ui) {
    auto panel = std::make_shared<AssetLibraryPanel>();
    ui.setElement(AssetLibraryPanel::kName, panel);
    return panel;
}

} // namespace Lumenda3D
