// The database schema's versions on a SQLite file: applied once, kept on the next start, and a
// database from a newer server refused with a clear message rather than misread.
#include <gtest/gtest.h>

#include "CloudServices.h"
#include "CloudTestSupport.h"
#include "Migrations.h"

namespace Lumenda3D::Cloud::test {
namespace {

std::int64_t schemaVersion(CloudServices& services) {
    return services.database().read(
        [](Transaction& tx) { return tx.one("SELECT MAX(version) FROM schema_migrations")->integer(0); });
}

TEST(SchemaVersions, AppliedOnceKeptAndNewerDatabasesRefused) {
    TempDir dir;
    const CloudConfig config = testConfig("sqlite:" + dir.path() + "/cloud.sqlite3");
    {
        CloudServices first(config);
        EXPECT_EQ(schemaVersion(first), Migrations::latest());
        first.accounts().createUser("kept", "hash", 1);
    }
    {
        CloudServices again(config);   // nothing to apply; the data stays
        EXPECT_EQ(schemaVersion(again), Migrations::latest());
        EXPECT_TRUE(again.accounts().findByName("kept"));
        again.database().write([](Transaction& tx) {
            tx.query("INSERT INTO schema_migrations (version, applied_at) VALUES (?, 0)",
                     {std::int64_t(Migrations::latest() + 1)});
        });
    }
    try {
        CloudServices newer(config);
        FAIL() << "a database of a newer schema was opened";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("newer lumenda3d-cloud"), std::string::npos) << e.what();
    }
}

} // namespace
} // namespace Lumenda3D::Cloud::test
