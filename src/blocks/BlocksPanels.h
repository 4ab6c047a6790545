#pragma once
// The block editor's panels, put into their slots of AllUI: the tree (Workflow, drawn by the
// palette), the palette and the dialog that asks how many copies the gizmo makes, with the BlocksHelper that carries out their operations, and the
// block commands in the command registry (delete, duplicate, copy, paste of the selected block;
// the tree's keys run them). The editor's setup calls this before AllUI initialises the panels
// and keeps the helper to wire it (setupBlocksHelper).
#include <memory>

namespace Lumenda3D {

class AllUI;
class BlocksHelper;

std::shared_ptr<BlocksHelper> registerBlocksPanels(AllUI& ui);

} // namespace Lumenda3D
