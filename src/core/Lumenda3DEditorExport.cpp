#include "core/LmdEditorExport.h"

#include <memory>

#include "core/Lumenda3DEditor.h"
#include "export/ExportDefaults.h"
#include "export/ExportDialog.h"
#include "export/ExportHost.h"
#include "export/ExportPanels.h"
#include "export/LocalExportService.h"
#include "export/TemplateManager.h"
#include "ui/AllUI.h"

namespace Lumenda3D {
namespace {

// The editor as the export dialog sees it: the engine, the document as it is saved, and the
// session's project name.
class EditorExportHost : public ExportHost {
public:
    explicit EditorExportHost(Lumenda3DEditor& editor) : editor_(editor) {}
    Lumenda3DEngine* exportEngine() override { return &editor_; }
    std::string exportDocumentXml() override { return editor_.getSourceXmlString(false, true); }
    std::string exportProjectName() override { return editor_.projectName; }

private:
    Lumenda3DEditor& editor_;
};

} // namespace

void setupEditorExport(Lumenda3DEditor& editor) {
    LocalExportService& service = LocalExportService::getInstance();
    service.setHttpClient(editor.getHttpClient());
    service.setJobService(&editor.jobs);
    // This installation's runtime last: a template from a server, added before it, wins.
    addServerTemplateSources(TemplateManager::getInstance());
    addInstalledTemplateSources(TemplateManager::getInstance());
}

void registerEditorExportPanels(Lumenda3DEditor& editor, AllUI& ui) {
    registerExportPanels(ui, std::make_shared<EditorExportHost>(editor));
}

void registerEditorExportCommands(Lumenda3DEditor& editor) {
    auto openDialog = [&editor](ExportService::Platform platform) {
        if (auto dialog = editor.allUI ? editor.allUI->getPanel<ExportDialog>() : nullptr)
            dialog->open(platform);
    };
    // Only a person starts an export from the menu; agents have export_game.
    editor.commands.add({"project.exportLinux", "Linux Export (tar.gz)", {}, {}, "export the game",
                         [openDialog] { openDialog(ExportService::Platform::Linux); }});
    editor.commands.add({"project.exportWindows", "Windows Export (EXE)", {}, {}, "export the game",
                         [openDialog] { openDialog(ExportService::Platform::Windows); }});
    // The web and Android packaging are not in this build: their items stay greyed out.
    editor.commands.add({"project.exportWeb", "Web export", {}, [] { return LocalExportService::isWebExportAvailable(); },
                         "export the game", [] {}});
    editor.commands.add({"project.exportAndroid", "Android Export (APK)", {},
                         [] { return LocalExportService::isAndroidExportAvailable(); }, "export the game", [] {}});
}

} // namespace Lumenda3D
