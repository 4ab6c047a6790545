#include "AssetStore.h"

#include "TextRules.h"

namespace Lumenda3D::Cloud {

AssetStore::Outcome AssetStore::put(const Upload& u, std::int64_t quotaBytes, std::int64_t now) {
    return db_.write([&](Transaction& tx) {
        const auto size = static_cast<std::int64_t>(u.data.size());
        auto old = tx.one("SELECT size FROM assets WHERE owner_id = ? AND asset_type = ? AND name = ?",
                          {u.ownerId, u.type, u.name});
        const std::int64_t delta = size - (old ? old->integer(0) : 0);
        if (u.ownerId != kPublic) {
            auto counted = tx.one("UPDATE users SET storage_used = storage_used + ? WHERE id = ? AND "
                                  "(CAST(? AS BIGINT) < 0 OR storage_used + ? <= CAST(? AS BIGINT)) RETURNING id",
                                  {delta, u.ownerId, quotaBytes, delta, quotaBytes});
            if (!counted)
                return Outcome::QuotaExceeded;
        }
        const SqlValue thumb = u.thumbnail ? SqlValue(SqlBlob{*u.thumbnail}) : SqlValue(std::monostate{});
        tx.query("INSERT INTO assets (owner_id, asset_type, name, stem, size, created_at, updated_at, thumbnail, data) "
                 "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT (owner_id, asset_type, name) DO UPDATE SET "
                 "size = excluded.size, updated_at = excluded.updated_at, thumbnail = excluded.thumbnail, "
                 "data = excluded.data",
                 {u.ownerId, u.type, u.name, TextRules::stem(u.name), size, now, now, thumb, SqlBlob{u.data}});
        return Outcome::Stored;
    });
}

bool AssetStore::remove(std::int64_t ownerId, const std::string& type, const std::string& name) {
    return db_.write([&](Transaction& tx) {
        auto row = tx.one("DELETE FROM assets WHERE owner_id = ? AND asset_type = ? AND name = ? RETURNING size",
                          {ownerId, type, name});
        if (!row)
            return false;
        if (ownerId != kPublic)
            tx.query("UPDATE users SET storage_used = storage_used - ? WHERE id = ?", {row->integer(0), ownerId});
        return true;
    });
}

std::vector<std::string> AssetStore::names(std::int64_t ownerId, const std::string& type) {
    return db_.read([&](Transaction& tx) {
        std::vector<std::string> out;
        for (const SqlRow& r :
             tx.query("SELECT name FROM assets WHERE owner_id = ? AND asset_type = ? ORDER BY name", {ownerId, type}))
            out.push_back(r.text(0));
        return out;
    });
}

std::optional<std::string> AssetStore::data(std::int64_t ownerId, const std::string& type, const std::string& name) {
    return db_.read([&](Transaction& tx) -> std::optional<std::string> {
        auto row = tx.one("SELECT data FROM assets WHERE owner_id = ? AND asset_type = ? AND name = ?",
                          {ownerId, type, name});
        if (!row)
            return std::nullopt;
        return row->bytes(0);
    });
}

std::optional<std::string> AssetStore::thumbnail(std::int64_t ownerId, const std::string& type,
                                                 const std::string& stem) {
    return db_.read([&](Transaction& tx) -> std::optional<std::string> {
        auto row = tx.one("SELECT thumbnail FROM assets WHERE owner_id = ? AND asset_type = ? AND stem = ? AND "
                          "thumbnail IS NOT NULL ORDER BY updated_at DESC, id DESC LIMIT 1",
                          {ownerId, type, stem});
        if (!row)
            return std::nullopt;
        return row->bytes(0);
    });
}

std::int64_t AssetStore::used(std::int64_t ownerId) {
    return db_.read([&](Transaction& tx) {
        auto row = tx.one("SELECT storage_used FROM users WHERE id = ?", {ownerId});
        return row ? row->integer(0) : 0;
    });
}

} // namespace Lumenda3D::Cloud
