#include "export/ToolProcess.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Lumenda3D {
namespace {

void closeQuietly(int& fd) {
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

bool isExecutableFile(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

} // namespace

std::string ToolProcess::lastLines(const std::string& output, std::size_t lines) {
    std::vector<std::string> all;
    std::size_t at = 0;
    while (at < output.size()) {
        std::size_t nl = output.find('\n', at);
        if (nl == std::string::npos)
            nl = output.size();
        std::string line = output.substr(at, nl - at);
        while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
            line.pop_back();
        if (!line.empty())
            all.push_back(line);
        at = nl + 1;
    }
    std::string t;
    for (std::size_t i = all.size() > lines ? all.size() - lines : 0; i < all.size(); ++i)
        t += (t.empty() ? "" : " | ") + all[i];
    return t;
}

std::string ToolProcess::findOnPath(const std::string& name, const std::vector<std::string>& extraDirs) {
    if (name.empty() || name.find('/') != std::string::npos)
        return "";
    std::vector<std::string> dirs;
    if (const char* path = std::getenv("PATH")) {
        std::string all = path;
        std::size_t start = 0;
        while (start <= all.size()) {
            const std::size_t end = all.find(':', start);
            const std::string dir = all.substr(start, end == std::string::npos ? std::string::npos : end - start);
            if (!dir.empty())
                dirs.push_back(dir);
            if (end == std::string::npos)
                break;
            start = end + 1;
        }
    }
    dirs.insert(dirs.end(), extraDirs.begin(), extraDirs.end());
    for (const std::string& dir : dirs) {
        const std::string candidate = dir + "/" + name;
        if (isExecutableFile(candidate))
            return std::filesystem::absolute(candidate).lexically_normal().string();
    }
    return "";
}

ToolProcess::Result ToolProcess::run(const std::string& program, const std::vector<std::string>& args,
                                     const std::string* secret, std::size_t maxOutput) {
    Result result;
    if (!isExecutableFile(program)) {
        result.output = program + " is not an executable program";
        return result;
    }
    int out[2] = {-1, -1};
    int secretPipe[2] = {-1, -1};
    if (::pipe2(out, O_CLOEXEC) != 0) {
        result.output = std::string("cannot create a pipe: ") + std::strerror(errno);
        return result;
    }
    if (secret) {
        // The whole secret goes into the pipe before the child starts; a pipe holds 64 KiB.
        if (secret->size() > 60000 || ::pipe2(secretPipe, O_CLOEXEC) != 0 ||
            ::write(secretPipe[1], secret->data(), secret->size()) != static_cast<ssize_t>(secret->size())) {
            closeQuietly(out[0]);
            closeQuietly(out[1]);
            closeQuietly(secretPipe[0]);
            closeQuietly(secretPipe[1]);
            result.output = "cannot hand the secret to " + program;
            return result;
        }
        closeQuietly(secretPipe[1]);
    }
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);

    const pid_t pid = ::fork();
    if (pid < 0) {
        closeQuietly(out[0]);
        closeQuietly(out[1]);
        closeQuietly(secretPipe[0]);
        result.output = std::string("cannot start ") + program + ": " + std::strerror(errno);
        return result;
    }
    if (pid == 0) {
        // Child: only async-signal-safe calls until exec.
        const int devnull = ::open("/dev/null", O_RDONLY);
        if (devnull >= 0)
            ::dup2(devnull, 0);
        ::dup2(out[1], 1);
        ::dup2(out[1], 2);
        if (secretPipe[0] >= 0)
            ::dup2(secretPipe[0], 3);   // dup2 clears close-on-exec on the copy
        ::execv(program.c_str(), argv.data());
        static const char msg[] = "exec failed\n";
        ssize_t ignored = ::write(2, msg, sizeof msg - 1);
        (void)ignored;
        ::_exit(127);
    }
    closeQuietly(out[1]);
    closeQuietly(secretPipe[0]);
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(out[0], buffer, sizeof buffer);
        if (n > 0) {
            if (result.output.size() < maxOutput)
                result.output.append(buffer, std::min<std::size_t>(static_cast<std::size_t>(n),
                                                                   maxOutput - result.output.size()));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        break;
    }
    closeQuietly(out[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.started = true;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (result.exitCode == 127 && result.output == "exec failed\n") {
        result.started = false;
        result.output = "cannot run " + program;
    }
    return result;
}

} // namespace Lumenda3D
