#include "chrome/ChromePanels.h"

#include <memory>

#include "chrome/AboutDialog.h"
#include "ui/ConfirmDialog.h"
#include "chrome/ErrorDialog.h"
#include "chrome/Menu.h"
#include "chrome/SourceEditor.h"
#include "chrome/Tabs.h"
#include "chrome/ToastNotification.h"
#include "chrome/TopBar.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

void registerChromePanels(AllUI& ui) {
    // Drawn by the top bar, above its title.
    ui.setElement(Menu::kName, std::make_shared<Menu>());
    ui.setElement(TopBar::kName, std::make_shared<TopBar>());
    ui.setElement(Tabs::kName, std::make_shared<Tabs>());
    // Drawn by the tabs while the Source tab is in front.
    ui.setElement(SourceEditor::kName, std::make_shared<SourceEditor>());
    ui.setElement(ErrorDialog::kName, std::make_shared<ErrorDialog>());
    ui.setElement(ToastNotification::kName, std::make_shared<ToastNotification>());
    ui.setElement(AboutDialog::kName, std::make_shared<AboutDialog>());
    ui.setElement(ConfirmDialog::kName, std::make_shared<ConfirmDialog>());
}

} // namespace Lumenda3D
