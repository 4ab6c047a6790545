#pragma once
// The Linux target's packaging: the runtime template, the game package, app.json and the assets
// put together as a folder and as a .tar.gz of it, both beside each other:
//
//   <Exports>/<Name>-linux/               the folder, runnable in place (./AppRun)
//   <Exports>/<Name>-linux.tar.gz         the same folder as "<Name>/" in an archive
//     AppRun, lumenda3d-player, lib/, ogre/, media/    from the template
//     game/bin.dat, game/app.json, game/textures|models|sounds/...
//
// Everything is built in a hidden folder beside the destination and renamed into place at the
// end, so a failure (a full disk, tar missing) leaves no half-made export where a finished one
// would be; the hidden folder is removed.
#include <memory>
#include <string>

namespace Lumenda3D {

struct ExportState;
class LmdJobService;

class LinuxPackager {
public:
    struct Paths {
        std::string folder;  // the runnable folder
        std::string archive; // the .tar.gz
        std::string topName; // the folder's name inside the archive
    };
    // outputPath "<x>.tar.gz" gives the folder "<x>"; any other gives the folder outputPath and
    // the archive outputPath + ".tar.gz".
    static Paths pathsFor(const std::string& outputPath, const std::string& displayName);

    // Reports "Packaging the game..." at 0.88 and ends the export (finish with the archive's path,
    // or fail with "Packaging failed: " and the reason). The copying and compressing run on
    // `jobs` when given, inline otherwise.
    static void package(const std::shared_ptr<ExportState>& state, LmdJobService* jobs);

    // The work itself, on any thread: false with `error` on failure (nothing left behind).
    static bool assemble(const std::string& templateDir, const std::string& packagePath, const std::string& appJson,
                         const std::string& assetsDir, const Paths& paths, std::string& error);
};

} // namespace Lumenda3D
