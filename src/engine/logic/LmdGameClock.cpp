#include "engine/logic/LmdGameClock.h"

#include <algorithm>
#include <cmath>

namespace Lumenda3D {

namespace {
// Left-overs below this are rounding, not game time.
constexpr double kSpanEpsilon = 1e-6;
} // namespace

void LmdGameClock::reset() {
    mTime = 0.0;
    mSpanLeft = 0.0;
    mSpanEnded = false;
}

void LmdGameClock::startSpan(double seconds) {
    mSpanEnded = false;
    mSpanLeft = std::isfinite(seconds) && seconds > 0.0 ? seconds : 0.0;
}

float LmdGameClock::step(float frameSeconds) {
    float dt;
    if (mSpanLeft > 0.0) {
        dt = static_cast<float>(std::min<double>(kFixedStep, mSpanLeft));
        mSpanLeft -= dt;
        if (mSpanLeft <= kSpanEpsilon) {
            mSpanLeft = 0.0;
            mSpanEnded = true;
        }
    } else {
        dt = std::isfinite(frameSeconds) ? std::clamp(frameSeconds, 0.0f, kMaxStep) : 0.0f;
    }
    mTime += dt;
    return dt;
}

bool LmdGameClock::takeSpanEnd() {
    const bool ended = mSpanEnded;
    mSpanEnded = false;
    return ended;
}

} // namespace Lumenda3D
