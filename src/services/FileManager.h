#pragma once
// File reading and writing for the whole editor. Every file the editor writes goes through
// writeFileAtomic: the bytes go to a temporary file beside the target, are flushed to disk,
// and the temporary file is renamed over the target, so a crash or a full disk never leaves
// a half-written file where a good one was.
#include <string>

namespace Lumenda3D {

class FileManager {
public:
    // Writes `data` to `path` atomically, creating parent folders. On failure the old file (if
    // any) is untouched, no temporary file is left, and errorText says why in plain words.
    // `ownerOnly` makes the file readable by its owner alone (settings, tokens).
    static bool writeFileAtomic(const std::string& path, const std::string& data, std::string* errorText = nullptr,
                                bool ownerOnly = false);

    // The two halves of writeFileAtomic, for writers that must decide at the last moment whether
    // the new file may replace the old one: writeTempFile leaves the bytes, flushed, in a new
    // temporary file beside `path`; commitTempFile renames it into place (or removes it on failure).
    static bool writeTempFile(const std::string& path, const std::string& data, std::string& tempPath,
                              std::string* errorText = nullptr, bool ownerOnly = false);
    static bool commitTempFile(const std::string& tempPath, const std::string& path, std::string* errorText = nullptr);

    // Reads the whole file; false (and errorText set) when it does not exist or cannot be read.
    static bool readFile(const std::string& path, std::string& data, std::string* errorText = nullptr);

    static bool fileExists(const std::string& path);
    // Removes the file; true when it is gone afterwards (also when it never existed).
    static bool removeFile(const std::string& path);
};

} // namespace Lumenda3D
