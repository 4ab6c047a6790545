#include "services/FileManager.h"

#include "base/LmdPaths.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

std::string uniqueTempName(const fs::path& target) {
    static std::atomic<unsigned> counter{0};
#ifdef _WIN32
    unsigned long pid = 0;
#else
    unsigned long pid = static_cast<unsigned long>(getpid());
#endif
    std::ostringstream name;
    name << "." << target.filename().string() << ".tmp-" << pid << "-" << counter++;
    return (target.parent_path() / name.str()).string();
}

void setError(std::string* errorText, const std::string& text) {
    if (errorText)
        *errorText = text;
}

} // namespace

bool FileManager::writeFileAtomic(const std::string& path, const std::string& data, std::string* errorText,
                                  bool ownerOnly) {
    std::string temp;
    if (!writeTempFile(path, data, temp, errorText, ownerOnly))
        return false;
    return commitTempFile(temp, path, errorText);
}

bool FileManager::writeTempFile(const std::string& path, const std::string& data, std::string& tempPath,
                                std::string* errorText, bool ownerOnly) {
    fs::path target(path);
    if (target.has_parent_path() && !LmdPaths::ensureDir(target.parent_path().string(), errorText))
        return false;
    const std::string temp = uniqueTempName(target);
#ifdef _WIN32
    (void)ownerOnly;
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    out.write(data.data(), static_cast<std::streamsize>(data.size()));
    out.flush();
    if (!out) {
        out.close();
        std::remove(temp.c_str());
        setError(errorText, "cannot write '" + path + "'");
        return false;
    }
#else
    int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, ownerOnly ? 0600 : 0644);
    if (fd < 0) {
        setError(errorText, "cannot write '" + path + "': " + std::strerror(errno));
        return false;
    }
    const char* p = data.data();
    size_t left = data.size();
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            int err = errno;
            ::close(fd);
            ::unlink(temp.c_str());
            setError(errorText, "cannot write '" + path + "': " + std::strerror(err));
            return false;
        }
        p += n;
        left -= static_cast<size_t>(n);
    }
    if (::fsync(fd) != 0) {
        int err = errno;
        ::close(fd);
        ::unlink(temp.c_str());
        setError(errorText, "cannot write '" + path + "': " + std::strerror(err));
        return false;
    }
    if (::close(fd) != 0) {
        int err = errno;
        ::unlink(temp.c_str());
        setError(errorText, "cannot write '" + path + "': " + std::strerror(err));
        return false;
    }
#endif
    tempPath = temp;
    return true;
}

bool FileManager::commitTempFile(const std::string& tempPath, const std::string& path, std::string* errorText) {
#ifdef _WIN32
    if (!MoveFileExA(tempPath.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        std::remove(tempPath.c_str());
        setError(errorText, "cannot replace '" + path + "'");
        return false;
    }
    return true;
#else
    if (::rename(tempPath.c_str(), path.c_str()) != 0) {
        int err = errno;
        ::unlink(tempPath.c_str());
        setError(errorText, "cannot replace '" + path + "': " + std::strerror(err));
        return false;
    }
    // Make the rename itself durable.
    fs::path target(path);
    std::string dir = target.has_parent_path() ? target.parent_path().string() : std::string(".");
    int dirFd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        ::fsync(dirFd);
        ::close(dirFd);
    }
    return true;
#endif
}

bool FileManager::readFile(const std::string& path, std::string& data, std::string* errorText) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) {
        setError(errorText, fs::exists(path, ec) ? "'" + path + "' is not a file" : "cannot open '" + path + "'");
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        setError(errorText, "cannot open '" + path + "'");
        return false;
    }
    std::ostringstream buffer;
    buffer << in.rdbuf();
    if (in.bad()) {
        setError(errorText, "cannot read '" + path + "'");
        return false;
    }
    data = buffer.str();
    return true;
}

bool FileManager::fileExists(const std::string& path) {
    std::error_code ec;
    return fs::is_regular_file(path, ec);
}

bool FileManager::removeFile(const std::string& path) {
    std::error_code ec;
    fs::remove(path, ec);
    return !fs::exists(path, ec);
}

} // namespace Lumenda3D
