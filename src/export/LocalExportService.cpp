#include "export/LocalExportService.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include <lua.hpp>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "export/AssetBundler.h"
#include "export/AssetPathManager.h"
#include "export/BytecodeCompiler.h"
#include "export/LinuxPackager.h"
#include "export/WindowsExportStep.h"
#include "export/TemplateManager.h"

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

int luaDumpWriter(lua_State*, const void* data, size_t size, void* userData) {
    static_cast<std::string*>(userData)->append(static_cast<const char*>(data), size);
    return 0;
}

bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

void trimEnd(std::string& name) {
    while (!name.empty() && (name.back() == '.' || isSpace(name.back())))
        name.pop_back();
}

} // namespace

LocalExportService& LocalExportService::getInstance() {
    static LocalExportService instance(TemplateManager::getInstance());
    return instance;
}

LocalExportService::LocalExportService(TemplateManager& templates) : templates_(templates) {
    setPackageStep(ExportService::Platform::Linux, [this](const std::shared_ptr<ExportState>& state) {
        LinuxPackager::package(state, jobs_);
    });
    setPackageStep(ExportService::Platform::Windows, [this](const std::shared_ptr<ExportState>& state) {
        WindowsExportStep::package(state, jobs_);
    });
}

void LocalExportService::setPackageStep(ExportService::Platform platform, PackageStep step) {
    if (step)
        packagers_[platform] = std::move(step);
    else
        packagers_.erase(platform);
}

// --- Names and paths ---------------------------------------------------------------------------

std::string LocalExportService::sanitizeName(const std::string& name) {
    std::string out;
    out.reserve(name.size());
    for (char c : name) {
        const unsigned char u = static_cast<unsigned char>(c);
        const bool keep = (u < 0x80 && std::isalnum(u)) || c == ' ' || c == '-' || c == '.' || c == '_';
        out.push_back(keep ? c : '_');
    }
    out.erase(out.begin(), std::find_if(out.begin(), out.end(), [](char c) { return !isSpace(c); }));
    trimEnd(out);
    if (out.size() > 64) {
        out.resize(64);
        trimEnd(out);
    }
    if (out.empty())
        return "game";
    std::string upper = out;
    std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return char(std::toupper(c)); });
    static const char* const kReserved[] = {"CON", "PRN", "AUX", "NUL"};
    bool reserved = std::find(std::begin(kReserved), std::end(kReserved), upper) != std::end(kReserved);
    if (!reserved && upper.size() == 4 && (upper.rfind("COM", 0) == 0 || upper.rfind("LPT", 0) == 0))
        reserved = upper[3] >= '1' && upper[3] <= '9';
    return reserved ? "game" : out;
}

std::string LocalExportService::exportsOutputPath(const std::string& name, const std::string& suffix) {
    const fs::path folder = LmdPaths::exportsDir();
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    return (folder / (sanitizeName(name) + suffix)).string();
}

std::string LocalExportService::defaultOutputPath(ExportService::Platform platform, const ExportService::Options& options) {
    switch (platform) {
    case ExportService::Platform::Linux:
        return exportsOutputPath(options.displayName, "-linux.tar.gz");
    case ExportService::Platform::Windows:
        return exportsOutputPath(options.displayName, options.windowsFormat == ExportService::WindowsFormat::Installer
                                                          ? "-setup.exe"
                                                          : "-windows.zip");
    case ExportService::Platform::Android:
        return exportsOutputPath(options.displayName, ".apk");
    case ExportService::Platform::Web:
        return exportsOutputPath(options.displayName, "-web.zip");
    }
    return exportsOutputPath(options.displayName, "");
}

std::string LocalExportService::buildAppJson(const std::string& displayName, bool fullScreen) {
    nlohmann::json app = {{"displayName", displayName}};
    if (fullScreen)
        app["fullScreen"] = true;
    return app.dump(2);
}

bool LocalExportService::luaFileToBytecode(const std::string& path, std::string& bytes) {
    lua_State* L = luaL_newstate();
    if (!L)
        return false;
    if (luaL_loadfilex(L, path.c_str(), nullptr) != LUA_OK) {
        const char* message = lua_tolstring(L, -1, nullptr);
        LmdLog::message(std::string("LocalExportService: luaL_loadfile failed: ") + (message ? message : "?"));
        lua_close(L);
        return false;
    }
    const int status = lua_dump(L, &luaDumpWriter, &bytes, 0);
    lua_close(L);
    return status == 0 && !bytes.empty();
}

std::string LocalExportService::getEditorInstallationRoot() { return LmdPaths::executableDir(); }

bool LocalExportService::isAvailable() { return !getEditorInstallationRoot().empty(); }

std::string LocalExportService::findMediaFolder() {
    std::error_code ec;
    const std::string root = getEditorInstallationRoot();
    if (!root.empty()) {
        for (const fs::path& candidate : {fs::path(root) / "media", fs::path(root) / ".." / "Resources" / "media"})
            if (fs::exists(candidate / "codeSchema.xml", ec))
                return fs::weakly_canonical(candidate, ec).string();
    }
    // A developer build runs from its build folder; LmdPaths knows the source tree's media.
    const fs::path known = LmdPaths::mediaDir();
    if (fs::exists(known / "codeSchema.xml", ec))
        return fs::weakly_canonical(known, ec).string();
    const fs::path here = fs::current_path(ec) / "media";
    if (fs::is_directory(here, ec))
        return here.string();
    const fs::path editor = fs::path(root) / "Editor" / "media";
    if (!root.empty() && fs::is_directory(editor, ec))
        return editor.string();
    return here.string(); // the compiler says what is missing
}

// --- The stages --------------------------------------------------------------------------------

void LocalExportService::exportLinux(Lumenda3DEngine* engine, const std::string& xml, const std::string& outputPath,
                                     const ExportService::Options& options, ExportService::Progress progress,
                                     ExportService::Done done) {
    start(ExportService::Platform::Linux, engine, xml, outputPath, options, std::move(progress), std::move(done));
}

void LocalExportService::exportWindows(Lumenda3DEngine* engine, const std::string& xml, const std::string& outputPath,
                                       const ExportService::Options& options, ExportService::Progress progress,
                                       ExportService::Done done) {
    start(ExportService::Platform::Windows, engine, xml, outputPath, options, std::move(progress), std::move(done));
}

void LocalExportService::exportFor(ExportService::Platform platform, Lumenda3DEngine* engine, const std::string& xml,
                                   const std::string& outputPath, const ExportService::Options& options,
                                   ExportService::Progress progress, ExportService::Done done) {
    start(platform, engine, xml, outputPath, options, std::move(progress), std::move(done));
}

void LocalExportService::start(ExportService::Platform platform, Lumenda3DEngine* engine, const std::string& xml,
                               const std::string& outputPath, const ExportService::Options& options,
                               ExportService::Progress progress, ExportService::Done done) {
    auto state = std::make_shared<ExportState>();
    state->engine = engine;
    state->client = client_;
    state->xml = xml;
    state->outputPath = outputPath;
    state->options = options;
    state->target = platform;
    state->progress = std::move(progress);
    // One export at a time: the next one empties the work folder that this one still reads.
    if (running_) {
        if (done)
            done(false, "Another export is still running; wait until it has finished, then export again.");
        return;
    }
    running_ = true;
    state->done = [this, done = std::move(done)](bool ok, const std::string& text) {
        running_ = false;
        if (done)
            done(ok, text);
    };

    if (!state->engine || !state->client)
        return state->fail("Engine/HTTP client not available for export.");
    if (state->xml.empty())
        return state->fail("Project XML is empty — nothing to export.");
    const bool available = platform == ExportService::Platform::Android ? isAndroidExportAvailable()
                           : platform == ExportService::Platform::Web   ? isWebExportAvailable()
                                                                        : isAvailable();
    if (!available)
        return state->fail("Local export is not available in this build.");

    const fs::path work = fs::path(LmdPaths::cacheDir()) / "export_build";
    std::error_code ec;
    fs::remove_all(work, ec); // nothing of an earlier export may leak into this one
    state->workDir = work.string();
    state->compileDir = (work / "compile").string();
    state->assetsDir = (work / "assets").string();
    state->packagePath = (work / "bin.dat").string();
    for (const std::string& dir : {state->compileDir, state->assetsDir}) {
        std::string error;
        if (!LmdPaths::ensureDir(dir, &error))
            return state->fail("The export's work folder could not be made: " + error);
    }

    state->report(0.0f, "Preparing export template...");
    templates_.ensureUpToDate(
        platform, state->client,
        [state](float fraction, const std::string& text) { state->report(fraction * kTemplateShare, text); },
        [this, state](bool ok, const std::string& text) {
            if (!ok)
                return state->fail(text);
            runCompile(state, text);
        });
}

void LocalExportService::runCompile(const std::shared_ptr<ExportState>& state, const std::string& templateDir) {
    state->templateDir = templateDir;
    state->report(kCompileFraction, "Compiling the game...");
    BytecodeCompileInput input;
    input.xml = state->xml;
    input.mediaDir = findMediaFolder();
    input.outputDir = state->compileDir;
    input.luaFileToBytecode = &LocalExportService::luaFileToBytecode;
    const BytecodeCompileResult result = BytecodeCompiler::compile(input);
    if (!result.success)
        return state->fail("Compile failed: " + result.error);
    for (const std::string& warning : result.warnings)
        LmdLog::warning("LocalExportService: " + warning);
    std::string error;
    if (!BytecodeCompiler::buildPackage(result, state->packagePath, error))
        return state->fail("Failed to build game package: " + error);

    pugi::xml_document compiled;
    const int version = compiled.load_file(result.compiledXmlPath.c_str()) ? AssetPathManager::getVersionFromXml(compiled) : 1;
    AssetBundleInput bundle;
    bundle.compiledXmlPath = result.compiledXmlPath;
    bundle.assetsDir = state->assetsDir;
    bundle.client = state->client;
    bundle.schemaPath = (fs::path(input.mediaDir) / "codeSchema.xml").string();
    bundle.resolver = [version](const std::string& type, const std::string& fileName) {
        return AssetPathManager::buildAssetUrl(version, AssetPathManager::getNodeNameForAssetType(type), fileName);
    };
    AssetBundler::bundle(
        bundle,
        [state](int done, int total) {
            const float share = total > 0 ? float(done) / float(total) : 1.0f;
            state->report(share * kAssetsShare + kAssetsBase,
                          "Preparing assets (" + std::to_string(done) + "/" + std::to_string(total) + ")...");
        },
        [this, state](bool ok, const std::string& warnings) { runAssetBundleAndPackage(state, ok, warnings); });
}

void LocalExportService::runAssetBundleAndPackage(const std::shared_ptr<ExportState>& state, bool ok,
                                                  const std::string& warnings) {
    // A game with some assets missing is still delivered; the log names what is missing.
    if (!ok && !warnings.empty())
        LmdLog::message("LocalExportService: asset bundle warnings: " + warnings);
    state->appJson = buildAppJson(state->options.displayName, state->options.fullScreen);
    auto step = packagers_.find(state->target);
    if (step == packagers_.end())
        return state->fail(std::string("Packaging for ") + ExportService::platformName(state->target) +
                           " is not available in this build.");
    step->second(state);
}

} // namespace Lumenda3D
