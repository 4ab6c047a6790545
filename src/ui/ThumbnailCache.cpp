#include "ui/ThumbnailCache.h"

#include <algorithm>
#include <cstdint>

#include <OgreDataStream.h>
#include <OgreImage.h>
#include <OgreTextureManager.h>

#include "base/LmdLog.h"
#include "services/LmdAssetFormats.h"

namespace Lumenda3D {

ThumbnailCache::ThumbnailCache(std::string texturePrefix)
    : prefix_(std::move(texturePrefix)), self_(std::make_shared<ThumbnailCache*>(this)) {}

ThumbnailCache::~ThumbnailCache() {
    *self_ = nullptr;
    clear();
}

void ThumbnailCache::clear() {
    // At process exit the renderer may already be gone, and its textures with it.
    if (Ogre::TextureManager* textures = Ogre::TextureManager::getSingletonPtr())
        for (const auto& [name, texture] : textureNames_)
            textures->remove(texture, Ogre::RGN_INTERNAL);
    textureNames_.clear();
    pictures_.clear();
    requested_.clear();
    queue_.clear();
    ready_.clear();
    for (auto& [name, generation] : generations_)
        ++generation;
}

void ThumbnailCache::request(const std::string& name, Reader reader, const std::string& extension) {
    if (!requested_.insert(name).second)
        return;
    queue_.push_back({name, generations_[name], std::move(reader), extension});
}

void ThumbnailCache::provide(const std::string& name, Reader reader, const std::string& extension) {
    if (!requested_.count(name))
        return;  // invalidated while the bytes were on their way
    queue_.push_back({name, generations_[name], std::move(reader), extension});
}

void ThumbnailCache::invalidate(const std::string& name) {
    requested_.erase(name);
    ++generations_[name];
    queue_.erase(std::remove_if(queue_.begin(), queue_.end(), [&](const Pending& p) { return p.name == name; }),
                 queue_.end());
    pictures_.erase(name);
    const auto texture = textureNames_.find(name);
    if (texture != textureNames_.end()) {
        if (Ogre::TextureManager* textures = Ogre::TextureManager::getSingletonPtr())
            textures->remove(texture->second, Ogre::RGN_INTERNAL);
        textureNames_.erase(texture);
    }
}

ThumbnailCache::Picture ThumbnailCache::get(const std::string& name) const {
    const auto found = pictures_.find(name);
    return found == pictures_.end() ? Picture() : found->second;
}

std::shared_ptr<Ogre::Image> ThumbnailCache::decode(const std::string& bytes, const std::string& extension,
                                                         unsigned maxSide) {
    if (bytes.empty())
        return nullptr;
    try {
        auto image = std::make_shared<Ogre::Image>();
        // The stream copies nothing: the bytes outlive the load.
        Ogre::DataStreamPtr stream(new Ogre::MemoryDataStream(const_cast<char*>(bytes.data()), bytes.size(), false, true));
        // The bytes decide the codec: a thumbnail may be a PNG under a ".jpg" name.
        image->load(stream, LmdAssetFormats::detectImageFormat(bytes, extension));
        const unsigned width = image->getWidth(), height = image->getHeight();
        if (width == 0 || height == 0)
            return nullptr;
        if (width > maxSide || height > maxSide) {
            const float scale = static_cast<float>(maxSide) / static_cast<float>(std::max(width, height));
            image->resize(static_cast<Ogre::ushort>(std::max(1.0f, width * scale)),
                          static_cast<Ogre::ushort>(std::max(1.0f, height * scale)), Ogre::Image::FILTER_BILINEAR);
        }
        return image;
    } catch (const std::exception&) {
        return nullptr;
    }
}

void ThumbnailCache::makeTexture(const Decoded& decoded) {
    const auto generation = generations_.find(decoded.name);
    if (generation == generations_.end() || generation->second != decoded.generation || !decoded.image)
        return;
    Ogre::TextureManager* textures = Ogre::TextureManager::getSingletonPtr();
    if (!textures)
        return;
    try {
        const std::string textureName = prefix_ + std::to_string(++serial_);
        Ogre::TexturePtr texture =
            textures->loadImage(textureName, Ogre::RGN_INTERNAL, *decoded.image, Ogre::TEX_TYPE_2D, 0);
        textureNames_[decoded.name] = textureName;
        pictures_[decoded.name] = {reinterpret_cast<ImTextureID>(static_cast<std::uintptr_t>(texture->getHandle())),
                                   ImVec2(static_cast<float>(texture->getWidth()), static_cast<float>(texture->getHeight()))};
    } catch (const std::exception& e) {
        LmdLog::message("ThumbnailCache: no texture for " + decoded.name + ": " + e.what());
    }
}

void ThumbnailCache::update() {
    for (int made = 0; made < kUploadsPerFrame && !ready_.empty(); ++made) {
        makeTexture(ready_.front());
        ready_.pop_front();
    }
    if (inJob_ > 0 || queue_.empty() || !runner_ || !Ogre::TextureManager::getSingletonPtr())
        return;
    auto batch = std::make_shared<std::vector<Pending>>();
    while (!queue_.empty() && batch->size() < kPerJob) {
        batch->push_back(std::move(queue_.front()));
        queue_.pop_front();
    }
    inJob_ = batch->size();
    auto results = std::make_shared<std::vector<Decoded>>();
    std::weak_ptr<ThumbnailCache*> self = self_;
    runner_(
        [batch, results] {
            for (const Pending& item : *batch) {
                std::string bytes;
                try {
                    bytes = item.reader ? item.reader() : std::string();
                } catch (const std::exception&) {
                }
                results->push_back({item.name, item.generation, decode(bytes, item.extension, kSize)});
            }
        },
        [self, results] {
            std::shared_ptr<ThumbnailCache*> alive = self.lock();
            if (!alive || !*alive)
                return;
            ThumbnailCache& cache = **alive;
            cache.inJob_ = 0;
            for (Decoded& decoded : *results) {
                if (!decoded.image)
                    LmdLog::message("ThumbnailCache: no picture for " + decoded.name);
                cache.ready_.push_back(std::move(decoded));
            }
        });
}

} // namespace Lumenda3D
