#include "ProjectStore.h"

namespace Lumenda3D::Cloud {
namespace {

const char* kInfoColumns =
    "r.id, r.owner_id, u.username, r.name, r.resource_type, r.description, r.category_id, r.view_source, "
    "r.published, r.published_revision, r.published_at, r.revision, r.size, r.created_at, r.updated_at";
const char* kInfoFrom = " FROM resources r JOIN users u ON u.id = r.owner_id ";

SqlValue optionalBlob(const std::optional<std::string>& bytes) {
    return bytes ? SqlValue(SqlBlob{*bytes}) : SqlValue(std::monostate{});
}

} // namespace

ResourceInfo ProjectStore::infoFrom(const SqlRow& row) {
    ResourceInfo r;
    r.id = row.integer(0);
    r.ownerId = row.integer(1);
    r.ownerName = row.text(2);
    r.name = row.text(3);
    r.type = row.text(4);
    r.description = row.text(5);
    r.categoryId = row.text(6);
    r.viewSource = row.boolean(7);
    r.published = row.boolean(8);
    r.publishedRevision = row.integer(9);
    r.publishedAt = row.integer(10);
    r.revision = row.integer(11);
    r.size = row.integer(12);
    r.createdAt = row.integer(13);
    r.updatedAt = row.integer(14);
    return r;
}

std::int64_t ProjectStore::create(std::int64_t ownerId, const std::string& name, const std::string& type,
                                  const std::string& xml, const std::optional<std::string>& thumbnail,
                                  std::int64_t now) {
    return db_.write([&](Transaction& tx) {
        const auto size = static_cast<std::int64_t>(xml.size());
        auto row = tx.one("INSERT INTO resources (owner_id, name, resource_type, revision, size, created_at, "
                          "updated_at, thumbnail) VALUES (?, ?, ?, 1, ?, ?, ?, ?) RETURNING id",
                          {ownerId, name, type, size, now, now, optionalBlob(thumbnail)});
        const std::int64_t id = row->integer(0);
        tx.query("INSERT INTO revisions (resource_id, revision, size, created_at, xml) VALUES (?, 1, ?, ?, ?)",
                 {id, size, now, xml});
        return id;
    });
}

ProjectStore::SaveResult ProjectStore::saveIn(Transaction& tx, std::int64_t ownerId, std::int64_t id,
                                              const ResourceChanges& c, std::int64_t now) {
    SaveResult result;
    // The UPDATE takes the row's lock, which puts concurrent saves of one project in a line.
    const SqlValue base = c.baseRevision ? SqlValue(*c.baseRevision) : SqlValue(std::monostate{});
    auto current = tx.one("UPDATE resources SET updated_at = ? WHERE id = ? AND owner_id = ? AND "
                          "revision = COALESCE(CAST(? AS BIGINT), revision) RETURNING revision",
                          {now, id, ownerId, base});
    if (!current) {
        auto other = tx.one("SELECT revision FROM resources WHERE id = ? AND owner_id = ?", {id, ownerId});
        if (other) {
            result.outcome = Outcome::Conflict;
            result.revision = other->integer(0);
        }
        return result;
    }
    result.revision = current->integer(0);
    if (c.name)
        tx.query("UPDATE resources SET name = ? WHERE id = ?", {*c.name, id});
    if (c.type)
        tx.query("UPDATE resources SET resource_type = ? WHERE id = ?", {*c.type, id});
    if (c.thumbnail)
        tx.query("UPDATE resources SET thumbnail = ? WHERE id = ?", {SqlBlob{*c.thumbnail}, id});
    if (c.xml) {
        const auto size = static_cast<std::int64_t>(c.xml->size());
        ++result.revision;
        tx.query("UPDATE resources SET revision = ?, size = ? WHERE id = ?", {result.revision, size, id});
        tx.query("INSERT INTO revisions (resource_id, revision, size, created_at, xml) VALUES (?, ?, ?, ?, ?)",
                 {id, result.revision, size, now, *c.xml});
        // The published revision is kept whatever its age: the public page points at it.
        tx.query("DELETE FROM revisions WHERE resource_id = ? AND revision <= ? AND revision <> "
                 "COALESCE((SELECT published_revision FROM resources WHERE id = ?), 0)",
                 {id, result.revision - keep_, id});
    }
    result.outcome = Outcome::Done;
    return result;
}

ProjectStore::SaveResult ProjectStore::save(std::int64_t ownerId, std::int64_t id, const ResourceChanges& changes,
                                            std::int64_t now) {
    return db_.write([&](Transaction& tx) {
        return saveIn(tx, ownerId, id, changes, now);
    });
}

ProjectStore::SaveResult ProjectStore::publish(std::int64_t ownerId, std::int64_t id, const PublishChanges& p,
                                               std::int64_t now) {
    return db_.write([&](Transaction& tx) {
        SaveResult r = saveIn(tx, ownerId, id, p.save, now);
        if (r.outcome != Outcome::Done)
            return r;
        tx.query("UPDATE resources SET published = 1, published_revision = ?, published_at = ?, description = ?, "
                 "category_id = ?, view_source = ?, assets = ? WHERE id = ?",
                 {r.revision, now, p.description, p.categoryId, std::int64_t(p.viewSource ? 1 : 0), p.assets, id});
        return r;
    });
}

bool ProjectStore::unpublish(std::int64_t ownerId, std::int64_t id, std::int64_t now) {
    return db_.write([&](Transaction& tx) {
        return tx.one("UPDATE resources SET published = 0, published_revision = NULL, updated_at = ? WHERE id = ? AND "
                      "owner_id = ? RETURNING id",
                      {now, id, ownerId})
            .has_value();
    });
}

bool ProjectStore::remove(std::int64_t ownerId, std::int64_t id) {
    return db_.write([&](Transaction& tx) {
        tx.query("DELETE FROM revisions WHERE resource_id IN (SELECT id FROM resources WHERE id = ? AND owner_id = ?)",
                 {id, ownerId});
        return tx.one("DELETE FROM resources WHERE id = ? AND owner_id = ? RETURNING id", {id, ownerId}).has_value();
    });
}

std::optional<ResourceInfo> ProjectStore::info(std::int64_t id) {
    return db_.read([&](Transaction& tx) -> std::optional<ResourceInfo> {
        auto row = tx.one(std::string("SELECT ") + kInfoColumns + kInfoFrom + "WHERE r.id = ?", {id});
        if (!row)
            return std::nullopt;
        return infoFrom(*row);
    });
}

std::optional<std::string> ProjectStore::document(std::int64_t id, std::int64_t revision) {
    return db_.read([&](Transaction& tx) -> std::optional<std::string> {
        auto row = tx.one("SELECT xml FROM revisions WHERE resource_id = ? AND revision = ?", {id, revision});
        if (!row)
            return std::nullopt;
        return row->text(0);
    });
}

std::optional<std::string> ProjectStore::thumbnail(std::int64_t id) {
    return db_.read([&](Transaction& tx) -> std::optional<std::string> {
        auto row = tx.one("SELECT thumbnail FROM resources WHERE id = ?", {id});
        if (!row || row->isNull(0))
            return std::nullopt;
        return row->bytes(0);
    });
}

std::vector<ResourceInfo> ProjectStore::listOwned(std::int64_t ownerId, std::int64_t offset, std::int64_t limit,
                                                  std::int64_t& total) {
    return db_.read([&](Transaction& tx) {
        total = tx.one("SELECT COUNT(*) FROM resources WHERE owner_id = ?", {ownerId})->integer(0);
        std::vector<ResourceInfo> out;
        for (const SqlRow& row : tx.query(std::string("SELECT ") + kInfoColumns + kInfoFrom +
                                              "WHERE r.owner_id = ? ORDER BY r.updated_at DESC, r.id DESC LIMIT ? OFFSET ?",
                                          {ownerId, limit, offset}))
            out.push_back(infoFrom(row));
        return out;
    });
}

std::vector<ResourceInfo> ProjectStore::listPublished(std::int64_t offset, std::int64_t limit, std::int64_t& total) {
    return db_.read([&](Transaction& tx) {
        total = tx.one("SELECT COUNT(*) FROM resources WHERE published = 1")->integer(0);
        std::vector<ResourceInfo> out;
        for (const SqlRow& row :
             tx.query(std::string("SELECT ") + kInfoColumns + kInfoFrom +
                          "WHERE r.published = 1 ORDER BY r.published_at DESC, r.id DESC LIMIT ? OFFSET ?",
                      {limit, offset}))
            out.push_back(infoFrom(row));
        return out;
    });
}

std::vector<RevisionInfo> ProjectStore::revisions(std::int64_t id) {
    return db_.read([&](Transaction& tx) {
        std::vector<RevisionInfo> out;
        for (const SqlRow& row : tx.query(
                 "SELECT revision, size, created_at FROM revisions WHERE resource_id = ? ORDER BY revision DESC", {id}))
            out.push_back({row.integer(0), row.integer(1), row.integer(2)});
        return out;
    });
}

} // namespace Lumenda3D::Cloud
