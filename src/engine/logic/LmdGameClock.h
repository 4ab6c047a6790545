#pragma once
// The game's clock: how long each frame's step of game time is, and how much game time has
// passed since the game started. Normally a step is the frame's real length, capped so that a
// stall does not throw objects through walls. During a span (run exactly so many seconds, then
// pause) every step is kFixedStep long, the last one shorter so that the span ends exactly: the
// same game then takes the same steps however fast the frames come, and gives the same state.
namespace Lumenda3D {

class LmdGameClock {
public:
    static constexpr float kMaxStep = 0.1f;
    static constexpr float kFixedStep = 1.0f / 60.0f;

    // Back to game time 0, no span.
    void reset();
    // Starts a span of `seconds` of game time (replacing one that runs); non-positive: none.
    void startSpan(double seconds);
    void cancelSpan() { mSpanLeft = 0.0; }
    bool inSpan() const { return mSpanLeft > 0.0; }
    double spanLeft() const { return mSpanLeft; }

    // The step of game time for a frame that took `frameSeconds`; counts it as played.
    float step(float frameSeconds);
    // True once, after the step that ended a span.
    bool takeSpanEnd();

    double time() const { return mTime; }

private:
    double mTime = 0.0;
    double mSpanLeft = 0.0;
    bool mSpanEnded = false;
};

} // namespace Lumenda3D
