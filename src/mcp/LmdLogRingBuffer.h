#pragma once
// The most recent log lines, kept in memory for agents. Each line gets an id that only grows,
// so an agent can poll incrementally ("everything after the last id I saw"). It listens to the
// editor's log once attached, and may be fed from any thread; readers get copies.
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "base/LmdLog.h"

namespace Lumenda3D {

class LmdLogRingBuffer {
public:
    // Severity of a line; values are compared numerically.
    enum class Level : int { Trivial = 1, Normal = 2, Warning = 3, Critical = 4 };

    struct Line {
        std::uint64_t id = 0;      // 1 for the first line ever logged; never reused
        Level level = Level::Normal;
        std::string text;          // as logged, unchanged
    };

    static constexpr std::size_t kCapacity = 2000;

    LmdLogRingBuffer() = default;
    ~LmdLogRingBuffer();
    LmdLogRingBuffer(const LmdLogRingBuffer&) = delete;
    LmdLogRingBuffer& operator=(const LmdLogRingBuffer&) = delete;

    // Records one line, dropping the oldest beyond kCapacity. Any thread. Must not log itself:
    // it runs inside the editor log's lock.
    void messageLogged(const std::string& message, Level level);

    // A copy of the lines with an id above sinceId and a level of at least minLevel, oldest
    // first; with maxLines above 0 only the newest maxLines of them.
    std::vector<Line> snapshot(std::uint64_t sinceId, std::uint64_t maxLines, Level minLevel) const;

    // Id of the newest line ever logged; 0 before the first.
    std::uint64_t lastId() const;

    // Registers on the editor's log (LmdLog). Removes an earlier registration first, so calling
    // it twice never records a line twice. detach() removes it; lines and ids are kept.
    void attachToEditorLog();
    void detachFromEditorLog();
    bool isAttached() const;

    // Text form used by get_logs in both directions: "trivial", "normal", "warning", "critical".
    static const char* levelName(Level level);
    // False (and `out` untouched) for any other word.
    static bool levelFromName(const std::string& name, Level& out);
    static Level fromLogLevel(LogLevel level);

private:
    mutable std::mutex mutex_;   // guards lines_ and nextId_
    std::deque<Line> lines_;
    std::uint64_t nextId_ = 1;

    // Guards sinkHandle_. Taken before the editor log's own lock (never inside a sink call),
    // and never together with mutex_.
    mutable std::mutex sinkMutex_;
    int sinkHandle_ = 0;         // 0 while not attached
};

} // namespace Lumenda3D
