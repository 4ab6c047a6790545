#include "engine/editing/LmdAutoSaver.h"

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "services/FileManager.h"

#include <ctime>
#include <filesystem>

#include <nlohmann/json.hpp>

namespace Lumenda3D {

namespace {
constexpr const char* kHeader = "Lumenda3D auto-save backup 1\n";
}

LmdAutoSaver::LmdAutoSaver() = default;

LmdAutoSaver::~LmdAutoSaver() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

void LmdAutoSaver::setEnabled(bool enabled) {
    enabled_ = enabled;
    if (!enabled)
        dirty_ = false;
}

void LmdAutoSaver::setDelays(Clock::duration quiet, Clock::duration longest) {
    quiet_ = quiet;
    longest_ = longest;
}

void LmdAutoSaver::noteChange(Clock::time_point now) {
    if (!enabled_)
        return;
    if (!dirty_)
        firstChange_ = now;
    dirty_ = true;
    lastChange_ = now;
}

AutoSaveSnapshot LmdAutoSaver::snapshotNow(const std::function<std::string()>& produceXml) const {
    AutoSaveSnapshot snapshot;
    snapshot.xml = produceXml();
    snapshot.projectName = projectName_;
    snapshot.timestamp = static_cast<int64_t>(std::time(nullptr));
    return snapshot;
}

void LmdAutoSaver::update(const std::function<std::string()>& produceXml, Clock::time_point now) {
    if (!enabled_ || !dirty_)
        return;
    if (now - lastChange_ < quiet_ && now - firstChange_ < longest_)
        return;
    dirty_ = false;
    AutoSaveSnapshot snapshot = snapshotNow(produceXml);
    if (!snapshot.xml.empty())
        queue(std::move(snapshot));
}

void LmdAutoSaver::flush(const std::function<std::string()>& produceXml) {
    if (enabled_ && dirty_)
        update(produceXml, lastChange_ + quiet_ + longest_);
    waitUntilIdle();
}

void LmdAutoSaver::waitUntilIdle() {
    std::unique_lock<std::mutex> lock(mutex_);
    idle_.wait(lock, [this] { return !job_ && !writing_; });
}

void LmdAutoSaver::endSession(bool unsavedWork, const std::function<std::string()>& produceXml) {
    waitUntilIdle();
    bool ownBackup = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // Ours only if it is still what this session wrote last: a backup that another session
        // put there in the meantime is not this session's to remove.
        std::string data;
        ownBackup = ownBackupWritten_ && FileManager::readFile(pendingPath(), data) &&
                    std::hash<std::string>()(data) == ownBackupHash_;
        if (!unsavedWork) {
            if (ownBackup) {
                ++generation_;
                FileManager::removeFile(pendingPath());
                ownBackupWritten_ = false;
            }
            dirty_ = false;
            return;
        }
    }
    if (!enabled_ || (!dirty_ && !ownBackup))
        return;
    dirty_ = false;
    AutoSaveSnapshot snapshot = snapshotNow(produceXml);
    snapshot.closedNormally = true;
    if (snapshot.xml.empty())
        return;
    queue(std::move(snapshot));
    waitUntilIdle();
}

void LmdAutoSaver::queue(AutoSaveSnapshot snapshot) {
    ensureThread();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // Only the newest text matters: a backup not yet written is replaced.
        job_ = Job{std::move(snapshot), generation_};
    }
    wake_.notify_one();
}

void LmdAutoSaver::ensureThread() {
    if (!thread_.joinable())
        thread_ = std::thread([this] { run(); });
}

void LmdAutoSaver::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || job_; });
        if (!job_) {
            if (stopping_)
                return;
            continue;
        }
        Job job = std::move(*job_);
        job_.reset();
        writing_ = true;
        lock.unlock();
        write(job);
        lock.lock();
        writing_ = false;
        idle_.notify_all();
    }
}

void LmdAutoSaver::write(const Job& job) {
    const std::string data = encode(job.snapshot);
    std::string error;
    std::string temp;
    if (!FileManager::writeTempFile(pendingPath(), data, temp, &error)) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (error != lastError_)
            LmdLog::message("Auto-save could not write the backup: " + error, LogLevel::Critical);
        lastError_ = error;
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (job.generation != generation_) {
        // The backups were cleared (a save happened) while this one was being written.
        FileManager::removeFile(temp);
        return;
    }
    if (!pendingIsOurs_ && FileManager::fileExists(pendingPath())) {
        std::error_code ec;
        std::filesystem::rename(pendingPath(), dismissedPath(), ec);
        if (!ec)
            LmdLog::message("Auto-save kept the backup of an earlier session as the dismissed backup.");
    }
    if (!FileManager::commitTempFile(temp, pendingPath(), &error)) {
        if (error != lastError_)
            LmdLog::message("Auto-save could not write the backup: " + error, LogLevel::Critical);
        lastError_ = error;
        return;
    }
    pendingIsOurs_ = true;
    ownBackupWritten_ = true;
    ownBackupHash_ = std::hash<std::string>()(data);
    if (!lastError_.empty())
        LmdLog::message("Auto-save writes backups again.");
    lastError_.clear();
}

std::string LmdAutoSaver::backupFolder() { return (std::filesystem::path(LmdPaths::stateDir()) / "autosave").string(); }
std::string LmdAutoSaver::pendingPath() { return (std::filesystem::path(backupFolder()) / "pending.lmdbackup").string(); }
std::string LmdAutoSaver::dismissedPath() {
    return (std::filesystem::path(backupFolder()) / "dismissed.lmdbackup").string();
}

std::string LmdAutoSaver::encode(const AutoSaveSnapshot& snapshot) {
    nlohmann::json meta = {{"projectName", snapshot.projectName},
                           {"timestamp", snapshot.timestamp},
                           {"xmlBytes", snapshot.xml.size()}};
    if (snapshot.closedNormally)
        meta["closedNormally"] = true;
    std::string out = kHeader;
    out += meta.dump();
    out += '\n';
    out += snapshot.xml;
    return out;
}

std::optional<AutoSaveSnapshot> LmdAutoSaver::decode(const std::string& data) {
    const std::string header = kHeader;
    if (data.compare(0, header.size(), header) != 0)
        return std::nullopt;
    size_t metaEnd = data.find('\n', header.size());
    if (metaEnd == std::string::npos)
        return std::nullopt;
    nlohmann::json meta = nlohmann::json::parse(data.begin() + static_cast<long>(header.size()),
                                                data.begin() + static_cast<long>(metaEnd), nullptr, false);
    if (!meta.is_object())
        return std::nullopt;
    AutoSaveSnapshot snapshot;
    try {
        snapshot.projectName = meta.value("projectName", std::string());
        snapshot.timestamp = meta.value("timestamp", int64_t{0});
        snapshot.closedNormally = meta.value("closedNormally", false);
        const size_t bytes = meta.value("xmlBytes", size_t{0});
        if (data.size() - metaEnd - 1 != bytes)
            return std::nullopt;
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
    snapshot.xml = data.substr(metaEnd + 1);
    return snapshot;
}

bool LmdAutoSaver::backupExists() const { return FileManager::fileExists(pendingPath()); }

namespace {
std::optional<AutoSaveSnapshot> loadFrom(const std::string& path) {
    std::string data;
    if (!FileManager::readFile(path, data))
        return std::nullopt;
    auto snapshot = LmdAutoSaver::decode(data);
    if (!snapshot)
        LmdLog::message("Auto-save backup '" + path + "' is damaged and was ignored.");
    return snapshot;
}
} // namespace

std::optional<AutoSaveSnapshot> LmdAutoSaver::loadBackup() const { return loadFrom(pendingPath()); }

void LmdAutoSaver::dismissBackup() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!FileManager::fileExists(pendingPath()))
        return;
    std::error_code ec;
    std::filesystem::rename(pendingPath(), dismissedPath(), ec);
    if (ec)
        LmdLog::message("Could not keep the dismissed auto-save backup: " + ec.message(), LogLevel::Critical);
}

bool LmdAutoSaver::dismissedBackupExists() const { return FileManager::fileExists(dismissedPath()); }

std::optional<AutoSaveSnapshot> LmdAutoSaver::loadDismissedBackup() const { return loadFrom(dismissedPath()); }

std::string LmdAutoSaver::setAsideDamagedBackup(bool dismissed) {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::filesystem::path from = dismissed ? dismissedPath() : pendingPath();
    std::error_code ec;
    if (!std::filesystem::exists(from, ec))
        return std::string();
    // A new name each time: an earlier damaged backup is kept too.
    const std::string stamp = std::to_string(static_cast<long long>(std::time(nullptr)));
    std::filesystem::path to = std::filesystem::path(backupFolder()) / ("damaged-" + stamp + ".lmdbackup");
    for (int n = 2; std::filesystem::exists(to, ec); ++n)
        to = std::filesystem::path(backupFolder()) / ("damaged-" + stamp + "-" + std::to_string(n) + ".lmdbackup");
    std::filesystem::rename(from, to, ec);
    if (ec) {
        LmdLog::message("Could not move the damaged auto-save backup aside: " + ec.message(), LogLevel::Critical);
        return std::string();
    }
    LmdLog::message("The damaged auto-save backup was kept as " + to.string());
    return to.string();
}

void LmdAutoSaver::clearBackups() {
    dirty_ = false;
    std::lock_guard<std::mutex> lock(mutex_);
    ++generation_;
    job_.reset();
    pendingIsOurs_ = true;
    ownBackupWritten_ = false;
    FileManager::removeFile(pendingPath());
    FileManager::removeFile(dismissedPath());
}

} // namespace Lumenda3D
