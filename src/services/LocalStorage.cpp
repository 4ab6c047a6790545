#include "services/LocalStorage.h"

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "base/LmdValueParser.h"
#include "services/FileManager.h"
#include "services/LmdAssetFormats.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

constexpr const char* kAssetsFolder = "local-assets";

// Code points of a UTF-8 text, or -1 when the text is not well-formed UTF-8 (overlong forms,
// surrogates and values above U+10FFFF count as malformed).
long utf8Length(const std::string& text) {
    long count = 0;
    size_t i = 0;
    while (i < text.size()) {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        size_t extra = 0;
        unsigned long cp = 0;
        if (lead < 0x80) {
            cp = lead;
        } else if ((lead & 0xE0) == 0xC0) {
            extra = 1;
            cp = lead & 0x1F;
        } else if ((lead & 0xF0) == 0xE0) {
            extra = 2;
            cp = lead & 0x0F;
        } else if ((lead & 0xF8) == 0xF0) {
            extra = 3;
            cp = lead & 0x07;
        } else {
            return -1;
        }
        if (i + extra >= text.size() && extra > 0)
            return -1;
        for (size_t k = 1; k <= extra; ++k) {
            const unsigned char next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80)
                return -1;
            cp = (cp << 6) | (next & 0x3F);
        }
        static const unsigned long kMinimum[] = {0, 0x80, 0x800, 0x10000};
        if (cp < kMinimum[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            return -1;
        i += extra + 1;
        ++count;
    }
    return count;
}

bool isReservedDeviceName(const std::string& name) {
    std::string stem = name.substr(0, name.find('.'));
    for (char& c : stem)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    static const char* kReserved[] = {"CON", "PRN", "AUX", "NUL"};
    for (const char* reserved : kReserved)
        if (stem == reserved)
            return true;
    return stem.size() == 4 && (stem.rfind("COM", 0) == 0 || stem.rfind("LPT", 0) == 0) && stem[3] >= '1' &&
           stem[3] <= '9';
}

// The rule shared by project and asset names: a single portable file name.
bool isValidFileName(const std::string& name, size_t maxLength) {
    const long length = utf8Length(name);
    if (length <= 0 || static_cast<size_t>(length) > maxLength)
        return false;
    for (const char c : name) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7F)
            return false;
        if (std::string("/\\<>:\"|?*").find(c) != std::string::npos)
            return false;
    }
    const char first = name.front();
    const char last = name.back();
    if (first == ' ' || first == '.' || last == ' ' || last == '.')
        return false;
    return !isReservedDeviceName(name);
}

std::string lowerExtension(const std::string& fileName) {
    return LmdValueParser::toLower(fs::path(fileName).extension().string());
}

std::string joinExtensions(const std::vector<std::string>& extensions) {
    std::string text;
    for (const std::string& ext : extensions)
        text += (text.empty() ? "" : ", ") + ext;
    return text;
}

bool readBytes(const std::string& path, std::vector<unsigned char>& bytes) {
    std::string data;
    if (!FileManager::readFile(path, data))
        return false;
    bytes.assign(data.begin(), data.end());
    return true;
}

// Checks that sourcePath names a readable regular file and reads it; otherwise says why.
bool readSourceFile(const std::string& sourcePath, std::string& data, std::string& error) {
    std::error_code ec;
    const fs::file_status status = fs::status(sourcePath, ec);
    if (sourcePath.empty() || ec || !fs::exists(status)) {
        error = "File not found: " + sourcePath;
        return false;
    }
    if (fs::is_directory(status)) {
        error = "'" + sourcePath + "' is a folder — pass the path of a file.";
        return false;
    }
    if (!fs::is_regular_file(status)) {
        error = "'" + sourcePath + "' is not a regular file — pass the path of an ordinary file.";
        return false;
    }
    if (!std::ifstream(sourcePath, std::ios::binary) || !FileManager::readFile(sourcePath, data)) {
        error = "Cannot read " + sourcePath + " — check that the file is readable.";
        return false;
    }
    return true;
}

std::string unknownTypeMessage(const std::string& type) {
    return "Unknown asset type '" + type + "' — use models, textures or sounds.";
}

std::string invalidAssetNameMessage(const std::string& name) {
    return "Invalid asset name '" + name +
           "' — use a plain file name of at most 128 characters, without folders, control characters or "
           "any of \\ / < > : \" | ? *, not beginning or ending with a space or a dot.";
}

std::string assetPath(const std::string& type, const std::string& name) {
    return (fs::path(LocalStorage::localAssetsDir()) / type / name).string();
}

} // namespace

// --- Projects ------------------------------------------------------------------------------------

bool LocalStorage::isValidProjectName(const std::string& name) {
    return isValidFileName(name, kMaxProjectNameLength);
}

std::string LocalStorage::projectDir(const std::string& name) {
    return (fs::path(LmdPaths::projectsDir()) / name).string();
}

bool LocalStorage::writeProjectXml(const std::string& name, const std::string& xml, std::string* error) {
    std::string reason;
    if (!isValidProjectName(name)) {
        reason = "invalid project name '" + name + "'";
    } else if (FileManager::writeFileAtomic((fs::path(projectDir(name)) / kProjectFile).string(), xml, &reason)) {
        return true;
    }
    LmdLog::message("Local save of project '" + name + "' failed: " + reason);
    if (error)
        *error = reason;
    return false;
}

bool LocalStorage::writeProjectThumbnail(const std::string& name, const std::vector<unsigned char>& image) {
    if (!isValidProjectName(name) || image.empty())
        return false;
    std::string reason;
    const std::string data(image.begin(), image.end());
    if (FileManager::writeFileAtomic((fs::path(projectDir(name)) / kThumbnailFile).string(), data, &reason))
        return true;
    LmdLog::message("Thumbnail of project '" + name + "' not written: " + reason);
    return false;
}

bool LocalStorage::readProjectXml(const std::string& name, std::string& xml) {
    if (!isValidProjectName(name))
        return false;
    return FileManager::readFile((fs::path(projectDir(name)) / kProjectFile).string(), xml);
}

std::vector<std::string> LocalStorage::listProjects() {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(LmdPaths::projectsDir(), ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (it->is_directory(ec) && isValidProjectName(name) &&
            FileManager::fileExists((it->path() / kProjectFile).string()))
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// --- Local assets ----------------------------------------------------------------------------------

std::string LocalStorage::localAssetsDir() {
    return (fs::path(LmdPaths::dataDir()) / kAssetsFolder).string();
}

bool LocalStorage::isValidAssetType(const std::string& type) {
    return !allowedExtensions(type).empty();
}

const std::vector<std::string>& LocalStorage::allowedExtensions(const std::string& type) {
    static const std::map<std::string, std::vector<std::string>> kAllowed = {
        {"textures", {".png", ".jpg", ".jpeg", ".gif", ".bmp", ".tga"}},
        {"models",
         {".obj", ".awd", ".gltf", ".glb", ".3ds", ".md5mesh", ".dae", ".fbx", ".blend", ".mesh", ".md5anim"}},
        {"sounds", {".wav", ".mp3", ".ogg", ".flac"}},
    };
    static const std::vector<std::string> kNone;
    const auto found = kAllowed.find(type);
    return found == kAllowed.end() ? kNone : found->second;
}

bool LocalStorage::hasAllowedExtension(const std::string& type, const std::string& fileName) {
    const std::vector<std::string>& allowed = allowedExtensions(type);
    return std::find(allowed.begin(), allowed.end(), lowerExtension(fileName)) != allowed.end();
}

bool LocalStorage::isValidAssetName(const std::string& name) {
    return isValidFileName(name, kMaxAssetNameLength);
}

std::string LocalStorage::importAsset(const std::string& sourcePath, const std::string& type, const std::string& name,
                                      bool overwrite, std::string& error) {
    if (!isValidAssetType(type)) {
        error = unknownTypeMessage(type);
        return std::string();
    }
    const std::string target = name.empty() ? fs::path(sourcePath).filename().string() : name;
    if (!isValidAssetName(target)) {
        error = invalidAssetNameMessage(target);
        return std::string();
    }
    if (!hasAllowedExtension(type, target)) {
        error = "'" + target + "' does not have a file type allowed for " + type + " — use one of " +
                joinExtensions(allowedExtensions(type)) + ".";
        return std::string();
    }
    std::string data;
    if (!readSourceFile(sourcePath, data, error))
        return std::string();
    // The contents must be what the name says: nothing unreadable enters the store.
    const std::string fault = LmdAssetFormats::check(type, target, data);
    if (!fault.empty()) {
        error = fault;
        return std::string();
    }
    const std::string path = assetPath(type, target);
    std::error_code ec;
    if (fs::exists(path, ec) && !overwrite) {
        error = "An asset named '" + target + "' already exists — pass overwrite:true to replace it.";
        return std::string();
    }
    std::string reason;
    if (!FileManager::writeFileAtomic(path, data, &reason)) {
        error = "Could not store '" + target + "' in the local assets: " + reason + ".";
        return std::string();
    }
    return target;
}

bool LocalStorage::importThumbnailFromPath(const std::string& type, const std::string& name,
                                           const std::string& thumbnailPath, std::string& error) {
    const std::string path = getAssetThumbnailFilePath(type, name);
    if (path.empty()) {
        error = isValidAssetType(type) ? invalidAssetNameMessage(name) : unknownTypeMessage(type);
        return false;
    }
    if (!FileManager::fileExists(assetPath(type, name))) {
        error = "No local asset named '" + name + "' in " + type + " — import the asset before its thumbnail.";
        return false;
    }
    if (!hasAllowedExtension("textures", thumbnailPath)) {
        error = "The thumbnail '" + thumbnailPath + "' is not an image — use one of " +
                joinExtensions(allowedExtensions("textures")) + ".";
        return false;
    }
    std::string data;
    if (!readSourceFile(thumbnailPath, data, error))
        return false;
    std::string reason;
    if (!FileManager::writeFileAtomic(path, data, &reason)) {
        error = "Could not store the thumbnail of '" + name + "': " + reason + ".";
        return false;
    }
    return true;
}

std::vector<std::string> LocalStorage::listLocalAssets(const std::string& type) {
    std::vector<std::string> names;
    if (!isValidAssetType(type))
        return names;
    std::error_code ec;
    const fs::path dir = fs::path(localAssetsDir()) / type;
    for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        // Hidden files are left out: they include the temporaries of writes in progress.
        if (it->is_regular_file(ec) && !name.empty() && name.front() != '.')
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool LocalStorage::readLocalAsset(const std::string& type, const std::string& name, std::vector<unsigned char>& bytes) {
    if (!isValidAssetType(type) || !isValidAssetName(name))
        return false;
    return readBytes(assetPath(type, name), bytes);
}

bool LocalStorage::readLocalAssetThumbnail(const std::string& type, const std::string& name,
                                           std::vector<unsigned char>& bytes) {
    const std::string path = getAssetThumbnailFilePath(type, name);
    return !path.empty() && readBytes(path, bytes);
}

std::string LocalStorage::getAssetThumbnailFilePath(const std::string& type, const std::string& name) {
    if (!isValidAssetType(type) || !isValidAssetName(name))
        return std::string();
    return (fs::path(localAssetsDir()) / type / kThumbsFolder / (name + ".jpg")).string();
}

bool LocalStorage::deleteLocalAsset(const std::string& type, const std::string& name, std::string& error) {
    if (!isValidAssetType(type)) {
        error = unknownTypeMessage(type);
        return false;
    }
    if (!isValidAssetName(name)) {
        error = invalidAssetNameMessage(name);
        return false;
    }
    const std::string path = assetPath(type, name);
    if (!FileManager::fileExists(path)) {
        error = "No local asset named '" + name + "' in " + type + ".";
        return false;
    }
    if (!FileManager::removeFile(path)) {
        error = "Could not delete the local asset '" + name + "' — check the permissions of " + path + ".";
        return false;
    }
    // A thumbnail without its asset is of no use; one that cannot be removed does no harm.
    FileManager::removeFile(getAssetThumbnailFilePath(type, name));
    return true;
}

} // namespace Lumenda3D
