#include "ReleaseStore.h"

namespace Lumenda3D::Cloud {

void ReleaseStore::put(const Release& r) {
    db_.write([&](Transaction& tx) {
        tx.query("INSERT INTO releases (platform, version, short_version, url, length, notes_url, published_at) "
                 "VALUES (?, ?, ?, ?, ?, ?, ?) ON CONFLICT (platform, version) DO UPDATE SET "
                 "short_version = excluded.short_version, url = excluded.url, length = excluded.length, "
                 "notes_url = excluded.notes_url, published_at = excluded.published_at",
                 {r.platform, r.version, r.shortVersion, r.url, r.length, r.notesUrl, r.publishedAt});
    });
}

std::vector<Release> ReleaseStore::list(const std::string& platform) {
    return db_.read([&](Transaction& tx) {
        std::vector<Release> out;
        for (const SqlRow& row : tx.query("SELECT platform, version, short_version, url, length, notes_url, "
                                          "published_at FROM releases WHERE platform = ? ORDER BY published_at DESC, "
                                          "id DESC LIMIT 50",
                                          {platform}))
            out.push_back({row.text(0), row.text(1), row.text(2), row.text(3), row.integer(4), row.text(5),
                           row.integer(6)});
        return out;
    });
}

} // namespace Lumenda3D::Cloud
