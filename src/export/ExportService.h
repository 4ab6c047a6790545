#pragma once
// What an export asks for and where it goes: the targets, the options the export dialog and the
// export_game agent tool fill in, and the two callbacks every export reports through.
#include <functional>
#include <string>

namespace Lumenda3D {

// Authenticode signing of the Windows app and installer. Empty certificatePath: no signing.
// The password is kept in memory only: never persisted, never logged.
struct WindowsSigningOptions {
    std::string certificatePath; // a .pfx file
    std::string password;
    std::string timestampUrl;    // RFC 3161 server; empty: WindowsSigner::kDefaultTimestampUrl
    bool wanted() const { return !certificatePath.empty(); }
};

struct AndroidSigningOptions {
    std::string mode = "generate"; // "generate" or "byok"
    std::string keystorePath;
    std::string keyAlias;
    std::string storePassword;
    std::string keyPassword;
};

struct ExportService {
    // Picks the runtime template. Windows is 0.
    enum class Platform { Windows = 0, Linux = 1, Android = 2, Web = 3 };
    enum class WindowsFormat { Zip, Installer };
    enum class AndroidFormat { Apk, Aab };

    struct Options {
        std::string displayName;
        bool fullScreen = false;
        std::string versionName = "1.0";
        int versionCode = 1;
        WindowsFormat windowsFormat = WindowsFormat::Zip;
        bool desktopShortcut = true;
        WindowsSigningOptions windowsSigning;
        AndroidFormat androidFormat = AndroidFormat::Apk;
        AndroidSigningOptions androidSigning;
    };

    // (fraction 0..1, text); may be empty.
    using Progress = std::function<void(float fraction, const std::string& text)>;
    // (ok, text): the deliverable's path on success, the reason otherwise; may be empty.
    using Done = std::function<void(bool ok, const std::string& text)>;

    // "windows", "linux", "android", "web": the word agents and folder names use.
    static const char* platformName(Platform platform);
};

} // namespace Lumenda3D
