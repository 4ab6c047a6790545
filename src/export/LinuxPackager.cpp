#include "export/LinuxPackager.h"

#include <filesystem>

#include "export/ExportFiles.h"
#include "export/ExportProcess.h"
#include "export/ExportState.h"
#include "export/LocalExportService.h"
#include "services/FileManager.h"
#include "services/LmdJobService.h"

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

constexpr const char* kArchiveSuffix = ".tar.gz";

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

} // namespace

LinuxPackager::Paths LinuxPackager::pathsFor(const std::string& outputPath, const std::string& displayName) {
    Paths paths;
    if (endsWith(outputPath, kArchiveSuffix)) {
        paths.folder = outputPath.substr(0, outputPath.size() - std::string(kArchiveSuffix).size());
        paths.archive = outputPath;
    } else {
        paths.folder = outputPath;
        paths.archive = outputPath + kArchiveSuffix;
    }
    paths.topName = LocalExportService::sanitizeName(displayName);
    return paths;
}

bool LinuxPackager::assemble(const std::string& templateDir, const std::string& packagePath, const std::string& appJson,
                             const std::string& assetsDir, const Paths& paths, std::string& error) {
    std::error_code ec;
    const fs::path destination = fs::path(paths.folder).parent_path();
    fs::create_directories(destination, ec);
    if (ec) {
        error = "cannot create the folder '" + destination.string() + "': " + ec.message();
        return false;
    }
    const fs::path staging = ExportFiles::workFolderBeside(paths.folder, "building");
    auto fail = [&](const std::string& text) {
        error = text;
        std::error_code ignored;
        fs::remove_all(staging, ignored);
        return false;
    };
    const fs::path top = staging / paths.topName;
    fs::create_directories(top, ec);
    if (ec)
        return fail("cannot create '" + top.string() + "': " + ec.message());
    for (const fs::directory_entry& entry : fs::directory_iterator(templateDir, ec)) {
        if (entry.path().filename() == "template.json")
            continue;
        std::string copyError;
        if (!ExportFiles::copyTree(entry.path().string(), (top / entry.path().filename()).string(), copyError))
            return fail(copyError);
    }
    if (ec)
        return fail("cannot read the runtime template '" + templateDir + "': " + ec.message());
    const fs::path game = top / "game";
    std::string copyError;
    if (!ExportFiles::copyTree(assetsDir, game.string(), copyError))
        return fail(copyError);
    fs::copy_file(packagePath, game / "bin.dat", ec);
    if (ec)
        return fail("cannot copy the game package: " + ec.message());
    if (!FileManager::writeFileAtomic((game / "app.json").string(), appJson + "\n", &copyError))
        return fail(copyError);

    const fs::path archive = staging / "game.tar.gz";
    const ExportProcess::Result tar =
        ExportProcess::run({"tar", "-czf", archive.string(), "-C", staging.string(), paths.topName});
    if (!tar.ok())
        return fail("the archive could not be made: " + (tar.output.empty() ? std::string("tar failed") : tar.output));

    if (!ExportFiles::replaceWith(archive.string(), paths.archive, error) ||
        !ExportFiles::replaceWith(top.string(), paths.folder, error))
        return fail(error);
    fs::remove_all(staging, ec);
    return true;
}

void LinuxPackager::package(const std::shared_ptr<ExportState>& state, LmdJobService* jobs) {
    state->report(LocalExportService::kPackagingFraction, "Packaging the game...");
    const Paths paths = pathsFor(state->outputPath, state->options.displayName);
    const std::string templateDir = state->templateDir, packagePath = state->packagePath, appJson = state->appJson,
                      assetsDir = state->assetsDir;
    auto work = [templateDir, packagePath, appJson, assetsDir, paths]() {
        std::string error;
        const bool ok = assemble(templateDir, packagePath, appJson, assetsDir, paths, error);
        return LmdJobService::Result{ok, ok ? paths.archive : error};
    };
    auto end = [state](bool ok, const std::string& text) {
        if (ok)
            state->finish(text);
        else
            state->fail("Packaging failed: " + text);
    };
    if (!jobs) {
        const LmdJobService::Result result = work();
        return end(result.ok, result.message);
    }
    jobs->start(
        "export-linux", [work](LmdJobService::Context&) { return work(); }, nullptr,
        [end](LmdJobService::State jobState, const std::string& message) {
            end(jobState == LmdJobService::State::Succeeded, message);
        });
}

} // namespace Lumenda3D
