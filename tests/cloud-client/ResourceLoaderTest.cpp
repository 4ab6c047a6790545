// Cloud projects through ResourceLoader against the real server: the round trip of a project
// (create, load, save, rename, list, publish, unpublish), the user's assets, and every way a call
// can fail: a forged or lapsed session, another user's project, a busy database, a dead server,
// an id that is not one.
#include "CloudClientTest.h"

#include <nlohmann/json.hpp>

namespace Lumenda3D::test {
namespace {

using json = nlohmann::json;

constexpr const char* kGame = "<KiteBench3D><Level name=\"Main\"><Box name=\"Crate\"/></Level></KiteBench3D>";

class ResourceLoaderTest : public CloudClientTest {
protected:
    // Creates a project through the loader; its id.
    std::string create(const std::string& name, const std::string& xml = kGame) {
        Outcome out;
        loader().createResource(name, xml, callback(out), {0xFF, 0xD8, 0xFF, 0xE0, 1, 2, 3}, "project");
        wait(out);
        EXPECT_TRUE(out.ok) << out.error;
        return json::parse(out.data, nullptr, false).value("resource_id", "");
    }
    Outcome load(const std::string& id) {
        Outcome out;
        loader().loadResource(id, callback(out));
        return wait(out);
    }
};

TEST_F(ResourceLoaderTest, AProjectMakesTheRoundTrip) {
    logInAs("ann");
    const std::string id = create("My game");
    ASSERT_TRUE(ResourceLoader::isValidResourceId(id)) << id;

    Outcome loaded = load(id);
    ASSERT_TRUE(loaded.ok) << loaded.error;
    EXPECT_EQ(loaded.data, kGame);
    const json metadata = json::parse(loaded.error);   // the metadata text on success
    EXPECT_EQ(metadata["resource_name"], "My game");
    EXPECT_EQ(metadata["resource_type"], "project");
    EXPECT_EQ(metadata["published"], false);
    EXPECT_EQ(api().get("/api/resources/" + id + "/thumbnail", auth().getSessionToken()).status, 200);

    // A save with a rename, as a plugin.
    Outcome saved;
    loader().saveResource(id, "<KiteBench3D><Level name=\"Two\"/></KiteBench3D>", callback(saved), {}, "plugin",
                          "Renamed game");
    wait(saved);
    ASSERT_TRUE(saved.ok) << saved.error;
    EXPECT_EQ(json::parse(saved.data)["revision"], 2);
    loaded = load(id);
    EXPECT_EQ(loaded.data, "<KiteBench3D><Level name=\"Two\"/></KiteBench3D>");
    EXPECT_EQ(json::parse(loaded.error)["resource_name"], "Renamed game");
    EXPECT_EQ(json::parse(loaded.error)["resource_type"], "plugin");

    Outcome list;
    loader().listResources(callback(list));
    wait(list);
    ASSERT_TRUE(list.ok) << list.error;
    const json projects = json::parse(list.data);
    ASSERT_EQ(projects["resources"].size(), 1u);
    EXPECT_EQ(projects["resources"][0]["resource_id"], id);

    Outcome published;
    loader().publishResource(id, kGame, "<Assets/>", "A fine game", "arcade", true, true, callback(published),
                             {0xFF, 0xD8, 0xFF, 0xE0, 9});
    wait(published);
    ASSERT_TRUE(published.ok) << published.error;
    EXPECT_EQ(json::parse(published.data)["url"], serverUrl() + "/games/" + id);
    EXPECT_EQ(api().get("/games/" + id).status, 200);
    // Anyone may open a published game that shares its source, without a login.
    EXPECT_EQ(api().get("/api/resources/" + id).json["xml"], kGame);

    Outcome down;
    loader().unpublishResource(id, callback(down));
    wait(down);
    EXPECT_TRUE(down.ok) << down.error;
    EXPECT_EQ(api().get("/games/" + id).status, 404);
    EXPECT_EQ(json::parse(load(id).error)["published"], false);
}

TEST_F(ResourceLoaderTest, AForgedTokenEndsTheSessionAndIsAnAuthenticationError) {
    const std::string token = logInAs("ann");
    const std::string id = create("Mine");
    std::string forged = token;
    forged[0] = forged[0] == 'a' ? 'b' : 'a';
    ASSERT_TRUE(auth().storeSession(forged, "ann"));

    Outcome saved;
    loader().saveResource(id, "<KiteBench3D/>", callback(saved), {}, "", "");
    wait(saved);
    EXPECT_FALSE(saved.ok);
    EXPECT_EQ(saved.error, CloudReply::kSessionEndedText);
    EXPECT_TRUE(AuthenticationFlowManager::isAuthenticationError(saved.error));
    EXPECT_FALSE(auth().isAuthenticated());
    // Nothing was saved.
    EXPECT_EQ(api().get("/api/resources/" + id, token).json["xml"], kGame);
}

TEST_F(ResourceLoaderTest, ALateRefusalOfAnOldSessionKeepsTheNewOne) {
    const std::string old = logInAs("ann");
    const std::string id = create("Mine");
    api().send("POST", "/api/auth/logout", json::object(), old);
    Outcome refused;
    loader().loadResource(id, callback(refused));
    // A new login before the refusal of the old session arrives.
    const std::string fresh = api().send("POST", "/api/auth/login", {{"username", "ann"}, {"password", "correct horse"}})
                                  .json.value("token", "");
    ASSERT_TRUE(auth().storeSession(fresh, "ann"));
    wait(refused);
    EXPECT_TRUE(AuthenticationFlowManager::isAuthenticationError(refused.error));
    EXPECT_EQ(auth().getSessionToken(), fresh);
}

TEST_F(ResourceLoaderTest, AnotherUsersProjectIsNotFound) {
    const std::string annToken = registerUser("ann");
    const std::string annsId = api().createProject(annToken, "Ann's", kGame);
    logInAs("bob");
    for (const auto& attempt : {0, 1, 2}) {
        Outcome out;
        if (attempt == 0)
            loader().loadResource(annsId, callback(out));
        else if (attempt == 1)
            loader().saveResource(annsId, "<KiteBench3D/>", callback(out), {}, "", "");
        else
            loader().publishResource(annsId, "", "", "", "", true, true, callback(out), {});
        wait(out);
        EXPECT_FALSE(out.ok);
        EXPECT_EQ(out.error, "No such project, or it is not yours.");
        EXPECT_FALSE(AuthenticationFlowManager::isAuthenticationError(out.error));
    }
    EXPECT_TRUE(auth().isAuthenticated());   // a refusal is no reason to end the session
    EXPECT_EQ(api().get("/api/resources/" + annsId, annToken).json["xml"], kGame);
}

TEST_F(ResourceLoaderTest, ABusyDatabaseRefusesAndLosesNothing) {
    logInAs("ann");
    const std::string id = create("Mine");
    {
        WriteLock lock(databaseFile());
        ASSERT_TRUE(lock.locked());
        Outcome saved;
        loader().saveResource(id, "<KiteBench3D><Level name=\"New\"/></KiteBench3D>", callback(saved), {}, "", "");
        wait(saved);
        EXPECT_FALSE(saved.ok);
        EXPECT_EQ(saved.error, "The server's database is busy. Nothing was changed; try again in a moment.");
        EXPECT_FALSE(AuthenticationFlowManager::isAuthenticationError(saved.error));
        Outcome created;
        loader().createResource("Second", kGame, callback(created), {}, "project");
        wait(created);
        EXPECT_FALSE(created.ok);
    }
    EXPECT_TRUE(auth().isAuthenticated());
    EXPECT_EQ(load(id).data, kGame);
    // The same save goes through once the database is free.
    Outcome again;
    loader().saveResource(id, "<KiteBench3D><Level name=\"New\"/></KiteBench3D>", callback(again), {}, "", "");
    wait(again);
    EXPECT_TRUE(again.ok) << again.error;
    EXPECT_EQ(json::parse(again.data)["revision"], 2);
}

TEST_F(ResourceLoaderTest, PicturesOfTemplatesAndOfTheOwnersProjectsComeAsTheirBytes) {
    // A template's picture, served at its own path and at the path the list gives.
    const std::string jpeg("\xFF\xD8\xFF\xE0 a template picture", 24);
    Cloud::TemplateInfo info;
    info.id = "shooter";
    info.name = "Shooter";
    info.picturePath = "/files/shooterPic.jpg";
    info.pictureType = "image/jpeg";
    services().templates().put(info, kGame, jpeg, 1);
    for (const std::string& address : std::vector<std::string>{"/editor/data/6/shooter/pic.jpg", "/files/shooterPic.jpg",
                                      serverUrl() + "/files/shooterPic.jpg"}) {
        Outcome out;
        loader().loadPicture(address, callback(out));
        wait(out);
        ASSERT_TRUE(out.ok) << address << ": " << out.error;
        EXPECT_EQ(out.data, jpeg);
    }

    // A project's thumbnail needs its owner's session; none, or another person's, gets nothing.
    logInAs("ann");
    const std::string id = create("With picture");
    Outcome mine;
    loader().loadPicture("/api/resources/" + id + "/thumbnail", callback(mine));
    wait(mine);
    ASSERT_TRUE(mine.ok) << mine.error;
    EXPECT_EQ(mine.data, std::string("\xFF\xD8\xFF\xE0\x01\x02\x03", 7));

    Outcome bare;
    loader().createResource("No picture", kGame, callback(bare), {}, "project");
    wait(bare);
    const std::string bareId = json::parse(bare.data).value("resource_id", "");
    Outcome none;
    loader().loadPicture("/api/resources/" + bareId + "/thumbnail", callback(none));
    wait(none);
    EXPECT_FALSE(none.ok);
    EXPECT_EQ(none.error, "The server has no picture at /api/resources/" + bareId + "/thumbnail (status 404).");

    logInAs("bob");
    Outcome others;
    loader().loadPicture("/api/resources/" + id + "/thumbnail", callback(others));
    wait(others);
    EXPECT_FALSE(others.ok);
    EXPECT_TRUE(others.data.empty());
    EXPECT_TRUE(auth().isAuthenticated());

    // A dead server ends the wait with words, not silence.
    const std::string dead = "http://127.0.0.1:" + std::to_string(Cloud::test::unusedPort());
    Outcome down;
    loader().loadPicture(dead + "/files/x.jpg", callback(down));
    wait(down);
    EXPECT_FALSE(down.ok);
    EXPECT_EQ(down.error.rfind("The picture " + dead + "/files/x.jpg could not be fetched: ", 0), 0u) << down.error;
}

TEST_F(ResourceLoaderTest, ADeadServerAndAMissingServerAreToldPlainly) {
    logInAs("ann");
    const std::string dead = "http://127.0.0.1:" + std::to_string(Cloud::test::unusedPort());
    setenv(ApiConfig::kServerVariable, dead.c_str(), 1);
    ApiConfig::init("");
    Outcome out;
    loader().loadResource("12", callback(out));
    wait(out);
    EXPECT_FALSE(out.ok);
    EXPECT_EQ(out.error.rfind("Could not reach the Lumenda3D server at " + dead + " (", 0), 0u) << out.error;
    EXPECT_FALSE(AuthenticationFlowManager::isAuthenticationError(out.error));
    EXPECT_TRUE(auth().isAuthenticated());

    unsetenv(ApiConfig::kServerVariable);
    ApiConfig::init("");
    Outcome none;
    loader().listResources(callback(none));
    EXPECT_TRUE(none.called);   // nothing to send: answered at once
    EXPECT_NE(none.error.find("No Lumenda3D server is configured"), std::string::npos);
}

TEST_F(ResourceLoaderTest, BadIdsAndTextThatIsNotUtf8AreRefusedBeforeSending) {
    logInAs("ann");
    for (const std::string id : {"", "../auth/me", "12/publish", "1 2", "12345678901234567890", "-3"}) {
        Outcome out;
        loader().loadResource(id, callback(out));
        EXPECT_TRUE(out.called) << id;
        EXPECT_FALSE(out.ok);
        EXPECT_NE(out.error.find("is not a cloud project id"), std::string::npos) << out.error;
    }
    Outcome bytes;
    loader().createResource("Broken", "<KiteBench3D name=\"\xff\xfe\"/>", callback(bytes), {}, "project");
    EXPECT_TRUE(bytes.called);
    EXPECT_EQ(bytes.error,
              "The project contains text that is not valid UTF-8, so it cannot be sent to the server. Nothing was sent.");
    EXPECT_TRUE(idle());
}

TEST_F(ResourceLoaderTest, AbandonedRequestsDoNotAnswer) {
    logInAs("ann");
    Outcome out;
    loader().listResources(callback(out));
    loader().cancelAll();
    EXPECT_TRUE(pumpUntil([&] { return idle(); }));
    EXPECT_FALSE(out.called);
}

TEST_F(ResourceLoaderTest, TheUsersOwnAssetsOfOneType) {
    const std::string token = logInAs("ann");
    httplib::MultipartFormDataItems upload = {{"action", "uploadTexture", "", ""},
                                              {"fileName", "bark.png", "", ""},
                                              {"token", token, "", ""},
                                              {"imageData", std::string("\x89PNG\r\n\x1a\n1234", 12), "bark.png",
                                               "image/png"}};
    ASSERT_EQ(api().assetMultipart(upload).status, 200);

    Outcome textures;
    loader().listUserAssets("textures", callback(textures));
    wait(textures);
    ASSERT_TRUE(textures.ok) << textures.error;
    const json list = json::parse(textures.data);
    EXPECT_EQ(list["assets"], json::array({"bark.png"}));
    EXPECT_TRUE(list["storage"].is_object());

    Outcome sounds;
    loader().listUserAssets("sounds", callback(sounds));
    wait(sounds);
    EXPECT_EQ(json::parse(sounds.data)["assets"], json::array());

    Outcome unknown;
    loader().listUserAssets("fonts", callback(unknown));
    EXPECT_FALSE(unknown.ok);
    EXPECT_EQ(unknown.error, "Unknown asset type 'fonts': use textures, models or sounds.");

    auth().forgetSession();
    Outcome signedOut;
    loader().listUserAssets("textures", callback(signedOut));
    EXPECT_TRUE(AuthenticationFlowManager::isAuthenticationError(signedOut.error));
}

} // namespace
} // namespace Lumenda3D::test
