#include "export/ExportFiles.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include <signal.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Lumenda3D {

std::string ExportFiles::workFolderBeside(const std::string& destination, const std::string& tag) {
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

bool ExportFiles::copyTree(const std::string& from, const std::string& to, std::string& error) {
    std::error_code ec;
    fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks, ec);
    if (ec)
        error = "cannot copy '" + from + "': " + ec.message();
    return !ec;
}

bool ExportFiles::copyFile(const std::string& from, const std::string& to, std::string& error) {
    std::error_code ec;
    const fs::path real = fs::canonical(from, ec);
    if (!ec)
        fs::copy_file(real, to, fs::copy_options::overwrite_existing, ec);
    if (ec)
        error = "cannot copy '" + from + "': " + ec.message();
    return !ec;
}

bool ExportFiles::replaceWith(const std::string& from, const std::string& to, std::string& error) {
    std::error_code ec;
    const fs::path target(to);
    const fs::path aside = target.parent_path() / ("." + target.filename().string() + ".old-" + std::to_string(getpid()));
    fs::remove_all(aside, ec);
    const bool hadOld = fs::exists(fs::symlink_status(target, ec));
    if (hadOld) {
        fs::rename(target, aside, ec);
        if (ec) {
            error = "cannot replace '" + to + "': " + ec.message();
            return false;
        }
    }
    fs::rename(from, target, ec);
    if (ec) {
        error = "cannot put the export at '" + to + "': " + ec.message();
        std::error_code ignored;
        if (hadOld)
            fs::rename(aside, target, ignored);
        return false;
    }
    fs::remove_all(aside, ec);
    return true;
}

} // namespace Lumenda3D
