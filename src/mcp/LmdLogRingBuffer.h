#pragma once
// The most recent log lines, kept in memory for agents. Each line gets an id that only grows,
// so an agent can poll incrementally ("everything after the last id I saw"). Once attached it
// hears everything logged in the process: the engine's default log (OGRE's own messages, such as
// a missing texture or a shader fallback at the warning level) and the editor's log. It may be
// fed from any thread; readers get copies.
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include <OgreLog.h>

#include "base/LmdLog.h"

namespace Lumenda3D {

class LmdLogRingBuffer : public Ogre::LogListener {
public:
    // Severity of a line; values are compared numerically, and are the engine's own numbers.
    enum class Level : int { Trivial = 1, Normal = 2, Warning = 3, Critical = 4 };

    struct Line {
        std::uint64_t id = 0;      // 1 for the first line ever logged; never reused
        Level level = Level::Normal;
        std::string text;          // as logged, unchanged
    };

    static constexpr std::size_t kCapacity = 2000;

    LmdLogRingBuffer() = default;
    ~LmdLogRingBuffer() override;
    LmdLogRingBuffer(const LmdLogRingBuffer&) = delete;
    LmdLogRingBuffer& operator=(const LmdLogRingBuffer&) = delete;

    // The engine log's callback: records the message with its level, whatever the debug mask
    // says. Lines of the editor's log that a sink copies into the engine's log are skipped here:
    // they arrive from the editor's log itself.
    void messageLogged(const Ogre::String& message, Ogre::LogMessageLevel level, bool maskDebug,
                       const Ogre::String& logName, bool& skipThisMessage) override;

    // Records one line, dropping the oldest beyond kCapacity. Any thread. Must not log itself:
    // it runs inside the logs' locks.
    void record(const std::string& message, Level level);

    // A copy of the lines with an id above sinceId and a level of at least minLevel, oldest
    // first; with maxLines above 0 only the newest maxLines of them.
    std::vector<Line> snapshot(std::uint64_t sinceId, std::uint64_t maxLines, Level minLevel) const;

    // Id of the newest line ever logged; 0 before the first.
    std::uint64_t lastId() const;

    // Registers on the engine's default log (when the process has one) and on the editor's log;
    // the first time, it first records the editor log's start-up lines (LmdLog::kStartLines).
    // Removes an earlier registration first, so calling it twice never records a line twice.
    // detach() removes both; lines and ids are kept.
    void attach();
    void detach();
    bool isAttached() const;

    // Text form used by get_logs in both directions: "trivial", "normal", "warning", "critical".
    static const char* levelName(Level level);
    // False (and `out` untouched) for any other word.
    static bool levelFromName(const std::string& name, Level& out);
    static Level fromLogLevel(LogLevel level);
    static Level fromEngineLevel(Ogre::LogMessageLevel level);

private:
    void detachLocked();

    mutable std::mutex mutex_;   // guards lines_ and nextId_
    std::deque<Line> lines_;
    std::uint64_t nextId_ = 1;

    // Guards the registrations. Taken before the logs' own locks (never inside a listener call),
    // and never together with mutex_.
    mutable std::mutex attachMutex_;
    int sinkHandle_ = 0;              // 0 while not on the editor's log
    Ogre::Log* engineLog_ = nullptr;  // the engine's default log while registered on it
};

} // namespace Lumenda3D
