#pragma once
// The editor's log. Every subsystem writes here; sinks (stderr, the engine's log file,
// the agent log ring) receive each line with its level. The levels are numbered as the engine's
// log numbers its own, so that one mapping serves both.
#include <cstddef>
#include <exception>
#include <functional>
#include <string>

namespace Lumenda3D {

enum class LogLevel { Trivial = 1, Normal = 2, Warning = 3, Critical = 4 };

using LogSink = std::function<void(const std::string& message, LogLevel level)>;

class LmdLog {
public:
    static void message(const std::string& text, LogLevel level = LogLevel::Normal);
    static void warning(const std::string& text) { message(text, LogLevel::Warning); }
    static void critical(const std::string& text) { message(text, LogLevel::Critical); }

    // True on the calling thread while a line of this log is being handed to the sinks: a
    // listener of the engine's log uses it to tell the editor's lines, which a sink copies
    // there, from the engine's own.
    static bool isDeliveringOnThisThread();

    // Adds a sink; returns a handle for removeSink. Sinks are called under a lock, in order.
    // With `replayStartLines` the sink first gets the process's start-up lines (see below), so
    // that a sink added late (the agent server's log, started after the engine) still has them.
    static int addSink(LogSink sink, bool replayStartLines = false);
    // The process's first kStartLines lines at the normal level or above ("no audio device", a
    // missing schema...) are kept for sinks added later.
    static constexpr std::size_t kStartLines = 200;
    // How many start-up lines are kept so far (kStartLines once the start is over).
    static std::size_t startLineCount();
    static void removeSink(int handle);

    // Whether lines also go to stderr (on by default; tests that expect errors may turn it off).
    static void setEchoToStderr(bool echo);

    // The line of a failure caught by runGuarded: "Error in <where>: <text>", or "Unknown error in
    // <where>" when the text is null (not a std::exception).
    static void guardFailure(const std::string& where, const char* text);
};

// The one guard for "log and go on": runs `fn`, and logs "Error in <where>: <text>" or "Unknown
// error in <where>" for anything it throws instead of letting it through. Every frame callback,
// setup step, event listener and queued delivery runs under it.
template <typename Fn>
void runGuarded(const char* where, Fn&& fn) {
    try {
        fn();
    } catch (const std::exception& e) {
        LmdLog::guardFailure(where, e.what());
    } catch (...) {
        LmdLog::guardFailure(where, nullptr);
    }
}

// The same, telling the caller what went wrong: the failure's text ("unknown error" for an
// exception that is no std::exception), or "" when `fn` ran through.
template <typename Fn>
std::string runGuardedReporting(const char* where, Fn&& fn) {
    try {
        fn();
        return std::string();
    } catch (const std::exception& e) {
        LmdLog::guardFailure(where, e.what());
        return e.what()[0] ? std::string(e.what()) : std::string("unknown error");
    } catch (...) {
        LmdLog::guardFailure(where, nullptr);
        return "unknown error";
    }
}

// The same for a callback with a result: its result, or `fallback` when it threw.
template <typename T, typename Fn>
T runGuarded(const char* where, T fallback, Fn&& fn) {
    try {
        return fn();
    } catch (const std::exception& e) {
        LmdLog::guardFailure(where, e.what());
    } catch (...) {
        LmdLog::guardFailure(where, nullptr);
    }
    return fallback;
}

} // namespace Lumenda3D
