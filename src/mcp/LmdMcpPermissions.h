#pragma once
// The user's choices for the four kinds of agent action that reach beyond the document
// (running the game, projects, exports, keyboard and mouse), and the rendezvous by which a tool
// call on a connection thread waits for the user to answer a prompt that the frame loop draws.
//
// Threads: state() and checkTool() run on any thread (the states are atomic). requestDecision()
// runs on connection threads and blocks. pendingPrompt() and resolvePrompt() run on the main
// thread, each holding stateMutex_ only for a moment, so the frame loop never waits for a
// connection thread. promptGate_ is taken only by connection threads, always before stateMutex_.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

#include <nlohmann/json.hpp>

namespace Lumenda3D {

enum class McpPermission : int { Run = 0, Projects = 1, Export = 2, Input = 3 };

enum class McpPermissionState : int { Ask = 0, Approve = 1, Deny = 2 };

enum class McpPromptDecision : int { ApproveOnce = 0, ApproveAlways = 1, DenyAlways = 2, NoAnswer = 3 };

class LmdMcpPermissions {
public:
    static constexpr int kPermissionCount = 4;
    // How long a tool call waits for the user's answer.
    static constexpr std::chrono::milliseconds kDefaultPromptTimeout{120000};

    explicit LmdMcpPermissions(std::chrono::milliseconds promptTimeout = kDefaultPromptTimeout);
    LmdMcpPermissions(const LmdMcpPermissions&) = delete;
    LmdMcpPermissions& operator=(const LmdMcpPermissions&) = delete;

    // Main thread, at startup: reads the four settings. An old boolean value is converted to
    // Approve or Deny and written back as a number; a number outside 0..2 counts as Ask.
    void load();

    McpPermissionState state(McpPermission permission) const;
    // Stores the state, then writes its setting (main thread: the settings are not thread-safe).
    void setState(McpPermission permission, McpPermissionState value);

    // Which permission a tool needs (whole-name comparison); false when it needs none.
    static bool toolPermission(const std::string& tool, McpPermission& out);
    // "run or stop your game", ... : the words the prompt and the refusals use.
    static const char* actionDescription(McpPermission permission);
    static const char* settingsKey(McpPermission permission);
    static const char* rowLabel(McpPermission permission);
    static const char* stateWord(McpPermissionState value);

    // Connection thread: null when the tool may run, otherwise the error result to answer with.
    // May block for the prompt's timeout while the user is asked.
    nlohmann::json checkTool(const std::string& tool);

    // Connection thread: asks the user and waits for the answer, the timeout or a cancel.
    // One prompt at a time; a second request waits for the first without a time limit and then
    // has its own full time.
    McpPromptDecision requestDecision(McpPermission permission);

    // Main thread, each frame: true while a prompt wants answering; `out` tells about what.
    bool pendingPrompt(McpPermission& out) const;
    // Main thread, from the popup: answers the waiting request. A late call does nothing.
    void resolvePrompt(McpPromptDecision decision);

    // Server stop: ends a waiting request at once with NoAnswer and lets no prompt open.
    void cancelPendingPrompt();
    // Server start: prompts may open again.
    void resumePrompts();

private:
    const std::chrono::milliseconds promptTimeout_;
    std::atomic<int> states_[kPermissionCount];

    mutable std::mutex stateMutex_;            // guards the prompt fields below
    std::condition_variable promptCondition_;  // wakes the waiting request
    std::mutex promptGate_;                    // one prompt at a time, held for a whole prompt
    bool promptActive_ = false;
    bool promptResolved_ = false;
    bool promptsCancelled_ = false;
    McpPermission promptPermission_ = McpPermission::Run;
    McpPromptDecision promptDecision_ = McpPromptDecision::NoAnswer;
};

} // namespace Lumenda3D
