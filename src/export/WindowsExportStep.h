#pragma once
// The packaging of a Windows export, after the shared stages (LocalExportService's PackageStep for
// Windows):
//
//   0.88  "Packaging the game..."                              the ZIP (WindowsZipPackager)
//   0.90  "Signing the application..."                         installer + signing only
//   0.92  "Building the installer (this can take a minute)..." makensis (NsisBuilder)
//   0.97  "Signing the installer..."                           installer + signing only
//   1.0   "Done"
//
// Whatever stops the installer (makensis missing, no icon, no script, a failed build), the user
// still gets the ZIP ("installer skipped (...); delivering ZIP -> ..."). A failed signature ends
// the export with "Signing failed: ...": a deliverable the user asked to have signed is never
// handed out unsigned.
#include <functional>
#include <memory>
#include <string>

#include "export/ExportService.h"

namespace Lumenda3D {

struct ExportState;
class LmdJobService;

class WindowsExportStep {
public:
    // What the step needs of the export, copied so that it can run on a worker thread.
    struct Input {
        std::string templateDir, packagePath, assetsDir, appJson, outputPath, workDir;
        ExportService::Options options;
        // Where win_export_template.nsi is looked for.
        std::string executableDir, currentDir, installRoot;
    };
    struct Outcome {
        enum class Kind { Delivered, ZipFallback, Failed } kind = Kind::Failed;
        std::string path;     // the deliverable (Delivered, ZipFallback)
        std::string reason;   // why the installer was skipped, or why the export failed
    };
    using Progress = std::function<void(float fraction, const std::string& text)>;

    // Runs the packaging of `state` (on the job service when given) and ends the export.
    static void package(const std::shared_ptr<ExportState>& state, LmdJobService* jobs);

    // The whole packaging; `progress` gets the scale's steps after 0.88.
    static Outcome run(const Input& input, const Progress& progress);

    // The ZIP of an export: the output itself for the ZIP format; beside the installer
    // ("Game-setup.exe" gives "Game-windows.zip") for the installer format.
    static std::string zipPathFor(const std::string& outputPath, ExportService::WindowsFormat format);

    static constexpr float kSignAppFraction = 0.90f;
    static constexpr float kInstallerFraction = 0.92f;
    static constexpr float kSignInstallerFraction = 0.97f;
};

} // namespace Lumenda3D
