#pragma once
// Lets tests drive the real editor process. It is built only into the test build of the editor,
// lumenda3d-testdriver (the editor's entry plus this driver), and reaches the editor as an
// observer of its frames, through the editor's public operations. Environment variables, read
// once at the start of setup:
//
//   LUMENDA3D_TEST_SCRIPT=<file>     a script of commands, run from the frame loop, one or more a
//                                    frame (see docs/running.md, "Test scripts")
//   LUMENDA3D_TEST_FRAME_FAULTS=<n>  the first n frames fail with an exception after they were
//                                    shown, to prove that the entry's loop carries on
//   LUMENDA3D_TEST_EXIT_FAULT=1      an exception escapes while the editor object is destroyed at
//                                    process exit (the terminate handler must end it with code 0)
//   LUMENDA3D_TEST_CLOSE_FAULT=1     an exception escapes while OGRE's root is released as the
//                                    window closes (after onClose: the exit must be code 0 too)
//
// Without them the hook does not exist. Results go to standard output as lines that start with
// "LMD-TEST ": "LMD-TEST FAIL line <n>: ..." for a failed check (the editor then quits),
// "LMD-TEST say ..." for sync points, "LMD-TEST done" when the script quits.
//
// The script can act as an agent does (synthetic input through the engine's queue: "click",
// "keys") or as a person does (SDL events into the window's queue: "user-click", "user-keys"),
// so that the agent guard is seen to refuse the one and accept the other.
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <OgreLog.h>
#include <SDL.h>

#include "core/LmdEditorObserver.h"

namespace Lumenda3D {

class Lumenda3DEditor;

class LmdEditorTestHook : public LmdEditorObserver {
public:
    static constexpr const char* kScriptVariable = "LUMENDA3D_TEST_SCRIPT";
    static constexpr const char* kFaultVariable = "LUMENDA3D_TEST_FRAME_FAULTS";
    static constexpr const char* kExitFaultVariable = "LUMENDA3D_TEST_EXIT_FAULT";
    static constexpr const char* kCloseFaultVariable = "LUMENDA3D_TEST_CLOSE_FAULT";

    // Null when none of the variables is set.
    static std::unique_ptr<LmdEditorTestHook> fromEnvironment(Lumenda3DEditor& editor);

    LmdEditorTestHook(Lumenda3DEditor& editor, const std::string& scriptPath, int frameFaults);
    ~LmdEditorTestHook() override;
    LmdEditorTestHook(const LmdEditorTestHook&) = delete;
    LmdEditorTestHook& operator=(const LmdEditorTestHook&) = delete;

    // Once a frame, from frameRenderingQueued (the window holds the finished frame): runs the script.
    void frameRendered() override;
    // While injected frame faults are left, counts one down and throws.
    void frameEnded() override;

    // The words of a script line, split at blanks. Empty for a blank line and for a comment
    // (a line whose first word starts with "#").
    static std::vector<std::string> splitLine(const std::string& line);

private:
    struct Command {
        int line = 0;
        std::vector<std::string> words;
        std::string text;  // the line as written
    };
    // What the current command waits for before the next one runs.
    enum class Wait { None, Frames, Seconds, Until, Input, Timing };

    bool loadScript(const std::string& path);
    // Starts the current command; true when the next one may start in the same frame.
    bool start(const Command& command);
    // The verbs by family, each in its own file; nullopt for a verb that is not the family's.
    std::optional<bool> startPersonInput(const std::vector<std::string>& w, std::string& error);
    std::optional<bool> startEditing(const std::vector<std::string>& w, std::string& error);
    // Whether the command `w` has `count` arguments; fails the script saying so when not.
    bool needs(const std::vector<std::string>& w, size_t count);
    // Whether the current wait is over (fails the script on a timeout).
    bool waitDone();
    bool evaluate(const std::vector<std::string>& words, size_t first, std::string& detail);
    void fail(const std::string& why);
    // After a line that queued input: wait for it to play out (true), or fail the script with the
    // engine's refusal when it was not queued (false).
    bool awaitInput();
    bool awaitQueued(bool queued, const std::string& error);
    void report(const std::string& text);
    void quit();
    void pushPersonClick(float x, float y, int button = 1);
    // A person's drag: press at the start, hold past the tree's drag delay, move to the end over
    // a few frames, release there.
    void pushPersonDrag(float x1, float y1, float x2, float y2);
    // The parts of a drag for a gesture with stops: press and hold at (x, y), then a nudge that
    // starts the drag; a move in six steps from where the pointer is; the release there.
    void pushPersonPress(float x, float y);
    void pushPersonMove(float x, float y, long after = 1);
    void pushPersonRelease();
    // Where a drop place is: "tab LABEL" (the block panel's tabs), "block NAME", "field ATTRIBUTE"
    // (the attribute panel) or "scene".
    bool findDropPlace(const std::vector<std::string>& words, size_t first, float& x, float& y, std::string& error);
    // Where a block, a palette template or the scene is on screen, for the block commands
    // ("block NAME", "template BLOCKNAME", "scene"); false with the reason in `error`.
    bool findBlockPlace(const std::string& kind, const std::string& name, float& x, float& y, std::string& error);
    // The keys go down `after` frames from now (plus one) and come up two frames later.
    bool pushPersonKeys(const std::vector<std::string>& names, std::string& error, long after = 0);
    void deliverPersonEvents();
    bool writeScreenshot(const std::string& path, std::string& error);
    void printTiming();
    bool findWidget(const std::string& panel, const std::string& label, float& x, float& y, std::string& error);
    // Where the middle of a scene object's bounds shows in the window.
    bool findObject(const std::string& name, float& x, float& y, std::string& error);
    static std::string joined(const std::vector<std::string>& words, size_t first);

    Lumenda3DEditor& editor_;
    std::vector<Command> commands_;
    size_t next_ = 0;
    bool finished_ = false;
    long frame_ = 0;
    int faultsLeft_ = 0;
    bool faultAtExit_ = false;
    // Throws from OGRE's log while the root shuts down (LUMENDA3D_TEST_CLOSE_FAULT).
    std::unique_ptr<Ogre::LogListener> closeFault_;
    std::chrono::steady_clock::time_point lastFrame_{};

    Wait wait_ = Wait::None;
    const Command* current_ = nullptr;
    long waitUntilFrame_ = 0;
    std::chrono::steady_clock::time_point deadline_{};
    double untilTimeoutSeconds_ = 60.0;

    // A person's input: SDL events and the frame in which each goes into the queue.
    std::deque<std::pair<long, SDL_Event>> personEvents_;
    // Where the person's pointer was sent last.
    float pointerX_ = 0.0f, pointerY_ = 0.0f;

    // Frame timing.
    std::vector<double> frameMillis_;
    long timingFrames_ = 0;

    // Scene objects remembered by "mark-objects".
    std::vector<std::string> markedObjects_;

    // Log lines seen since start, for the "log" condition.
    int logSink_ = 0;
    std::mutex logMutex_;
    std::vector<std::string> logLines_;
};

} // namespace Lumenda3D
