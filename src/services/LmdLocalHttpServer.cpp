#include "services/LmdLocalHttpServer.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <exception>
#include <vector>

#include <httplib.h>
#include <sys/socket.h>

#include "base/LmdLog.h"

namespace Lumenda3D {
namespace {

const char* const kLoopback = "127.0.0.1";

// Runs each accepted connection on a thread of its own. Threads are made on demand (up to a
// bound) and reused once idle, so a handler that blocks for minutes never holds up another
// request, as a fixed pool of a few threads would once all of them block.
class ConnectionThreads final : public httplib::TaskQueue {
public:
    explicit ConnectionThreads(std::size_t maxThreads) : maxThreads_(maxThreads) {}
    ~ConnectionThreads() override { shutdown(); }

    void enqueue(std::function<void()> fn) override {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (!stopping_) {
                jobs_.push_back(std::move(fn));
                if (idle_ < jobs_.size() && workers_.size() < maxThreads_)
                    workers_.emplace_back([this] { work(); });
                wake_.notify_one();
                return;
            }
        }
        // Only reachable if the library enqueues after shutdown: serve it here rather than
        // leaking the connection's socket.
        Lumenda3D::runGuarded("HTTP connection", fn);
    }

    // Lets every queued connection finish, then joins all threads.
    void shutdown() override {
        std::vector<std::thread> workers;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
            workers.swap(workers_);
        }
        wake_.notify_all();
        for (std::thread& t : workers)
            t.join();
    }

private:
    void work() {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            ++idle_;
            wake_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
            --idle_;
            if (jobs_.empty())
                return; // stopping, and nothing left to serve
            std::function<void()> fn = std::move(jobs_.front());
            jobs_.pop_front();
            lock.unlock();
            Lumenda3D::runGuarded("HTTP connection", fn);
            lock.lock();
        }
    }

    const std::size_t maxThreads_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> jobs_;
    std::vector<std::thread> workers_;
    std::size_t idle_ = 0;
    bool stopping_ = false;
};

LmdLocalHttpServer::Request toRequest(const httplib::Request& in) {
    LmdLocalHttpServer::Request out;
    out.method = in.method;
    // The raw request target keeps the path as sent; the library's own path is percent-decoded.
    const std::string& target = in.target.empty() ? in.path : in.target;
    const std::size_t q = target.find('?');
    out.path = target.substr(0, q);
    if (q != std::string::npos)
        out.query = target.substr(q + 1);
    out.origin = in.get_header_value("Origin");
    out.body = in.body;
    return out;
}

void serve(const LmdLocalHttpServer::Handler& handler, const httplib::Request& in, httplib::Response& out) {
    LmdLocalHttpServer::Response response;
    try {
        response = handler(toRequest(in));
    } catch (const std::exception& e) {
        // The text is ours to read in the log, not the client's: it may name library internals.
        LmdLog::guardFailure("HTTP request handler", e.what());
        response = {500, "text/plain; charset=utf-8", "internal server error"};
    } catch (...) {
        LmdLog::guardFailure("HTTP request handler", nullptr);
        response = {500, "text/plain; charset=utf-8", "internal server error"};
    }
    out.status = response.status;
    out.set_content(response.body, response.contentType.c_str());
}

} // namespace

LmdLocalHttpServer::LmdLocalHttpServer() = default;

LmdLocalHttpServer::~LmdLocalHttpServer() { stop(); }

bool LmdLocalHttpServer::start(int port, Handler handler) {
    std::lock_guard<std::mutex> lifecycle(lifecycleMutex_);
    auto fail = [this](std::string text) {
        std::lock_guard<std::mutex> lock(stateMutex_);
        lastError_ = std::move(text);
        return false;
    };
    int runningPort = -1;
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        if (running_)
            runningPort = port_;
    }
    if (runningPort >= 0)
        return fail("the server is already running on port " + std::to_string(runningPort));
    stopLocked(); // a listener that ended by itself still has a thread to join
    if (port < 0 || port > 65535)
        return fail("invalid port " + std::to_string(port));
    if (!handler)
        return fail("no request handler");

    auto server = std::make_unique<httplib::Server>();
    server->new_task_queue = [] { return new ConnectionThreads(kMaxConnectionThreads); };
    // SO_REUSEADDR only: a restart may rebind at once, but a port that another program is
    // listening on must fail (the library's default would also set SO_REUSEPORT and share it).
    auto listening = std::make_shared<socket_t>(INVALID_SOCKET);
    server->set_socket_options([listening](socket_t sock) {
        int yes = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
        *listening = sock;
    });
    server->set_keep_alive_max_count(1);
    server->set_keep_alive_timeout(2);
    server->set_payload_max_length(kMaxBodyBytes);

    auto route = [handler](const httplib::Request& req, httplib::Response& res) { serve(handler, req, res); };
    const std::string any = ".*";
    server->Get(any, route); // also HEAD, which the library answers without the body
    server->Post(any, route);
    server->Put(any, route);
    server->Patch(any, route);
    server->Delete(any, route);
    server->Options(any, route);
    // Methods the library parses but has no routes for (CONNECT, TRACE, PRI) still reach the
    // handler, which decides what they get.
    server->set_pre_routing_handler([route](const httplib::Request& req, httplib::Response& res) {
        static const char* const routed[] = {"GET", "HEAD", "POST", "PUT", "PATCH", "DELETE", "OPTIONS"};
        for (const char* m : routed) {
            if (req.method == m)
                return httplib::Server::HandlerResponse::Unhandled;
        }
        route(req, res);
        return httplib::Server::HandlerResponse::Handled;
    });

    int bound = 0;
    errno = 0;
    if (port == 0) {
        bound = server->bind_to_any_port(kLoopback);
    } else if (server->bind_to_port(kLoopback, port)) {
        bound = port;
    } else {
        bound = -1;
    }
    if (bound <= 0) {
        const int err = errno;
        std::string text = "cannot listen on " + std::string(kLoopback) + ":" + std::to_string(port);
        if (err != 0)
            text += " (" + std::string(std::strerror(err)) + ")";
        return fail(text);
    }

    // The library listens with a backlog of 5: with more agents connecting at once than that,
    // the kernel drops handshakes and a client may see its connection closed unanswered.
    // Listening again on the same socket only raises the queue.
    if (*listening != INVALID_SOCKET)
        ::listen(*listening, SOMAXCONN);

    listenerEnded_ = false;
    httplib::Server* raw = server.get();
    std::thread listener([this, raw] { runListener(raw); });
    // The library only honours stop() once its loop has begun; wait for that so that a stop
    // right after start cannot leave the loop blocked in accept for ever.
    while (!raw->is_running() && !listenerEnded_)
        std::this_thread::sleep_for(std::chrono::microseconds(200));

    std::lock_guard<std::mutex> lock(stateMutex_);
    server_ = std::move(server);
    listener_ = std::move(listener);
    running_ = !listenerEnded_;
    port_ = bound;
    lastError_.clear();
    return true;
}

void LmdLocalHttpServer::runListener(httplib::Server* server) {
    const bool clean = server->listen_after_bind();
    if (!clean)
        LmdLog::message("HTTP listener on 127.0.0.1 ended with an error");
    listenerEnded_ = true;
    std::lock_guard<std::mutex> lock(stateMutex_);
    running_ = false;
}

void LmdLocalHttpServer::stop() {
    std::lock_guard<std::mutex> lifecycle(lifecycleMutex_);
    stopLocked();
}

void LmdLocalHttpServer::stopLocked() {
    std::unique_ptr<httplib::Server> server;
    std::thread listener;
    {
        std::lock_guard<std::mutex> lock(stateMutex_);
        server = std::move(server_);
        listener = std::move(listener_);
        running_ = false;
        port_ = 0;
    }
    if (server)
        server->stop();
    // The listener returns after its connection threads have finished their requests.
    if (listener.joinable())
        listener.join();
}

bool LmdLocalHttpServer::isRunning() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return running_;
}

std::string LmdLocalHttpServer::lastError() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return lastError_;
}

int LmdLocalHttpServer::port() const {
    std::lock_guard<std::mutex> lock(stateMutex_);
    return port_;
}

} // namespace Lumenda3D
