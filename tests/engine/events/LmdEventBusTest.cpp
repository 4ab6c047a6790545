// Engine events: delivery by id in order, listeners that change the list or throw while an
// event is delivered, and subscriptions whose handles remove them, also in mid-delivery.
#include "engine/events/LmdEventBus.h"

#include "base/LmdLog.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Lumenda3D;

namespace {

TEST(LmdEventBus, DeliversByIdInOrderAndSurvivesChangesAndThrowingListeners) {
    LmdEventBus bus;
    std::vector<std::string> seen;
    bus.addListener(LmdEventBlockSelected, [&](std::shared_ptr<LmdEvent> e) {
        auto selected = std::dynamic_pointer_cast<LmdBlockSelectedEvent>(e);
        seen.push_back("first " + std::to_string(selected ? selected->getXmlId() : -99));
        bus.addListener(LmdEventBlockSelected, [&](std::shared_ptr<LmdEvent>) { seen.push_back("late"); });
    });
    bus.addListener(LmdEventBlockSelected, [](std::shared_ptr<LmdEvent>) { throw std::runtime_error("boom"); });
    bus.addListener(LmdEventBlockSelected, [&](std::shared_ptr<LmdEvent>) { seen.push_back("once"); },
                    LmdListenerOnce);
    bus.addListener(LmdEventAttributesOpened, [&](std::shared_ptr<LmdEvent>) { seen.push_back("other id"); });
    LmdLog::setEchoToStderr(false);
    EXPECT_EQ(bus.fire(LmdEventBlockSelected, std::make_shared<LmdBlockSelectedEvent>(7)), 3);
    EXPECT_EQ(seen, (std::vector<std::string>{"first 7", "once"}));
    seen.clear();
    bus.fire(LmdEventBlockSelected, std::make_shared<LmdBlockSelectedEvent>(8));
    LmdLog::setEchoToStderr(true);
    EXPECT_EQ(seen, (std::vector<std::string>{"first 8", "late"})); // once is gone, late joined
    EXPECT_EQ(bus.fire(LmdEventGizmoCopy, nullptr), 0);
}

TEST(LmdEventBus, ASubscriptionRemovedDuringADeliveryIsNotCalledAgain) {
    LmdEventBus bus;
    std::vector<std::string> seen;
    LmdSubscription second;
    // The first listener drops the one after it and itself; its own captures stay usable.
    auto name = std::make_shared<std::string>("first");
    LmdSubscription first;
    first = bus.subscribe(LmdEventLevelChanged, [&, name](std::shared_ptr<LmdEvent>) {
        second.cancel();
        first.cancel();
        seen.push_back(*name);
    });
    second = bus.subscribe(LmdEventLevelChanged, [&](std::shared_ptr<LmdEvent>) { seen.push_back("second"); });
    name.reset();
    EXPECT_EQ(bus.fire(LmdEventLevelChanged, nullptr), 1);
    EXPECT_EQ(bus.fire(LmdEventLevelChanged, nullptr), 0);
    EXPECT_EQ(seen, std::vector<std::string>{"first"});
    EXPECT_EQ(bus.listenerCount(LmdEventLevelChanged), 0u);

    // A handle that goes out of scope takes its listener along; one that outlives the bus is harmless.
    {
        LmdSubscription scoped = bus.subscribe(LmdEventSceneLoaded, [&](std::shared_ptr<LmdEvent>) { seen.push_back("x"); });
        EXPECT_EQ(bus.listenerCount(LmdEventSceneLoaded), 1u);
    }
    EXPECT_EQ(bus.fire(LmdEventSceneLoaded, nullptr), 0);
    LmdSubscription survivor;
    {
        LmdEventBus shortLived;
        survivor = shortLived.subscribe(LmdEventSceneLoaded, [](std::shared_ptr<LmdEvent>) {});
    }
    survivor.cancel();
}

} // namespace
