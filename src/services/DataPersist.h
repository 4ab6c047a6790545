#pragma once
// Small named text entries that outlive the process (editor settings, the login token, ...).
//
// Each entry is one file under LmdPaths::configDir(). A key is a '/'-separated path such as
// "lmdEditor/settings": every part but the last becomes a folder, the last part becomes a file
// with the suffix ".txt". Inside each part, any byte other than A-Z, a-z, 0-9, '_' and '-' is
// written as %XX (upper-case hex), so no part can contain a dot and two different keys never
// share a file. Keys that are empty, absolute, end in '/', contain an empty, "." or ".." part or
// a NUL byte are refused. Files are written atomically through FileManager.
//
// The data root is read at every call, so a change of $LUMENDA3D_HOME takes effect at once.
#include <string>
#include <vector>

namespace Lumenda3D {

class DataPersist {
public:
    // Fills `text` with the stored entry; false when there is none (or the key is refused).
    // An empty stored entry is still an entry: true with an empty text.
    static bool LoadPersistText(const std::string& key, std::string& text);

    // Stores `text` under `key`, replacing any earlier entry. On failure (refused key, full disk,
    // no permission, ...) logs one line saying why and returns false. Never throws.
    static bool SavePersistText(const std::string& key, const std::string& text);

    // Deletes every entry except those under the keys of `keep` (empty folders go too). False,
    // after one log line per entry that could not be deleted, when any stayed behind.
    static bool ClearAllPersistData(const std::vector<std::string>& keep);

    // The file that holds `key`, or "" when the key is refused.
    static std::string entryPath(const std::string& key);
};

} // namespace Lumenda3D
