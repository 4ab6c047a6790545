#pragma once
// Unpacks a runtime template (a ZIP archive from the server: outside input) into a new folder.
// An entry whose path is absolute, climbs out with "..", holds a backslash, a drive letter or a
// NUL, or is a link refuses the whole archive; so do more than kMaxEntries entries or more than
// kMaxTotalBytes unpacked. Files marked executable in the archive stay executable.
#include <cstdint>
#include <string>

namespace Lumenda3D {

class TemplateArchive {
public:
    static constexpr std::int64_t kMaxEntries = 100000;
    static constexpr std::int64_t kMaxTotalBytes = std::int64_t(4) << 30;

    // Unpacks into `destDir`, which must not exist yet; on failure nothing is left there.
    static bool unpackFile(const std::string& zipPath, const std::string& destDir, std::string& error);
    static bool unpackBytes(const std::string& bytes, const std::string& destDir, std::string& error);

    // True for a relative path of plain parts ("a/b.txt", "dir/").
    static bool isSafeEntryName(const std::string& name);
};

} // namespace Lumenda3D
