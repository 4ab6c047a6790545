#pragma once
// The export feature's panels and setup: the export dialog in its slot of AllUI. The editor's
// setup calls this before AllUI initialises the panels.
#include <memory>

namespace Lumenda3D {

class AllUI;
class ExportDialog;
class ExportHost;

std::shared_ptr<ExportDialog> registerExportPanels(AllUI& ui, std::shared_ptr<ExportHost> host);

} // namespace Lumenda3D
