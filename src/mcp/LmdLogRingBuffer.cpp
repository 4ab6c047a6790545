#include "mcp/LmdLogRingBuffer.h"

namespace Lumenda3D {

LmdLogRingBuffer::~LmdLogRingBuffer() {
    // After removeSink returns no sink call is running (the log calls sinks under its lock),
    // so nothing can reach this object any more.
    detachFromEditorLog();
}

void LmdLogRingBuffer::messageLogged(const std::string& message, Level level) {
    std::lock_guard<std::mutex> lock(mutex_);
    Line line;
    line.id = nextId_++;
    line.level = level;
    line.text = message;
    lines_.push_back(std::move(line));
    if (lines_.size() > kCapacity)
        lines_.pop_front();
}

std::vector<LmdLogRingBuffer::Line> LmdLogRingBuffer::snapshot(std::uint64_t sinceId, std::uint64_t maxLines,
                                                              Level minLevel) const {
    std::vector<Line> result;
    std::lock_guard<std::mutex> lock(mutex_);
    for (const Line& line : lines_) {
        if (line.id > sinceId && static_cast<int>(line.level) >= static_cast<int>(minLevel))
            result.push_back(line);
    }
    if (maxLines != 0 && result.size() > maxLines)
        result.erase(result.begin(), result.end() - static_cast<std::ptrdiff_t>(maxLines));
    return result;
}

std::uint64_t LmdLogRingBuffer::lastId() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return nextId_ - 1;
}

void LmdLogRingBuffer::attachToEditorLog() {
    std::lock_guard<std::mutex> lock(sinkMutex_);
    if (sinkHandle_ != 0)
        LmdLog::removeSink(sinkHandle_);
    sinkHandle_ = LmdLog::addSink(
        [this](const std::string& message, LogLevel level) { messageLogged(message, fromLogLevel(level)); });
}

void LmdLogRingBuffer::detachFromEditorLog() {
    std::lock_guard<std::mutex> lock(sinkMutex_);
    if (sinkHandle_ == 0)
        return;
    LmdLog::removeSink(sinkHandle_);
    sinkHandle_ = 0;
}

bool LmdLogRingBuffer::isAttached() const {
    std::lock_guard<std::mutex> lock(sinkMutex_);
    return sinkHandle_ != 0;
}

const char* LmdLogRingBuffer::levelName(Level level) {
    switch (level) {
    case Level::Trivial: return "trivial";
    case Level::Normal: return "normal";
    case Level::Warning: return "warning";
    case Level::Critical: return "critical";
    }
    return "normal";
}

bool LmdLogRingBuffer::levelFromName(const std::string& name, Level& out) {
    if (name == "trivial") out = Level::Trivial;
    else if (name == "normal") out = Level::Normal;
    else if (name == "warning") out = Level::Warning;
    else if (name == "critical") out = Level::Critical;
    else return false;
    return true;
}

LmdLogRingBuffer::Level LmdLogRingBuffer::fromLogLevel(LogLevel level) {
    switch (level) {
    case LogLevel::Trivial: return Level::Trivial;
    case LogLevel::Normal: return Level::Normal;
    case LogLevel::Critical: return Level::Critical;
    }
    return Level::Normal;
}

} // namespace Lumenda3D
