#pragma once
// lumenda3d-cloud admin ...: what a server's administrator does on the database directly.
//   create-user NAME            password from the first line of standard input
//   reset-password NAME         the same; every session of the user ends
//   set-quota NAME MB|unlimited|default
//   add-template --id ID --name NAME --xml FILE [--description TEXT] [--category TEXT]
//                [--picture FILE] [--picture-path /files/NAME] [--order N]
//   remove-template ID
//   list-templates
//   register-release --platform win|linux|mac --version V --url URL [--length BYTES]
//                [--short-version V] [--notes-url URL]
//   add-asset textures|models|sounds FILE [--name NAME] [--thumbnail FILE]   (public catalogue)
//   add-runtime-template --platform windows|linux --version V --archive FILE.zip
//   remove-runtime-template windows|linux VERSION
//   list-runtime-templates [windows|linux]
#include <iosfwd>
#include <string>
#include <vector>

#include "CloudConfig.h"

namespace Lumenda3D::Cloud {

class AdminCommands {
public:
    // Returns the exit code: 0 done, 1 failed (a sentence on `err`), 2 bad usage.
    static int run(const CloudConfig& config, const std::vector<std::string>& args, std::istream& in,
                   std::ostream& out, std::ostream& err);
    static std::string usage();
};

} // namespace Lumenda3D::Cloud
