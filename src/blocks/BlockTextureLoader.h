#pragma once
// Loads the block images of media/blocks (the frame's fill and border pieces and the icons) as
// engine textures for the editor's interface. Needs a running OGRE root; a file that is missing
// or unreadable is logged once and drawn without its image.
#include <string>

#include "blocks/BlockTextures.h"

namespace Lumenda3D {

class BlockTextureLoader {
public:
    // The block textures from `folder` (media/blocks by default).
    static BlockTextures load(const std::string& folder = "");
    // One PNG of the folder as a texture; {null, (0, 0)} when it cannot be read.
    static BlockTextures::Image loadImage(const std::string& path);
};

} // namespace Lumenda3D
