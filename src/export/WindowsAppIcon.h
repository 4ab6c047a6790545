#pragma once
// The application icon of a Windows export, used by the installer and its shortcuts. A Windows
// runtime template may bring its own "icon.ico"; otherwise an icon is drawn for the game: a
// rounded square in a colour taken from the game's name (so two games look different on one
// desktop) with a white "play" triangle, at 16, 32, 48 and 256 pixels, as 32-bit images with
// alpha in the ICO container that Windows and makensis read.
#include <cstdint>
#include <string>
#include <vector>

namespace Lumenda3D {

class WindowsAppIcon {
public:
    // Writes the icon to `icoPath`; false with `error` when it cannot be written.
    static bool prepare(const std::string& templateDir, const std::string& appName, const std::string& icoPath,
                        std::string& error);

    // The drawn icon's bytes.
    static std::string draw(const std::string& appName);
    // True when the bytes are an ICO container with at least one image whose data lies inside.
    static bool isIco(const std::string& bytes);
};

} // namespace Lumenda3D
