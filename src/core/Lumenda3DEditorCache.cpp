// Settings > Clear Cache... and Help > About.
#include "core/Lumenda3DEditor.h"

#include "base/LmdLog.h"
#include "chrome/AboutDialog.h"
#include "ui/ConfirmDialog.h"
#include "project/ClearCacheDialog.h"
#include "engine/editing/LmdSourceFiles.h"
#include "services/AuthenticationManager.h"
#include "services/DataPersist.h"
#include "services/MyHttpClient.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

namespace {
// The persisted entry of the login, kept when saved data is cleared.
constexpr const char* kLoginEntry = "lumenda3d_token";
} // namespace

void Lumenda3DEditor::setupCacheAndAboutCommands() {
    auto clearDialog = allUI ? allUI->getPanel<ClearCacheDialog>() : nullptr;
    if (clearDialog)
        clearDialog->setOnClear([this](bool clearAssets, bool clearSaved) { confirmAndClearCache(clearAssets, clearSaved); });
    commands.add({"settings.clearCache", "Clear Cache...", {}, [clearDialog] { return clearDialog != nullptr; }, "",
                  [clearDialog] {
                      if (clearDialog)
                          clearDialog->show();
                  }});
    auto about = allUI ? allUI->getPanel<AboutDialog>() : nullptr;
    commands.add({"help.about", "About", {}, [about] { return about != nullptr; }, "", [about] {
                      if (about)
                          about->show();
                  }});
}

void Lumenda3DEditor::confirmAndClearCache(bool clearAssets, bool clearSaved) {
    std::string message;
    if (clearAssets)
        message += "All downloaded assets will be deleted and re-downloaded as needed.\n";
    if (clearSaved)
        message += "Saved games, editor settings and auto-saves will be deleted. You will stay logged in.\n";
    message += "\nThis cannot be undone. Continue?";
    auto question = allUI ? allUI->getPanel<ConfirmDialog>() : nullptr;
    if (!question)
        return;
    question->show("Warning", message, [this, clearAssets, clearSaved] { clearCache(clearAssets, clearSaved); },
                   "Clear");
}

void Lumenda3DEditor::clearCache(bool clearAssets, bool clearSaved) {
    if (clearAssets) {
        if (auto client = AuthenticationManager::getInstance().getHttpClient())
            client->clearCache();
        setupAssets();
    }
    if (clearSaved) {
        if (!DataPersist::ClearAllPersistData({kLoginEntry}))
            showErrorMessage("Some saved data could not be deleted; the log names the files.");
        if (sourceFiles) {
            sourceFiles->clearAutoBackup();
            refreshHasDismissedSnapshot();
        }
    }
    LmdLog::message("Cache cleared (assets: " + std::string(clearAssets ? "yes" : "no") +
                    ", saved data: " + std::string(clearSaved ? "yes" : "no") + ")");
    showToast("Cache cleared", 3.0f);
}

} // namespace Lumenda3D
