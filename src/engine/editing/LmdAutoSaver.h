#pragma once
// Crash backups of the open game. The main thread says when the document changed; a few
// seconds after the last change it hands the document text to a background thread, which
// writes it atomically under the state folder. A process killed at any moment leaves the last
// complete backup readable. A backup the user dismissed stays restorable until it is cleared.
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace Lumenda3D {

struct AutoSaveSnapshot {
    std::string xml;          // the document text; empty counts as no backup
    std::string projectName;  // may be empty
    int64_t timestamp = 0;    // seconds since the Unix epoch
    // Written when the editor was closed normally with work that was not saved; a backup without
    // it was left by a session that ended otherwise (a crash, a kill, a power cut).
    bool closedNormally = false;
};

class LmdAutoSaver {
public:
    using Clock = std::chrono::steady_clock;

    LmdAutoSaver();
    ~LmdAutoSaver();  // writes a backup that is already queued, then stops the thread
    LmdAutoSaver(const LmdAutoSaver&) = delete;
    LmdAutoSaver& operator=(const LmdAutoSaver&) = delete;

    void setEnabled(bool enabled);
    bool isEnabled() const { return enabled_; }
    void setProjectName(const std::string& name) { projectName_ = name; }

    // Quiet time after the last change before a backup is taken, and the longest time a run of
    // changes may go without one.
    void setDelays(Clock::duration quiet, Clock::duration longest);

    // Main thread: the document changed.
    void noteChange(Clock::time_point now = Clock::now());
    // Main thread, once a frame: takes the text from `produceXml` when a backup is due.
    void update(const std::function<std::string()>& produceXml, Clock::time_point now = Clock::now());
    // Main thread: takes the text now if anything changed, and waits until it is on disk.
    void flush(const std::function<std::string()>& produceXml);

    // Main thread, when the editor closes normally. With unsaved work, the newest text is written
    // now, marked as closed normally, and stays for the next start. Without, this session's own
    // backup is removed: it holds nothing that is not saved. A backup of an earlier session is
    // left alone either way.
    void endSession(bool unsavedWork, const std::function<std::string()>& produceXml);

    bool backupExists() const;
    std::optional<AutoSaveSnapshot> loadBackup() const;
    void dismissBackup();
    bool dismissedBackupExists() const;
    std::optional<AutoSaveSnapshot> loadDismissedBackup() const;
    // Removes both backups; a write in flight is dropped rather than landing afterwards.
    void clearBackups();
    // Moves a backup that cannot be read (the pending one, or the dismissed one) out of the way,
    // to "damaged-<time>.lmdbackup" in the backup folder, so that it is neither offered again nor
    // lost. Returns where it went; "" when it could not be moved (then it stays where it was).
    std::string setAsideDamagedBackup(bool dismissed);

    static std::string backupFolder();
    static std::string pendingPath();
    static std::string dismissedPath();

    // The on-disk form: a header line, a JSON line with the name, time and text size, the text.
    static std::string encode(const AutoSaveSnapshot& snapshot);
    static std::optional<AutoSaveSnapshot> decode(const std::string& data);

private:
    struct Job {
        AutoSaveSnapshot snapshot;
        uint64_t generation = 0;
    };
    // The document as it is now, with this project's name and the time.
    AutoSaveSnapshot snapshotNow(const std::function<std::string()>& produceXml) const;
    void queue(AutoSaveSnapshot snapshot);
    void run();
    void ensureThread();
    void waitUntilIdle();
    void write(const Job& job);

    bool enabled_ = false;
    bool dirty_ = false;
    Clock::time_point lastChange_{}, firstChange_{};
    Clock::duration quiet_ = std::chrono::seconds(3);
    Clock::duration longest_ = std::chrono::seconds(30);
    std::string projectName_;

    // Shared with the writer thread.
    mutable std::mutex mutex_;
    std::condition_variable wake_, idle_;
    std::optional<Job> job_;
    bool writing_ = false;
    bool stopping_ = false;
    uint64_t generation_ = 0;
    // Whether the pending backup on disk is this session's own. One left by an earlier run
    // (a crash) is kept as the dismissed backup instead of being overwritten.
    bool pendingIsOurs_ = false;
    // What this session last wrote as the pending backup, to know it again at the end.
    bool ownBackupWritten_ = false;
    std::size_t ownBackupHash_ = 0;
    std::string lastError_;
    std::thread thread_;
};

} // namespace Lumenda3D
