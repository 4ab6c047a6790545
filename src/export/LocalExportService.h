#pragma once
// Turns the open game into a deliverable on this computer, with no build server. Every target
// runs the same stages, one after the other through callbacks:
//
//   1. template   TemplateManager::ensureUpToDate for the target           0 .. 0.3
//   2. compile    BytecodeCompiler: check, translate, bytecode, bin.dat     0.35
//   3. assets     AssetBundler: every asset the game names                  0.45 .. 0.85
//   4. packaging  the target's PackageStep                                  0.88, then "Done" at 1.0
//
// Only the packaging differs by target. A target plugs in its step with setPackageStep (Linux is
// built in: LinuxPackager); an entry for a target without a step fails after the shared stages
// with "Packaging for <target> is not available in this build.". docs/export.md has the whole.
//
// Main thread only. The callbacks may run before an entry returns (a cached template, a game
// without downloads) or in later frames (downloads run through the HTTP client's pump).
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "export/ExportService.h"
#include "export/ExportState.h"

namespace Lumenda3D {

class Lumenda3DEngine;
class LmdJobService;
class MyHttpClient;
class TemplateManager;

class LocalExportService {
public:
    // A target's packaging: ends the export with exactly one state->finish or state->fail.
    using PackageStep = std::function<void(const std::shared_ptr<ExportState>& state)>;

    static LocalExportService& getInstance();
    explicit LocalExportService(TemplateManager& templates);

    // The HTTP client for templates and cloud assets; the engine pointer is only checked.
    void setHttpClient(std::shared_ptr<MyHttpClient> client) { client_ = std::move(client); }
    // Long packaging work (copying the runtime, compressing) runs there when set, inline otherwise.
    void setJobService(LmdJobService* jobs) { jobs_ = jobs; }
    LmdJobService* getJobService() const { return jobs_; }
    void setPackageStep(ExportService::Platform platform, PackageStep step);
    bool hasPackageStep(ExportService::Platform platform) const { return packagers_.count(platform) > 0; }
    // True from an entry until its done callback: a second entry meanwhile is refused.
    bool isRunning() const { return running_; }

    // The entries: (engine, document, the deliverable's absolute path, options, progress, done).
    void exportLinux(Lumenda3DEngine* engine, const std::string& xml, const std::string& outputPath,
                     const ExportService::Options& options, ExportService::Progress progress, ExportService::Done done);
    void exportWindows(Lumenda3DEngine* engine, const std::string& xml, const std::string& outputPath,
                       const ExportService::Options& options, ExportService::Progress progress, ExportService::Done done);
    // Any target by its platform (the dialog and the agent tool pick it at run time).
    void exportFor(ExportService::Platform platform, Lumenda3DEngine* engine, const std::string& xml,
                   const std::string& outputPath, const ExportService::Options& options,
                   ExportService::Progress progress, ExportService::Done done);

    // True when getEditorInstallationRoot gives a path (a build or an installation of the editor).
    static bool isAvailable();
    static bool isAndroidExportAvailable() { return false; }
    static bool isWebExportAvailable() { return false; }

    // The folder of this installation: the folder of the running program.
    static std::string getEditorInstallationRoot();
    // The media folder of the schema: see docs/export.md for the order it is looked for in.
    static std::string findMediaFolder();
    // The default deliverable of a target: exportsOutputPath(name, suffix) with the target's
    // suffix ("-linux.tar.gz", "-windows.zip" or "-setup.exe").
    static std::string defaultOutputPath(ExportService::Platform platform, const ExportService::Options& options);

    // sanitizeName(name) + suffix in the exports folder (created, errors ignored). No search for a
    // free name: a second export of the same game replaces the first.
    static std::string exportsOutputPath(const std::string& name, const std::string& suffix);
    // A file name that is safe on Windows (and everywhere else); "game" when nothing usable is left.
    static std::string sanitizeName(const std::string& name);
    // {"displayName": ..., "fullScreen": true} with an indent of 2; "fullScreen" only when asked.
    static std::string buildAppJson(const std::string& displayName, bool fullScreen);
    // Lua bytecode of a script file (with debug information); false when the file does not load.
    static bool luaFileToBytecode(const std::string& path, std::string& bytes);

    // The fractions of the progress scale.
    static constexpr float kTemplateShare = 0.3f;
    static constexpr float kCompileFraction = 0.35f;
    static constexpr float kAssetsBase = 0.45f;
    static constexpr float kAssetsShare = 0.4f;
    static constexpr float kPackagingFraction = 0.88f;

private:
    void start(ExportService::Platform platform, Lumenda3DEngine* engine, const std::string& xml,
               const std::string& outputPath, const ExportService::Options& options, ExportService::Progress progress,
               ExportService::Done done);
    void runCompile(const std::shared_ptr<ExportState>& state, const std::string& templateDir);
    void runAssetBundleAndPackage(const std::shared_ptr<ExportState>& state, bool ok, const std::string& warnings);

    TemplateManager& templates_;
    std::shared_ptr<MyHttpClient> client_;
    LmdJobService* jobs_ = nullptr;
    std::map<ExportService::Platform, PackageStep> packagers_;
    bool running_ = false;
};

} // namespace Lumenda3D
