#pragma once
// Asset files (textures, models, sounds) with their thumbnails: the public catalogue (owner 0)
// and every user's own uploads. A user's uploads count against the user's quota; the count moves
// in the same transaction as the file, so two uploads at once cannot pass the quota together.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Database.h"

namespace Lumenda3D::Cloud {

class AssetStore {
public:
    static constexpr std::int64_t kPublic = 0;

    explicit AssetStore(Database& db) : db_(db) {}

    struct Upload {
        std::int64_t ownerId = kPublic;
        std::string type;
        std::string name;
        std::string data;
        std::optional<std::string> thumbnail;
    };
    enum class Outcome { Stored, QuotaExceeded };
    // Adds the file or replaces the one of the same name. `quotaBytes` -1 means unlimited; the
    // public catalogue has no quota.
    Outcome put(const Upload& upload, std::int64_t quotaBytes, std::int64_t now);
    bool remove(std::int64_t ownerId, const std::string& type, const std::string& name);

    std::vector<std::string> names(std::int64_t ownerId, const std::string& type);
    std::optional<std::string> data(std::int64_t ownerId, const std::string& type, const std::string& name);
    // The thumbnail of the newest asset with this name stem ("tree" for "tree.png").
    std::optional<std::string> thumbnail(std::int64_t ownerId, const std::string& type, const std::string& stem);
    // Bytes in use by a user's uploads.
    std::int64_t used(std::int64_t ownerId);

private:
    Database& db_;
};

} // namespace Lumenda3D::Cloud
