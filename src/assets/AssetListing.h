#pragma once
// The assets endpoint's list answer, read: the public catalogue, the user's own uploads, the
// user's folder and the storage block (docs/cloud-api.md, "Assets"). Lenient where the server
// may grow (entries that are not strings are skipped, a missing value counts as false or 0),
// strict where it must be: an answer that is not a JSON object is not a list.
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace Lumenda3D {

struct AssetListing {
    bool ok = false;
    std::string error;                 // why the answer is not a list, when !ok
    std::vector<std::string> catalog;  // the public catalogue, sorted
    std::vector<std::string> mine;     // the user's uploads, sorted
    std::string username;
    bool storageKnown = false;         // only when "storage" is an object
    bool storageUnlimited = false;
    double storageUsedMb = 0.0;
    double storageQuotaMb = 0.0;

    // `listKey` ("textures") and `myListKey` ("my_textures") name the two lists.
    static AssetListing parse(const std::string& listKey, const std::string& myListKey, const std::string& body);
    // Reads "storage" of an answer.
    static void parseStorageBlock(const nlohmann::json& answer, AssetListing& listing);
};

} // namespace Lumenda3D
