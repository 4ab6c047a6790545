// The editor's side of the export: the export service's HTTP client, job service and templates,
// the menu's export commands, and the export dialog's view of the editor.
#include "core/Lumenda3DEditor.h"
#include "core/LmdEditorExportHost.h"

#include "export/ExportDefaults.h"
#include "export/ExportDialog.h"
#include "export/LocalExportService.h"
#include "export/TemplateManager.h"

namespace Lumenda3D {

Lumenda3DEngine* LmdEditorExportHost::exportEngine() { return editor_; }

std::string LmdEditorExportHost::exportDocumentXml() { return editor_->getSourceXmlString(false, true); }

std::string LmdEditorExportHost::exportProjectName() { return editor_->projectName; }

void Lumenda3DEditor::setupExport() {
    LocalExportService& service = LocalExportService::getInstance();
    service.setHttpClient(getHttpClient());
    service.setJobService(&jobs);
    // This installation's runtime last: a template from a server, added before it, wins.
    addInstalledTemplateSources(TemplateManager::getInstance());
}

void Lumenda3DEditor::registerExportCommands() {
    auto openDialog = [this](ExportService::Platform platform) {
        if (exportDialog)
            exportDialog->open(platform);
    };
    // Only a person starts an export from the menu; agents have export_game.
    commands.add({"project.exportLinux", "Linux Export (tar.gz)", {}, {}, "export the game",
                  [openDialog] { openDialog(ExportService::Platform::Linux); }});
    commands.add({"project.exportWindows", "Windows Export (EXE)", {}, {}, "export the game",
                  [openDialog] { openDialog(ExportService::Platform::Windows); }});
    // The web and Android packaging are not in this build: their items stay greyed out.
    commands.add({"project.exportWeb", "Web export", {}, [] { return LocalExportService::isWebExportAvailable(); },
                  "export the game", [] {}});
    commands.add({"project.exportAndroid", "Android Export (APK)", {},
                  [] { return LocalExportService::isAndroidExportAvailable(); }, "export the game", [] {}});
}

} // namespace Lumenda3D
