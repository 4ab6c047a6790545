// Projects against the real server, on both backends: the whole life of a project, revisions,
// other users' projects, bodies that are too large or malformed, and text full of SQL.
#include "CloudBackendTest.h"
#include "Encoding.h"

namespace Lumenda3D::Cloud::test {
namespace {

using Projects = CloudBackendTest;

TEST_P(Projects, CreateLoadSaveRenameListAndDelete) {
    startServer();
    const std::string token = api().registerUser("ann");
    const std::string thumb = fakeJpeg(2000);
    Reply created = api().send("POST", "/api/resources",
                               {{"name", "First"}, {"xml", "<KiteBench3D>\n</KiteBench3D>"}, {"resource_type", "plugin"},
                                {"thumbnail", Encoding::base64(thumb)}},
                               token);
    ASSERT_EQ(created.status, 201) << created.body;
    const std::string id = created.json["resource_id"];
    ASSERT_FALSE(id.empty());

    Reply loaded = api().get("/api/resources/" + id, token);
    ASSERT_EQ(loaded.status, 200) << loaded.body;
    EXPECT_EQ(loaded.json["xml"], "<KiteBench3D>\n</KiteBench3D>");
    const nlohmann::json& meta = loaded.json["metadata"];
    EXPECT_EQ(meta["resource_name"], "First");
    EXPECT_EQ(meta["resource_type"], "plugin");
    EXPECT_EQ(meta["view_source"], true);
    EXPECT_EQ(meta["published"], false);
    EXPECT_EQ(meta["description"], "");
    EXPECT_EQ(meta["category_id"], "");
    EXPECT_EQ(api().get("/api/resources/" + id + "/thumbnail", token).body, thumb);

    // Saves make revisions; only the newest few are kept; a name renames.
    for (int i = 2; i <= 5; ++i) {
        Reply saved = api().send("PUT", "/api/resources/" + id, {{"xml", "<KiteBench3D>" + std::to_string(i) + "</KiteBench3D>"}}, token);
        ASSERT_EQ(saved.status, 200) << saved.body;
        EXPECT_EQ(saved.json["revision"], i);
    }
    Reply renamed = api().send("PUT", "/api/resources/" + id, {{"name", "Renamed"}, {"resource_type", "project"}}, token);
    EXPECT_EQ(renamed.json["revision"], 5);   // no new document, no new revision
    loaded = api().get("/api/resources/" + id, token);
    EXPECT_EQ(loaded.json["xml"], "<KiteBench3D>5</KiteBench3D>");
    EXPECT_EQ(loaded.json["metadata"]["resource_name"], "Renamed");
    EXPECT_EQ(loaded.json["metadata"]["resource_type"], "project");
    Reply revisions = api().get("/api/resources/" + id + "/revisions", token);
    ASSERT_EQ(revisions.json["revisions"].size(), 3u);   // kept: the test server keeps 3
    EXPECT_EQ(revisions.json["revisions"][0]["revision"], 5);
    EXPECT_EQ(api().get("/api/resources/" + id + "/revisions/3", token).json["xml"], "<KiteBench3D>3</KiteBench3D>");
    EXPECT_EQ(api().get("/api/resources/" + id + "/revisions/1", token).status, 404);

    // A save against a revision that is no longer the newest is refused and changes nothing.
    Reply stale = api().send("PUT", "/api/resources/" + id, {{"xml", "<KiteBench3D>lost</KiteBench3D>"}, {"base_revision", 4}}, token);
    EXPECT_EQ(stale.status, 409);
    EXPECT_EQ(stale.json["code"], "revision_conflict");
    EXPECT_EQ(api().send("PUT", "/api/resources/" + id, {{"xml", "<KiteBench3D>6</KiteBench3D>"}, {"base_revision", 5}}, token).status, 200);
    EXPECT_EQ(api().get("/api/resources/" + id, token).json["xml"], "<KiteBench3D>6</KiteBench3D>");

    // Lists are the user's own, newest first, in pages.
    for (int i = 0; i < 4; ++i)
        api().createProject(token, "More " + std::to_string(i), "<KiteBench3D/>");
    Reply page = api().get("/api/resources?limit=2&offset=1", token);
    ASSERT_EQ(page.status, 200) << page.body;
    EXPECT_EQ(page.json["total"], 5);
    ASSERT_EQ(page.json["resources"].size(), 2u);
    EXPECT_EQ(page.json["resources"][0]["resource_name"], "More 2");
    EXPECT_EQ(api().get("/api/resources?limit=500", token).json["code"], "bad_request");
    EXPECT_EQ(api().get("/api/resources?offset=-1", token).status, 400);

    EXPECT_EQ(api().sendRaw("DELETE", "/api/resources/" + id, "", "", token).status, 200);
    EXPECT_EQ(api().get("/api/resources/" + id, token).status, 404);
    EXPECT_EQ(api().get("/api/resources", token).json["total"], 4);
}

TEST_P(Projects, AnotherUsersProjectLooksLikeNoProjectAtAll) {
    startServer();
    const std::string ann = api().registerUser("ann");
    const std::string bob = api().registerUser("bob");
    const std::string id = api().createProject(ann, "Secret", "<KiteBench3D>secret</KiteBench3D>");
    const Reply missing = api().get("/api/resources/999999", bob);
    ASSERT_EQ(missing.status, 404);
    const std::vector<Reply> tries = {
        api().get("/api/resources/" + id, bob),
        api().send("PUT", "/api/resources/" + id, {{"xml", "<KiteBench3D>mine</KiteBench3D>"}}, bob),
        api().sendRaw("DELETE", "/api/resources/" + id, "", "", bob),
        api().get("/api/resources/" + id + "/thumbnail", bob),
        api().get("/api/resources/" + id + "/revisions", bob),
        api().send("POST", "/api/resources/" + id + "/publish", nlohmann::json::object(), bob),
        api().send("POST", "/api/resources/" + id + "/unpublish", nlohmann::json::object(), bob),
    };
    for (const Reply& r : tries) {
        EXPECT_EQ(r.status, 404);
        EXPECT_EQ(r.json, missing.json);
    }
    EXPECT_EQ(api().get("/api/resources/" + id, ann).json["xml"], "<KiteBench3D>secret</KiteBench3D>");
    for (const char* odd : {"abc", "-1", "99999999999999999999", "1e3"})
        EXPECT_EQ(api().get(std::string("/api/resources/") + odd, ann).status, 404) << odd;
}

TEST_P(Projects, OversizedAndMalformedBodiesAreRefusedWithReasons) {
    startServer();
    const std::string token = api().registerUser("ann");
    const std::string id = api().createProject(token, "Game", "<KiteBench3D>v1</KiteBench3D>");

    const std::string big(300 * 1024, 'x');   // over the test server's 256 KB document limit
    Reply tooBig = api().send("PUT", "/api/resources/" + id, {{"xml", big}}, token);
    EXPECT_EQ(tooBig.status, 413);
    EXPECT_EQ(tooBig.json["code"], "document_too_large");
    Reply huge = api().sendRaw("POST", "/api/resources", std::string(8 << 20, ' '), "application/json", token);
    EXPECT_EQ(huge.status, 413);
    EXPECT_EQ(huge.json["code"], "payload_too_large");

    const std::vector<std::string> malformed = {"", "{", "[]", "{\"name\": \"x\", \"xml\": 5}",
                                                "{\"name\": \"\\u0000\", \"xml\": \"<a/>\"}",
                                                "{\"name\": \"ok\", \"xml\": \"<a/>\", \"thumbnail\": \"%%%\"}",
                                                "{\"name\": \"ok\", \"xml\": \"<a/>\", \"resource_type\": \"virus\"}",
                                                "{\"name\": \"\", \"xml\": \"<a/>\"}",
                                                "{\"name\": \"ok\", \"xml\": \"\"}",
                                                "{\"name\": \"ok\"}"};
    for (const std::string& body : malformed) {
        Reply r = api().sendRaw("POST", "/api/resources", body, "application/json", token);
        EXPECT_EQ(r.status, 400) << body << " -> " << r.body;
        EXPECT_TRUE(r.json.contains("error") && r.json.contains("code")) << body;
    }
    Reply gzip = api().sendRaw("PUT", "/api/resources/" + id, "\x1f\x8b", "application/json", token);
    EXPECT_GE(gzip.status, 400);
    // None of it reached the project.
    Reply loaded = api().get("/api/resources/" + id, token);
    EXPECT_EQ(loaded.json["xml"], "<KiteBench3D>v1</KiteBench3D>");
    EXPECT_EQ(loaded.json["revision"], 1);
    EXPECT_EQ(api().get("/api/resources", token).json["total"], 1);
}

TEST_P(Projects, SqlMetacharactersInEveryTextFieldAreStoredAsText) {
    startServer();
    const std::string nasty = "x'); DROP TABLE resources; -- \"q\" \\ % _ ? $1 ; /* */";
    const std::string user = "o'neil_x--1";
    Reply reg = api().send("POST", "/api/auth/register", {{"username", "o.neil"}, {"password", nasty}});
    ASSERT_EQ(reg.status, 201) << reg.body;
    const std::string token = reg.json["token"];
    EXPECT_EQ(api().send("POST", "/api/auth/register", {{"username", user}, {"password", nasty}}).json["code"],
              "invalid_username");
    const std::string xml = "<KiteBench3D note=\"" + nasty + "\">'; DELETE FROM revisions; --</KiteBench3D>";
    const std::string name = nasty.substr(0, 60);
    const std::string id = api().createProject(token, name, xml);
    ASSERT_FALSE(id.empty());
    Reply published = api().send("POST", "/api/resources/" + id + "/publish",
                                 {{"description", nasty}, {"category_id", "' OR 1=1 --"}, {"assets", nasty}}, token);
    ASSERT_EQ(published.status, 200) << published.body;
    Reply loaded = api().get("/api/resources/" + id, token);
    EXPECT_EQ(loaded.json["xml"], xml);
    EXPECT_EQ(loaded.json["metadata"]["resource_name"], name);
    EXPECT_EQ(loaded.json["metadata"]["description"], nasty);
    EXPECT_EQ(loaded.json["metadata"]["category_id"], "' OR 1=1 --");
    EXPECT_EQ(api().send("POST", "/api/auth/login", {{"username", "o.neil"}, {"password", nasty}}).status, 200);
    Reply login = api().send("POST", "/api/auth/login", {{"username", "' OR '1'='1"}, {"password", "' OR '1'='1"}});
    EXPECT_EQ(login.status, 401);
    // Every table is still there and whole.
    const std::string other = api().registerUser("second");
    EXPECT_EQ(api().get("/api/resources", other).json["total"], 0);
    EXPECT_EQ(api().get("/api/resources", token).json["total"], 1);
    EXPECT_EQ(api().get("/api/resources/" + id + "/revisions", token).json["revisions"].size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Backends, Projects, ::testing::Values("sqlite", "postgresql"), backendName);

} // namespace
} // namespace Lumenda3D::Cloud::test
