#pragma once
// Gathers every asset a compiled game names (models, pictures of materials, skies and 2D
// elements, sounds) into one folder, sorted by kind: <assets>/textures, /models, /sounds, each
// under its file name. The player, given that folder as the game's, finds them whatever their
// reference was ("local:rock.png", a cloud address, or a plain catalogue name).
//
// A file found on this computer (the project's local assets, the media folder, the asset cache)
// is copied; a cloud address is downloaded; a plain name found nowhere is downloaded from the
// public catalogue at the address the resolver gives. An asset that cannot be had is a warning
// that names it, never a stop: the game is delivered without it.
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Lumenda3D {

class MyHttpClient;

struct AssetBundleInput {
    std::string compiledXmlPath;
    std::string assetsDir; // exists
    std::shared_ptr<MyHttpClient> client;
    // (asset type "textures"/"models"/"sounds", file name) -> catalogue address ("" = none).
    std::function<std::string(const std::string& type, const std::string& fileName)> resolver;
    std::string schemaPath;      // for reading the document; "" reads it without
    std::string localAssetsDir;  // "" : LocalStorage::localAssetsDir()
    std::string gameDir;         // folder of a game file whose plain names sit beside it; may be ""
    std::string mediaDir;        // "" : LmdPaths::mediaDir()
    std::string cacheDir;        // "" : the asset cache, LmdPaths::cacheDir()/assets
};

class AssetBundler {
public:
    struct Reference {
        std::string type;      // "textures", "models", "sounds"
        std::string reference; // as the document writes it
    };
    // (done, total) after each asset; done is (ok, warnings): ok false when some asset is
    // missing, warnings then names each, one per line.
    using Progress = std::function<void(int done, int total)>;
    using Done = std::function<void(bool ok, const std::string& warnings)>;

    // Every asset reference of the document, once each, in document order.
    static std::vector<Reference> referencesOf(const std::string& xml, const std::string& schemaPath);

    // Copies and downloads; `done` runs once, after the last asset (on the main thread: the HTTP
    // client's callbacks run in its pump()). Without downloads it runs before bundle returns.
    static void bundle(const AssetBundleInput& input, Progress progress, Done done);
};

} // namespace Lumenda3D
