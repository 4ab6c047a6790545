#include "Migrations.h"

#include <ctime>
#include <stdexcept>

#include "Database.h"

namespace Lumenda3D::Cloud {

const std::vector<Migrations::Version>& Migrations::all() {
    // Large columns come last in each table, so that reading the small ones never walks them.
    static const std::vector<Version> versions = {
        {1,
         {
             "CREATE TABLE users ("
             " id {serial},"
             " username TEXT NOT NULL,"
             " username_key TEXT NOT NULL UNIQUE,"
             " password_hash TEXT NOT NULL,"
             " quota_bytes {int},"                       // null: the server's default quota; -1: unlimited
             " storage_used {int} NOT NULL DEFAULT 0,"
             " created_at {int} NOT NULL)",
             "CREATE TABLE sessions ("
             " token_hash TEXT PRIMARY KEY,"
             " user_id {int} NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
             " created_at {int} NOT NULL,"
             " expires_at {int} NOT NULL)",
             "CREATE INDEX sessions_user ON sessions(user_id)",
             "CREATE TABLE login_failures ("
             " id {serial},"
             " subject TEXT NOT NULL,"
             " failed_at {int} NOT NULL)",
             "CREATE INDEX login_failures_subject ON login_failures(subject, failed_at)",
             "CREATE TABLE resources ("
             " id {serial},"
             " owner_id {int} NOT NULL REFERENCES users(id) ON DELETE CASCADE,"
             " name TEXT NOT NULL,"
             " resource_type TEXT NOT NULL,"
             " description TEXT NOT NULL DEFAULT '',"
             " category_id TEXT NOT NULL DEFAULT '',"
             " view_source {int} NOT NULL DEFAULT 1,"
             " published {int} NOT NULL DEFAULT 0,"
             " published_revision {int},"
             " published_at {int},"
             " revision {int} NOT NULL,"
             " size {int} NOT NULL,"
             " created_at {int} NOT NULL,"
             " updated_at {int} NOT NULL,"
             " assets TEXT NOT NULL DEFAULT '',"
             " thumbnail {blob})",
             "CREATE INDEX resources_owner ON resources(owner_id, updated_at)",
             "CREATE INDEX resources_published ON resources(published, published_at)",
             "CREATE TABLE revisions ("
             " resource_id {int} NOT NULL REFERENCES resources(id) ON DELETE CASCADE,"
             " revision {int} NOT NULL,"
             " size {int} NOT NULL,"
             " created_at {int} NOT NULL,"
             " xml TEXT NOT NULL,"
             " PRIMARY KEY (resource_id, revision))",
             "CREATE TABLE templates ("
             " id TEXT PRIMARY KEY,"
             " name TEXT NOT NULL,"
             " description TEXT NOT NULL DEFAULT '',"
             " category TEXT NOT NULL DEFAULT '',"
             " picture_path TEXT NOT NULL DEFAULT '',"
             " picture_type TEXT NOT NULL DEFAULT '',"
             " sort_order {int} NOT NULL DEFAULT 0,"
             " updated_at {int} NOT NULL,"
             " picture {blob},"
             " xml TEXT NOT NULL)",
             "CREATE TABLE assets ("
             " id {serial},"
             " owner_id {int} NOT NULL,"                 // 0: the public catalogue
             " asset_type TEXT NOT NULL,"
             " name TEXT NOT NULL,"
             " stem TEXT NOT NULL,"
             " size {int} NOT NULL,"
             " created_at {int} NOT NULL,"
             " updated_at {int} NOT NULL,"
             " thumbnail {blob},"
             " data {blob} NOT NULL,"
             " UNIQUE (owner_id, asset_type, name))",
             "CREATE INDEX assets_stem ON assets(owner_id, asset_type, stem)",
             "CREATE TABLE releases ("
             " id {serial},"
             " platform TEXT NOT NULL,"
             " version TEXT NOT NULL,"
             " short_version TEXT NOT NULL DEFAULT '',"
             " url TEXT NOT NULL,"
             " length {int} NOT NULL DEFAULT 0,"
             " notes_url TEXT NOT NULL DEFAULT '',"
             " published_at {int} NOT NULL,"
             " UNIQUE (platform, version))",
         }},
        {2,
         {
             "CREATE TABLE runtime_templates ("
             " id {serial},"
             " platform TEXT NOT NULL,"
             " version TEXT NOT NULL,"
             " sha256 TEXT NOT NULL,"
             " size {int} NOT NULL,"
             " uploaded_at {int} NOT NULL,"
             " archive {blob} NOT NULL,"
             " UNIQUE (platform, version))",
         }},
    };
    return versions;
}

int Migrations::latest() { return all().back().number; }

namespace {

const char* kCreateVersionTable =
    "CREATE TABLE IF NOT EXISTS schema_migrations (version {int} PRIMARY KEY, applied_at {int} NOT NULL)";

int currentIn(Transaction& tx) {
    auto row = tx.one("SELECT MAX(version) FROM schema_migrations");
    return row && !row->isNull(0) ? static_cast<int>(row->integer(0)) : 0;
}

} // namespace

void Migrations::run(Database& db) {
    for (const Version& version : all()) {
        const bool applied = db.write([&](Transaction& tx) {
            const std::string lock = db.backend().migrationLock();
            if (!lock.empty())
                tx.query(lock);
            tx.query(db.backend().ddl(kCreateVersionTable));
            const int at = currentIn(tx);
            if (at > latest())
                throw std::runtime_error("the database has schema version " + std::to_string(at) +
                                         ", newer than this server knows (" + std::to_string(latest()) +
                                         "): start a newer lumenda3d-cloud");
            if (at >= version.number)
                return false;
            for (const std::string& statement : version.statements)
                tx.query(db.backend().ddl(statement));
            tx.query("INSERT INTO schema_migrations (version, applied_at) VALUES (?, ?)",
                     {std::int64_t(version.number), std::int64_t(std::time(nullptr))});
            return true;
        });
        (void)applied;
    }
}

} // namespace Lumenda3D::Cloud
