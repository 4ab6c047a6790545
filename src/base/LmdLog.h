#pragma once
// The editor's log. Every subsystem writes here; sinks (stderr, the engine's log file,
// the agent log ring) receive each line with its level.
#include <exception>
#include <functional>
#include <string>

namespace Lumenda3D {

enum class LogLevel { Trivial = 1, Normal = 2, Critical = 3 };

using LogSink = std::function<void(const std::string& message, LogLevel level)>;

class LmdLog {
public:
    static void message(const std::string& text, LogLevel level = LogLevel::Normal);
    static void critical(const std::string& text) { message(text, LogLevel::Critical); }

    // Adds a sink; returns a handle for removeSink. Sinks are called under a lock, in order.
    static int addSink(LogSink sink);
    static void removeSink(int handle);

    // Whether lines also go to stderr (on by default; tests that expect errors may turn it off).
    static void setEchoToStderr(bool echo);
};

// Runs `fn`, and logs "Error in <where>: <text>" or "Unknown error in <where>" for anything it
// throws instead of letting it through: the rule for every frame callback and setup step.
template <typename Fn>
void runGuarded(const char* where, Fn&& fn) {
    try {
        fn();
    } catch (const std::exception& e) {
        LmdLog::message(std::string("Error in ") + where + ": " + e.what());
    } catch (...) {
        LmdLog::message(std::string("Unknown error in ") + where);
    }
}

} // namespace Lumenda3D
