#pragma once
// Projects ("resources") with their revisions and their published state. Every save adds a
// revision in the same transaction that moves the project to it, so a save that dies half way
// leaves the project at its previous revision. The oldest revisions beyond a kept number go.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Database.h"

namespace Lumenda3D::Cloud {

struct ResourceInfo {
    std::int64_t id = 0;
    std::int64_t ownerId = 0;
    std::string ownerName;
    std::string name;
    std::string type;
    std::string description;
    std::string categoryId;
    bool viewSource = true;
    bool published = false;
    std::int64_t publishedRevision = 0;
    std::int64_t publishedAt = 0;
    std::int64_t revision = 0;
    std::int64_t size = 0;
    std::int64_t createdAt = 0;
    std::int64_t updatedAt = 0;
};

struct RevisionInfo {
    std::int64_t revision = 0;
    std::int64_t size = 0;
    std::int64_t createdAt = 0;
};

// What a save changes; a field left empty stays as it is.
struct ResourceChanges {
    std::optional<std::string> xml;
    std::optional<std::string> name;
    std::optional<std::string> type;
    std::optional<std::string> thumbnail;
    std::optional<std::int64_t> baseRevision;   // refuse the save when the project moved on since
};

struct PublishChanges {
    std::string description;
    std::string categoryId;
    bool viewSource = true;
    std::string assets;
    ResourceChanges save;   // the document and thumbnail of the moment of publishing
};

class ProjectStore {
public:
    ProjectStore(Database& db, int keepRevisions) : db_(db), keep_(keepRevisions < 1 ? 1 : keepRevisions) {}

    std::int64_t create(std::int64_t ownerId, const std::string& name, const std::string& type, const std::string& xml,
                        const std::optional<std::string>& thumbnail, std::int64_t now);

    enum class Outcome { Done, NotFound, Conflict };
    struct SaveResult {
        Outcome outcome = Outcome::NotFound;
        std::int64_t revision = 0;
    };
    // Only the owner's projects are found.
    SaveResult save(std::int64_t ownerId, std::int64_t id, const ResourceChanges& changes, std::int64_t now);
    SaveResult publish(std::int64_t ownerId, std::int64_t id, const PublishChanges& changes, std::int64_t now);
    bool unpublish(std::int64_t ownerId, std::int64_t id, std::int64_t now);
    bool remove(std::int64_t ownerId, std::int64_t id);

    std::optional<ResourceInfo> info(std::int64_t id);
    std::optional<std::string> document(std::int64_t id, std::int64_t revision);
    std::optional<std::string> thumbnail(std::int64_t id);
    std::vector<ResourceInfo> listOwned(std::int64_t ownerId, std::int64_t offset, std::int64_t limit,
                                        std::int64_t& total);
    std::vector<ResourceInfo> listPublished(std::int64_t offset, std::int64_t limit, std::int64_t& total);
    std::vector<RevisionInfo> revisions(std::int64_t id);

private:
    SaveResult saveIn(Transaction& tx, std::int64_t ownerId, std::int64_t id, const ResourceChanges& changes,
                      std::int64_t now);
    static ResourceInfo infoFrom(const SqlRow& row);
    Database& db_;
    int keep_;
};

} // namespace Lumenda3D::Cloud
