#pragma once
// File work the export's steps share: copying folders and files with a message that names what
// could not be copied, the hidden work folder beside a destination, and replacing a destination
// with what was built there.
#include <string>

namespace Lumenda3D {

struct ExportFiles {
    // Copies a folder (recursively, links as links) or a file to `to`; false with `error`.
    static bool copyTree(const std::string& from, const std::string& to, std::string& error);
    // Copies the file behind `from` (links followed) to `to`, replacing it; false with `error`.
    static bool copyFile(const std::string& from, const std::string& to, std::string& error);
    // The path of a fresh (absent) work folder for `destination`: ".<name>.<tag>-<process id>"
    // beside it. Folders of the same kind left by a process that no longer runs (a crash, a kill)
    // are removed.
    static std::string workFolderBeside(const std::string& destination, const std::string& tag);
    // Moves `from` to `to`, replacing what is there: the old one is set aside first and removed
    // only once the new one stands (and put back when the move fails).
    static bool replaceWith(const std::string& from, const std::string& to, std::string& error);
};

} // namespace Lumenda3D
