#include "project/ProjectPanels.h"

#include <memory>

#include "project/RecoverFromCrashDialog.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

void registerProjectPanels(AllUI& ui) {
    ui.setElement(RecoverFromCrashDialog::kName, std::make_shared<RecoverFromCrashDialog>());
}

} // namespace Lumenda3D
