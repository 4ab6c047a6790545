#include "services/LmdLocalHttpServer.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>

#include "base/LmdLog.h"

namespace Lumenda3D {
namespace {
using Request = LmdLocalHttpServer::Request;
using Response = LmdLocalHttpServer::Response;

httplib::Client clientFor(int port) {
    httplib::Client client("127.0.0.1", port);
    client.set_read_timeout(10);
    return client;
}

// Holds handlers inside until opened, and counts how many are inside.
struct Gate {
    void enter() {
        std::unique_lock<std::mutex> lock(mutex);
        ++inside;
        changed.notify_all();
        changed.wait(lock, [this] { return open; });
    }
    bool waitForInside(int count) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(5), [&] { return inside >= count; });
    }
    void release() {
        std::lock_guard<std::mutex> lock(mutex);
        open = true;
        changed.notify_all();
    }
    std::mutex mutex;
    std::condition_variable changed;
    int inside = 0;
    bool open = false;
};

TEST(LmdLocalHttpServer, PassesRequestFieldsAsSentAndAnswersWithTheHandlersResponse) {
    LmdLog::setEchoToStderr(false);
    LmdLocalHttpServer server;
    ASSERT_TRUE(server.start(0, [](const Request& r) {
        if (r.path == "/throw")
            throw std::runtime_error("bad member");
        return Response{201, "application/json", r.method + "|" + r.path + "|" + r.query + "|" + r.origin + "|" + r.body};
    }));
    EXPECT_TRUE(server.isRunning());
    EXPECT_GT(server.port(), 0);

    auto client = clientFor(server.port());
    auto res = client.Post("/mcp%2Fx?a=1&b=2", {{"Origin", "http://localhost:3000"}}, "{\"x\":1}", "application/json");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 201);
    EXPECT_EQ(res->get_header_value("Content-Type"), "application/json");
    EXPECT_EQ(res->body, "POST|/mcp%2Fx|a=1&b=2|http://localhost:3000|{\"x\":1}");

    // Every method reaches the handler, also those the library has no routes for.
    for (const char* method : {"GET", "PUT", "DELETE", "OPTIONS", "TRACE"}) {
        httplib::Request req;
        req.method = method;
        req.path = "/mcp";
        auto r = client.send(req);
        ASSERT_TRUE(r) << method;
        EXPECT_EQ(r->body, std::string(method) + "|/mcp|||");
    }
    auto thrown = client.Get("/throw");
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->status, 500);
    EXPECT_EQ(thrown->body, "internal server error"); // the exception's text goes to the log only
    LmdLog::setEchoToStderr(true);
}

TEST(LmdLocalHttpServer, PortInUseFailsWithAReadableError) {
    LmdLocalHttpServer first, second;
    ASSERT_TRUE(first.start(0, [](const Request&) { return Response{200, "text/plain", "first"}; }));
    EXPECT_FALSE(second.start(first.port(), [](const Request&) { return Response{200, "text/plain", "second"}; }));
    EXPECT_FALSE(second.isRunning());
    EXPECT_EQ(second.port(), 0);
    EXPECT_NE(second.lastError().find("127.0.0.1:" + std::to_string(first.port())), std::string::npos) << second.lastError();
    EXPECT_EQ(clientFor(first.port()).Get("/")->body, "first"); // the port is not shared
}

TEST(LmdLocalHttpServer, BlockedHandlersDoNotStallOtherRequests) {
    Gate gate;
    LmdLocalHttpServer server;
    ASSERT_TRUE(server.start(0, [&](const Request& r) {
        if (r.path == "/block")
            gate.enter();
        return Response{200, "text/plain", r.path};
    }));
    const int blocked = 12; // more than a small fixed thread pool would hold
    std::atomic<int> answered{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < blocked; ++i)
        clients.emplace_back([&] { answered += clientFor(server.port()).Get("/block") ? 1 : 0; });
    ASSERT_TRUE(gate.waitForInside(blocked));

    auto fast = clientFor(server.port()).Get("/fast");
    ASSERT_TRUE(fast);
    EXPECT_EQ(fast->body, "/fast");
    gate.release();
    for (auto& t : clients)
        t.join();
    EXPECT_EQ(answered, blocked);
}

TEST(LmdLocalHttpServer, StopWaitsForRunningHandlersAndTheServerCanStartAgain) {
    Gate gate;
    LmdLocalHttpServer server;
    ASSERT_TRUE(server.start(0, [&](const Request&) {
        gate.enter();
        return Response{200, "text/plain", "done"};
    }));
    const int port = server.port();
    std::string answer;
    std::thread client([&] { if (auto res = clientFor(port).Get("/")) answer = res->body; });
    ASSERT_TRUE(gate.waitForInside(1));

    std::atomic<bool> stopped{false};
    std::thread stopper([&] { server.stop(); stopped = true; });
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_FALSE(stopped) << "stop returned while a handler was still running";
    gate.release();
    stopper.join();
    client.join();
    EXPECT_EQ(answer, "done");
    EXPECT_FALSE(server.isRunning());
    EXPECT_FALSE(clientFor(port).Get("/"));

    // A stop right after start must not leave the listener blocked in accept.
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(server.start(0, [](const Request&) { return Response{200, "text/plain", "again"}; }));
        server.stop();
    }
    ASSERT_TRUE(server.start(0, [](const Request&) { return Response{200, "text/plain", "again"}; }));
    EXPECT_EQ(clientFor(server.port()).Get("/")->body, "again");
}

} // namespace
} // namespace Lumenda3D
