// Signals and their subscription handles: order, removal at any time (also by the listener being
// called, or by the one before it), listeners added during an emit, failing listeners, and
// handles that outlive the signal.
#include "base/LmdSignal.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Lumenda3D;

namespace {

TEST(LmdSignal, ListenersRunInOrderUntilTheirHandleGoes) {
    LmdSignal<int> signal("test");
    std::vector<std::string> calls;
    LmdSubscription a = signal.subscribe([&](int v) { calls.push_back("a" + std::to_string(v)); });
    {
        LmdSubscription b = signal.subscribe([&](int v) { calls.push_back("b" + std::to_string(v)); });
        signal.emit(1);
    }
    LmdSubscription moved = std::move(a);
    signal.emit(2);
    moved.cancel();
    signal.emit(3);
    EXPECT_EQ(calls, (std::vector<std::string>{"a1", "b1", "a2"}));
    EXPECT_EQ(signal.listenerCount(), 0u);
}

TEST(LmdSignal, RemovalDuringAnEmitIsSafeAndTakesEffectAtOnce) {
    LmdSignal<> signal("test");
    std::vector<std::string> calls;
    LmdSubscription second;
    // The first listener removes itself and the one after it; its own state stays usable.
    auto state = std::make_shared<std::string>("first");
    LmdSubscription first;
    first = signal.subscribe([&, state] {
        first.cancel();
        second.cancel();
        calls.push_back(*state);
    });
    second = signal.subscribe([&] { calls.push_back("second"); });
    LmdSubscription added;
    LmdSubscription third = signal.subscribe([&] {
        calls.push_back("third");
        if (!added.isActive())
            added = signal.subscribe([&] { calls.push_back("added"); });
    });
    state.reset();
    signal.emit();
    EXPECT_EQ(calls, (std::vector<std::string>{"first", "third"}));
    signal.emit();
    EXPECT_EQ(calls, (std::vector<std::string>{"first", "third", "third", "added"}));
}

TEST(LmdSignal, AFailingListenerIsLoggedAndTheOthersStillRun) {
    LmdLog::setEchoToStderr(false);
    std::vector<std::string> lines;
    const int sink = LmdLog::addSink([&](const std::string& text, LogLevel) { lines.push_back(text); });
    LmdSignal<> signal("document changed");
    int after = 0;
    LmdSubscription bad = signal.subscribe([] { throw std::runtime_error("listener broke"); });
    LmdSubscription good = signal.subscribe([&] { ++after; });
    signal.emit();
    LmdLog::removeSink(sink);
    LmdLog::setEchoToStderr(true);
    EXPECT_EQ(after, 1);
    EXPECT_EQ(lines, (std::vector<std::string>{"Error in document changed: listener broke"}));
}

TEST(LmdSignal, AHandleMayOutliveItsSignal) {
    LmdSubscription handle;
    {
        LmdSignal<> signal("test");
        handle = signal.subscribe([] {});
    }
    EXPECT_TRUE(handle.isActive());
    handle.cancel();
    EXPECT_FALSE(handle.isActive());
}

} // namespace
