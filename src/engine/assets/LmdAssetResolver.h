#pragma once
// Finds the file behind an asset reference of the game document. References take three forms:
//   "local:<file>"      a file of the project's local assets (setLocalAssetsDir)
//   "<file>" or a path  a file beside the game (setGameDir), in media/, or downloaded before
//   "http(s)://..."     a downloaded file, kept in the asset cache under its file name
// Each folder is searched as it is and in its subfolder for the kind ("textures", "models",
// "sounds"), so media/textures/grass.png answers "grass.png". An absolute path that exists is
// taken as it is. No window needed; main thread only.
#include <string>
#include <vector>

namespace Lumenda3D {

class LmdAssetResolver {
public:
    enum class Kind { Texture, Model, Sound, Any };

    static constexpr const char* kLocalPrefix = "local:";

    LmdAssetResolver();

    // The project's local assets folder ("" when the project has none).
    void setLocalAssetsDir(const std::string& dir) { mLocalDir = dir; }
    const std::string& getLocalAssetsDir() const { return mLocalDir; }
    // The folder of the game file (the player's game, a template), searched first for plain names.
    void setGameDir(const std::string& dir) { mGameDir = dir; }
    const std::string& getGameDir() const { return mGameDir; }
    // Media and asset cache folders (defaults: LmdPaths::mediaDir() and LmdPaths::cacheDir()/assets).
    void setMediaDir(const std::string& dir) { mMediaDir = dir; }
    void setCacheDir(const std::string& dir) { mCacheDir = dir; }
    const std::string& getCacheDir() const { return mCacheDir; }

    // The file's absolute path, or "" when it is nowhere to be found.
    std::string resolve(const std::string& reference, Kind kind) const;
    // The folders searched for a reference, in order (for messages and tests).
    std::vector<std::string> searchFolders(const std::string& reference, Kind kind) const;

    static bool isLocalReference(const std::string& reference);
    static bool isUrl(const std::string& reference);
    // The file name part of a reference ("local:a/b.png" -> "b.png", a URL's last path part
    // without its query).
    static std::string fileNameOf(const std::string& reference);
    static const char* subfolderOf(Kind kind);

private:
    std::string mLocalDir;
    std::string mGameDir;
    std::string mMediaDir;
    std::string mCacheDir;
};

} // namespace Lumenda3D
