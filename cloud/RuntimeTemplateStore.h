#pragma once
// The runtime templates that editors download to export games: per platform ("windows",
// "linux"), a ZIP archive of the player runtime with its version and SHA-256. An administrator
// adds them (lumenda3d-cloud admin add-runtime-template); editors list them and download the
// newest one.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Database.h"

namespace Lumenda3D::Cloud {

struct RuntimeTemplate {
    std::string platform;
    std::string version;
    std::string sha256;       // lowercase hex of the archive
    std::int64_t size = 0;    // bytes of the archive
    std::int64_t uploadedAt = 0;
};

class RuntimeTemplateStore {
public:
    explicit RuntimeTemplateStore(Database& db) : db_(db) {}

    // Adds the archive, or replaces the one of the same platform and version (it then counts as
    // the newest again).
    RuntimeTemplate put(const std::string& platform, const std::string& version, const std::string& archive,
                        std::int64_t now);
    bool remove(const std::string& platform, const std::string& version);
    // Newest upload first.
    std::vector<RuntimeTemplate> list(const std::string& platform);
    std::optional<std::string> archive(const std::string& platform, const std::string& version);

    static bool isValidPlatform(const std::string& platform);
    // 1 to 32 characters of letters, digits, ".", "_" and "-", beginning with a letter or digit.
    static bool isValidVersion(const std::string& version);
    static std::string sha256Hex(const std::string& bytes);

private:
    Database& db_;
};

} // namespace Lumenda3D::Cloud
