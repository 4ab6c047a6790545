#pragma once
// Where the editor keeps its data. One root moves everything: $LUMENDA3D_HOME when set
// (tests, portable installs), otherwise the XDG folders of the user.
#include <string>

namespace Lumenda3D {

class LmdPaths {
public:
    // Persisted settings and the login token.
    static std::string configDir();
    // Local projects live in projectsDir()/<name>/.
    static std::string dataDir();
    static std::string projectsDir();
    // HTTP cache and export work folders; safe to delete.
    static std::string cacheDir();
    // Auto-save backups and other state that should survive a crash.
    static std::string stateDir();
    // Where exported games are written by default.
    static std::string exportsDir();

    // The folder holding codeSchema.xml, the Lua runtime and the knowledge base: "media" next to
    // the executable, otherwise the source tree's media folder of a developer build.
    static std::string mediaDir();
    // Directory of the running executable ("" when it cannot be told).
    static std::string executableDir();

    // Creates the folder and its parents; false (and errorText set) when that fails.
    static bool ensureDir(const std::string& path, std::string* errorText = nullptr);
};

} // namespace Lumenda3D
