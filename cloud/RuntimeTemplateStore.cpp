#include "RuntimeTemplateStore.h"

#include <sodium.h>

#include <cctype>

namespace Lumenda3D::Cloud {

bool RuntimeTemplateStore::isValidPlatform(const std::string& p) { return p == "windows" || p == "linux"; }

bool RuntimeTemplateStore::isValidVersion(const std::string& v) {
    if (v.empty() || v.size() > 32 || !std::isalnum(static_cast<unsigned char>(v[0])))
        return false;
    for (char c : v)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '_' || c == '-'))
            return false;
    return true;
}

std::string RuntimeTemplateStore::sha256Hex(const std::string& bytes) {
    unsigned char digest[crypto_hash_sha256_BYTES];
    crypto_hash_sha256(digest, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    static const char* hex = "0123456789abcdef";
    std::string out;
    for (unsigned char b : digest) {
        out.push_back(hex[b >> 4]);
        out.push_back(hex[b & 15]);
    }
    return out;
}

RuntimeTemplate RuntimeTemplateStore::put(const std::string& platform, const std::string& version,
                                          const std::string& archive, std::int64_t now) {
    RuntimeTemplate t{platform, version, sha256Hex(archive), static_cast<std::int64_t>(archive.size()), now};
    // Removed and added again rather than updated: the new row's id orders it after every other
    // upload of the same second, so it is the newest.
    db_.write([&](Transaction& tx) {
        tx.query("DELETE FROM runtime_templates WHERE platform = ? AND version = ?", {platform, version});
        tx.query("INSERT INTO runtime_templates (platform, version, sha256, size, uploaded_at, archive) "
                 "VALUES (?, ?, ?, ?, ?, ?)",
                 {platform, version, t.sha256, t.size, now, SqlBlob{archive}});
    });
    return t;
}

bool RuntimeTemplateStore::remove(const std::string& platform, const std::string& version) {
    return db_.write([&](Transaction& tx) {
        return tx.one("DELETE FROM runtime_templates WHERE platform = ? AND version = ? RETURNING id",
                      {platform, version})
            .has_value();
    });
}

std::vector<RuntimeTemplate> RuntimeTemplateStore::list(const std::string& platform) {
    return db_.read([&](Transaction& tx) {
        std::vector<RuntimeTemplate> out;
        for (const SqlRow& row : tx.query("SELECT platform, version, sha256, size, uploaded_at FROM runtime_templates "
                                          "WHERE platform = ? ORDER BY uploaded_at DESC, id DESC",
                                          {platform}))
            out.push_back({row.text(0), row.text(1), row.text(2), row.integer(3), row.integer(4)});
        return out;
    });
}

std::optional<std::string> RuntimeTemplateStore::archive(const std::string& platform, const std::string& version) {
    return db_.read([&](Transaction& tx) -> std::optional<std::string> {
        auto row = tx.one("SELECT archive FROM runtime_templates WHERE platform = ? AND version = ?",
                          {platform, version});
        if (!row)
            return std::nullopt;
        return row->bytes(0);
    });
}

} // namespace Lumenda3D::Cloud
