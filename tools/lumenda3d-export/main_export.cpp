// lumenda3d-export: exports a game file without opening the editor, as the editor's export does.
//
//   lumenda3d-export [--name NAME] [--fullscreen] [--platform linux|windows] [--installer]
//                    [--no-desktop-shortcut] [--version-name V] [--timings] <game.xml> [output]
//
// The output defaults to the exports folder (docs/export.md). Progress goes to stdout, one line
// per step; --timings adds the seconds each stage took (template, compile, assets, packaging),
// which is how the export time of a game is measured. Exit code 0 with the deliverable's path as
// the last line, 1 when the export failed (the reason on stderr), 2 for bad arguments.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <thread>

#include "base/LmdLog.h"
#include "engine/Lumenda3DEngine.h"
#include "export/ExportDefaults.h"
#include "export/LocalExportService.h"
#include "export/TemplateManager.h"
#include "services/FileManager.h"
#include "services/ApiConfig.h"
#include "services/MyHttpClient.h"

namespace {

using Clock = std::chrono::steady_clock;
using Lumenda3D::ExportService;

int usage(const std::string& problem) {
    if (!problem.empty())
        std::cerr << "lumenda3d-export: " << problem << "\n";
    std::cerr << "usage: lumenda3d-export [--name NAME] [--fullscreen] [--platform linux|windows] [--installer] "
                 "[--no-desktop-shortcut] [--version-name V] [--timings] <game.xml> [output]\n"
                 "  --installer             Windows: an installer (makensis) besides the ZIP\n";
    return 2;
}

// The stage a progress fraction belongs to, by the export's progress scale.
const char* stageOf(float fraction) {
    if (fraction < Lumenda3D::LocalExportService::kCompileFraction)
        return "template";
    if (fraction < Lumenda3D::LocalExportService::kAssetsBase)
        return "compile";
    if (fraction < Lumenda3D::LocalExportService::kPackagingFraction)
        return "assets";
    return "packaging";
}

} // namespace

int main(int argc, char** argv) {
    ExportService::Options options;
    ExportService::Platform platform = ExportService::Platform::Linux;
    bool timings = false;
    std::string game, output;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--name" && i + 1 < argc) {
            options.displayName = argv[++i];
        } else if (arg == "--fullscreen") {
            options.fullScreen = true;
        } else if (arg == "--timings") {
            timings = true;
        } else if (arg == "--installer") {
            options.windowsFormat = ExportService::WindowsFormat::Installer;
        } else if (arg == "--no-desktop-shortcut") {
            options.desktopShortcut = false;
        } else if (arg == "--version-name" && i + 1 < argc) {
            options.versionName = argv[++i];
        } else if (arg == "--platform" && i + 1 < argc) {
            const std::string name = argv[++i];
            if (name == "linux")
                platform = ExportService::Platform::Linux;
            else if (name == "windows")
                platform = ExportService::Platform::Windows;
            else
                return usage("--platform takes linux or windows, not '" + name + "'");
        } else if (arg == "--help" || arg == "-h") {
            usage("");
            return 0;
        } else if (!arg.empty() && arg[0] == '-') {
            return usage("unknown option '" + arg + "'");
        } else if (game.empty()) {
            game = arg;
        } else if (output.empty()) {
            output = arg;
        } else {
            return usage("one game file and one output, please");
        }
    }
    if (game.empty())
        return usage("no game file given");
    std::string xml, error;
    if (!Lumenda3D::FileManager::readFile(game, xml, &error)) {
        std::cerr << "lumenda3d-export: cannot read the game file '" << game << "': " << error << "\n";
        return 2;
    }
    if (options.displayName.empty())
        options.displayName = std::filesystem::path(game).stem().string();
    if (output.empty())
        output = Lumenda3D::LocalExportService::defaultOutputPath(platform, options);

    Lumenda3D::LmdLog::setEchoToStderr(false);
    Lumenda3D::Lumenda3DEngine engine("Lumenda3DExport");
    auto client = std::make_shared<Lumenda3D::MyHttpClient>();
    // The server of cloud assets and runtime templates: LUMENDA3D_SERVER, as for the editor.
    Lumenda3D::ApiConfig::init("");
    Lumenda3D::addServerTemplateSources(Lumenda3D::TemplateManager::getInstance());
    Lumenda3D::addInstalledTemplateSources(Lumenda3D::TemplateManager::getInstance());
    Lumenda3D::LocalExportService service(Lumenda3D::TemplateManager::getInstance());
    service.setHttpClient(client);

    bool finished = false, succeeded = false;
    std::string result;
    std::map<std::string, double> seconds;
    std::string stage = "template";
    Clock::time_point stageStart = Clock::now();
    const Clock::time_point begin = stageStart;
    auto closeStage = [&](const std::string& next) {
        const Clock::time_point now = Clock::now();
        seconds[stage] += std::chrono::duration<double>(now - stageStart).count();
        stage = next;
        stageStart = now;
    };
    service.exportFor(
        platform, &engine, xml, output, options,
        [&](float fraction, const std::string& text) {
            const std::string now = fraction >= 1.0f ? "done" : stageOf(fraction);
            if (now != stage)
                closeStage(now);
            char line[64];
            std::snprintf(line, sizeof line, "%5.1f%% ", double(fraction) * 100.0);
            std::cout << line << text << std::endl;
        },
        [&](bool ok, const std::string& text) {
            finished = true;
            succeeded = ok;
            result = text;
        });
    while (!finished) {
        if (client->pump() == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    closeStage("done");
    if (timings) {
        for (const char* name : {"template", "compile", "assets", "packaging"}) {
            char line[80];
            std::snprintf(line, sizeof line, "time %-9s %7.3f s", name, seconds[name]);
            std::cout << line << "\n";
        }
        char line[80];
        std::snprintf(line, sizeof line, "time %-9s %7.3f s", "total",
                      std::chrono::duration<double>(Clock::now() - begin).count());
        std::cout << line << "\n";
    }
    if (!succeeded) {
        std::cerr << "lumenda3d-export: " << result << "\n";
        return 1;
    }
    std::cout << result << std::endl;
    return 0;
}
