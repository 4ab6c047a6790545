// The frame pump: deliveries run once a frame in the order they were registered, a failing one is
// logged under its name without stopping the others, and a delivery ends with its handle.
#include "services/LmdFramePump.h"

#include "base/LmdLog.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace Lumenda3D;

namespace {

TEST(LmdFramePump, RunsEachDeliveryInOrderAndSurvivesAFailingOne) {
    LmdFramePump pump;
    std::vector<std::string> ran, log;
    LmdSubscription agents = pump.add("agent jobs", [&] { ran.push_back("agents"); });
    LmdSubscription broken = pump.add("update check", [] { throw std::runtime_error("feed unreadable"); });
    LmdSubscription http = pump.add("HTTP callbacks", [&] { ran.push_back("http"); });
    LmdLog::setEchoToStderr(false);
    const int sink = LmdLog::addSink([&](const std::string& text, LogLevel) { log.push_back(text); });
    pump.run();
    LmdLog::removeSink(sink);
    LmdLog::setEchoToStderr(true);
    EXPECT_EQ(ran, (std::vector<std::string>{"agents", "http"}));
    EXPECT_EQ(log, std::vector<std::string>{"Error in update check: feed unreadable"});

    agents.cancel();
    broken.cancel();
    ran.clear();
    pump.run();
    EXPECT_EQ(ran, std::vector<std::string>{"http"});
    EXPECT_EQ(pump.size(), 1u);
}

} // namespace
