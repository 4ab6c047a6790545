#pragma once
// Signs a Windows program or installer with osslsigncode (Authenticode). The signed file is
// written beside the original and renamed over it only when signing succeeded, so a failure
// leaves the file as it was. The certificate's password reaches osslsigncode on a pipe
// (ExportProcess's secret), never on its command line.
#include <string>

#include "export/ExportService.h"

namespace Lumenda3D {

class WindowsSigner {
public:
    static constexpr const char* kDefaultTimestampUrl = "http://timestamp.digicert.com";

    struct Input {
        std::string filePath;      // the .exe to sign, in place
        std::string description;   // the program's name shown by Windows' prompts
        WindowsSigningOptions options;
        // Off signs without a timestamp (the signature then ends with the certificate's validity);
        // exports always timestamp.
        bool timestamp = true;
    };

    static bool sign(const Input& input, std::string& error);

    // The timestamp server the options name, or the default one.
    static std::string timestampUrlOf(const WindowsSigningOptions& options);
    // Checks the options before any work is done: the certificate file exists and is readable.
    static bool check(const WindowsSigningOptions& options, std::string& error);
};

} // namespace Lumenda3D
