#include "AccountStore.h"

#include <algorithm>
#include <cctype>

namespace Lumenda3D::Cloud {
namespace {
const char* kUserColumns = "u.id, u.username, u.password_hash, u.quota_bytes, u.storage_used, u.created_at";
}

std::string AccountStore::keyOf(const std::string& username) {
    std::string key = username;
    std::transform(key.begin(), key.end(), key.begin(), [](unsigned char c) { return std::tolower(c); });
    return key;
}

User AccountStore::userFrom(const SqlRow& row) {
    User u;
    u.id = row.integer(0);
    u.username = row.text(1);
    u.passwordHash = row.text(2);
    if (!row.isNull(3))
        u.quotaBytes = row.integer(3);
    u.storageUsed = row.integer(4);
    u.createdAt = row.integer(5);
    return u;
}

std::optional<std::int64_t> AccountStore::createUser(const std::string& username, const std::string& passwordHash,
                                                     std::int64_t now) {
    return db_.write([&](Transaction& tx) -> std::optional<std::int64_t> {
        auto row = tx.one("INSERT INTO users (username, username_key, password_hash, created_at) VALUES (?, ?, ?, ?) "
                          "ON CONFLICT (username_key) DO NOTHING RETURNING id",
                          {username, keyOf(username), passwordHash, now});
        if (!row)
            return std::nullopt;
        return row->integer(0);
    });
}

std::optional<User> AccountStore::findByName(const std::string& username) {
    return db_.read([&](Transaction& tx) -> std::optional<User> {
        auto row = tx.one(std::string("SELECT ") + kUserColumns + " FROM users u WHERE u.username_key = ?",
                          {keyOf(username)});
        if (!row)
            return std::nullopt;
        return userFrom(*row);
    });
}

bool AccountStore::setPasswordHash(std::int64_t userId, const std::string& passwordHash, bool endSessions,
                                   const std::string& keepTokenHash) {
    return db_.write([&](Transaction& tx) {
        auto row = tx.one("UPDATE users SET password_hash = ? WHERE id = ? RETURNING id", {passwordHash, userId});
        if (!row)
            return false;
        if (endSessions)
            tx.query("DELETE FROM sessions WHERE user_id = ? AND token_hash <> ?", {userId, keepTokenHash});
        return true;
    });
}

bool AccountStore::setQuota(const std::string& username, std::optional<std::int64_t> quotaBytes) {
    return db_.write([&](Transaction& tx) {
        const SqlValue quota = quotaBytes ? SqlValue(*quotaBytes) : SqlValue(std::monostate{});
        return tx.one("UPDATE users SET quota_bytes = ? WHERE username_key = ? RETURNING id", {quota, keyOf(username)})
            .has_value();
    });
}

void AccountStore::createSession(const std::string& tokenHash, std::int64_t userId, std::int64_t now,
                                 std::int64_t expiresAt) {
    db_.write([&](Transaction& tx) {
        tx.query("DELETE FROM sessions WHERE user_id = ? AND expires_at <= ?", {userId, now});
        tx.query("INSERT INTO sessions (token_hash, user_id, created_at, expires_at) VALUES (?, ?, ?, ?)",
                 {tokenHash, userId, now, expiresAt});
    });
}

std::optional<User> AccountStore::userForSession(const std::string& tokenHash, std::int64_t now) {
    return db_.read([&](Transaction& tx) -> std::optional<User> {
        auto row = tx.one(std::string("SELECT ") + kUserColumns +
                              " FROM sessions s JOIN users u ON u.id = s.user_id WHERE s.token_hash = ? AND "
                              "s.expires_at > ?",
                          {tokenHash, now});
        if (!row)
            return std::nullopt;
        return userFrom(*row);
    });
}

void AccountStore::endSession(const std::string& tokenHash) {
    db_.write([&](Transaction& tx) { tx.query("DELETE FROM sessions WHERE token_hash = ?", {tokenHash}); });
}

std::int64_t AccountStore::failuresSince(const std::string& subject, std::int64_t since) {
    return db_.read([&](Transaction& tx) {
        auto row = tx.one("SELECT COUNT(*) FROM login_failures WHERE subject = ? AND failed_at >= ?", {subject, since});
        return row ? row->integer(0) : 0;
    });
}

std::int64_t AccountStore::oldestFailureSince(const std::string& subject, std::int64_t since) {
    return db_.read([&](Transaction& tx) {
        auto row = tx.one("SELECT MIN(failed_at) FROM login_failures WHERE subject = ? AND failed_at >= ?",
                          {subject, since});
        return row ? row->integer(0) : 0;
    });
}

void AccountStore::recordFailure(const std::string& subject, std::int64_t now, std::int64_t forgetBefore) {
    db_.write([&](Transaction& tx) {
        tx.query("DELETE FROM login_failures WHERE subject = ? AND failed_at < ?", {subject, forgetBefore});
        tx.query("INSERT INTO login_failures (subject, failed_at) VALUES (?, ?)", {subject, now});
    });
}

void AccountStore::clearFailures(const std::string& subject) {
    db_.write([&](Transaction& tx) { tx.query("DELETE FROM login_failures WHERE subject = ?", {subject}); });
}

} // namespace Lumenda3D::Cloud
