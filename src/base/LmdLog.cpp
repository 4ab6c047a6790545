#include "base/LmdLog.h"

#include <cstdio>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace Lumenda3D {
namespace {
struct LogState {
    std::mutex mutex;
    std::map<int, LogSink> sinks;
    int nextHandle = 1;
    bool echo = true;
    std::vector<std::pair<std::string, LogLevel>> startLines;
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
    if (level >= LogLevel::Normal && s.startLines.size() < kStartLines)
        s.startLines.emplace_back(text, level);
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

int LmdLog::addSink(LogSink sink, bool replayStartLines) {
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (replayStartLines) {
        delivering = true;
        try {
            for (const auto& [text, level] : s.startLines)
                sink(text, level);
        } catch (...) {
            delivering = false;
            throw;
        }
        delivering = false;
    }
    int handle = s.nextHandle++;
    s.sinks.emplace(handle, std::move(sink));
    return handle;
}

std::size_t LmdLog::startLineCount() {
    LogState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.startLines.size();
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
