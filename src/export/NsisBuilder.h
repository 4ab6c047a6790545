#pragma once
// Builds the Windows installer: writes the installer script (the !define lines of this game
// followed by win_export_template.nsi) into the work folder and runs makensis on it. The
// installer goes to a temporary file beside the output and is renamed over it when makensis
// succeeded, so a failed build never leaves a broken "Setup.exe".
#include <string>
#include <vector>

namespace Lumenda3D {

class NsisBuilder {
public:
    struct Input {
        std::string toolRoot;         // the folder of makensis (ComponentManager::findInstalledToolRoot("nsis"))
        std::string scriptTemplate;   // path of win_export_template.nsi
        std::string workDir;          // where the generated script is written
        std::string stageDir;         // the staged game (WindowsPackageResult::stageDir)
        std::string exeName;          // the game's program in stageDir
        std::string displayName;      // shown by the installer
        std::string appFileName;      // file-safe name: install and Start menu folder
        std::string versionName;      // "1.0" when empty
        std::string iconPath;         // the application icon (.ico)
        std::string outputPath;       // the installer to write
        bool desktopShortcut = true;
    };

    static bool build(const Input& input, std::string& error);

    // The script for `input`: the !define lines, then the template's text.
    static std::string script(const Input& input, const std::string& templateText);

    // A text as an NSIS string literal's content: "$" doubled, quotes and line breaks escaped,
    // other control characters dropped.
    static std::string escape(const std::string& text);

    // Where win_export_template.nsi is looked for, in order: next to the executable, the current
    // folder, the "Editor" folder of the installation root (when `installRoot` is not empty).
    static std::vector<std::string> scriptSearchPaths(const std::string& executableDir,
                                                      const std::string& currentDir,
                                                      const std::string& installRoot);
    // The first of those that exists, or "".
    static std::string findScriptTemplate(const std::string& executableDir, const std::string& currentDir,
                                          const std::string& installRoot);

    static constexpr const char* kScriptName = "win_export_template.nsi";
};

} // namespace Lumenda3D
