#pragma once
// The asset feature's panels: the asset library, in its slot.
#include <memory>

namespace Lumenda3D {

class AllUI;
class AssetLibraryPanel;

std::shared_ptr<AssetLibraryPanel> registerAssetsPanels(AllUI& ui);

} // namespace Lumenda3D
