#include "TemplateStore.h"

namespace Lumenda3D::Cloud {

void TemplateStore::put(const TemplateInfo& t, const std::string& xml, const std::optional<std::string>& picture,
                        std::int64_t now) {
    db_.write([&](Transaction& tx) {
        tx.query("INSERT INTO templates (id, name, description, category, picture_path, picture_type, sort_order, "
                 "updated_at, xml) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT (id) DO UPDATE SET "
                 "name = excluded.name, description = excluded.description, category = excluded.category, "
                 "picture_path = excluded.picture_path, sort_order = excluded.sort_order, "
                 "updated_at = excluded.updated_at, xml = excluded.xml",
                 {t.id, t.name, t.description, t.category, t.picturePath, t.pictureType, t.sortOrder, now, xml});
        if (picture)
            tx.query("UPDATE templates SET picture = ?, picture_type = ? WHERE id = ?",
                     {SqlBlob{*picture}, t.pictureType, t.id});
    });
}

bool TemplateStore::remove(const std::string& id) {
    return db_.write(
        [&](Transaction& tx) { return tx.one("DELETE FROM templates WHERE id = ? RETURNING id", {id}).has_value(); });
}

std::vector<TemplateInfo> TemplateStore::list() {
    return db_.read([&](Transaction& tx) {
        std::vector<TemplateInfo> out;
        for (const SqlRow& r : tx.query("SELECT id, name, description, category, picture_path, picture_type, "
                                        "sort_order, updated_at, CASE WHEN picture IS NULL THEN 0 ELSE 1 END "
                                        "FROM templates ORDER BY sort_order, id")) {
            TemplateInfo t;
            t.id = r.text(0);
            t.name = r.text(1);
            t.description = r.text(2);
            t.category = r.text(3);
            t.picturePath = r.text(4);
            t.pictureType = r.text(5);
            t.sortOrder = r.integer(6);
            t.updatedAt = r.integer(7);
            t.hasPicture = r.boolean(8);
            out.push_back(std::move(t));
        }
        return out;
    });
}

std::int64_t TemplateStore::count() {
    return db_.read([&](Transaction& tx) { return tx.one("SELECT COUNT(*) FROM templates")->integer(0); });
}

std::optional<std::string> TemplateStore::document(const std::string& id) {
    return db_.read([&](Transaction& tx) -> std::optional<std::string> {
        auto row = tx.one("SELECT xml FROM templates WHERE id = ?", {id});
        if (!row)
            return std::nullopt;
        return row->text(0);
    });
}

std::optional<StoredFile> TemplateStore::picture(const std::string& id) {
    return db_.read([&](Transaction& tx) -> std::optional<StoredFile> {
        auto row = tx.one("SELECT picture, picture_type FROM templates WHERE id = ? AND picture IS NOT NULL", {id});
        if (!row)
            return std::nullopt;
        return StoredFile{row->bytes(0), row->text(1)};
    });
}

std::optional<StoredFile> TemplateStore::pictureAt(const std::string& path) {
    return db_.read([&](Transaction& tx) -> std::optional<StoredFile> {
        auto row = tx.one("SELECT picture, picture_type FROM templates WHERE picture_path = ? AND picture IS NOT NULL",
                          {path});
        if (!row)
            return std::nullopt;
        return StoredFile{row->bytes(0), row->text(1)};
    });
}

} // namespace Lumenda3D::Cloud
