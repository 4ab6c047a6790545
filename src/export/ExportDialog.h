#pragma once
// The export dialog: target (Linux or Windows), app name, version, full screen, and for Windows
// the format, the desktop shortcut and the signing certificate. "Export" runs the export through
// LocalExportService; a progress bar shows its fraction and text; at the end the dialog shows
// where the result is, with a button that opens that folder in the desktop's file manager, or
// the reason the export failed. Closing the dialog while an export runs leaves the export running;
// opening it again shows its progress.
#include <memory>
#include <string>

#include "export/ExportService.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {

class ExportHost;
class LocalExportService;

class ExportDialog : public BaseUI {
public:
    static constexpr const char* kName = "exportDialog";
    static constexpr const char* kPopupId = "Export Game###exportDialog";
    static constexpr const char* kExportLabel = "Export##exportDialogStart";
    static constexpr const char* kOpenFolderLabel = "Open Folder##exportDialogOpen";
    static constexpr const char* kCloseLabel = "Close##exportDialogClose";

    enum class Phase { Editing, Running, Succeeded, Failed };

    ExportDialog(std::shared_ptr<ExportHost> host, LocalExportService& service);

    void draw() override;

    // Shows the dialog with the target chosen.
    void open(ExportService::Platform platform);
    void close() { open_ = false; }
    bool isOpen() const { return open_; }

    // What the "Export" button does; also for tests and scripts.
    void startExport();
    // Opens the result's folder with xdg-open; false when it could not be started.
    bool openResultFolder() const;

    Phase getPhase() const { return phase_; }
    float getFraction() const { return fraction_; }
    const std::string& getStageText() const { return stage_; }
    // The deliverable's path after success, the reason after a failure.
    const std::string& getResultText() const { return result_; }
    // The folder the result is in ("" before a success).
    std::string getResultFolder() const;

    ExportService::Platform platform = ExportService::Platform::Linux;
    ExportService::Options options;

private:
    void drawForm();
    void drawProgress();

    std::shared_ptr<ExportHost> host_;
    LocalExportService& service_;
    bool open_ = false;
    bool popupShown_ = false;
    Phase phase_ = Phase::Editing;
    float fraction_ = 0.0f;
    std::string stage_;
    std::string result_;
    // Tells the callbacks of an export apart from those of an earlier one.
    std::shared_ptr<int> generation_ = std::make_shared<int>(0);
};

} // namespace Lumenda3D
