#pragma once
// Accounts, sessions and the record of failed logins, in the database.
#include <cstdint>
#include <optional>
#include <string>

#include "Database.h"

namespace Lumenda3D::Cloud {

struct User {
    std::int64_t id = 0;
    std::string username;
    std::string passwordHash;
    std::optional<std::int64_t> quotaBytes;   // none: the server's default; -1: unlimited
    std::int64_t storageUsed = 0;
    std::int64_t createdAt = 0;
};

class AccountStore {
public:
    explicit AccountStore(Database& db) : db_(db) {}

    // The new user's id; none when the name is taken (in any case: "Ann" and "ann" are one).
    std::optional<std::int64_t> createUser(const std::string& username, const std::string& passwordHash,
                                           std::int64_t now);
    std::optional<User> findByName(const std::string& username);
    // Sets a new hash; with `endSessions` every session of the user except `keepTokenHash` ends.
    bool setPasswordHash(std::int64_t userId, const std::string& passwordHash, bool endSessions,
                         const std::string& keepTokenHash = "");
    // none: back to the server's default; -1: unlimited.
    bool setQuota(const std::string& username, std::optional<std::int64_t> quotaBytes);

    void createSession(const std::string& tokenHash, std::int64_t userId, std::int64_t now, std::int64_t expiresAt);
    // The user of a session that has not expired.
    std::optional<User> userForSession(const std::string& tokenHash, std::int64_t now);
    void endSession(const std::string& tokenHash);

    // Failed logins of a subject ("user:<name>" or "ip:<address>") since a time.
    std::int64_t failuresSince(const std::string& subject, std::int64_t since);
    // The oldest failure of the subject since a time (0 when none): tells when a lock ends.
    std::int64_t oldestFailureSince(const std::string& subject, std::int64_t since);
    // Records a failure and forgets failures older than `forgetBefore`.
    void recordFailure(const std::string& subject, std::int64_t now, std::int64_t forgetBefore);
    void clearFailures(const std::string& subject);

    static std::string keyOf(const std::string& username);

private:
    static User userFrom(const SqlRow& row);
    Database& db_;
};

} // namespace Lumenda3D::Cloud
