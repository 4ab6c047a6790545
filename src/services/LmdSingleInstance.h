#pragma once
// One editor per user and data root. The first process claims the instance and listens; a
// later process finds the claim taken, hands its payload (the URL's resource id and the command
// line's agent-server flags) to the first one and ends. The payload arrives unchanged.
//
// Linux: the claim is an exclusive lock (flock) on "<socket>.lock", which the kernel drops when
// the process dies, and the hand-over goes through a Unix domain socket,
// LmdPaths::stateDir() + "/instance.sock" (see socketPathFor for long paths). A socket file left
// by a crash therefore never blocks the next start: whoever holds the lock replaces it.
// Windows: a named mutex is the claim and a named pipe carries the payload.
//
// Payloads arrive on a background thread and wait in a queue; the main thread collects them with
// pump() (which calls the payload handler, the editor's event 26) or takePending().
#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace Lumenda3D {

class LmdSingleInstance {
public:
    using PayloadHandler = std::function<void(const std::string& payload)>;

    // Largest payload accepted; a larger one is refused and its sender told so.
    static constexpr std::size_t kMaxPayloadBytes = 1024 * 1024;

    // The process-wide instance that the entry uses.
    static LmdSingleInstance& getInstance();

    LmdSingleInstance() = default;
    ~LmdSingleInstance();   // shutdown()
    LmdSingleInstance(const LmdSingleInstance&) = delete;
    LmdSingleInstance& operator=(const LmdSingleInstance&) = delete;

    // "key=value&key=value" for the listed keys, in that order, keys and values percent-encoded,
    // so UrlUtils::parseQuery on the other side returns exactly these values. A listed key that
    // is missing from the map is sent with an empty value.
    static std::string buildPayload(const std::unordered_map<std::string, std::string>& values,
                                    const std::vector<std::string>& keys);

    // True: this process now holds the claim and receives payloads (also when the claim could not
    // be set up at all: the editor then runs alone rather than not at all; the log says why).
    // False: another live process holds the claim and the payload was handed to it; end now.
    // `second` names a separate claim beside the editor's own ("" for the editor). Main thread.
    bool acquireOrForward(const std::string& payload, const std::string& second);

    // Stops listening and releases the claim. Harmless when nothing is held.
    void shutdown();

    bool isPrimary() const { return primary_; }

    // Main thread: the handler that pump() gives each payload to (may be empty).
    void setPayloadHandler(PayloadHandler handler);
    // Main thread, once a frame: hands every received payload to the handler, oldest first, and
    // returns how many there were. Without a handler the payloads stay for takePending().
    int pump();
    // Every received payload not yet collected, oldest first.
    std::vector<std::string> takePending();

    // Where the socket (Linux) lies for a data root and claim name: "<root>/instance.sock", or
    // "<root>/instance-<second>.sock" for a named claim. When that path does not fit a socket
    // address (107 bytes), "/tmp/lumenda3d-<uid>/<16 hex digits of the path's hash>.sock".
    static std::string socketPathFor(const std::string& stateRoot, const std::string& second);
    // The socket path in use (after acquireOrForward).
    const std::string& socketPath() const { return socketPath_; }

private:
    bool claim();
    bool forward(const std::string& payload, std::string& error);
    void listenLoop();
    void receiveFrom(int connection);
    void enqueue(std::string payload);

    std::string socketPath_;
    std::string lockPath_;
    bool primary_ = false;

    std::mutex mutex_;                  // guards pending_ and handler_
    std::deque<std::string> pending_;
    PayloadHandler handler_;

    std::thread listener_;
    std::atomic<bool> stopping_{false};
#ifdef _WIN32
    void* mutexHandle_ = nullptr;
    std::wstring pipeName_;
#else
    int lockFd_ = -1;
    int listenFd_ = -1;
    int wakePipe_[2] = {-1, -1};
    unsigned long long socketInode_ = 0;   // so shutdown never removes a successor's socket
#endif
};

} // namespace Lumenda3D
