#include "project/ProjectPanels.h"

#include <memory>

#include "project/ClearCacheDialog.h"
#include "project/LoginDialog.h"
#include "project/OpenResourceDialog.h"
#include "project/ProjectTemplateDialog.h"
#include "project/PublishDialog.h"
#include "project/RecoverFromCrashDialog.h"
#include "project/SaveProjectDialog.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

void registerProjectPanels(AllUI& ui) {
    ui.setElement(RecoverFromCrashDialog::kName, std::make_shared<RecoverFromCrashDialog>());
    ui.setElement(LoginDialog::kName, std::make_shared<LoginDialog>());
    ui.setElement(ProjectTemplateDialog::kName, std::make_shared<ProjectTemplateDialog>());
    ui.setElement(OpenResourceDialog::kName, std::make_shared<OpenResourceDialog>());
    ui.setElement(SaveProjectDialog::kName, std::make_shared<SaveProjectDialog>());
    ui.setElement(PublishDialog::kName, std::make_shared<PublishDialog>());
    ui.setElement(ClearCacheDialog::kName, std::make_shared<ClearCacheDialog>());
}

} // namespace Lumenda3D
