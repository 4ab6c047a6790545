#pragma once
// The server's list of runtime templates for one platform (GET /api/runtime-templates/<platform>),
// read as outside input: every field is checked, and anything that does not fit refuses the
// whole list rather than being half used.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Lumenda3D {

struct RuntimeTemplateEntry {
    std::string version;
    std::string sha256;
    std::int64_t size = 0;
};

struct RuntimeTemplateManifest {
    std::string platform;
    std::vector<RuntimeTemplateEntry> templates;   // newest first, as the server sends them

    // The manifest in `json`, which must name `platform`; nullopt with `error` otherwise.
    static std::optional<RuntimeTemplateManifest> parse(const std::string& json, const std::string& platform,
                                                        std::string& error);

    // Versions become folder names: 1 to 32 letters, digits, ".", "_" or "-", beginning with a
    // letter or digit.
    static bool isValidVersion(const std::string& version);

    // A template larger than this is refused before it is downloaded.
    static constexpr std::int64_t kMaxArchiveBytes = std::int64_t(1) << 30;
};

} // namespace Lumenda3D
