#pragma once
// Synthetic keyboard and mouse input: a queue of timed events that is played out over real frames
// into the same listener as a person's input (ImGui, then the game and the editor).
//
// Frame rule: within one frame only one kind of transition is delivered: pointer moves, presses
// (keys and buttons), releases, or one wheel notch. So a press and its release never share a frame
// (ImGui samples input once per frame and would miss the click), a press comes a frame after the
// move that brought the pointer there (ImGui sees the hover first), and ctrl+z goes down together.
#include "engine/app/LmdInputStep.h"

#include <OgreInput.h>

#include <deque>
#include <set>
#include <string>
#include <vector>

namespace Lumenda3D {

class LmdSyntheticInput {
public:
    // All queue functions check everything first and queue nothing on failure; error then holds
    // a sentence for the caller. Negative or non-finite times count as 0.

    // Presses all keys together (in the given order), holds them, releases them (in reverse order).
    bool queueKeys(const std::vector<std::string>& names, float holdSeconds, std::string& error);
    // Moves the pointer to (x, y), presses the button, holds it, releases it.
    bool queueClick(int x, int y, OgreBites::ButtonType button, float holdSeconds, std::string& error);
    // Moves to the start, presses, glides to the end over `seconds`, releases.
    bool queueDrag(int fromX, int fromY, int toX, int toY, OgreBites::ButtonType button, float seconds,
                   std::string& error);
    // Moves to (x, y) and rolls the wheel by `amount` notches (positive is up), one notch a frame.
    // Fractions round to the nearest notch, but a non-zero amount rolls at least one.
    bool queueScroll(int x, int y, float amount, std::string& error);
    // Any mix of steps. Keys and buttons pressed by a step stay pressed until a step releases them.
    bool queueSequence(const std::vector<LmdInputStep>& steps, std::string& error);

    // Plays one frame: delivers the events that are due at `now` (seconds on any steady clock).
    void update(double now, OgreBites::InputListener& sink);

    // Drops everything queued and releases the keys and buttons that synthetic input holds.
    void cancel(OgreBites::InputListener& sink);

    // True from queueing until the last queued event has been delivered.
    bool isActive() const { return !mQueue.empty(); }
    std::size_t pendingEvents() const { return mQueue.size(); }

    // Above zero only while a synthetic event is being handed to the sink.
    int depth() const { return mDepth; }
    // Whether the last update delivered a press, release or wheel notch (not only moves).
    bool deliveredTransitionThisFrame() const { return mTransitionThisFrame; }

    // Where the pointer is; real pointer moves update it so that a later "down" or glide starts
    // from the pointer's actual place.
    void noteCursor(int x, int y);
    int cursorX() const { return mCursorX; }
    int cursorY() const { return mCursorY; }

    // The last spot of a synthetic click or drag (the crosshair drawn over the window).
    bool hasCrosshair() const { return mHasCrosshair; }
    int crosshairX() const { return mCrosshairX; }
    int crosshairY() const { return mCrosshairY; }
    void clearCrosshair() { mHasCrosshair = false; }

    // Modifier bits (KMOD_*) of the keys that synthetic input holds down.
    unsigned short modifiers() const { return mModifiers; }

private:
    struct Event {
        enum Kind { Move, ButtonDown, ButtonUp, KeyDown, KeyUp, Wheel, Wait } kind = Wait;
        int x = 0, y = 0;          // Move target
        int button = 0;            // ButtonDown, ButtonUp
        OgreBites::Keycode key = 0; // KeyDown, KeyUp
        int notch = 0;             // Wheel: +1 or -1
        double seconds = 0;        // Move glide time, Wait time
        // Play state.
        bool started = false;
        bool emitted = false;
        double startTime = 0;
        int fromX = 0, fromY = 0;
    };
    enum class Category { None, Motion, Press, Release, Wheel };

    static Event makeMove(int x, int y, double seconds);
    static Event makeButton(Event::Kind kind, int button);
    static Event makeKey(Event::Kind kind, OgreBites::Keycode code);
    static Event makeWait(double seconds);
    static void appendScroll(std::vector<Event>& out, int x, int y, float amount);
    static bool checkButton(int button, std::string& error);

    void enqueue(std::vector<Event>& events);
    bool admit(Category category);
    void deliverMotion(int x, int y, OgreBites::InputListener& sink);
    void deliverButton(bool down, int button, OgreBites::InputListener& sink);
    void deliverKey(bool down, OgreBites::Keycode code, OgreBites::InputListener& sink);
    void deliverWheel(int notch, OgreBites::InputListener& sink);

    std::deque<Event> mQueue;
    Category mFrameCategory = Category::None;
    bool mTransitionThisFrame = false;
    int mDepth = 0;
    int mCursorX = 0, mCursorY = 0;
    bool mHasCrosshair = false;
    int mCrosshairX = 0, mCrosshairY = 0;
    unsigned short mModifiers = 0;
    std::set<int> mHeldButtons;
    std::set<OgreBites::Keycode> mHeldKeys;
};

} // namespace Lumenda3D
