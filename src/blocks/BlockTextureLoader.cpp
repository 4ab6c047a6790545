#include "blocks/BlockTextureLoader.h"

#include <fstream>
#include <memory>
#include <unordered_map>

#include <OgreDataStream.h>
#include <OgreImage.h>
#include <OgreResourceGroupManager.h>
#include <OgreTextureManager.h>

#include "base/LmdLog.h"
#include "base/LmdPaths.h"

namespace Lumenda3D {

BlockTextures::Image BlockTextureLoader::loadImage(const std::string& path) {
    BlockTextures::Image image;
    try {
        Ogre::TextureManager& textures = Ogre::TextureManager::getSingleton();
        const std::string name = "LmdBlocks/" + path;
        Ogre::TexturePtr texture = textures.getByName(name, Ogre::RGN_INTERNAL);
        if (!texture) {
            auto file = std::make_shared<std::ifstream>(path, std::ios::binary);
            if (!*file)
                return image;
            Ogre::DataStreamPtr stream(new Ogre::FileStreamDataStream(path, file.get(), false));
            Ogre::Image pixels;
            pixels.load(stream, "png");
            texture = textures.loadImage(name, Ogre::RGN_INTERNAL, pixels, Ogre::TEX_TYPE_2D, 0);
        }
        image.id = reinterpret_cast<ImTextureID>(static_cast<std::uintptr_t>(texture->getHandle()));
        image.size = ImVec2(static_cast<float>(texture->getWidth()), static_cast<float>(texture->getHeight()));
    } catch (const std::exception& e) {
        LmdLog::message("Block image " + path + " could not be loaded: " + e.what());
        image = BlockTextures::Image();
    }
    return image;
}

BlockTextures BlockTextureLoader::load(const std::string& folder) {
    const std::string dir = folder.empty() ? LmdPaths::mediaDir() + "/blocks" : folder;
    BlockTextures textures;
    textures.fill = loadImage(dir + "/block_fill.png");
    textures.border = loadImage(dir + "/block_border.png");
    textures.sourceCorner = textures.fill.size.x > 0 ? textures.fill.size.x * 0.25f : 16.0f;
    // Icons by image name, each loaded on first use; a missing one is remembered as none.
    auto cache = std::make_shared<std::unordered_map<std::string, BlockTextures::Image>>();
    textures.icon = [dir, cache](const std::string& image) {
        auto it = cache->find(image);
        if (it != cache->end())
            return it->second;
        BlockTextures::Image loaded;
        if (!image.empty() && image.find('/') == std::string::npos && image.find("..") == std::string::npos)
            loaded = loadImage(dir + "/icons/" + image);
        // Icons are drawn at twice their natural size, so that they stay sharp at a scale of 2.
        loaded.size = ImVec2(loaded.size.x * 0.5f, loaded.size.y * 0.5f);
        cache->emplace(image, loaded);
        return loaded;
    };
    return textures;
}

} // namespace Lumenda3D
