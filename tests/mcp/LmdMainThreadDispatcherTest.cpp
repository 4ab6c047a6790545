#include "mcp/LmdMainThreadDispatcher.h"

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {
using json = nlohmann::json;
using Clock = std::chrono::steady_clock;
using Result = LmdMainThreadDispatcher::Result;

// A timeout of 0 queues the job without waiting for it.
void queue(LmdMainThreadDispatcher& d, LmdMainThreadDispatcher::Job job) { d.postAndWait(std::move(job), 0); }

TEST(LmdMainThreadDispatcher, PumpRunsQueuedJobsInOrderAndLaterPostsNextTime) {
    LmdMainThreadDispatcher d;
    std::vector<std::string> ran;
    queue(d, [&]() -> json { ran.push_back("throws"); throw std::runtime_error("x"); });
    queue(d, [&]() -> json { ran.push_back("throws anything"); throw 42; });
    queue(d, [&] {
        ran.push_back("posts");
        queue(d, [&] { ran.push_back("posted during pump"); return json(); });
        return json();
    });
    d.pump();
    EXPECT_EQ(ran, (std::vector<std::string>{"throws", "throws anything", "posts"}));
    d.pump();
    EXPECT_EQ(ran.back(), "posted during pump");
}

TEST(LmdMainThreadDispatcher, PosterGetsValueOrFailureText) {
    LmdMainThreadDispatcher d;
    const std::vector<std::pair<LmdMainThreadDispatcher::Job, Result>> cases = {
        {[] { return json{{"answer", 42}}; }, {true, json{{"answer", 42}}, ""}},
        {[]() -> json { throw std::runtime_error("document is locked"); }, {false, nullptr, "document is locked"}},
        {[]() -> json { throw 7; }, {false, nullptr, "unknown error while handling the request"}},
    };
    for (const auto& [job, expected] : cases) {
        Result result;
        std::atomic<bool> done{false};
        std::thread poster([&, job = job] { result = d.postAndWait(job, 10000); done = true; });
        while (!done) { d.pump(); std::this_thread::yield(); }
        poster.join();
        EXPECT_EQ(result.ok, expected.ok);
        EXPECT_EQ(result.value, expected.value);
        EXPECT_EQ(result.error, expected.error);
    }
}

TEST(LmdMainThreadDispatcher, NinthQueuedJobIsRefusedWithoutWaiting) {
    LmdMainThreadDispatcher d;
    std::atomic<int> runs{0};
    for (int i = 0; i < 8; ++i)
        queue(d, [&] { ++runs; return json(); });
    const auto before = Clock::now();
    Result refused = d.postAndWait([&] { ++runs; return json(); }, 10000);
    EXPECT_LT(Clock::now() - before, std::chrono::seconds(2));
    EXPECT_EQ(refused.error, "editor request queue is full — retry shortly");
    d.pump();
    EXPECT_EQ(runs, 8);
}

TEST(LmdMainThreadDispatcher, TimedOutJobStillRunsOnTheNextPump) {
    LmdMainThreadDispatcher d;
    std::atomic<bool> ran{false};
    const auto before = Clock::now();
    Result result = d.postAndWait([&] { ran = true; return json("late"); }, 1000);
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(1000));
    EXPECT_EQ(result.error, "editor did not respond within 1s (a native dialog may be open)");
    EXPECT_FALSE(ran);
    d.pump(); // nobody waits for the result any more; fulfilling it must be harmless
    EXPECT_TRUE(ran);
}

TEST(LmdMainThreadDispatcher, ShutdownWakesWaitersWithoutRunningJobsAndResetReopens) {
    LmdMainThreadDispatcher d;
    std::atomic<int> runs{0};
    std::vector<Result> results(3);
    std::vector<std::thread> posters;
    for (int i = 0; i < 3; ++i)
        posters.emplace_back([&, i] { results[i] = d.postAndWait([&] { ++runs; return json(); }, 10000); });
    while (d.queuedCount() < 3)
        std::this_thread::yield();
    d.shutdown();
    for (auto& t : posters)
        t.join();
    for (const Result& r : results)
        EXPECT_EQ(r.error, "editor is shutting down");
    EXPECT_EQ(d.postAndWait([&] { ++runs; return json(); }, 10000).error, "editor is shutting down");
    d.pump();
    EXPECT_EQ(runs, 0);

    d.reset();
    queue(d, [&] { ++runs; return json(); });
    d.pump();
    EXPECT_EQ(runs, 1);
}

} // namespace
} // namespace Lumenda3D
