#pragma once
// What the server checks of a runtime template before it accepts one: a ZIP archive that opens,
// whose entries are plain relative paths, and for Windows a top-level lumenda3d-player.exe that
// is a Windows program (so a Linux build can never be served as the Windows runtime).
#include <string>

namespace Lumenda3D::Cloud {

class RuntimeArchiveCheck {
public:
    // "" when the archive is acceptable; otherwise a sentence naming the problem.
    static std::string problemWith(const std::string& platform, const std::string& archive);
};

} // namespace Lumenda3D::Cloud
