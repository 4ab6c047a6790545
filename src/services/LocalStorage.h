#pragma once
// The local store under the data root: projects and the local-assets sandbox.
//
// Projects: LmdPaths::projectsDir()/<name>/src.xml and thumbnail.jpg, one folder per project.
//
// Local assets: one sandbox per data root, LmdPaths::dataDir()/local-assets/<type>/<file>, with
// <type> one of "models", "textures", "sounds", and an optional thumbnail of each asset at
// <type>/thumbs/<file>.jpg. The sandbox is shared by every project on this machine, so
// "local:<file>" names the same file in every local project and also works in a project that was
// never saved.
//
// Every write is atomic (FileManager::writeFileAtomic). Names are checked before they reach the
// file system, so no name can lead outside the store. The texts of refusals are whole sentences
// meant for the person or agent that asked: they name the problem and what to do about it.
// Stateless; the folders are looked up afresh on every call ($LUMENDA3D_HOME may change in tests).
#include <string>
#include <vector>

namespace Lumenda3D {

class LocalStorage {
public:
    static constexpr const char* kProjectFile = "src.xml";
    static constexpr const char* kThumbnailFile = "thumbnail.jpg";
    static constexpr const char* kThumbsFolder = "thumbs";
    static constexpr size_t kMaxProjectNameLength = 64;
    static constexpr size_t kMaxAssetNameLength = 128;

    // Local storage exists in this build.
    static bool isFeatureAvailable() { return true; }

    // --- Projects ------------------------------------------------------------------------------
    // A project name is valid when it
    //   - is valid UTF-8 of 1 to 64 characters (code points),
    //   - has no control character (U+0000-U+001F, U+007F),
    //   - has none of / \ < > : " | ? * (separators, and what Windows refuses in file names),
    //   - neither begins nor ends with a space or a dot (this excludes ".", "..", hidden folders
    //     and names made only of spaces),
    //   - is not a name Windows reserves for devices (CON, PRN, AUX, NUL, COM1-9, LPT1-9, in any
    //     case, also with an extension).
    // Letters of any script, digits, inner spaces and other punctuation are fine.
    static bool isValidProjectName(const std::string& name);

    static std::string projectDir(const std::string& name);
    // Writes the document of project `name`, creating the project when new. False (with the
    // reason in `error` when given, and in the log) for an invalid name or a failed write; the
    // previous document then stays as it was.
    static bool writeProjectXml(const std::string& name, const std::string& xml, std::string* error = nullptr);
    // Writes the project's thumbnail (JPEG bytes); false for an invalid name, empty bytes or a
    // failed write.
    static bool writeProjectThumbnail(const std::string& name, const std::vector<unsigned char>& image);
    // The stored document; false when the name is invalid or the project has none.
    static bool readProjectXml(const std::string& name, std::string& xml);
    // Names of the project folders that hold a document, sorted; folders whose names are not
    // valid project names are left out.
    static std::vector<std::string> listProjects();

    // --- Local assets ----------------------------------------------------------------------------
    static std::string localAssetsDir();
    // "models", "textures" or "sounds".
    static bool isValidAssetType(const std::string& type);
    // The extensions (lower case, with the dot) a type accepts; empty for an unknown type.
    static const std::vector<std::string>& allowedExtensions(const std::string& type);
    // Whether the file name's extension, in any case, is one the type accepts.
    static bool hasAllowedExtension(const std::string& type, const std::string& fileName);
    // An asset name is a plain file name: the project name rules, up to 128 characters.
    static bool isValidAssetName(const std::string& name);

    // Copies the file at sourcePath into the sandbox as <type>/<name> (name empty: the source's
    // file name). Returns the stored name, or "" with the reason in `error`: a missing,
    // unreadable or non-regular source, an unknown type, an invalid name, an extension the type
    // does not accept, an existing asset of that name without `overwrite`, or a failed write.
    static std::string importAsset(const std::string& sourcePath, const std::string& type, const std::string& name,
                                   bool overwrite, std::string& error);
    // Copies an image file as the thumbnail of asset <type>/<name>; false with the reason in
    // `error`. The asset itself must exist.
    static bool importThumbnailFromPath(const std::string& type, const std::string& name,
                                        const std::string& thumbnailPath, std::string& error);
    // File names of one type, sorted; the thumbs folder and hidden files are not listed.
    static std::vector<std::string> listLocalAssets(const std::string& type);
    // The asset's bytes; false when the type or name is invalid or the file cannot be read.
    static bool readLocalAsset(const std::string& type, const std::string& name, std::vector<unsigned char>& bytes);
    // The thumbnail's bytes; false when there is none.
    static bool readLocalAssetThumbnail(const std::string& type, const std::string& name,
                                        std::vector<unsigned char>& bytes);
    // Where the thumbnail of an asset is (or would be) stored; "" for an invalid type or name.
    static std::string getAssetThumbnailFilePath(const std::string& type, const std::string& name);
    // Removes the asset and its thumbnail; false with the reason in `error`.
    static bool deleteLocalAsset(const std::string& type, const std::string& name, std::string& error);
};

} // namespace Lumenda3D
