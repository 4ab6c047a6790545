#include "export/ComponentManager.h"

#include <filesystem>
#include <mutex>

#include "export/ExportProcess.h"

namespace Lumenda3D {
namespace fs = std::filesystem;
namespace {

std::mutex& dirsMutex() {
    static std::mutex m;
    return m;
}
std::vector<std::string>& dirs() {
    static std::vector<std::string> d = {"/usr/bin", "/usr/local/bin"};
    return d;
}

} // namespace

void ComponentManager::setFallbackDirs(std::vector<std::string> d) {
    std::lock_guard<std::mutex> lock(dirsMutex());
    dirs() = std::move(d);
}

std::vector<std::string> ComponentManager::fallbackDirs() {
    std::lock_guard<std::mutex> lock(dirsMutex());
    return dirs();
}

std::string ComponentManager::programOf(const std::string& name) {
    if (name == "nsis")
        return "makensis";
    if (name == "osslsigncode")
        return "osslsigncode";
    return "";
}

std::string ComponentManager::findProgram(const std::string& name) {
    const std::string program = programOf(name);
    if (program.empty())
        return "";
    const std::string onPath = ExportProcess::findOnPath(program);
    if (!onPath.empty())
        return fs::absolute(onPath).lexically_normal().string();
    for (const std::string& dir : fallbackDirs()) {
        const std::string candidate = (fs::path(dir) / program).string();
        std::error_code ec;
        if (fs::is_regular_file(candidate, ec) && !ExportProcess::findOnPath(candidate).empty())
            return candidate;
    }
    return "";
}

std::string ComponentManager::findInstalledToolRoot(const std::string& name) {
    const std::string program = findProgram(name);
    return program.empty() ? "" : std::filesystem::path(program).parent_path().string();
}

} // namespace Lumenda3D
