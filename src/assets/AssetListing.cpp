#include "assets/AssetListing.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

namespace Lumenda3D {

using json = nlohmann::json;

namespace {

std::vector<std::string> sortedStrings(const json& list) {
    std::vector<std::string> names;
    if (list.is_array())
        for (const json& item : list)
            if (item.is_string())
                names.push_back(item.get<std::string>());
    std::sort(names.begin(), names.end());
    return names;
}

double megabytes(const json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number())
        return 0.0;
    const double value = found->get<double>();
    return std::isfinite(value) ? value : 0.0;
}

} // namespace

void AssetListing::parseStorageBlock(const json& answer, AssetListing& listing) {
    const auto storage = answer.find("storage");
    if (storage == answer.end() || !storage->is_object())
        return;
    listing.storageKnown = true;
    const auto unlimited = storage->find("unlimited");
    listing.storageUnlimited = unlimited != storage->end() && unlimited->is_boolean() && unlimited->get<bool>();
    listing.storageUsedMb = megabytes(*storage, "used_mb");
    listing.storageQuotaMb = megabytes(*storage, "quota_mb");
}

AssetListing AssetListing::parse(const std::string& listKey, const std::string& myListKey, const std::string& body) {
    AssetListing listing;
    json answer;
    try {
        answer = json::parse(body);
    } catch (const json::exception& e) {
        listing.error = e.what();
        return listing;
    }
    if (!answer.is_object()) {
        listing.error = "the answer is not a JSON object";
        return listing;
    }
    listing.catalog = sortedStrings(answer.value(listKey, json()));
    listing.mine = sortedStrings(answer.value(myListKey, json()));
    const json user = answer.value("username", json());
    listing.username = user.is_string() ? user.get<std::string>() : "";
    parseStorageBlock(answer, listing);
    listing.ok = true;
    return listing;
}

} // namespace Lumenda3D
