#include "project/ProjectPictures.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "services/LocalStorage.h"

namespace Lumenda3D {
namespace {

// A thumbnail larger than this is not read (the server refuses more than 2 MB).
constexpr std::streamoff kMaxFileBytes = 8 * 1024 * 1024;

std::string readSmallFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in)
        return "";
    const std::streamoff size = in.tellg();
    if (size <= 0 || size > kMaxFileBytes)
        return "";
    in.seekg(0);
    std::string bytes(static_cast<size_t>(size), '\0');
    in.read(bytes.data(), size);
    return in ? bytes : std::string();
}

} // namespace

ProjectPictures::ProjectPictures() : cache_("ProjectPicture/"), self_(std::make_shared<ProjectPictures*>(this)) {}

ProjectPictures::~ProjectPictures() { *self_ = nullptr; }

void ProjectPictures::clear() {
    ++round_;
    fetching_ = 0;
    cache_.clear();
}

ThumbnailCache::Picture ProjectPictures::local(const std::string& name) {
    const std::string key = "local:" + name;
    if (!cache_.isRequested(key)) {
        const std::string path = LocalStorage::isValidProjectName(name)
                                     ? LocalStorage::projectDir(name) + "/" + LocalStorage::kThumbnailFile
                                     : std::string();
        cache_.request(key, [path] { return path.empty() ? std::string() : readSmallFile(path); }, "jpg");
    }
    return cache_.get(key);
}

ThumbnailCache::Picture ProjectPictures::remote(const std::string& url) {
    if (url.empty())
        return {};
    const std::string key = "url:" + url;
    if (cache_.isRequested(key))
        return cache_.get(key);
    cache_.hold(key);
    if (!fetch_) {
        cache_.provide(key, nullptr, "jpg");
        return {};
    }
    ++fetching_;
    std::weak_ptr<ProjectPictures*> self = self_;
    fetch_(url, [self, key, round = round_](const std::string& bytes) {
        std::shared_ptr<ProjectPictures*> alive = self.lock();
        if (!alive || !*alive || (*alive)->round_ != round)
            return;
        ProjectPictures& pictures = **alive;
        --pictures.fetching_;
        pictures.cache_.provide(key, [bytes] { return bytes; }, "jpg");
    });
    return cache_.get(key);
}

void ProjectPictures::drawAt(ImDrawList* list, const ThumbnailCache::Picture& picture, const ImVec2& min,
                             const ImVec2& max) {
    list->AddRectFilled(min, max, IM_COL32(36, 40, 48, 255));
    const ImVec2 box(max.x - min.x, max.y - min.y);
    if (picture.id && picture.size.x > 0.0f && picture.size.y > 0.0f && box.x > 0.0f && box.y > 0.0f) {
        // Fitted whole into the box, centred: a picture is never cut, stretched or enlarged.
        const float scale = std::min({1.0f, box.x / picture.size.x, box.y / picture.size.y});
        const ImVec2 size(picture.size.x * scale, picture.size.y * scale);
        const ImVec2 at(min.x + (box.x - size.x) * 0.5f, min.y + (box.y - size.y) * 0.5f);
        list->AddImage(picture.id, at, ImVec2(at.x + size.x, at.y + size.y));
    }
    list->AddRect(min, max, IM_COL32(92, 98, 112, 255));
}

void ProjectPictures::draw(const ThumbnailCache::Picture& picture, const ImVec2& size) {
    const ImVec2 at = ImGui::GetCursorScreenPos();
    ImGui::Dummy(size);
    drawAt(ImGui::GetWindowDrawList(), picture, at, ImVec2(at.x + size.x, at.y + size.y));
}

} // namespace Lumenda3D
