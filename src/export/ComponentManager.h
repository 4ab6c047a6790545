#pragma once
// Finds the outside tools that an export calls: "nsis" (makensis, which builds the Windows
// installer) and "osslsigncode" (Authenticode signing). A tool is looked for on PATH first, then
// in the place where Debian's package installs it.
#include <string>
#include <vector>

namespace Lumenda3D {

class ComponentManager {
public:
    // The folder that holds the tool's program, or "" when the tool is not installed (or the name
    // is not one this editor knows).
    static std::string findInstalledToolRoot(const std::string& name);
    // The program's file name inside that folder ("makensis" for "nsis"); "" for an unknown name.
    static std::string programOf(const std::string& name);
    // The full path of the tool's program, or "".
    static std::string findProgram(const std::string& name);

    // The folders tried after PATH (by default /usr/bin and /usr/local/bin, where Debian's
    // packages put the tools). Tests replace them to see an editor without the tools.
    static void setFallbackDirs(std::vector<std::string> dirs);
    static std::vector<std::string> fallbackDirs();
};

} // namespace Lumenda3D
