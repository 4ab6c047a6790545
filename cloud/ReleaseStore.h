#pragma once
// Releases of the editor that the update feeds announce, one list per platform.
#include <cstdint>
#include <string>
#include <vector>

#include "Database.h"

namespace Lumenda3D::Cloud {

struct Release {
    std::string platform;       // "win", "linux", "mac"
    std::string version;        // "2.2.0"
    std::string shortVersion;   // what the user sees; may be empty
    std::string url;            // the download
    std::int64_t length = 0;    // its size in bytes
    std::string notesUrl;
    std::int64_t publishedAt = 0;
};

class ReleaseStore {
public:
    explicit ReleaseStore(Database& db) : db_(db) {}
    // Adds the release or replaces the one with the same platform and version.
    void put(const Release& release);
    // Newest registration first.
    std::vector<Release> list(const std::string& platform);

private:
    Database& db_;
};

} // namespace Lumenda3D::Cloud
