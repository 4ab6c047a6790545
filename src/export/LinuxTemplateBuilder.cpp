#include "export/LinuxTemplateBuilder.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include <nlohmann/json.hpp>

#include "base/LmdPaths.h"
#include "base/LmdVersion.h"
#include "export/ExportFiles.h"
#include "export/ExportProcess.h"
#include "services/FileManager.h"

#ifndef LMD_OGRE_MEDIA_DIR
#define LMD_OGRE_MEDIA_DIR "/usr/share/OGRE/Media"
#endif
#ifndef LMD_OGRE_PLUGIN_DIR
#define LMD_OGRE_PLUGIN_DIR "/usr/lib/x86_64-linux-gnu/OGRE"
#endif

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

const char* const kPlugins[] = {"RenderSystem_GL3Plus.so", "Codec_STBI.so"};
const char* const kOgreMedia[] = {"RTShaderLib", "ShadowVolume"};
const char* const kRuntimeMedia[] = {"codeSchema.xml", "lua", "shaders", "fonts"};

// Leading parts of sonames the desktop provides (matched up to ".so").
const char* const kDesktopLibraries[] = {
    "linux-vdso", "libc", "libm", "libdl", "libpthread", "librt", "libresolv", "libutil",
    "libgcc_s", "libstdc++", "libGL", "libGLX", "libGLdispatch", "libEGL", "libOpenGL", "libGLESv2", "libdrm",
    "libgbm", "libX11", "libX11-xcb", "libXext", "libXau", "libXdmcp", "libXcursor", "libXi", "libXfixes",
    "libXrandr", "libXrender", "libXss", "libXinerama", "libxkbcommon", "libwayland-client", "libwayland-cursor",
    "libwayland-egl", "libdecor-0", "libasound", "libpulse", "libpulse-simple", "libjack", "libdbus-1",
    "libsystemd", "libudev", "libfontconfig", "libfreetype", "libexpat", "libz", "libglib-2.0", "libgmodule-2.0",
    "libgobject-2.0", "libgio-2.0", "libuuid", "libselinux", "libpcre2-8"};

std::string baseOf(const std::string& soname) {
    const std::string file = fs::path(soname).filename().string();
    const size_t so = file.find(".so");
    return so == std::string::npos ? file : file.substr(0, so);
}

std::string fileStamp(const std::string& path) {
    std::error_code ec;
    const auto size = fs::file_size(path, ec);
    const auto time = fs::last_write_time(path, ec);
    return std::to_string(ec ? 0 : size) + "@" + std::to_string(ec ? 0 : time.time_since_epoch().count());
}

} // namespace

LinuxTemplateBuilder::Inputs LinuxTemplateBuilder::fromThisInstallation() {
    Inputs inputs;
    inputs.playerPath = (fs::path(LmdPaths::executableDir()) / "lumenda3d-player").string();
    inputs.mediaDir = LmdPaths::mediaDir();
    // An installation that is itself an export-style folder carries OGRE beside it.
    const fs::path beside = fs::path(LmdPaths::executableDir()) / "ogre";
    std::error_code ec;
    inputs.ogrePluginDir = fs::exists(beside / "plugins" / kPlugins[0], ec) ? (beside / "plugins").string()
                                                                            : std::string(LMD_OGRE_PLUGIN_DIR);
    inputs.ogreMediaDir = fs::exists(beside / "media" / "RTShaderLib", ec) ? (beside / "media").string()
                                                                           : std::string(LMD_OGRE_MEDIA_DIR);
    return inputs;
}

bool LinuxTemplateBuilder::isDesktopLibrary(const std::string& soname) {
    const std::string base = baseOf(soname);
    return std::find_if(std::begin(kDesktopLibraries), std::end(kDesktopLibraries),
                        [&base](const char* name) {
                            // The loader's name tells its architecture (ld-linux-x86-64, ld-linux-aarch64).
                            return base == name || base.rfind("libxcb", 0) == 0 || base.rfind("ld-linux", 0) == 0;
                        }) !=
           std::end(kDesktopLibraries);
}

bool LinuxTemplateBuilder::parseLdd(const std::string& output, std::vector<Library>& libraries, std::string& error) {
    std::istringstream lines(output);
    std::string line;
    std::vector<std::string> missing;
    while (std::getline(lines, line)) {
        const size_t arrow = line.find(" => ");
        if (arrow == std::string::npos)
            continue; // the vdso and the loader stand alone on their lines
        const std::string name = line.substr(line.find_first_not_of(" \t"), arrow - line.find_first_not_of(" \t"));
        std::string rest = line.substr(arrow + 4);
        if (rest.rfind("not found", 0) == 0) {
            missing.push_back(name);
            continue;
        }
        const size_t paren = rest.find(" (");
        if (paren != std::string::npos)
            rest.resize(paren);
        if (!rest.empty() && rest[0] == '/')
            libraries.push_back({name, rest});
    }
    if (!missing.empty()) {
        error = "these libraries of the player are missing on this computer:";
        for (const std::string& name : missing)
            error += " " + name;
        return false;
    }
    return true;
}

std::string LinuxTemplateBuilder::appRunScript() {
    return "#!/bin/sh\n"
           "# Starts the game: the player with the libraries shipped beside it. Options are passed on\n"
           "# (--fullscreen, --size 1280x720).\n"
           "HERE=\"$(dirname \"$(readlink -f \"$0\")\")\"\n"
           "export LD_LIBRARY_PATH=\"$HERE/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}\"\n"
           "exec \"$HERE/lumenda3d-player\" \"$@\" \"$HERE/game/bin.dat\"\n";
}

std::string LinuxTemplateBuilder::stampOf(const Inputs& inputs) {
    return std::string(LmdVersion::text()) + " player " + fileStamp(inputs.playerPath) + " schema " +
           fileStamp((fs::path(inputs.mediaDir) / "codeSchema.xml").string()) + " runtime " +
           fileStamp((fs::path(inputs.mediaDir) / "lua" / "lumenda3d_runtime.lua").string());
}

bool LinuxTemplateBuilder::build(const Inputs& inputs, const std::string& destination,
                                 const ExportService::Progress& progress, std::string& error) {
    auto report = [&progress](float fraction, const std::string& text) {
        if (progress)
            progress(fraction, text);
    };
    std::error_code ec;
    if (!fs::is_regular_file(inputs.playerPath, ec)) {
        error = "the player '" + inputs.playerPath + "' is missing from this installation";
        return false;
    }
    if (!fs::is_regular_file(fs::path(inputs.mediaDir) / "codeSchema.xml", ec)) {
        error = "the media folder '" + inputs.mediaDir + "' has no codeSchema.xml";
        return false;
    }
    const fs::path root(destination);
    for (const char* sub : {"lib", "ogre/plugins", "ogre/media", "media"}) {
        fs::create_directories(root / sub, ec);
        if (ec) {
            error = "cannot create the template folder '" + (root / sub).string() + "': " + ec.message();
            return false;
        }
    }

    report(0.1f, "Building the Linux runtime template: the player...");
    const fs::path player = root / "lumenda3d-player";
    if (!ExportFiles::copyFile(inputs.playerPath, player.string(), error))
        return false;
    if (!ExportProcess::findOnPath("strip").empty())
        ExportProcess::run({"strip", "--strip-unneeded", player.string()}); // smaller; the copy runs unstripped otherwise
    fs::permissions(player, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                fs::perms::others_read | fs::perms::others_exec, ec);

    report(0.3f, "Building the Linux runtime template: OGRE's plugins and shaders...");
    std::vector<std::string> binaries = {inputs.playerPath};
    for (const char* plugin : kPlugins) {
        // OGRE loads "<name>.so.<its version>": the file goes under that name, with the plain
        // ".so" name beside it as a link.
        const fs::path from = fs::path(inputs.ogrePluginDir) / plugin;
        const fs::path real = fs::canonical(from, ec);
        if (ec) {
            error = "OGRE's plugin '" + from.string() + "' is missing";
            return false;
        }
        const fs::path plugins = root / "ogre" / "plugins";
        if (!ExportFiles::copyFile(real.string(), (plugins / real.filename()).string(), error))
            return false;
        if (real.filename() != plugin) {
            fs::create_symlink(real.filename(), plugins / plugin, ec);
            if (ec) {
                error = "cannot link OGRE's plugin '" + std::string(plugin) + "': " + ec.message();
                return false;
            }
        }
        binaries.push_back(from.string());
    }
    for (const char* media : kOgreMedia)
        if (!ExportFiles::copyTree((fs::path(inputs.ogreMediaDir) / media).string(), (root / "ogre" / "media" / media).string(), error))
            return false;
    for (const char* media : kRuntimeMedia) {
        const fs::path from = fs::path(inputs.mediaDir) / media;
        if (fs::exists(from, ec) && !ExportFiles::copyTree(from.string(), (root / "media" / media).string(), error))
            return false;
    }

    report(0.5f, "Building the Linux runtime template: the libraries...");
    std::set<std::string> copied;
    for (const std::string& binary : binaries) {
        const ExportProcess::Result ldd = ExportProcess::run({"ldd", binary});
        if (!ldd.ok()) {
            error = "ldd could not list the libraries of '" + binary + "': " + ldd.output;
            return false;
        }
        std::vector<Library> libraries;
        if (!parseLdd(ldd.output, libraries, error))
            return false;
        for (const Library& library : libraries) {
            if (isDesktopLibrary(library.soname) || !copied.insert(library.soname).second)
                continue;
            if (!ExportFiles::copyFile(library.path, (root / "lib" / library.soname).string(), error))
                return false;
        }
    }

    report(0.9f, "Building the Linux runtime template: the start script...");
    const fs::path appRun = root / "AppRun";
    if (!FileManager::writeFileAtomic(appRun.string(), appRunScript(), &error))
        return false;
    fs::permissions(appRun, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                fs::perms::others_read | fs::perms::others_exec, ec);
    const nlohmann::json manifest = {{"platform", "linux"}, {"stamp", stampOf(inputs)}};
    return FileManager::writeFileAtomic((root / "template.json").string(), manifest.dump(2) + "\n", &error);
}

} // namespace Lumenda3D
