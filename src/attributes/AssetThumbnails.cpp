#include "attributes/AssetThumbnails.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>

#include <OgreDataStream.h>
#include <OgreImage.h>
#include <OgreResourceGroupManager.h>
#include <OgreTextureManager.h>

#include "base/LmdLog.h"

namespace Lumenda3D {

AssetThumbnails::~AssetThumbnails() {
    clear();
}

void AssetThumbnails::clear() {
    // At process exit the renderer may already be gone, and its textures with it.
    if (Ogre::TextureManager* textures = Ogre::TextureManager::getSingletonPtr())
        for (const auto& [path, name] : textureNames_)
            textures->remove(name, Ogre::RGN_INTERNAL);
    textureNames_.clear();
    pictures_.clear();
}

AssetThumbnails::Picture AssetThumbnails::get(const std::string& path) {
    const auto found = pictures_.find(path);
    if (found != pictures_.end())
        return found->second;
    Picture picture;
    Ogre::TextureManager* textures = Ogre::TextureManager::getSingletonPtr();
    if (textures && !path.empty()) {
        if (loadsLeft_ <= 0)
            return picture;
        --loadsLeft_;
        try {
            auto file = std::make_shared<std::ifstream>(path, std::ios::binary);
            if (*file) {
                Ogre::DataStreamPtr stream(new Ogre::FileStreamDataStream(path, file.get(), false));
                std::string extension = std::filesystem::path(path).extension().string();
                if (!extension.empty())
                    extension.erase(0, 1);
                Ogre::Image image;
                image.load(stream, extension);
                const float scale = std::min(1.0f, static_cast<float>(kSize) /
                                                       std::max(image.getWidth(), image.getHeight()));
                if (scale < 1.0f)
                    image.resize(static_cast<Ogre::ushort>(std::max(1.0f, image.getWidth() * scale)),
                                 static_cast<Ogre::ushort>(std::max(1.0f, image.getHeight() * scale)));
                const std::string name = "LmdAssetThumb/" + std::to_string(++serial_);
                Ogre::TexturePtr texture = textures->loadImage(name, Ogre::RGN_INTERNAL, image, Ogre::TEX_TYPE_2D, 0);
                textureNames_[path] = name;
                picture.id = reinterpret_cast<ImTextureID>(static_cast<std::uintptr_t>(texture->getHandle()));
                picture.size = ImVec2(static_cast<float>(texture->getWidth()), static_cast<float>(texture->getHeight()));
            }
        } catch (const std::exception& e) {
            LmdLog::message("Thumbnail " + path + " could not be read: " + e.what());
            picture = Picture();
        }
    }
    pictures_[path] = picture;
    return picture;
}

} // namespace Lumenda3D
