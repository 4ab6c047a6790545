#include "base/LmdLog.h"

#include <cstdio>
#include <map>
#include <mutex>

namespace Lumenda3D {
namespace {
struct LogState {
    std::mutex mutex;
    std::map<int, LogSink> sinks;
    int nextHandle = 1;
    bool echo = true;
};
LogState& state() {
    static LogState s;
    return s;
}
thread_local bool delivering = false;
} // namespace

bool LmdLog::isDeliveringOnThisThread() { return delivering; }

void LmdLog::message(const std::string& text, LogLevel level) {
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.echo) {
        const char* tag = level == LogLevel::Critical ? "CRITICAL: " : level == LogLevel::Warning ? "WARNING: " : "";
        std::fprintf(stderr, "%s%s\n", tag, text.c_str());
    }
    delivering = true;
    try {
        for (auto& entry : s.sinks)
            entry.second(text, level);
    } catch (...) {
        delivering = false;
        throw;
    }
    delivering = false;
}

int LmdLog::addSink(LogSink sink) {
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    int handle = s.nextHandle++;
    s.sinks.emplace(handle, std::move(sink));
    return handle;
}

void LmdLog::removeSink(int handle) {
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.sinks.erase(handle);
}

void LmdLog::guardFailure(const std::string& where, const char* text) {
    message(text ? "Error in " + where + ": " + text : "Unknown error in " + where);
}

void LmdLog::setEchoToStderr(bool echo) {
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.echo = echo;
}

} // namespace Lumenda3D
