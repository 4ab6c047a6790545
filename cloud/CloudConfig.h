#pragma once
// Everything a server process is told at start (see docs/cloud-server.md for the options).
#include <cstdint>
#include <string>

#include "PasswordHasher.h"

namespace Lumenda3D::Cloud {

struct CloudConfig {
    // "sqlite:<path>", a plain path of a SQLite file, or "postgresql://..." / "postgres://...".
    std::string database;
    std::string host = "127.0.0.1";
    int port = 0;                                     // 0: any free port
    std::string publicUrl;                            // base of links on pages; "" = from the Host header
    std::string mediaDir;                             // seeds templates and public assets when empty
    std::string portFile;                             // where the bound port is written
    std::size_t threads = 64;                         // concurrent connections served
    std::size_t databaseConnections = 16;
    int busyTimeoutMs = 5000;                         // SQLite: wait for the write lock this long
    std::int64_t maxDocumentBytes = 8 << 20;
    std::int64_t maxAssetBytes = 32 << 20;
    std::int64_t maxThumbnailBytes = 2 << 20;
    std::int64_t defaultQuotaBytes = std::int64_t(200) << 20;
    int keepRevisions = 50;
    int sessionDays = 30;
    int loginAttemptsPerUser = 5;                     // failures allowed in the window, per user name
    int loginAttemptsPerAddress = 100;                // ... and per client address (a school shares one)
    int loginWindowSeconds = 15 * 60;
    bool allowRegistration = true;
    bool trustProxy = false;                          // take the client address from X-Forwarded-For
    PasswordHasher::Cost passwordCost = PasswordHasher::interactiveCost();

    bool isPostgres() const;
    // The largest request body any call needs.
    std::size_t payloadLimit() const;
};

} // namespace Lumenda3D::Cloud
