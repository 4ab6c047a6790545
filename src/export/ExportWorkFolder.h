#pragma once
// The hidden folder beside a destination in which an export builds what it will rename into
// place: ".<destination name>.<tag>-<process id>". Folders of the same kind left by a process that
// no longer runs (a crash, a kill) are removed when a new one is made.
#include <string>

namespace Lumenda3D {

struct ExportWorkFolder {
    // The path of a fresh (absent) work folder for `destination`; stale siblings are removed.
    static std::string beside(const std::string& destination, const std::string& tag);
};

} // namespace Lumenda3D
