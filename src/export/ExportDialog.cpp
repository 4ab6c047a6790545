#include "export/ExportDialog.h"

#include <filesystem>

#include "export/ExportHost.h"
#include "export/ExportProcess.h"
#include "export/LocalExportService.h"

namespace Lumenda3D {
namespace {

constexpr float kWidth = 520.0f;
constexpr float kButtonWidth = 120.0f;
constexpr const char* kTargets[] = {"Linux (folder and .tar.gz)", "Windows (ZIP or installer)"};

} // namespace

ExportDialog::ExportDialog(std::shared_ptr<ExportHost> host, LocalExportService& service)
    : BaseUI(kName), host_(std::move(host)), service_(service) {}

void ExportDialog::open(ExportService::Platform target) {
    open_ = true;
    if (phase_ == Phase::Running)
        return; // the running export's progress is shown
    platform = target;
    phase_ = Phase::Editing;
    if (options.displayName.empty() && host_)
        options.displayName = host_->exportProjectName();
    if (options.displayName.empty())
        options.displayName = "My Game";
}

std::string ExportDialog::getResultFolder() const {
    if (phase_ != Phase::Succeeded)
        return "";
    return std::filesystem::path(result_).parent_path().string();
}

bool ExportDialog::openResultFolder() const {
    const std::string folder = getResultFolder();
    return !folder.empty() && ExportProcess::launch({"xdg-open", folder});
}

void ExportDialog::startExport() {
    if (phase_ == Phase::Running)
        return;
    phase_ = Phase::Running;
    fraction_ = 0.0f;
    stage_.clear();
    result_.clear();
    const int generation = ++*generation_;
    std::weak_ptr<int> current = generation_;
    auto mine = [current, generation] {
        std::shared_ptr<int> now = current.lock();
        return now && *now == generation;
    };
    const std::string xml = host_ ? host_->exportDocumentXml() : std::string();
    service_.exportFor(
        platform, host_ ? host_->exportEngine() : nullptr, xml, LocalExportService::defaultOutputPath(platform, options),
        options,
        [this, mine](float fraction, const std::string& text) {
            if (!mine())
                return;
            fraction_ = fraction;
            stage_ = text;
        },
        [this, mine](bool ok, const std::string& text) {
            if (!mine())
                return;
            phase_ = ok ? Phase::Succeeded : Phase::Failed;
            result_ = text;
        });
}

void ExportDialog::draw() {
    if (!beginModalWhileOpen(kPopupId, kWidth, open_, popupShown_))
        return;
    if (phase_ == Phase::Editing)
        drawForm();
    else
        drawProgress();

    ImGui::Spacing();
    const ImVec2 size(scaled(kButtonWidth), 0.0f);
    if (phase_ == Phase::Editing) {
        if (button(kExportLabel, size))
            startExport();
        ImGui::SameLine();
    }
    if (phase_ == Phase::Succeeded) {
        if (button(kOpenFolderLabel, size) && !openResultFolder())
            result_ += "\n(the folder could not be opened: xdg-open is missing)";
        ImGui::SameLine();
    }
    if (button(kCloseLabel, size) || keyPressedOnce(ImGuiKey_Escape)) {
        // A running export goes on; opening the dialog again shows it.
        open_ = false;
        if (phase_ != Phase::Running)
            phase_ = Phase::Editing;
    }
    ImGui::EndPopup();
}

void ExportDialog::drawForm() {
    int target = platform == ExportService::Platform::Windows ? 1 : 0;
    ImGui::TextUnformatted("Target");
    ImGui::SetNextItemWidth(-1.0f);
    if (ImGui::Combo("##exportDialogTarget", &target, kTargets, 2))
        platform = target == 1 ? ExportService::Platform::Windows : ExportService::Platform::Linux;
    ImGui::TextUnformatted("App name");
    ImGui::SetNextItemWidth(-1.0f);
    inputText("##exportDialogName", options.displayName);
    ImGui::TextUnformatted("Version");
    ImGui::SetNextItemWidth(scaled(160.0f));
    inputText("##exportDialogVersion", options.versionName);
    ImGui::Checkbox("Full screen##exportDialogFullScreen", &options.fullScreen);

    if (platform == ExportService::Platform::Windows) {
        ImGui::Separator();
        int format = options.windowsFormat == ExportService::WindowsFormat::Installer ? 1 : 0;
        ImGui::RadioButton("ZIP##exportDialogZip", &format, 0);
        ImGui::SameLine();
        ImGui::RadioButton("Installer##exportDialogInstaller", &format, 1);
        options.windowsFormat = format == 1 ? ExportService::WindowsFormat::Installer : ExportService::WindowsFormat::Zip;
        if (options.windowsFormat == ExportService::WindowsFormat::Installer) {
            ImGui::Checkbox("Desktop shortcut##exportDialogShortcut", &options.desktopShortcut);
            ImGui::TextUnformatted("Signing certificate (.pfx, optional)");
            ImGui::SetNextItemWidth(-1.0f);
            inputText("##exportDialogPfx", options.windowsSigning.certificatePath);
            if (options.windowsSigning.wanted()) {
                ImGui::TextUnformatted("Certificate password");
                ImGui::SetNextItemWidth(-1.0f);
                inputText("##exportDialogPassword", options.windowsSigning.password, ImGuiInputTextFlags_Password);
            }
        }
    }
    ImGui::Spacing();
    ImGui::PushTextWrapPos(0.0f);
    ImGui::TextDisabled("Saved as %s", LocalExportService::defaultOutputPath(platform, options).c_str());
    ImGui::PopTextWrapPos();
}

void ExportDialog::drawProgress() {
    ImGui::ProgressBar(fraction_, ImVec2(-1.0f, 0.0f));
    ImGui::TextUnformatted(stage_.c_str());
    ImGui::PushTextWrapPos(0.0f);
    if (phase_ == Phase::Succeeded) {
        ImGui::TextUnformatted("The game was exported:");
        ImGui::TextUnformatted(result_.c_str());
        ImGui::Text("Folder: %s", getResultFolder().c_str());
    } else if (phase_ == Phase::Failed) {
        ImGui::TextColored(ImVec4(1.0f, 0.45f, 0.4f, 1.0f), "The export failed:");
        ImGui::TextUnformatted(result_.c_str());
    }
    ImGui::PopTextWrapPos();
}

} // namespace Lumenda3D
