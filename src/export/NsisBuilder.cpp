#include "export/NsisBuilder.h"

#include <filesystem>

#include "export/ComponentManager.h"
#include "export/ExportFiles.h"
#include "export/ExportProcess.h"
#include "services/FileManager.h"

namespace Lumenda3D {
namespace fs = std::filesystem;
std::string NsisBuilder::escape(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '$')
            out += "$$";
        else if (c == '"')
            out += "$\\\"";
        else if (c == '\n')
            out += "$\\n";
        else if (c == '\t')
            out += "$\\t";
        else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            continue;
        else
            out += c;
    }
    return out;
}

std::string NsisBuilder::script(const Input& in, const std::string& templateText) {
    auto define = [](const std::string& name, const std::string& value) {
        return "!define " + name + " \"" + escape(value) + "\"\n";
    };
    std::string s = "; Generated for this export; the installer's script follows.\n";
    s += define("APP_NAME", in.displayName.empty() ? in.appFileName : in.displayName);
    s += define("APP_FILE", in.appFileName);
    s += define("APP_EXE", in.exeName);
    s += define("APP_VERSION", in.versionName.empty() ? "1.0" : in.versionName);
    s += define("APP_DIR", in.stageDir);
    s += define("APP_ICON", in.iconPath);
    s += define("OUT_FILE", in.outputPath);
    if (in.desktopShortcut)
        s += "!define DESKTOP_SHORTCUT\n";
    return s + templateText;
}

std::vector<std::string> NsisBuilder::scriptSearchPaths(const std::string& executableDir,
                                                        const std::string& currentDir,
                                                        const std::string& installRoot) {
    std::vector<std::string> paths;
    if (!executableDir.empty())
        paths.push_back((fs::path(executableDir) / kScriptName).string());
    if (!currentDir.empty())
        paths.push_back((fs::path(currentDir) / kScriptName).string());
    if (!installRoot.empty())
        paths.push_back((fs::path(installRoot) / "Editor" / kScriptName).string());
    return paths;
}

std::string NsisBuilder::findScriptTemplate(const std::string& executableDir, const std::string& currentDir,
                                            const std::string& installRoot) {
    for (const std::string& p : scriptSearchPaths(executableDir, currentDir, installRoot))
        if (FileManager::fileExists(p))
            return p;
    return "";
}

bool NsisBuilder::build(const Input& in, std::string& error) {
    const std::string makensis = (fs::path(in.toolRoot) / ComponentManager::programOf("nsis")).string();
    std::string templateText;
    if (in.scriptTemplate.empty() || !FileManager::readFile(in.scriptTemplate, templateText)) {
        error = std::string("the installer script ") + kScriptName + " was not found";
        return false;
    }
    std::error_code ec;
    if (!fs::is_directory(in.stageDir, ec) || !fs::is_regular_file(fs::path(in.stageDir) / in.exeName, ec)) {
        error = "the staged game " + in.stageDir + " has no " + in.exeName;
        return false;
    }
    if (in.outputPath.empty() || in.workDir.empty()) {
        error = "no output path or work folder given";
        return false;
    }
    Input temp = in;
    fs::create_directories(fs::path(in.outputPath).parent_path(), ec);
    temp.outputPath = ExportFiles::workFolderBeside(in.outputPath, "part");
    const std::string scriptPath = (fs::path(in.workDir) / "installer.nsi").string();
    std::string writeError;
    if (!FileManager::writeFileAtomic(scriptPath, script(temp, templateText), &writeError)) {
        error = "cannot write the installer script: " + writeError;
        return false;
    }
    fs::create_directories(fs::path(in.outputPath).parent_path(), ec);
    // -NOCD: paths in the script stay relative to our folder; -V2: warnings and errors only.
    const ExportProcess::Result run = ExportProcess::run({makensis, "-V2", "-NOCD", "-INPUTCHARSET", "UTF8", scriptPath});
    if (!run.ok() || !fs::is_regular_file(temp.outputPath, ec)) {
        fs::remove(temp.outputPath, ec);
        const std::string said = ExportProcess::lastLines(run.output);
        error = !run.started ? run.output : "makensis ended with code " + std::to_string(run.exitCode) +
                                                (said.empty() ? "" : ": " + said);
        return false;
    }
    fs::rename(temp.outputPath, in.outputPath, ec);
    if (ec) {
        fs::remove(temp.outputPath, ec);
        error = "cannot move the installer into place at " + in.outputPath;
        return false;
    }
    return true;
}

} // namespace Lumenda3D
