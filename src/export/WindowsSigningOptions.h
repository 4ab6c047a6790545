#pragma once
// Authenticode signing of the Windows app and installer. Empty certificatePath: no signing.
// The password is kept in memory only: never persisted, never logged.
#include <string>

namespace Lumenda3D {

struct WindowsSigningOptions {
    std::string certificatePath; // a .pfx file
    std::string password;        // may be empty for a .pfx without a password
    std::string timestampUrl;    // RFC 3161 server; empty: WindowsSigner::kDefaultTimestampUrl
    bool wanted() const { return !certificatePath.empty(); }
};

} // namespace Lumenda3D
