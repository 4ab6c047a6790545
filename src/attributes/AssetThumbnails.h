#pragma once
// Small pictures of assets for the pickers: an image file, read once, scaled down to at most
// kSize pixels and kept as a texture that ImGui draws. Without a renderer (tests, a host without
// OGRE) there are no pictures and rows show a plain frame. Main thread only.
#include <string>
#include <unordered_map>

#include <imgui.h>

namespace Lumenda3D {

class AssetThumbnails {
public:
    static constexpr unsigned kSize = 64;
    static constexpr int kLoadsPerFrame = 4;

    struct Picture {
        ImTextureID id = nullptr;
        ImVec2 size;
    };

    AssetThumbnails() = default;
    ~AssetThumbnails();
    AssetThumbnails(const AssetThumbnails&) = delete;
    AssetThumbnails& operator=(const AssetThumbnails&) = delete;

    // The picture of the image file at `path`; loaded on the first call (a file that cannot be
    // read is remembered as having none). Empty id: no picture, or not loaded yet because this
    // frame's loads are spent.
    Picture get(const std::string& path);
    // A new frame: a few more pictures may be loaded (so a long list never stalls one frame).
    void newFrame() { loadsLeft_ = kLoadsPerFrame; }
    // Lets go of every picture (when a list is taken again: files may have changed).
    void clear();

private:
    std::unordered_map<std::string, Picture> pictures_;
    std::unordered_map<std::string, std::string> textureNames_;
    unsigned serial_ = 0;
    int loadsLeft_ = kLoadsPerFrame;
};

} // namespace Lumenda3D
