#pragma once
// The Windows deliverable as a ZIP: one folder named after the game holding the runtime of the
// Windows template (its player renamed to "<name>.exe", its libraries and media) and, in its
// "game" folder, the game package bin.dat, the application text app.json and the game's assets,
// the layout of every target's export.
//
// The layout is first staged in a folder (the installer packs the same folder), then zipped into
// a temporary file beside the output and renamed over it, so the output path never holds half a
// ZIP: after a failure (a full disk, a template that is not a Windows runtime) it is as it was.
#include <string>

namespace Lumenda3D {

struct WindowsPackageInput {
    std::string templateDir;   // the Windows runtime template (holds lumenda3d-player.exe)
    std::string packagePath;   // the game package, bin.dat
    std::string assetsDir;     // the bundled assets; may be missing or empty
    std::string appJson;       // the application text
    std::string outputPath;    // the ZIP to write
    std::string appFileName;   // the game's file-safe name: the folder and "<name>.exe"
    std::string stageDir;      // where the layout is staged (emptied first)
};

struct WindowsPackageResult {
    std::string zipPath;   // = outputPath
    std::string stageDir;  // the staged layout, its top folder
    std::string exeName;   // "<name>.exe"
    std::string exePath;   // the staged executable
};

class WindowsZipPackager {
public:
    // The player's name in a Windows template.
    static constexpr const char* kPlayerExe = "lumenda3d-player.exe";
    // What a template records about how it was made; not part of a deliverable.
    static constexpr const char* kTemplateStamp = "template.json";

    static bool package(const WindowsPackageInput& input, std::string& error, WindowsPackageResult& result);

    // True when the file starts as a Windows program does (an "MZ" header pointing at "PE\0\0").
    static bool isWindowsExecutable(const std::string& path);

    // Zips the folder `dir` (entries under `topName/`) into `zipPath`, atomically.
    static bool zipFolder(const std::string& dir, const std::string& topName, const std::string& zipPath,
                          std::string& error);
};

} // namespace Lumenda3D
