#pragma once
// The images blocks are drawn with: the frame's fill and border pieces (white, tinted when drawn)
// and the block icons by image name. The editor loads them as engine textures (BlockTextureLoader);
// tests and benchmarks give stand-in ids, so that the drawing code is one path for both. A null
// id is drawn with plain shapes instead.
#include <imgui.h>

#include <functional>
#include <string>

namespace Lumenda3D {

struct BlockTextures {
    struct Image {
        ImTextureID id = nullptr;
        ImVec2 size{0, 0};  // natural size in pixels
    };
    // The rounded frame, cut in nine by its corner size: the fill (tinted with the block's colour)
    // and the border ring (tinted with the border state's colour).
    Image fill;
    Image border;
    // Corner size of the pieces in the source images, in pixels.
    float sourceCorner = 16.0f;
    // A block icon by image name; {null, (0, 0)} when there is none. May be empty.
    std::function<Image(const std::string& image)> icon;
};

} // namespace Lumenda3D
