#include "export/WindowsExportStep.h"

#include <filesystem>

#include "base/LmdPaths.h"
#include "export/ComponentManager.h"
#include "export/ExportState.h"
#include "export/LocalExportService.h"
#include "export/NsisBuilder.h"
#include "export/WindowsAppIcon.h"
#include "export/WindowsSigner.h"
#include "export/WindowsZipPackager.h"
#include "services/LmdJobService.h"

namespace Lumenda3D {
namespace fs = std::filesystem;
namespace {

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

WindowsExportStep::Outcome fallBack(const std::string& zip, const std::string& reason) {
    return {WindowsExportStep::Outcome::Kind::ZipFallback, zip, reason};
}

} // namespace

std::string WindowsExportStep::zipPathFor(const std::string& outputPath, ExportService::WindowsFormat format) {
    if (format == ExportService::WindowsFormat::Zip)
        return outputPath;
    std::string stem = outputPath;
    if (endsWith(stem, ".exe"))
        stem.resize(stem.size() - 4);
    if (endsWith(stem, "-setup"))
        stem.resize(stem.size() - 6);
    return stem + "-windows.zip";
}

WindowsExportStep::Outcome WindowsExportStep::run(const Input& in, const Progress& progress) {
    auto report = [&](float f, const std::string& text) {
        if (progress)
            progress(f, text);
    };
    const bool installer = in.options.windowsFormat == ExportService::WindowsFormat::Installer;
    const std::string appFileName = LocalExportService::sanitizeName(in.options.displayName);

    WindowsPackageInput zipInput;
    zipInput.templateDir = in.templateDir;
    zipInput.packagePath = in.packagePath;
    zipInput.assetsDir = in.assetsDir;
    zipInput.appJson = in.appJson;
    zipInput.outputPath = zipPathFor(in.outputPath, in.options.windowsFormat);
    zipInput.appFileName = appFileName;
    zipInput.stageDir = (fs::path(in.workDir) / "windows" / appFileName).string();
    WindowsPackageResult packaged;
    std::string error;
    if (!WindowsZipPackager::package(zipInput, error, packaged))
        return {Outcome::Kind::Failed, "", "Packaging failed: " + error};
    if (!installer)
        return {Outcome::Kind::Delivered, packaged.zipPath, ""};

    // The installer: every early exit still delivers the ZIP.
    const std::string toolRoot = ComponentManager::findInstalledToolRoot("nsis");
    if (toolRoot.empty())
        return fallBack(packaged.zipPath, "the NSIS installer tool is not installed");
    const std::string iconPath = (fs::path(in.workDir) / "app.ico").string();
    if (!WindowsAppIcon::prepare(in.templateDir, in.options.displayName, iconPath, error))
        return fallBack(packaged.zipPath, "no app icon could be prepared for the installer");

    const WindowsSigningOptions& signing = in.options.windowsSigning;
    auto sign = [&](const std::string& file) {
        WindowsSigner::Input s;
        s.filePath = file;
        s.description = in.options.displayName;
        s.options = signing;
        std::string why;
        if (WindowsSigner::sign(s, why))
            return Outcome{Outcome::Kind::Delivered, file, ""};
        return Outcome{Outcome::Kind::Failed, "", "Signing failed: " + why};
    };
    if (signing.wanted()) {
        report(kSignAppFraction, "Signing the application...");
        const Outcome signedApp = sign(packaged.exePath);
        if (signedApp.kind == Outcome::Kind::Failed)
            return signedApp;
    }

    report(kInstallerFraction, "Building the installer (this can take a minute)...");
    NsisBuilder::Input b;
    b.toolRoot = toolRoot;
    b.scriptTemplate = NsisBuilder::findScriptTemplate(in.executableDir, in.currentDir, in.installRoot);
    b.workDir = in.workDir;
    b.stageDir = packaged.stageDir;
    b.exeName = packaged.exeName;
    b.displayName = in.options.displayName;
    b.appFileName = appFileName;
    b.versionName = in.options.versionName;
    b.iconPath = iconPath;
    b.outputPath = in.outputPath;
    b.desktopShortcut = in.options.desktopShortcut;
    if (!NsisBuilder::build(b, error))
        return fallBack(packaged.zipPath, "installer build failed (" + error + ")");

    if (signing.wanted()) {
        report(kSignInstallerFraction, "Signing the installer...");
        const Outcome signedInstaller = sign(in.outputPath);
        if (signedInstaller.kind == Outcome::Kind::Failed)
            return signedInstaller;
    }
    return {Outcome::Kind::Delivered, in.outputPath, ""};
}

void WindowsExportStep::package(const std::shared_ptr<ExportState>& state, LmdJobService* jobs) {
    state->report(LocalExportService::kPackagingFraction, "Packaging the game...");
    Input in;
    in.templateDir = state->templateDir;
    in.packagePath = state->packagePath;
    in.assetsDir = state->assetsDir;
    in.appJson = state->appJson;
    in.outputPath = state->outputPath;
    in.workDir = state->workDir;
    in.options = state->options;
    in.executableDir = LmdPaths::executableDir();
    std::error_code ec;
    in.currentDir = fs::current_path(ec).string();
    in.installRoot = LocalExportService::getEditorInstallationRoot();

    const bool installer = in.options.windowsFormat == ExportService::WindowsFormat::Installer;
    auto end = [state, installer](const Outcome& outcome) {
        switch (outcome.kind) {
        case Outcome::Kind::Failed:
            return state->fail(outcome.reason);
        case Outcome::Kind::ZipFallback:
            return state->finish(outcome.path, "LocalExportService: installer skipped (" + outcome.reason +
                                                   "); delivering ZIP -> ");
        case Outcome::Kind::Delivered:
            return state->finish(outcome.path, installer ? "LocalExportService: installer complete -> "
                                                         : "LocalExportService: export complete -> ");
        }
    };
    if (!jobs)
        return end(run(in, [state](float f, const std::string& text) { state->report(f, text); }));
    auto outcome = std::make_shared<Outcome>();
    jobs->start(
        "export-windows",
        [in, outcome](LmdJobService::Context& job) {
            *outcome = run(in, [&job](float f, const std::string& text) { job.progress(f, text); });
            return LmdJobService::Result{outcome->kind != Outcome::Kind::Failed, outcome->reason};
        },
        [state](float f, const std::string& text) { state->report(f, text); },
        [end, outcome](LmdJobService::State jobState, const std::string& message) {
            if (jobState != LmdJobService::State::Succeeded && outcome->kind != Outcome::Kind::Failed)
                return end({Outcome::Kind::Failed, "", "Packaging failed: " + message});
            end(*outcome);
        });
}

} // namespace Lumenda3D
