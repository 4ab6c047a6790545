// The game clock: capped frame steps, and spans that end exactly on their game time whatever
// the frames' real lengths.
#include "engine/logic/LmdGameClock.h"

#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

TEST(LmdGameClock, FrameStepsAreTheFramesLengthCapped) {
    LmdGameClock clock;
    EXPECT_FLOAT_EQ(clock.step(0.02f), 0.02f);
    EXPECT_FLOAT_EQ(clock.step(3.0f), LmdGameClock::kMaxStep); // a stall
    EXPECT_EQ(clock.step(-1.0f), 0.0f);
    EXPECT_EQ(clock.step(std::numeric_limits<float>::quiet_NaN()), 0.0f);
    EXPECT_NEAR(clock.time(), 0.12, 1e-6);
    EXPECT_FALSE(clock.takeSpanEnd());
    clock.reset();
    EXPECT_EQ(clock.time(), 0.0);
}

// The steps a span takes, with frames of the given real lengths.
std::vector<float> spanSteps(double seconds, const std::vector<float>& frames) {
    LmdGameClock clock;
    clock.startSpan(seconds);
    std::vector<float> steps;
    for (size_t i = 0; clock.inSpan() && i < 100000; ++i)
        steps.push_back(clock.step(frames[i % frames.size()]));
    EXPECT_TRUE(clock.takeSpanEnd());
    EXPECT_FALSE(clock.takeSpanEnd()); // told once
    EXPECT_NEAR(clock.time(), seconds, 1e-5);
    return steps;
}

TEST(LmdGameClock, ASpanTakesTheSameFixedStepsHoweverFastTheFramesAreAndEndsOnTime) {
    const std::vector<float> fast = spanSteps(2.0, {0.001f});
    const std::vector<float> uneven = spanSteps(2.0, {0.3f, 0.004f, 0.05f});
    EXPECT_EQ(fast, uneven);
    EXPECT_EQ(fast.size(), 120u);
    // A span that is no whole number of steps ends with a shorter one.
    const std::vector<float> odd = spanSteps(0.05, {0.02f});
    ASSERT_EQ(odd.size(), 3u);
    EXPECT_FLOAT_EQ(odd[0], LmdGameClock::kFixedStep);
    EXPECT_NEAR(odd[2], 0.05 - 2 * LmdGameClock::kFixedStep, 1e-6);
    // One step: stepping a paused game by a single frame.
    EXPECT_EQ(spanSteps(LmdGameClock::kFixedStep, {0.5f}).size(), 1u);
}

TEST(LmdGameClock, CancelledOrEmptySpansLeaveFrameSteps) {
    LmdGameClock clock;
    for (double none : {0.0, -1.0, std::nan("")}) {
        clock.startSpan(none);
        EXPECT_FALSE(clock.inSpan()) << none;
    }
    clock.startSpan(5.0);
    clock.step(0.5f);
    clock.cancelSpan();
    EXPECT_FLOAT_EQ(clock.step(0.05f), 0.05f);
    EXPECT_FALSE(clock.takeSpanEnd());
}

} // namespace
} // namespace Lumenda3D
