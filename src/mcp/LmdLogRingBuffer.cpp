#include "mcp/LmdLogRingBuffer.h"

#include <OgreLogManager.h>

namespace Lumenda3D {

LmdLogRingBuffer::~LmdLogRingBuffer() {
    // After the removals return no listener call is running (both logs call their listeners
    // under their locks), so nothing can reach this object any more.
    detach();
}

void LmdLogRingBuffer::messageLogged(const Ogre::String& message, Ogre::LogMessageLevel level, bool,
                                     const Ogre::String&, bool&) {
    if (LmdLog::isDeliveringOnThisThread())
        return;  // the editor's own line, copied into the engine's log: heard from the editor's log
    record(message, fromEngineLevel(level));
}

void LmdLogRingBuffer::record(const std::string& message, Level level) {
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

void LmdLogRingBuffer::attach() {
    std::lock_guard<std::mutex> lock(attachMutex_);
    detachLocked();
    if (Ogre::LogManager* manager = Ogre::LogManager::getSingletonPtr()) {
        if (Ogre::Log* log = manager->getDefaultLog()) {
            log->addListener(this);
            engineLog_ = log;
        }
    }
    // The first registration takes the process's start-up lines ("no audio device" comes before
    // the agent server starts); a later one has them already.
    sinkHandle_ = LmdLog::addSink([this](const std::string& message, LogLevel level) { record(message, fromLogLevel(level)); },
                                  lastId() == 0);
}

void LmdLogRingBuffer::detach() {
    std::lock_guard<std::mutex> lock(attachMutex_);
    detachLocked();
}

void LmdLogRingBuffer::detachLocked() {
    if (sinkHandle_ != 0) {
        LmdLog::removeSink(sinkHandle_);
        sinkHandle_ = 0;
    }
    if (engineLog_) {
        // Only while that log still exists: the engine may have closed its log manager already.
        Ogre::LogManager* manager = Ogre::LogManager::getSingletonPtr();
        if (manager && manager->getDefaultLog() == engineLog_)
            engineLog_->removeListener(this);
        engineLog_ = nullptr;
    }
}

bool LmdLogRingBuffer::isAttached() const {
    std::lock_guard<std::mutex> lock(attachMutex_);
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
    case LogLevel::Warning: return Level::Warning;
    case LogLevel::Critical: return Level::Critical;
    }
    return Level::Normal;
}

LmdLogRingBuffer::Level LmdLogRingBuffer::fromEngineLevel(Ogre::LogMessageLevel level) {
    switch (level) {
    case Ogre::LML_TRIVIAL: return Level::Trivial;
    case Ogre::LML_NORMAL: return Level::Normal;
    case Ogre::LML_WARNING: return Level::Warning;
    case Ogre::LML_CRITICAL: return Level::Critical;
    }
    return Level::Normal;
}

} // namespace Lumenda3D
