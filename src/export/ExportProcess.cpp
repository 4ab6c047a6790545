#include "export/ExportProcess.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace Lumenda3D {
namespace {

std::vector<char*> pointersOf(std::vector<std::string>& strings) {
    std::vector<char*> out;
    for (std::string& s : strings)
        out.push_back(s.data());
    out.push_back(nullptr);
    return out;
}

std::vector<std::string> mergedEnvironment(const std::vector<std::string>& extra) {
    std::vector<std::string> env;
    for (char** e = environ; e && *e; ++e) {
        const std::string entry = *e;
        const std::string name = entry.substr(0, entry.find('='));
        bool replaced = false;
        for (const std::string& x : extra)
            replaced = replaced || x.substr(0, x.find('=')) == name;
        if (!replaced)
            env.push_back(entry);
    }
    env.insert(env.end(), extra.begin(), extra.end());
    return env;
}

} // namespace

std::string ExportProcess::findOnPath(const std::string& program) {
    if (program.find('/') != std::string::npos)
        return access(program.c_str(), X_OK) == 0 ? program : std::string();
    const char* path = std::getenv("PATH");
    std::string dirs = path ? path : "/usr/bin:/bin";
    size_t start = 0;
    while (start <= dirs.size()) {
        size_t end = dirs.find(':', start);
        if (end == std::string::npos)
            end = dirs.size();
        const std::string dir = dirs.substr(start, end - start);
        if (!dir.empty()) {
            const std::string candidate = dir + "/" + program;
            if (access(candidate.c_str(), X_OK) == 0)
                return candidate;
        }
        start = end + 1;
    }
    return std::string();
}

std::string ExportProcess::lastLines(const std::string& output, std::size_t lines) {
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
    std::string text;
    for (std::size_t i = all.size() > lines ? all.size() - lines : 0; i < all.size(); ++i)
        text += (text.empty() ? "" : " | ") + all[i];
    return text;
}

ExportProcess::Result ExportProcess::run(const std::vector<std::string>& argv, const std::vector<std::string>& environment,
                                         const std::string* secret) {
    Result result;
    if (argv.empty()) {
        result.output = "no program given";
        return result;
    }
    const std::string program = findOnPath(argv[0]);
    if (program.empty()) {
        result.output = "the program '" + argv[0] + "' is not installed";
        return result;
    }
    // The secret waits in a pipe, written whole before the child starts; the child's descriptor 3
    // is its reading end.
    int secretFd = -1;
    if (secret) {
        int fds[2];
        if (secret->size() > 60000 || pipe2(fds, O_CLOEXEC) != 0) {
            result.output = std::string("cannot hand the secret to '") + argv[0] + "'";
            return result;
        }
        const bool written = write(fds[1], secret->data(), secret->size()) == ssize_t(secret->size());
        close(fds[1]);
        // Kept off descriptor 3 itself, so that the dup2 below always makes a fresh, inheritable copy.
        secretFd = fds[0] > 3 ? fds[0] : fcntl(fds[0], F_DUPFD_CLOEXEC, 10);
        if (secretFd != fds[0])
            close(fds[0]);
        if (!written || secretFd < 0) {
            if (secretFd >= 0)
                close(secretFd);
            result.output = std::string("cannot hand the secret to '") + argv[0] + "'";
            return result;
        }
    }
    int pipeFds[2];
    if (pipe(pipeFds) != 0) {
        if (secretFd >= 0)
            close(secretFd);
        result.output = std::string("cannot start '") + argv[0] + "': " + std::strerror(errno);
        return result;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeFds[1]);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (secretFd >= 0)
        posix_spawn_file_actions_adddup2(&actions, secretFd, 3);
    std::vector<std::string> args = argv;
    std::vector<std::string> env = mergedEnvironment(environment);
    std::vector<char*> argp = pointersOf(args);
    std::vector<char*> envp = pointersOf(env);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argp.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(pipeFds[1]);
    if (secretFd >= 0)
        close(secretFd);
    if (spawned != 0) {
        close(pipeFds[0]);
        result.output = std::string("cannot start '") + argv[0] + "': " + std::strerror(spawned);
        return result;
    }
    result.started = true;
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(pipeFds[0], buffer, sizeof buffer);
        if (n > 0)
            result.output.append(buffer, size_t(n));
        else if (n == 0 || errno != EINTR)
            break;
    }
    close(pipeFds[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

bool ExportProcess::launch(const std::vector<std::string>& argv) {
    if (argv.empty())
        return false;
    const std::string program = findOnPath(argv[0]);
    if (program.empty())
        return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<std::string> args = argv;
    std::vector<char*> argp = pointersOf(args);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argp.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return false;
    // Reaped by a small watcher so that no zombie stays; the caller does not wait.
    std::thread([pid] {
        int status = 0;
        while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
    }).detach();
    return true;
}

} // namespace Lumenda3D
