#include "services/LmdSingleInstance.h"

#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "services/UrlUtils.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

using Clock = std::chrono::steady_clock;

// How long a second process keeps trying to reach a first one that holds the claim but is not
// listening yet (it is between taking the lock and opening its socket).
constexpr std::chrono::milliseconds kForwardPatience(2000);
constexpr std::chrono::milliseconds kForwardRetryStep(25);
// How long either side waits for the other while a payload is passed.
constexpr int kTransferTimeoutMs = 3000;
constexpr char kAck[] = "OK";

std::uint64_t fnv1a64(const std::string& text) {
    std::uint64_t hash = 1469598103934665603ull;
    for (unsigned char c : text) {
        hash ^= c;
        hash *= 1099511628211ull;
    }
    return hash;
}

std::string hex16(std::uint64_t value) {
    char buffer[17];
    std::snprintf(buffer, sizeof buffer, "%016llx", static_cast<unsigned long long>(value));
    return buffer;
}

// A claim name as it may appear in a file name: letters, digits, '-' and '_' only.
std::string claimFileStem(const std::string& second) {
    if (second.empty())
        return "instance";
    std::string clean;
    for (unsigned char c : second)
        clean.push_back(std::isalnum(c) || c == '-' || c == '_' ? static_cast<char>(c) : '_');
    if (clean != second)
        clean += "-" + hex16(fnv1a64(second)).substr(0, 8);
    return "instance-" + clean;
}

} // namespace

LmdSingleInstance& LmdSingleInstance::getInstance() {
    static LmdSingleInstance instance;
    return instance;
}

LmdSingleInstance::~LmdSingleInstance() { shutdown(); }

std::string LmdSingleInstance::buildPayload(const std::unordered_map<std::string, std::string>& values,
                                            const std::vector<std::string>& keys) {
    std::string payload;
    for (const std::string& key : keys) {
        auto it = values.find(key);
        if (!payload.empty())
            payload += '&';
        payload += UrlUtils::urlEncode(key) + "=" + (it == values.end() ? std::string() : UrlUtils::urlEncode(it->second));
    }
    return payload;
}

void LmdSingleInstance::setPayloadHandler(PayloadHandler handler) {
    std::lock_guard<std::mutex> lock(mutex_);
    handler_ = std::move(handler);
}

void LmdSingleInstance::enqueue(std::string payload) {
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.push_back(std::move(payload));
}

std::vector<std::string> LmdSingleInstance::takePending() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> out(std::make_move_iterator(pending_.begin()), std::make_move_iterator(pending_.end()));
    pending_.clear();
    return out;
}

int LmdSingleInstance::pump() {
    PayloadHandler handler;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!handler_ || pending_.empty())
            return 0;
        handler = handler_;
    }
    std::vector<std::string> payloads = takePending();
    for (const std::string& payload : payloads) {
        runGuarded("single-instance hand-over", [&] { handler(payload); });
    }
    return static_cast<int>(payloads.size());
}

std::string LmdSingleInstance::socketPathFor(const std::string& stateRoot, const std::string& second) {
    const std::string preferred = (fs::path(stateRoot) / (claimFileStem(second) + ".sock")).string();
#ifdef _WIN32
    return preferred;
#else
    // sun_path holds 108 bytes including the terminating NUL.
    if (preferred.size() < sizeof(sockaddr_un::sun_path))
        return preferred;
    return "/tmp/lumenda3d-" + std::to_string(static_cast<unsigned long>(getuid())) + "/" +
           hex16(fnv1a64(preferred)) + ".sock";
#endif
}

#ifndef _WIN32

namespace {

std::string errnoText(const char* what) { return std::string(what) + ": " + std::strerror(errno); }

bool fillAddress(const std::string& path, sockaddr_un& address) {
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, path.data(), path.size());
    return true;
}

// The private folder under /tmp for socket paths that do not fit under the data root. It must be
// ours and closed to others, or someone else could sit on our socket path.
bool preparePrivateTmpFolder(const std::string& folder, std::string& error) {
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        error = errnoText(("cannot create " + folder).c_str());
        return false;
    }
    struct stat info;
    if (::lstat(folder.c_str(), &info) != 0) {
        error = errnoText(("cannot inspect " + folder).c_str());
        return false;
    }
    if (!S_ISDIR(info.st_mode) || info.st_uid != getuid() || (info.st_mode & 0077) != 0) {
        error = folder + " is not a private folder of this user";
        return false;
    }
    return true;
}

// Waits until fd is readable or the deadline passes; also returns when wakeFd becomes readable.
// 1: readable, 0: timed out, -1: error or woken.
int waitReadable(int fd, int wakeFd, Clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return 0;
        pollfd fds[2] = {{fd, POLLIN, 0}, {wakeFd, POLLIN, 0}};
        const int n = ::poll(fds, wakeFd >= 0 ? 2 : 1, static_cast<int>(left));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return -1;
        if (n == 0)
            return 0;
        if (wakeFd >= 0 && fds[1].revents)
            return -1;
        return 1;
    }
}

bool sendAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

} // namespace

bool LmdSingleInstance::acquireOrForward(const std::string& payload, const std::string& second) {
    if (primary_)
        return true;
    stopping_ = false;
    socketPath_ = socketPathFor(LmdPaths::stateDir(), second);
    lockPath_ = socketPath_ + ".lock";

    std::string error;
    const std::string folder = fs::path(socketPath_).parent_path().string();
    const bool folderReady = socketPath_.rfind("/tmp/lumenda3d-", 0) == 0 ? preparePrivateTmpFolder(folder, error)
                                                                        : LmdPaths::ensureDir(folder, &error);
    if (!folderReady) {
        LmdLog::message("Single instance: " + error + "; running without the single-instance check");
        primary_ = true;
        return true;
    }

    lockFd_ = ::open(lockPath_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lockFd_ < 0) {
        LmdLog::message("Single instance: " + errnoText(("cannot open " + lockPath_).c_str()) +
                        "; running without the single-instance check");
        primary_ = true;
        return true;
    }

    const auto deadline = Clock::now() + kForwardPatience;
    for (;;) {
        if (::flock(lockFd_, LOCK_EX | LOCK_NB) == 0)
            return claim();
        if (errno != EWOULDBLOCK && errno != EINTR) {
            // The file system cannot lock (some network mounts): fall back on the socket alone.
            // A socket that nobody answers on is then taken to be left over from a crash.
            ::close(lockFd_);
            lockFd_ = -1;
            if (forward(payload, error))
                return false;
            return claim();
        }
        if (forward(payload, error))
            break;
        if (Clock::now() >= deadline) {
            LmdLog::message("Lumenda3D is already running but did not take over the request (" + error + ")");
            break;
        }
        std::this_thread::sleep_for(kForwardRetryStep);
    }
    ::close(lockFd_);
    lockFd_ = -1;
    return false;
}

bool LmdSingleInstance::claim() {
    primary_ = true;
    // We hold the claim, so any socket file at the path is a leftover of a process that is gone.
    ::unlink(socketPath_.c_str());

    sockaddr_un address;
    std::string error;
    listenFd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listenFd_ < 0) {
        error = errnoText("socket");
    } else if (!fillAddress(socketPath_, address)) {
        error = "socket path too long";
    } else if (::bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        error = errnoText(("bind " + socketPath_).c_str());
    } else if (::chmod(socketPath_.c_str(), 0600) != 0 || ::listen(listenFd_, 16) != 0) {
        error = errnoText("listen");
    } else if (::pipe2(wakePipe_, O_CLOEXEC) != 0) {
        error = errnoText("pipe");
    }
    if (error.empty()) {
        struct stat info;
        if (::stat(socketPath_.c_str(), &info) == 0)
            socketInode_ = static_cast<unsigned long long>(info.st_ino);
        try {
            listener_ = std::thread([this] { listenLoop(); });
            return true;
        } catch (const std::exception& e) {
            error = std::string("cannot start the listener: ") + e.what();
        }
    }
    // The claim is ours either way; only the hand-over from later processes is lost.
    LmdLog::message("Single instance: " + error + "; later starts cannot hand over to this one");
    if (listenFd_ >= 0)
        ::close(listenFd_);
    listenFd_ = -1;
    for (int& fd : wakePipe_) {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
    return true;
}

bool LmdSingleInstance::forward(const std::string& payload, std::string& error) {
    sockaddr_un address;
    if (!fillAddress(socketPath_, address)) {
        error = "socket path too long";
        return false;
    }
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        error = errnoText("socket");
        return false;
    }
    bool delivered = false;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        error = errnoText("connect");
    } else if (!sendAll(fd, payload.data(), payload.size()) || ::shutdown(fd, SHUT_WR) != 0) {
        error = errnoText("send");
    } else {
        // The first instance answers "OK" once the payload is queued.
        std::string answer;
        const auto deadline = Clock::now() + std::chrono::milliseconds(kTransferTimeoutMs);
        char buffer[8];
        while (answer.size() < 2 && waitReadable(fd, -1, deadline) == 1) {
            const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
            if (n <= 0)
                break;
            answer.append(buffer, static_cast<std::size_t>(n));
        }
        delivered = answer == kAck;
        if (!delivered)
            error = "the running editor did not confirm the hand-over";
    }
    ::close(fd);
    return delivered;
}

void LmdSingleInstance::listenLoop() {
    for (;;) {
        pollfd fds[2] = {{listenFd_, POLLIN, 0}, {wakePipe_[0], POLLIN, 0}};
        const int n = ::poll(fds, 2, -1);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 || fds[1].revents || stopping_)
            return;
        if (!(fds[0].revents & POLLIN))
            continue;
        const int connection = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
            continue;
        receiveFrom(connection);
        ::close(connection);
    }
}

void LmdSingleInstance::receiveFrom(int connection) {
    // Only processes of the same user may hand over (the socket is 0600 as well).
    ucred peer;
    socklen_t peerSize = sizeof peer;
    if (::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &peerSize) != 0 || peer.uid != getuid())
        return;

    std::string payload;
    const auto deadline = Clock::now() + std::chrono::milliseconds(kTransferTimeoutMs);
    char buffer[16384];
    for (;;) {
        if (waitReadable(connection, wakePipe_[0], deadline) != 1)
            return;   // too slow, or shutting down: the sender sees no confirmation
        const ssize_t n = ::recv(connection, buffer, sizeof buffer, 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return;
        if (n == 0)
            break;   // the sender closed its side: the payload is complete
        if (payload.size() + static_cast<std::size_t>(n) > kMaxPayloadBytes) {
            LmdLog::message("Single instance: refused a hand-over larger than " + std::to_string(kMaxPayloadBytes) +
                            " bytes");
            return;
        }
        payload.append(buffer, static_cast<std::size_t>(n));
    }
    enqueue(std::move(payload));
    sendAll(connection, kAck, 2);
}

void LmdSingleInstance::shutdown() {
    if (listener_.joinable()) {
        stopping_ = true;
        const char wake = 1;
        if (::write(wakePipe_[1], &wake, 1) < 0) {
            // The listener also checks stopping_ after every connection; nothing more to do.
        }
        listener_.join();
    }
    if (listenFd_ >= 0) {
        ::close(listenFd_);
        listenFd_ = -1;
        // Remove the socket only while it is still the one we made.
        struct stat info;
        if (::stat(socketPath_.c_str(), &info) == 0 && static_cast<unsigned long long>(info.st_ino) == socketInode_)
            ::unlink(socketPath_.c_str());
    }
    for (int& fd : wakePipe_) {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
    if (lockFd_ >= 0) {
        ::close(lockFd_);   // drops the flock
        lockFd_ = -1;
    }
    primary_ = false;
    stopping_ = false;
}

#else // _WIN32

namespace {

std::wstring widen(const std::string& text) {
    if (text.empty())
        return std::wstring();
    const int n = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring out(static_cast<std::size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), n);
    return out;
}

std::string lastErrorText(const char* what) { return std::string(what) + " failed, error " + std::to_string(GetLastError()); }

bool writeAll(HANDLE pipe, const char* data, std::size_t size) {
    while (size > 0) {
        DWORD written = 0;
        const DWORD chunk = static_cast<DWORD>(size > 65536 ? 65536 : size);
        if (!WriteFile(pipe, data, chunk, &written, nullptr) || written == 0)
            return false;
        data += written;
        size -= written;
    }
    return true;
}

bool readAll(HANDLE pipe, char* data, std::size_t size) {
    while (size > 0) {
        DWORD got = 0;
        const DWORD chunk = static_cast<DWORD>(size > 65536 ? 65536 : size);
        if (!ReadFile(pipe, data, chunk, &got, nullptr) || got == 0)
            return false;
        data += got;
        size -= got;
    }
    return true;
}

} // namespace

// Pipes have no half-close, so on Windows the payload travels with a 4-byte little-endian length.
bool LmdSingleInstance::acquireOrForward(const std::string& payload, const std::string& second) {
    if (primary_)
        return true;
    stopping_ = false;
    socketPath_ = socketPathFor(LmdPaths::stateDir(), second);
    const std::string name = "Lumenda3D-" + hex16(fnv1a64(socketPath_));
    pipeName_ = L"\\\\.\\pipe\\" + widen(name);

    HANDLE mutex = CreateMutexW(nullptr, TRUE, (L"Local\\" + widen(name)).c_str());
    if (!mutex) {
        LmdLog::message("Single instance: " + lastErrorText("CreateMutex") + "; running without the check");
        primary_ = true;
        return true;
    }
    if (GetLastError() != ERROR_ALREADY_EXISTS) {
        mutexHandle_ = mutex;
        return claim();
    }
    CloseHandle(mutex);

    std::string error;
    const auto deadline = Clock::now() + kForwardPatience;
    for (;;) {
        if (forward(payload, error))
            return false;
        if (Clock::now() >= deadline)
            break;
        std::this_thread::sleep_for(kForwardRetryStep);
    }
    LmdLog::message("Lumenda3D is already running but did not take over the request (" + error + ")");
    return false;
}

bool LmdSingleInstance::claim() {
    primary_ = true;
    try {
        listener_ = std::thread([this] { listenLoop(); });
    } catch (const std::exception& e) {
        LmdLog::message(std::string("Single instance: cannot start the listener: ") + e.what());
    }
    return true;
}

bool LmdSingleInstance::forward(const std::string& payload, std::string& error) {
    HANDLE pipe = CreateFileW(pipeName_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (pipe == INVALID_HANDLE_VALUE) {
        if (GetLastError() == ERROR_PIPE_BUSY)
            WaitNamedPipeW(pipeName_.c_str(), 200);
        error = lastErrorText("CreateFile on the pipe");
        return false;
    }
    const std::uint32_t size = static_cast<std::uint32_t>(payload.size());
    const char header[4] = {static_cast<char>(size & 0xFF), static_cast<char>((size >> 8) & 0xFF),
                            static_cast<char>((size >> 16) & 0xFF), static_cast<char>((size >> 24) & 0xFF)};
    char answer[2] = {0, 0};
    const bool delivered = writeAll(pipe, header, 4) && writeAll(pipe, payload.data(), payload.size()) &&
                           readAll(pipe, answer, 2) && answer[0] == kAck[0] && answer[1] == kAck[1];
    if (!delivered)
        error = "the running editor did not confirm the hand-over";
    CloseHandle(pipe);
    return delivered;
}

void LmdSingleInstance::listenLoop() {
    while (!stopping_) {
        HANDLE pipe = CreateNamedPipeW(pipeName_.c_str(), PIPE_ACCESS_DUPLEX,
                                       PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
                                       PIPE_UNLIMITED_INSTANCES, 65536, 65536, 0, nullptr);
        if (pipe == INVALID_HANDLE_VALUE) {
            LmdLog::message("Single instance: " + lastErrorText("CreateNamedPipe"));
            return;
        }
        const bool connected = ConnectNamedPipe(pipe, nullptr) ? true : GetLastError() == ERROR_PIPE_CONNECTED;
        if (connected && !stopping_) {
            unsigned char header[4];
            if (readAll(pipe, reinterpret_cast<char*>(header), 4)) {
                const std::size_t size = header[0] | (header[1] << 8) | (header[2] << 16) |
                                         (static_cast<std::size_t>(header[3]) << 24);
                std::string payload(size, '\0');
                if (size <= kMaxPayloadBytes && readAll(pipe, payload.data(), size)) {
                    enqueue(std::move(payload));
                    writeAll(pipe, kAck, 2);
                    FlushFileBuffers(pipe);
                }
            }
        }
        DisconnectNamedPipe(pipe);
        CloseHandle(pipe);
    }
}

void LmdSingleInstance::shutdown() {
    if (listener_.joinable()) {
        stopping_ = true;
        // Wake the listener out of ConnectNamedPipe by connecting to it once.
        HANDLE pipe = CreateFileW(pipeName_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (pipe != INVALID_HANDLE_VALUE)
            CloseHandle(pipe);
        listener_.join();
    }
    if (mutexHandle_) {
        ReleaseMutex(static_cast<HANDLE>(mutexHandle_));
        CloseHandle(static_cast<HANDLE>(mutexHandle_));
        mutexHandle_ = nullptr;
    }
    primary_ = false;
    stopping_ = false;
}

#endif

} // namespace Lumenda3D
