// The server when its database fails or it dies: a locked SQLite file, a PostgreSQL server that
// goes away and comes back, a kill -9 in the middle of saves, and two server processes sharing
// one PostgreSQL database.
#include <sqlite3.h>

#include <signal.h>

#include <atomic>
#include <chrono>
#include <random>
#include <regex>

#include "CloudBackendTest.h"

namespace Lumenda3D::Cloud::test {
namespace {

using SqliteFailures = CloudBackendTest;
using PostgresFailures = CloudBackendTest;
using ProcessFailures = CloudBackendTest;

TEST_P(SqliteFailures, LockedDatabaseAnswers503ChangesNothingAndRecovers) {
    startServer();   // waits 300 ms for the write lock
    const std::string token = api().registerUser("ann");
    const std::string id = api().createProject(token, "Game", "<KiteBench3D>v1</KiteBench3D>");

    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open((dir_.path() + "/cloud.sqlite3").c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    Reply busy = api().send("PUT", "/api/resources/" + id, {{"xml", "<KiteBench3D>v2</KiteBench3D>"}}, token);
    EXPECT_EQ(busy.status, 503);
    EXPECT_EQ(busy.json["code"], "database_busy");
    EXPECT_EQ(busy.header("Retry-After"), "1");
    EXPECT_EQ(api().send("POST", "/api/resources", {{"name", "New"}, {"xml", "<a/>"}}, token).status, 503);
    // Reading goes on beside the writer (WAL).
    EXPECT_EQ(api().get("/api/resources/" + id, token).json["xml"], "<KiteBench3D>v1</KiteBench3D>");
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(other);

    EXPECT_EQ(api().get("/api/resources", token).json["total"], 1);   // no half-made project
    Reply saved = api().send("PUT", "/api/resources/" + id, {{"xml", "<KiteBench3D>v2</KiteBench3D>"}}, token);
    EXPECT_EQ(saved.status, 200);
    EXPECT_EQ(saved.json["revision"], 2);   // the refused save left no revision behind
}

TEST_P(PostgresFailures, DatabaseThatGoesAwayAnswers503AndTheServerRecovers) {
    startServer();
    const std::string token = api().registerUser("ann");
    const std::string id = api().createProject(token, "Game", "<KiteBench3D>v1</KiteBench3D>");
    std::string whyNot;
    TempPostgres* pg = TempPostgres::shared(whyNot);
    ASSERT_TRUE(pg->stop());
    Reply gone = api().send("PUT", "/api/resources/" + id, {{"xml", "<KiteBench3D>v2</KiteBench3D>"}}, token);
    EXPECT_EQ(gone.status, 503);
    EXPECT_EQ(gone.json["code"], "database_unavailable");
    EXPECT_EQ(api().get("/api/health").status, 503);
    EXPECT_EQ(api().send("POST", "/api/auth/login", {{"username", "ann"}, {"password", "correct horse"}}).status, 503);
    ASSERT_TRUE(pg->start());
    Reply back = api().send("PUT", "/api/resources/" + id, {{"xml", "<KiteBench3D>v2</KiteBench3D>"}}, token);
    EXPECT_EQ(back.status, 200) << back.body;
    EXPECT_EQ(back.json["revision"], 2);
    EXPECT_EQ(api().get("/api/health").status, 200);
}

// A document whose content tells which save made it and whether it arrived whole.
std::string document(int n) {
    return "<KiteBench3D save=\"" + std::to_string(n) + "\">" + std::string(600 * 1024 + n * 37, 'a' + n % 26) +
           "</KiteBench3D>";
}

TEST_P(ProcessFailures, KillDuringSavesLeavesTheLastWholeRevision) {
    std::mt19937 random(7);
    std::string id, token;
    int acknowledged = 0;
    for (int round = 0; round < 3; ++round) {
        ServerProcess server(testArguments(database()), dir_.path());
        ASSERT_GT(server.port(), 0) << server.log();
        ApiClient client(server.port());
        if (round == 0) {
            token = client.registerUser("ann");
            id = client.createProject(token, "Game", document(0));
        } else {
            // The server that comes back serves the newest save that was whole, never a torn one.
            Reply loaded = client.get("/api/resources/" + id, token);
            ASSERT_EQ(loaded.status, 200) << loaded.body;
            const std::string xml = loaded.json["xml"];
            std::smatch m;
            ASSERT_TRUE(std::regex_search(xml, m, std::regex("^<KiteBench3D save=\"(\\d+)\">")));
            const int n = std::stoi(m[1]);
            EXPECT_EQ(xml, document(n));
            EXPECT_GE(n, acknowledged);
            EXPECT_EQ(loaded.json["metadata"]["revision"], loaded.json["revision"]);
            acknowledged = n;
        }
        std::atomic<bool> stop{false};
        std::atomic<int> lastOk{acknowledged};
        std::thread saver([&, base = acknowledged] {
            ApiClient c(server.port());
            for (int n = base + 1; !stop; ++n) {
                Reply r = c.send("PUT", "/api/resources/" + id, {{"xml", document(n)}}, token);
                if (r.status != 200)
                    break;
                lastOk = n;
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(150 + random() % 300));
        server.kill(SIGKILL);
        stop = true;
        saver.join();
        acknowledged = lastOk;
    }
    EXPECT_GT(acknowledged, 0);   // saves were under way when the server died
    if (!isPostgres()) {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open((dir_.path() + "/cloud.sqlite3").c_str(), &db), SQLITE_OK);
        sqlite3_stmt* check = nullptr;
        sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &check, nullptr);
        ASSERT_EQ(sqlite3_step(check), SQLITE_ROW);
        EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(check, 0)), "ok");
        sqlite3_finalize(check);
        sqlite3_close(db);
    }
}

TEST_P(PostgresFailures, TwoServerProcessesShareUsersProjectsAndLoginLimits) {
    std::vector<std::string> args = testArguments(database());
    args.insert(args.end(), {"--login-attempts", "2"});
    ServerProcess first(args, dir_.path());
    ServerProcess second(args, dir_.path());
    ASSERT_GT(first.port(), 0) << first.log();
    ASSERT_GT(second.port(), 0) << second.log();
    ApiClient a(first.port()), b(second.port());

    const std::string token = a.registerUser("ann");
    EXPECT_EQ(b.get("/api/auth/me", token).json["username"], "ann");   // a session made by the other process
    const std::string id = a.createProject(token, "Shared", "<KiteBench3D>from A</KiteBench3D>");
    EXPECT_EQ(b.get("/api/resources/" + id, token).json["xml"], "<KiteBench3D>from A</KiteBench3D>");
    ASSERT_EQ(b.send("PUT", "/api/resources/" + id, {{"xml", "<KiteBench3D>from B</KiteBench3D>"}}, token).status, 200);
    EXPECT_EQ(a.get("/api/resources/" + id, token).json["xml"], "<KiteBench3D>from B</KiteBench3D>");
    EXPECT_EQ(a.get("/api/resources/" + id, token).json["revision"], 2);

    // Failed logins on one process count on the other.
    a.send("POST", "/api/auth/login", {{"username", "ann"}, {"password", "wrong one"}});
    b.send("POST", "/api/auth/login", {{"username", "ann"}, {"password", "wrong two"}});
    EXPECT_EQ(a.send("POST", "/api/auth/login", {{"username", "ann"}, {"password", "correct horse"}}).status, 429);

    // Logging out on one ends the session on both.
    ASSERT_EQ(b.send("POST", "/api/auth/logout", nlohmann::json::object(), token).status, 200);
    EXPECT_EQ(a.get("/api/resources", token).status, 401);
}

INSTANTIATE_TEST_SUITE_P(Backends, SqliteFailures, ::testing::Values("sqlite"), backendName);
INSTANTIATE_TEST_SUITE_P(Backends, PostgresFailures, ::testing::Values("postgresql"), backendName);
INSTANTIATE_TEST_SUITE_P(Backends, ProcessFailures, ::testing::Values("sqlite", "postgresql"), backendName);

} // namespace
} // namespace Lumenda3D::Cloud::test
