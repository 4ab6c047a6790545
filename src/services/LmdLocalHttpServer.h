#pragma once
// A small HTTP service bound to the loopback address only, for the agent server and for test
// servers. Every request runs on a connection thread of its own, away from the main thread, so a
// handler may block for minutes (a permission prompt, a wait for the main thread) while other
// requests are served. Connections are not kept alive: each carries one request, so stopping
// never waits for a client that merely holds a connection open.
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace httplib {
class Server;
}

namespace Lumenda3D {

class LmdLocalHttpServer {
public:
    struct Request {
        std::string method;   // as sent
        std::string path;     // as sent (not percent-decoded), without the query
        std::string query;    // the raw text after '?', empty when there is none
        std::string origin;   // the Origin header; empty when absent
        std::string body;     // complete
    };

    struct Response {
        int status = 200;
        std::string contentType;
        std::string body;     // may be empty
    };

    using Handler = std::function<Response(const Request&)>;

    // Most requests handled at the same time; further connections wait for a free thread.
    static constexpr int kMaxConnectionThreads = 64;
    // Largest request body accepted (a whole game document fits many times over).
    static constexpr std::size_t kMaxBodyBytes = 64u * 1024u * 1024u;

    LmdLocalHttpServer();
    ~LmdLocalHttpServer();   // stops
    LmdLocalHttpServer(const LmdLocalHttpServer&) = delete;
    LmdLocalHttpServer& operator=(const LmdLocalHttpServer&) = delete;

    // Listens on 127.0.0.1:port (0 picks a free port; port() tells which) and calls the handler
    // for each complete request, on a connection thread. False on failure, with lastError() set.
    bool start(int port, Handler handler);

    // Closes the listener and returns once no handler runs any more. Never call it from a
    // handler. Harmless when not running.
    void stop();

    bool isRunning() const;
    // The last failure of start, in plain words; cleared by a successful start.
    std::string lastError() const;
    // The bound port while running; 0 otherwise.
    int port() const;

private:
    void runListener(httplib::Server* server);
    void stopLocked();   // stop, with lifecycleMutex_ held

    std::mutex lifecycleMutex_;   // serialises start and stop

    mutable std::mutex stateMutex_;   // guards the fields below
    std::unique_ptr<httplib::Server> server_;
    std::thread listener_;
    bool running_ = false;
    std::string lastError_;
    int port_ = 0;

    std::atomic<bool> listenerEnded_{false};
};

} // namespace Lumenda3D
