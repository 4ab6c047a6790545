#pragma once
// The pictures of the project dialogs' lists: a local project's thumbnail.jpg, and pictures on
// the server by address (a template's picture, a cloud project's thumbnail). Reading, fetching
// and decoding happen off the main thread (a ThumbnailCache over the editor's job service); a
// picture that is loading, missing or unreadable has no texture, and the lists show a plain frame
// in its place. Each picture is asked for once, until clear(). Main thread only.
#include <functional>
#include <memory>
#include <string>

#include "ui/ThumbnailCache.h"

namespace Lumenda3D {

class ProjectPictures {
public:
    // The bytes at `url` ("" when there are none), given to `done` on the main thread.
    using Fetch = std::function<void(const std::string& url, std::function<void(const std::string& bytes)> done)>;

    ProjectPictures();
    ~ProjectPictures();
    ProjectPictures(const ProjectPictures&) = delete;
    ProjectPictures& operator=(const ProjectPictures&) = delete;

    void setRunner(ThumbnailCache::Runner runner) { cache_.setRunner(std::move(runner)); }
    void setFetch(Fetch fetch) { fetch_ = std::move(fetch); }

    // The picture of the local project `name`; asks for it on the first call.
    ThumbnailCache::Picture local(const std::string& name);
    // The picture at `url` on the server; asks for it on the first call. "" has none.
    ThumbnailCache::Picture remote(const std::string& url);

    // Once a frame while a list is shown: starts reading, makes a few textures.
    void update() { cache_.update(); }
    // Forgets every picture (a list shown again may have new ones).
    void clear();
    // Pictures asked for and not yet made or given up.
    size_t pendingCount() const { return cache_.pendingCount() + fetching_; }

    // Draws `picture` fitted into a `size` box at the cursor, or a plain frame when there is none.
    static void draw(const ThumbnailCache::Picture& picture, const ImVec2& size);
    // The same into the box from `min` to `max` of `list`, without moving the cursor.
    static void drawAt(ImDrawList* list, const ThumbnailCache::Picture& picture, const ImVec2& min, const ImVec2& max);

private:
    ThumbnailCache cache_;
    Fetch fetch_;
    size_t fetching_ = 0;
    // Bumped by clear(): answers of fetches from before it are dropped.
    unsigned round_ = 0;
    std::shared_ptr<ProjectPictures*> self_;
};

} // namespace Lumenda3D
