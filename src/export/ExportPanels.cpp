#include "export/ExportPanels.h"

#include "export/ExportDialog.h"
#include "export/LocalExportService.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

std::shared_ptr<ExportDialog> registerExportPanels(AllUI& ui, std::shared_ptr<ExportHost> host) {
    auto dialog = std::make_shared<ExportDialog>(std::move(host), LocalExportService::getInstance());
    ui.setElement(ExportDialog::kName, dialog);
    return dialog;
}

} // namespace Lumenda3D
