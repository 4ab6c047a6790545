#include "services/DataPersist.h"

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "services/FileManager.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

const char* const kEntrySuffix = ".txt";

bool isPlainByte(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

std::string escapePart(const std::string& part) {
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(part.size());
    for (unsigned char c : part) {
        if (isPlainByte(c)) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 0x0F];
        }
    }
    return out;
}

// The entry's path relative to the config folder; false when the key is refused (with the reason).
bool relativeEntryPath(const std::string& key, fs::path& relative, std::string& reason) {
    if (key.empty()) {
        reason = "the key is empty";
        return false;
    }
    if (key.find('\0') != std::string::npos) {
        reason = "the key contains a NUL byte";
        return false;
    }
    if (key.front() == '/') {
        reason = "the key is an absolute path";
        return false;
    }
    relative.clear();
    size_t start = 0;
    while (true) {
        const size_t slash = key.find('/', start);
        const std::string part = key.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (part.empty()) {
            reason = "the key has an empty part";
            return false;
        }
        if (part == "." || part == "..") {
            reason = "the key has a '" + part + "' part";
            return false;
        }
        if (slash == std::string::npos) {
            relative /= escapePart(part) + kEntrySuffix;
            return true;
        }
        relative /= escapePart(part);
        start = slash + 1;
    }
}

} // namespace

std::string DataPersist::entryPath(const std::string& key) {
    try {
        fs::path relative;
        std::string reason;
        if (!relativeEntryPath(key, relative, reason))
            return std::string();
        return (fs::path(LmdPaths::configDir()) / relative).string();
    } catch (const std::exception&) {
        return std::string();
    }
}

bool DataPersist::LoadPersistText(const std::string& key, std::string& text) {
    try {
        fs::path relative;
        std::string reason;
        if (!relativeEntryPath(key, relative, reason)) {
            LmdLog::message("Cannot load persisted entry '" + key + "': " + reason + ".");
            return false;
        }
        const std::string path = (fs::path(LmdPaths::configDir()) / relative).string();
        std::error_code ec;
        // A missing entry is the normal case before the first save and is not worth a line.
        if (!fs::exists(path, ec))
            return false;
        if (!fs::is_regular_file(path, ec)) {
            LmdLog::message("Cannot load persisted entry '" + key + "': '" + path + "' is not a file.");
            return false;
        }
        std::string data;
        std::string error;
        if (!FileManager::readFile(path, data, &error)) {
            LmdLog::message("Cannot load persisted entry '" + key + "': " + error + ".");
            return false;
        }
        text.swap(data);
        return true;
    } catch (const std::exception& e) {
        LmdLog::message("Cannot load persisted entry '" + key + "': " + e.what() + ".");
        return false;
    }
}

bool DataPersist::SavePersistText(const std::string& key, const std::string& text) {
    try {
        fs::path relative;
        std::string reason;
        if (!relativeEntryPath(key, relative, reason)) {
            LmdLog::message("Cannot save persisted entry '" + key + "': " + reason + ".");
            return false;
        }
        const std::string path = (fs::path(LmdPaths::configDir()) / relative).string();
        std::string error;
        if (!FileManager::writeFileAtomic(path, text, &error, true)) {
            LmdLog::message("Cannot save persisted entry '" + key + "': " + error + ".");
            return false;
        }
        return true;
    } catch (const std::exception& e) {
        LmdLog::message("Cannot save persisted entry '" + key + "': " + e.what() + ".");
        return false;
    }
}

bool DataPersist::ClearAllPersistData(const std::vector<std::string>& keep) {
    std::error_code ec;
    const fs::path root = LmdPaths::configDir();
    if (!fs::is_directory(root, ec))
        return true;
    std::vector<fs::path> kept;
    for (const std::string& key : keep)
        if (const std::string path = entryPath(key); !path.empty())
            kept.push_back(fs::path(path).lexically_normal());
    bool allGone = true;
    std::vector<fs::path> folders;
    for (fs::recursive_directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec)) {
        const fs::path path = it->path().lexically_normal();
        if (it->is_directory(ec)) {
            folders.push_back(path);
            continue;
        }
        if (std::find(kept.begin(), kept.end(), path) != kept.end())
            continue;
        std::error_code removeError;
        if (!fs::remove(path, removeError) && removeError) {
            LmdLog::message("Cannot delete persisted entry '" + path.string() + "': " + removeError.message() + ".");
            allGone = false;
        }
    }
    if (ec) {
        LmdLog::message("Cannot list the persisted entries in '" + root.string() + "': " + ec.message() + ".");
        allGone = false;
    }
    // Deepest first, so that a folder is empty when its turn comes; folders with kept entries stay.
    for (auto it = folders.rbegin(); it != folders.rend(); ++it) {
        std::error_code removeError;
        if (fs::is_empty(*it, removeError))
            fs::remove(*it, removeError);
    }
    return allGone;
}

} // namespace Lumenda3D
