#pragma once
// A real HTTP server on 127.0.0.1 with a port chosen by the system, for tests of HTTP clients.
// Handlers that must hang (to provoke timeouts) wait on hold(); the server releases them before
// it stops, so a test never waits for a slow handler to finish on its own.
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <httplib.h>

namespace Lumenda3D::test {

class LoopbackHttpServer {
public:
    LoopbackHttpServer() = default;
    ~LoopbackHttpServer() { stop(); }

    httplib::Server& server() { return server_; }

    // Call after the handlers are installed.
    void start() {
        port_ = server_.bind_to_any_port("127.0.0.1");
        ASSERT_GT(port_, 0);
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        for (int i = 0; i < 500 && !server_.is_running(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        ASSERT_TRUE(server_.is_running());
    }

    void stop() {
        release();
        if (thread_.joinable()) {
            server_.stop();
            thread_.join();
        }
    }

    int port() const { return port_; }
    std::string url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }

    // For a handler: waits until release() or the limit, whichever comes first.
    void hold(std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        std::unique_lock<std::mutex> lock(mutex_);
        released_.wait_for(lock, limit, [this] { return isReleased_; });
    }
    void release() {
        std::lock_guard<std::mutex> lock(mutex_);
        isReleased_ = true;
        released_.notify_all();
    }

private:
    httplib::Server server_;
    std::thread thread_;
    int port_ = 0;
    std::mutex mutex_;
    std::condition_variable released_;
    bool isReleased_ = false;
};

// A loopback port on which nothing listens: connecting to it is refused.
inline int closedLoopbackPort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t size = sizeof address;
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0)
        port = ntohs(address.sin_port);
    ::close(fd);
    return port;
}

// Calls pump() until done() holds or the limit passes; true when done() held.
template <typename Pumpable, typename Done>
bool pumpUntil(Pumpable& pumpable, Done done, std::chrono::milliseconds limit = std::chrono::seconds(5)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        pumpable.pump();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

} // namespace Lumenda3D::test
