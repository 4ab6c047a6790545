#pragma once
// Small pictures by name (assets, projects, templates), as textures that ImGui draws. Reading and decoding run
// off the main thread (the editor's job service, through a Runner), a batch at a time; the main
// thread only turns a few decoded pictures into textures per frame (update), so opening a library
// of hundreds of pictures never stalls a frame. Each name is requested once, until invalidated.
// Without a runner or a renderer (tests, a host without OGRE) no picture is made and cells show
// their plain frame.
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <imgui.h>

namespace Ogre {
class Image;
}

namespace Lumenda3D {

class ThumbnailCache {
public:
    struct Picture {
        ImTextureID id = nullptr;
        ImVec2 size;
    };
    // Off the main thread: the file's bytes ("" when there are none).
    using Reader = std::function<std::string()>;
    // Runs `work` on another thread, then `done` on the main thread.
    using Runner = std::function<void(std::function<void()> work, std::function<void()> done)>;

    static constexpr unsigned kSize = 128;
    static constexpr size_t kPerJob = 16;
    static constexpr int kUploadsPerFrame = 4;

    explicit ThumbnailCache(std::string texturePrefix);
    ~ThumbnailCache();
    ThumbnailCache(const ThumbnailCache&) = delete;
    ThumbnailCache& operator=(const ThumbnailCache&) = delete;

    void setRunner(Runner runner) { runner_ = std::move(runner); }
    bool isRequested(const std::string& name) const { return requested_.count(name) != 0; }
    // Queues the picture of `name`; `extension` ("png") helps formats without a signature.
    void request(const std::string& name, Reader reader, const std::string& extension);
    // Marks `name` as requested while its bytes are on their way (provide brings them).
    void hold(const std::string& name) { requested_.insert(name); }
    void provide(const std::string& name, Reader reader, const std::string& extension);
    // Forgets the picture and the request: the next request makes it anew.
    void invalidate(const std::string& name);
    Picture get(const std::string& name) const;
    // Main thread, once a frame: starts the next batch, makes a few textures.
    void update();
    // Requests not yet turned into a picture (or a failure).
    size_t pendingCount() const { return queue_.size() + inJob_ + ready_.size(); }
    void clear();

    // Decodes picture bytes and scales them to at most `maxSide` pixels; null when they are
    // not a picture OGRE's codecs read. Any thread.
    static std::shared_ptr<Ogre::Image> decode(const std::string& bytes, const std::string& extension, unsigned maxSide);

private:
    struct Pending {
        std::string name;
        unsigned generation = 0;
        Reader reader;
        std::string extension;
    };
    struct Decoded {
        std::string name;
        unsigned generation = 0;
        std::shared_ptr<Ogre::Image> image;
    };

    void makeTexture(const Decoded& decoded);

    std::string prefix_;
    Runner runner_;
    std::set<std::string> requested_;
    std::unordered_map<std::string, unsigned> generations_;
    std::deque<Pending> queue_;
    std::deque<Decoded> ready_;
    size_t inJob_ = 0;
    std::unordered_map<std::string, Picture> pictures_;
    std::unordered_map<std::string, std::string> textureNames_;
    unsigned serial_ = 0;
    // Batches that finish after the cache is gone are dropped.
    std::shared_ptr<ThumbnailCache*> self_;
};

} // namespace Lumenda3D
