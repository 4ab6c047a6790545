#include "engine/assets/LmdAssetResolver.h"

#include "base/LmdPaths.h"

#include <filesystem>

namespace Lumenda3D {
namespace {

namespace fs = std::filesystem;

bool isFile(const fs::path& path) {
    std::error_code ec;
    return fs::is_regular_file(path, ec);
}

} // namespace

LmdAssetResolver::LmdAssetResolver()
    : mMediaDir(LmdPaths::mediaDir()), mCacheDir((fs::path(LmdPaths::cacheDir()) / "assets").string()) {}

bool LmdAssetResolver::isLocalReference(const std::string& reference) {
    return reference.rfind(kLocalPrefix, 0) == 0;
}

bool LmdAssetResolver::isUrl(const std::string& reference) {
    return reference.rfind("http://", 0) == 0 || reference.rfind("https://", 0) == 0;
}

const char* LmdAssetResolver::subfolderOf(Kind kind) {
    switch (kind) {
    case Kind::Texture: return "textures";
    case Kind::Model: return "models";
    case Kind::Sound: return "sounds";
    case Kind::Any: break;
    }
    return "";
}

std::string LmdAssetResolver::fileNameOf(const std::string& reference) {
    std::string name = reference;
    if (isLocalReference(name))
        name = name.substr(std::char_traits<char>::length(kLocalPrefix));
    if (isUrl(name)) {
        const size_t query = name.find_first_of("?#");
        if (query != std::string::npos)
            name.resize(query);
    }
    const size_t slash = name.find_last_of("/\\");
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

std::vector<std::string> LmdAssetResolver::searchFolders(const std::string& reference, Kind) const {
    std::vector<std::string> folders;
    auto add = [&folders](const std::string& dir) {
        if (!dir.empty())
            folders.push_back(dir);
    };
    if (isLocalReference(reference)) {
        add(mLocalDir);
        return folders;
    }
    if (!isUrl(reference)) {
        add(mGameDir);
        add(mMediaDir);
    }
    add(mCacheDir);
    return folders;
}

std::string LmdAssetResolver::resolve(const std::string& reference, Kind kind) const {
    if (reference.empty())
        return std::string();
    if (!isLocalReference(reference) && !isUrl(reference)) {
        const fs::path direct(reference);
        if (direct.is_absolute())
            return isFile(direct) ? direct.string() : std::string();
    }
    const std::string fileName = fileNameOf(reference);
    // A relative path ("textures/grass.png") is tried as written first, then by its file name.
    std::string relative = isLocalReference(reference) ? reference.substr(6) : reference;
    if (isUrl(reference))
        relative = fileName;
    const char* sub = subfolderOf(kind);
    for (const std::string& folder : searchFolders(reference, kind)) {
        const fs::path base(folder);
        for (const fs::path& candidate : {base / relative, base / sub / relative, base / fileName, base / sub / fileName})
            if (isFile(candidate))
                return fs::absolute(candidate).lexically_normal().string();
    }
    return std::string();
}

} // namespace Lumenda3D
