// Background jobs: progress and results reach the caller only through pump(), on the thread that
// pumps; a cancelled job ends as cancelled; a job that throws fails with its text; a service that
// goes while a job runs stops it and calls nobody back.
#include "services/LmdJobService.h"

#include "base/LmdLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace Lumenda3D;
using State = LmdJobService::State;

namespace {

// Pumps until `done` holds (at most ~10 s); false on time-out.
template <typename Done>
bool pumpUntil(LmdJobService& jobs, Done done) {
    for (int i = 0; i < 5000 && !done(); ++i) {
        jobs.pump();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return done();
}

TEST(LmdJobService, ProgressAndResultArriveOnThePumpingThreadOnly) {
    LmdJobService jobs;
    const std::thread::id mainThread = std::this_thread::get_id();
    std::atomic<bool> reported{false}, release{false};
    std::vector<std::string> heard;
    bool onMainThread = true;
    const LmdJobService::JobId id = jobs.start(
        "export",
        [&](LmdJobService::Context& job) {
            job.progress(0.25f, "copying");
            job.progress(0.5f, "packing");  // the newer report replaces the older one
            reported = true;
            while (!release)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return LmdJobService::Result{true, "/exports/game.zip"};
        },
        [&](float fraction, const std::string& stage) {
            onMainThread = onMainThread && std::this_thread::get_id() == mainThread;
            heard.push_back("progress " + std::to_string(int(fraction * 100)) + " " + stage);
        },
        [&](State state, const std::string& message) {
            onMainThread = onMainThread && std::this_thread::get_id() == mainThread;
            heard.push_back(std::string(state == State::Succeeded ? "succeeded " : "other ") + message);
        });
    while (!reported)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(heard.empty()) << "called back outside pump()";
    EXPECT_EQ(jobs.status(id)->stage, "packing");
    jobs.pump();
    EXPECT_EQ(heard, std::vector<std::string>{"progress 50 packing"});
    release = true;
    ASSERT_TRUE(pumpUntil(jobs, [&] { return heard.size() == 2; }));
    EXPECT_EQ(heard.back(), "succeeded /exports/game.zip");
    EXPECT_TRUE(onMainThread);
    EXPECT_EQ(jobs.runningCount(), 0u);
    const auto status = jobs.status(id);
    ASSERT_TRUE(status);
    EXPECT_EQ(status->state, State::Succeeded);
    EXPECT_EQ(status->fraction, 1.0f);
    EXPECT_FALSE(jobs.cancel(id)) << "a finished job cannot be cancelled";
}

TEST(LmdJobService, CancelledAndFailingJobsEndSo) {
    LmdJobService jobs;
    std::vector<std::pair<State, std::string>> ends;
    auto onDone = [&](State state, const std::string& message) { ends.emplace_back(state, message); };
    const auto waiting = jobs.start("import", [](LmdJobService::Context& job) {
        for (int i = 0; i < 10000 && !job.cancelled(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return LmdJobService::Result{true, "finished anyway"};
    }, nullptr, onDone);
    EXPECT_TRUE(jobs.cancel(waiting));
    EXPECT_FALSE(jobs.cancel(waiting)) << "asked once is enough";
    EXPECT_FALSE(jobs.cancel(12345));
    ASSERT_TRUE(pumpUntil(jobs, [&] { return ends.size() == 1; }));
    EXPECT_EQ(ends[0], (std::pair<State, std::string>{State::Cancelled, "Cancelled"}));

    LmdLog::setEchoToStderr(false);
    jobs.start("broken", [](LmdJobService::Context&) -> LmdJobService::Result { throw std::runtime_error("disk full"); },
               nullptr, onDone);
    jobs.start("refused", [](LmdJobService::Context&) { return LmdJobService::Result{false, "no template"}; }, nullptr,
               onDone);
    ASSERT_TRUE(pumpUntil(jobs, [&] { return ends.size() == 3; }));
    LmdLog::setEchoToStderr(true);
    std::sort(ends.begin() + 1, ends.end());
    EXPECT_EQ(ends[1], (std::pair<State, std::string>{State::Failed, "disk full"}));
    EXPECT_EQ(ends[2], (std::pair<State, std::string>{State::Failed, "no template"}));
}

TEST(LmdJobService, AServiceThatGoesStopsItsJobsAndCallsNobody) {
    std::atomic<bool> started{false}, sawCancel{false};
    bool calledBack = false;
    {
        LmdJobService jobs;
        jobs.start("long", [&](LmdJobService::Context& job) {
            started = true;
            while (!job.cancelled())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            sawCancel = true;
            return LmdJobService::Result{true, ""};
        }, [&](float, const std::string&) { calledBack = true; }, [&](State, const std::string&) { calledBack = true; });
        while (!started)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(sawCancel);
    EXPECT_FALSE(calledBack);
}

} // namespace
