#pragma once
// Makes the Linux runtime template from this installation: a folder that runs a game on a Linux
// desktop that has neither the editor nor its development packages.
//
//   lumenda3d-player        the player (symbols stripped when `strip` is there)
//   lib/                    the shared libraries the player and OGRE's plugins need, as ldd
//                           finds them, less those every desktop has (isDesktopLibrary)
//   ogre/plugins/           OGRE's render system and image codec plugins
//   ogre/media/             OGRE's shader library (RTShaderLib, ShadowVolume)
//   media/                  the game language's schema, the Lua runtime library, our shaders, fonts
//   AppRun                  the start script: the player with lib/ on the library path
//   template.json           what was built from what (TemplateStamp)
#include <string>
#include <utility>
#include <vector>

#include "export/ExportService.h"

namespace Lumenda3D {

class LinuxTemplateBuilder {
public:
    struct Inputs {
        std::string playerPath;
        std::string mediaDir;
        std::string ogrePluginDir;
        std::string ogreMediaDir;
    };
    struct Library {
        std::string soname; // as the program asks for it: "libOgreMain.so.1.12.10"
        std::string path;   // where ldd found it
    };

    // This installation: the player beside the editor, the media folder, the system's OGRE.
    static Inputs fromThisInstallation();

    // Libraries that belong to the desktop and must come from it: the C library and loader, the
    // C++ runtime, OpenGL/EGL and the graphics driver's, X11/xcb/Wayland, sound servers, D-Bus,
    // fontconfig/freetype, zlib.
    static bool isDesktopLibrary(const std::string& soname);
    // Reads ldd's output. False with `error` naming the libraries that were "not found".
    static bool parseLdd(const std::string& output, std::vector<Library>& libraries, std::string& error);

    // The start script (shell) of the template.
    static std::string appRunScript();

    // Builds the template into `destination`, which must not exist yet. On failure `error` says
    // why, and whatever was written is left for the caller to remove.
    static bool build(const Inputs& inputs, const std::string& destination, const ExportService::Progress& progress,
                      std::string& error);

    // A line that changes whenever the inputs change (version, the player's size and time, the
    // schema's time): a cached template with the same stamp is current.
    static std::string stampOf(const Inputs& inputs);
};

} // namespace Lumenda3D
