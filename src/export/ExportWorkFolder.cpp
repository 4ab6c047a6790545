#include "export/ExportWorkFolder.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include <signal.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Lumenda3D {

std::string ExportWorkFolder::beside(const std::string& destination, const std::string& tag) {
    const fs::path target(destination);
    const std::string prefix = "." + target.filename().string() + "." + tag + "-";
    std::error_code ec;
    for (const fs::directory_entry& entry : fs::directory_iterator(target.parent_path(), ec)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind(prefix, 0) != 0)
            continue;
        char* end = nullptr;
        const long pid = std::strtol(name.c_str() + prefix.size(), &end, 10);
        if (end && *end == '\0' && pid > 0 && (pid == long(getpid()) || (kill(pid_t(pid), 0) != 0 && errno == ESRCH))) {
            std::error_code ignored;
            fs::remove_all(entry.path(), ignored);
        }
    }
    return (target.parent_path() / (prefix + std::to_string(getpid()))).string();
}

} // namespace Lumenda3D
