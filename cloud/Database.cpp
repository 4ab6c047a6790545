#include "Database.h"

#include "Migrations.h"
#include "StorageError.h"

namespace Lumenda3D::Cloud {

std::string replaceAll(std::string text, const std::string& word, const std::string& by) {
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + by.size()))
        text.replace(at, word.size(), by);
    return text;
}

std::optional<SqlRow> Transaction::one(const std::string& sql, const SqlParams& params) {
    SqlRows rows = query(sql, params);
    if (rows.empty())
        return std::nullopt;
    return std::move(rows.front());
}

Database::Database(std::unique_ptr<SqlBackend> backend, std::size_t poolSize, std::chrono::milliseconds wait)
    : backend_(std::move(backend)), poolSize_(poolSize == 0 ? 1 : poolSize), wait_(wait) {}

Database::~Database() = default;

Database::Lease::Lease(Database& db) : db_(db), connection_(db.acquire(reused_)) {}

Database::Lease::~Lease() { db_.release(std::move(connection_)); }

std::unique_ptr<SqlConnection> Database::acquire(bool& reused) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!available_.wait_for(lock, wait_, [this] { return !idle_.empty() || open_ < poolSize_; }))
        throw StorageError(StorageError::Kind::Busy, "all database connections are in use");
    reused = !idle_.empty();
    if (!idle_.empty()) {
        auto c = std::move(idle_.back());
        idle_.pop_back();
        return c;
    }
    ++open_;
    lock.unlock();
    try {
        return backend_->connect();
    } catch (...) {
        lock.lock();
        --open_;
        available_.notify_one();
        throw;
    }
}

void Database::release(std::unique_ptr<SqlConnection> connection) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (connection && !connection->broken())
        idle_.push_back(std::move(connection));
    else
        --open_;
    available_.notify_one();
}

void Database::migrate() { Migrations::run(*this); }

} // namespace Lumenda3D::Cloud
