#include "base/LmdPaths.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

std::string envOr(const char* name, const std::string& fallback) {
    const char* value = std::getenv(name);
    return (value && *value) ? std::string(value) : fallback;
}

std::string homeDir() {
#ifdef _WIN32
    return envOr("USERPROFILE", ".");
#else
    return envOr("HOME", ".");
#endif
}

// $LUMENDA3D_HOME/<sub> when the variable is set, otherwise the XDG location.
std::string located(const char* sub, const char* xdgVar, const char* xdgDefault) {
    const char* root = std::getenv("LUMENDA3D_HOME");
    if (root && *root)
        return (fs::path(root) / sub).string();
    std::string base = envOr(xdgVar, (fs::path(homeDir()) / xdgDefault).string());
    return (fs::path(base) / "Lumenda3D").string();
}

} // namespace

std::string LmdPaths::configDir() { return located("config", "XDG_CONFIG_HOME", ".config"); }
std::string LmdPaths::dataDir() { return located("data", "XDG_DATA_HOME", ".local/share"); }
std::string LmdPaths::projectsDir() { return (fs::path(dataDir()) / "projects").string(); }
std::string LmdPaths::cacheDir() {
    const char* root = std::getenv("LUMENDA3D_HOME");
    if (root && *root)
        return (fs::path(root) / "cache").string();
    return (fs::path(envOr("XDG_CACHE_HOME", (fs::path(homeDir()) / ".cache").string())) / "Lumenda3D").string();
}
std::string LmdPaths::stateDir() { return located("state", "XDG_STATE_HOME", ".local/state"); }
std::string LmdPaths::exportsDir() {
    const char* root = std::getenv("LUMENDA3D_HOME");
    if (root && *root)
        return (fs::path(root) / "exports").string();
    return (fs::path(homeDir()) / "Documents" / "Lumenda3D" / "Exports").string();
}

std::string LmdPaths::executableDir() {
#ifdef _WIN32
    wchar_t buffer[MAX_PATH];
    DWORD n = GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    if (n == 0 || n == MAX_PATH)
        return "";
    return fs::path(std::wstring(buffer, n)).parent_path().string();
#else
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    return ec ? std::string() : exe.parent_path().string();
#endif
}

std::string LmdPaths::mediaDir() {
    std::error_code ec;
    std::string exeDir = executableDir();
    if (!exeDir.empty()) {
        fs::path beside = fs::path(exeDir) / "media";
        if (fs::exists(beside / "codeSchema.xml", ec))
            return beside.string();
    }
    return LMD_SOURCE_MEDIA_DIR;
}

bool LmdPaths::ensureDir(const std::string& path, std::string* errorText) {
    std::error_code ec;
    if (fs::is_directory(path, ec))
        return true;
    fs::create_directories(path, ec);
    if (ec || !fs::is_directory(path)) {
        if (errorText)
            *errorText = "cannot create folder '" + path + "': " + (ec ? ec.message() : "not a folder");
        return false;
    }
    return true;
}

} // namespace Lumenda3D
