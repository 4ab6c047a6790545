#include "services/MyHttpClient.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "LoopbackHttpServer.h"
#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "services/LmdRequestGeneration.h"

namespace Lumenda3D {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using test::pumpUntil;

class MyHttpClientTest : public test::DataRootTest {
protected:
    void SetUp() override {
        auto& s = server.server();
        s.Get("/hello", [this](const httplib::Request&, httplib::Response& res) {
            ++hits;
            res.set_content("hello world", "text/plain");
        });
        s.Get("/missing", [](const httplib::Request&, httplib::Response& res) {
            res.status = 404;
            res.set_content("no such thing", "text/plain");
        });
        s.Get("/counter", [this](const httplib::Request&, httplib::Response& res) {
            res.set_content("hit " + std::to_string(++hits), "text/plain");
        });
        s.Get("/slow", [this](const httplib::Request&, httplib::Response& res) {
            ++hits;
            server.hold();
            res.set_content("late", "text/plain");
        });
        s.Get("/big", [](const httplib::Request&, httplib::Response& res) {
            res.set_content(std::string(3 << 20, 'b'), "application/octet-stream");
        });
        s.Post("/echo", [](const httplib::Request& req, httplib::Response& res) {
            std::string out = req.get_header_value("Content-Type") + "\n" + req.get_header_value("X-Test") + "\n";
            if (req.is_multipart_form_data()) {
                for (const auto& entry : req.files)
                    out += entry.first + "|" + entry.second.filename + "|" + entry.second.content_type + "|" +
                           entry.second.content + "\n";
            } else {
                out += req.body;
            }
            res.set_content(out, "text/plain");
        });
        server.start();

        MyHttpClient::Options options;
        options.defaultTimeoutMs = 5000;
        options.defaultConnectTimeoutMs = 2000;
        client.emplace(options);
    }
    void TearDown() override {
        server.release();
        client.reset();
        server.stop();
    }

    // Sends and pumps until the callback came; the response it got.
    HttpResponse roundTrip(HttpRequest request) {
        std::optional<HttpResponse> got;
        client->send(std::move(request), [&](const HttpResponse& r) { got = r; });
        EXPECT_TRUE(pumpUntil(*client, [&] { return got.has_value(); }));
        return got.value_or(HttpResponse());
    }
    HttpResponse getUrl(const std::string& url, bool useCache = false, int timeoutMs = 0) {
        HttpRequest request;
        request.url = url;
        request.useCache = useCache;
        request.timeoutMs = timeoutMs;
        return roundTrip(request);
    }

    test::LoopbackHttpServer server;
    std::atomic<int> hits{0};
    std::optional<MyHttpClient> client;
};

TEST_F(MyHttpClientTest, CallbacksRunOnlyInPumpOnTheCallingThread) {
    const auto mainThread = std::this_thread::get_id();
    int calls = 0;
    HttpResponse got;
    std::thread::id callbackThread;
    client->get(server.url("/hello"), [&](const HttpResponse& r) {
        ++calls;
        got = r;
        callbackThread = std::this_thread::get_id();
    });
    // The answer arrives in the background, but nothing runs until the frame loop pumps.
    const auto deadline = Clock::now() + 5s;
    while (hits == 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(2ms);
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(calls, 0);

    ASSERT_TRUE(pumpUntil(*client, [&] { return calls > 0; }));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(callbackThread, mainThread);
    EXPECT_TRUE(got.success);
    EXPECT_EQ(got.status, 200);
    EXPECT_EQ(got.body, "hello world");
    EXPECT_EQ(got.headers["content-type"], "text/plain");
    EXPECT_TRUE(got.error.empty());
    EXPECT_EQ(client->outstanding(), 0u);
    EXPECT_EQ(client->pump(), 0);   // delivered once only
}

TEST_F(MyHttpClientTest, FailuresArriveAsResultsWithPlainErrorTexts) {
    const HttpResponse missing = getUrl(server.url("/missing"));
    EXPECT_FALSE(missing.success);
    EXPECT_EQ(missing.status, 404);
    EXPECT_EQ(missing.body, "no such thing");
    EXPECT_NE(missing.error.find("404"), std::string::npos) << missing.error;

    const HttpResponse refused = getUrl("http://127.0.0.1:" + std::to_string(test::closedLoopbackPort()) + "/x");
    EXPECT_FALSE(refused.success);
    EXPECT_EQ(refused.status, 0);
    EXPECT_NE(refused.error.find("Could not connect"), std::string::npos) << refused.error;

    const auto start = Clock::now();
    const HttpResponse slow = getUrl(server.url("/slow"), false, 200);
    EXPECT_LT(Clock::now() - start, 2s);
    EXPECT_FALSE(slow.success);
    EXPECT_NE(slow.error.find("timed out"), std::string::npos) << slow.error;

    const HttpResponse notHttp = getUrl("file:///etc/passwd");
    EXPECT_FALSE(notHttp.success);
    EXPECT_TRUE(notHttp.body.empty());
    EXPECT_NE(notHttp.error.find("Not a valid"), std::string::npos) << notHttp.error;

    EXPECT_FALSE(getUrl("").success);
}

TEST_F(MyHttpClientTest, PostsRawFormJsonAndMultipartBodies) {
    HttpRequest raw;
    raw.method = "POST";
    raw.url = server.url("/echo");
    raw.body = std::string("a\0b", 3);
    raw.contentType = "application/octet-stream";
    raw.headers.emplace_back("X-Test", "yes");
    EXPECT_EQ(roundTrip(raw).body, std::string("application/octet-stream\nyes\na\0b", 32));

    std::optional<HttpResponse> form, json;
    client->postForm(server.url("/echo"), {{"action", "list"}, {"token", "a b&c=d"}},
                     [&](const HttpResponse& r) { form = r; });
    client->postJson(server.url("/echo"), R"({"x":1})", [&](const HttpResponse& r) { json = r; });
    ASSERT_TRUE(pumpUntil(*client, [&] { return form && json; }));
    EXPECT_EQ(form->body, "application/x-www-form-urlencoded\n\naction=list&token=a%20b%26c%3Dd");
    EXPECT_EQ(json->body, "application/json\n\n{\"x\":1}");

    const std::string bytes("\x89PNG\0\r\n", 7);
    const std::string onDisk = (dataRoot.path() / "thumb.jpg").string();
    std::ofstream(onDisk, std::ios::binary) << "jpeg bytes";
    std::optional<HttpResponse> multipart;
    client->postMultipart(server.url("/echo"),
                          {HttpFormPart::field("action", "upload"), HttpFormPart::file("asset", "cube.png", bytes),
                           HttpFormPart::fileFromDisk("thumbData", onDisk)},
                          [&](const HttpResponse& r) { multipart = r; });
    ASSERT_TRUE(pumpUntil(*client, [&] { return multipart.has_value(); }));
    ASSERT_TRUE(multipart->success) << multipart->error;
    const std::string& body = multipart->body;
    EXPECT_EQ(body.rfind("multipart/form-data", 0), 0u) << body;
    EXPECT_NE(body.find("action|||upload\n"), std::string::npos) << body;
    EXPECT_NE(body.find("asset|cube.png|application/octet-stream|" + bytes + "\n"), std::string::npos) << body;
    EXPECT_NE(body.find("thumbData|thumb.jpg|application/octet-stream|jpeg bytes\n"), std::string::npos) << body;
}

TEST_F(MyHttpClientTest, AbandonedRequestsNeverReachTheirCallbacks) {
    // Cancelling a transfer in flight aborts it at once and drops its callback.
    bool cancelledCalled = false;
    const auto id = client->get(server.url("/slow"), [&](const HttpResponse&) { cancelledCalled = true; });
    const auto deadline = Clock::now() + 5s;
    while (hits == 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(2ms);
    const auto start = Clock::now();
    client->cancel(id);
    ASSERT_TRUE(pumpUntil(*client, [&] { return client->outstanding() == 0; }, 2s));
    EXPECT_LT(Clock::now() - start, 500ms);

    // The generation pattern: a callback from before bump() does nothing, a newer one runs.
    LmdRequestGeneration generation;
    int stale = 0, current = 0;
    client->get(server.url("/hello"), generation.guard([&](const HttpResponse&) { ++stale; }));
    generation.bump();
    const auto ticket = generation.ticket();
    client->get(server.url("/hello"), [&](const HttpResponse&) {
        if (generation.isCurrent(ticket))
            ++current;
    });
    ASSERT_TRUE(pumpUntil(*client, [&] { return client->outstanding() == 0; }));
    EXPECT_FALSE(cancelledCalled);
    EXPECT_EQ(stale, 0);
    EXPECT_EQ(current, 1);

    // A callback that throws is logged and does not stop the ones after it.
    LmdLog::setEchoToStderr(false);
    int after = 0;
    client->get(server.url("/hello"), [](const HttpResponse&) { throw std::runtime_error("boom"); });
    client->get(server.url("/hello"), [&](const HttpResponse&) { ++after; });
    EXPECT_TRUE(pumpUntil(*client, [&] { return after == 1; }));
    LmdLog::setEchoToStderr(true);
}

TEST_F(MyHttpClientTest, DownloadProgressReachesTheMainThreadAndEndsAtTheFullSizeBeforeTheAnswer) {
    const auto mainThread = std::this_thread::get_id();
    std::vector<std::pair<std::int64_t, std::int64_t>> seen;
    bool offThread = false, afterAnswer = false, answered = false;
    HttpRequest request;
    request.url = server.url("/big");
    request.onProgress = [&](std::int64_t received, std::int64_t total) {
        offThread |= std::this_thread::get_id() != mainThread;
        afterAnswer |= answered;
        seen.emplace_back(received, total);
    };
    const HttpResponse r = roundTrip(request);
    answered = true;
    ASSERT_TRUE(r.success) << r.error;
    ASSERT_FALSE(seen.empty());
    EXPECT_FALSE(offThread);
    for (std::size_t i = 1; i < seen.size(); ++i)
        EXPECT_GE(seen[i].first, seen[i - 1].first);
    EXPECT_EQ(seen.back().first, std::int64_t(3 << 20));
    EXPECT_EQ(seen.back().second, std::int64_t(3 << 20));
    client->pump();
    EXPECT_FALSE(afterAnswer);

    // A cancelled download reports nothing more.
    int calls = 0;
    HttpRequest slow;
    slow.url = server.url("/slow");
    slow.onProgress = [&](std::int64_t, std::int64_t) { ++calls; };
    const auto id = client->send(std::move(slow), [](const HttpResponse&) {});
    const auto deadline = Clock::now() + 5s;
    while (hits == 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(2ms);
    client->cancel(id);
    server.release();
    ASSERT_TRUE(pumpUntil(*client, [&] { return client->outstanding() == 0; }, 2s));
    EXPECT_EQ(calls, 0);
}

TEST_F(MyHttpClientTest, CachedGetsSkipTheServerUntilTheCacheIsCleared) {
    const HttpResponse first = getUrl(server.url("/counter"), true);
    const HttpResponse second = getUrl(server.url("/counter"), true);
    EXPECT_EQ(first.body, "hit 1");
    EXPECT_FALSE(first.fromCache);
    EXPECT_EQ(second.body, "hit 1");
    EXPECT_TRUE(second.fromCache);
    EXPECT_TRUE(second.success);
    EXPECT_EQ(second.status, 200);
    EXPECT_EQ(second.headers.at("content-type"), "text/plain");
    EXPECT_EQ(hits, 1);
    EXPECT_TRUE(std::filesystem::exists(dataRoot.path() / "cache" / "http"));

    // Requests that do not ask for the cache always go to the server; failures are not kept.
    EXPECT_EQ(getUrl(server.url("/counter")).body, "hit 2");
    getUrl(server.url("/missing"), true);
    EXPECT_FALSE(getUrl(server.url("/missing"), true).fromCache);

    client->clearCache();
    EXPECT_FALSE(std::filesystem::exists(dataRoot.path() / "cache" / "http"));
    const HttpResponse afterClear = getUrl(server.url("/counter"), true);
    EXPECT_EQ(afterClear.body, "hit 3");
    EXPECT_FALSE(afterClear.fromCache);
}

TEST_F(MyHttpClientTest, ShutdownWithATransferInFlightIsPromptAndSilent) {
    bool called = false;
    client->get(server.url("/slow"), [&](const HttpResponse&) { called = true; });
    const auto deadline = Clock::now() + 5s;
    while (hits == 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(2ms);
    const auto start = Clock::now();
    client->shutdown();
    EXPECT_LT(Clock::now() - start, 500ms);
    client->pump();
    EXPECT_FALSE(called);

    // Later requests fail at the next pump instead of hanging.
    std::optional<HttpResponse> late;
    client->get(server.url("/hello"), [&](const HttpResponse& r) { late = r; });
    client->pump();
    ASSERT_TRUE(late.has_value());
    EXPECT_FALSE(late->success);
}

} // namespace
} // namespace Lumenda3D
