// Publishing, the public pages, templates and update feeds against the real server.
#include <fstream>
#include <sstream>

#include "AdminCommands.h"
#include "CloudBackendTest.h"
#include "Encoding.h"
#include "MediaSeeder.h"

namespace Lumenda3D::Cloud::test {
namespace {

using Publishing = CloudBackendTest;

TEST_P(Publishing, PublishedGamesGetPagesAndOthersOpenThePublishedState) {
    startServer();
    const std::string ann = api().registerUser("ann");
    const std::string bob = api().registerUser("bob");
    const std::string id = api().createProject(ann, "Space <b>Race</b>", "<KiteBench3D>draft</KiteBench3D>");
    EXPECT_EQ(api().get("/api/resources/" + id, bob).status, 404);   // not published yet

    const std::string thumb = fakeJpeg(500);
    Reply published = api().send("POST", "/api/resources/" + id + "/publish",
                                 {{"description", "Fly fast.\n<script>alert(1)</script>"},
                                  {"category_id", "racing"},
                                  {"view_source", true},
                                  {"published", true},
                                  {"xml", "<KiteBench3D>release</KiteBench3D>"},
                                  {"assets", "<Assets/>"},
                                  {"thumbnail", Encoding::base64(thumb)}},
                                 ann);
    ASSERT_EQ(published.status, 200) << published.body;
    EXPECT_NE(published.json["url"].get<std::string>().find("/games/" + id), std::string::npos);

    // The owner goes on working; others open the state of the moment of publishing.
    api().send("PUT", "/api/resources/" + id, {{"xml", "<KiteBench3D>later</KiteBench3D>"}}, ann);
    Reply theirs = api().get("/api/resources/" + id, bob);
    ASSERT_EQ(theirs.status, 200) << theirs.body;
    EXPECT_EQ(theirs.json["xml"], "<KiteBench3D>release</KiteBench3D>");
    EXPECT_EQ(theirs.json["metadata"]["is_owner"], false);
    EXPECT_EQ(theirs.json["metadata"]["published"], true);
    EXPECT_EQ(theirs.json["metadata"]["category_id"], "racing");
    EXPECT_EQ(api().get("/api/resources/" + id, ann).json["xml"], "<KiteBench3D>later</KiteBench3D>");
    EXPECT_EQ(api().get("/api/resources/" + id).json["xml"], "<KiteBench3D>release</KiteBench3D>");   // no login
    const std::string draft = api().createProject(ann, "Draft", "<KiteBench3D/>");
    EXPECT_EQ(api().get("/api/resources/" + draft).json["code"], "unauthorized");
    EXPECT_EQ(api().send("PUT", "/api/resources/" + id, {{"xml", "<x/>"}}, bob).status, 404);

    Reply gallery = api().get("/api/gallery");
    ASSERT_EQ(gallery.json["total"], 1);
    EXPECT_EQ(gallery.json["games"][0]["open_link"], "Lumenda3DApp://open?resId=" + id);
    Reply page = api().get("/games/" + id);
    ASSERT_EQ(page.status, 200);
    EXPECT_NE(page.body.find("Lumenda3DApp://open?resId=" + id), std::string::npos);
    EXPECT_NE(page.body.find("Open in Lumenda3D"), std::string::npos);
    EXPECT_NE(page.body.find("Space &lt;b&gt;Race&lt;/b&gt;"), std::string::npos);
    EXPECT_NE(page.body.find("Fly fast.<br>&lt;script&gt;"), std::string::npos);
    EXPECT_EQ(page.body.find("<script>"), std::string::npos);
    EXPECT_EQ(api().get("/games/" + id + "/thumbnail.jpg").body, thumb);
    Reply list = api().get("/gallery");
    EXPECT_NE(list.body.find("/games/" + id), std::string::npos);

    // Hiding the source keeps the page but not the document.
    api().send("POST", "/api/resources/" + id + "/publish", {{"view_source", false}}, ann);
    EXPECT_EQ(api().get("/api/resources/" + id, bob).json["code"], "source_hidden");

    ASSERT_EQ(api().send("POST", "/api/resources/" + id + "/unpublish", nlohmann::json::object(), ann).status, 200);
    EXPECT_EQ(api().get("/games/" + id).status, 404);
    EXPECT_EQ(api().get("/games/" + id + "/thumbnail.jpg").status, 404);
    EXPECT_EQ(api().get("/api/gallery").json["total"], 0);
    EXPECT_EQ(api().get("/api/resources/" + id, bob).status, 404);
    EXPECT_EQ(api().get("/api/resources/" + id, ann).json["metadata"]["published"], false);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

TEST_P(Publishing, TemplatesFromTheMediaFolderAndFromTheAdministrator) {
    startServer();
    const auto seeded = MediaSeeder::seed(services(), LMD_SOURCE_MEDIA_DIR);
    EXPECT_EQ(seeded.templates, 5);
    EXPECT_GT(seeded.assets, 0);
    EXPECT_EQ(MediaSeeder::seed(services(), LMD_SOURCE_MEDIA_DIR).templates, 0);   // only once

    // The administrator adds one with a picture served at two addresses.
    const std::string xmlPath = dir_.path() + "/t.xml", picturePath = dir_.path() + "/t.jpg";
    std::ofstream(xmlPath) << "<KiteBench3D><Level name=\"Lab\"/></KiteBench3D>";
    std::ofstream(picturePath, std::ios::binary) << fakeJpeg(300);
    std::istringstream in;
    std::ostringstream out, err;
    ASSERT_EQ(AdminCommands::run(services().config(),
                                 {"add-template", "--id", "66840", "--name", "Volumetric Lighting Example", "--xml",
                                  xmlPath, "--picture", picturePath, "--picture-path", "/files/volumetricLightingProjectPic.jpg",
                                  "--order", "1"},
                                 in, out, err),
              0)
        << err.str();

    Reply list = api().get("/api/templates.php");
    ASSERT_EQ(list.status, 200);
    ASSERT_TRUE(list.json.is_array());
    ASSERT_EQ(list.json.size(), 6u);
    EXPECT_EQ(list.json[0]["id"], "66840");   // by its order
    EXPECT_EQ(list.json[0]["picture"], "/files/volumetricLightingProjectPic.jpg");
    EXPECT_EQ(list.json[1]["id"], "10401");
    EXPECT_EQ(list.json[1]["name"], "Simple Project");
    EXPECT_EQ(list.json[1]["picture"], "");
    EXPECT_EQ(api().get("/editor/data/6/10401/src.xml").body,
              readFile(std::string(LMD_SOURCE_MEDIA_DIR) + "/examples/starter.xml"));
    EXPECT_EQ(api().get("/editor/data/6/66840/pic.jpg").body, fakeJpeg(300));
    EXPECT_EQ(api().get("/files/volumetricLightingProjectPic.jpg").body, fakeJpeg(300));
    EXPECT_EQ(api().get("/editor/data/6/nothing/src.xml").status, 404);
    EXPECT_EQ(api().get("/editor/data/6/..%2F..%2Fetc/src.xml").status, 404);
    EXPECT_EQ(api().get("/files/..%2Fcloud.sqlite3").status, 404);
}

TEST_P(Publishing, UpdateFeedListsRegisteredReleasesPerPlatform) {
    startServer();
    std::istringstream in;
    std::ostringstream out, err;
    auto admin = [&](std::vector<std::string> args) {
        return AdminCommands::run(services().config(), args, in, out, err);
    };
    EXPECT_EQ(admin({"register-release", "--platform", "win", "--version", "2.2.0", "--url",
                     "https://example.com/Lumenda3D-2.2.0-setup.exe", "--length", "84213760", "--notes-url",
                     "https://example.com/notes?a=1&b=2"}),
              0)
        << err.str();
    EXPECT_EQ(admin({"register-release", "--platform", "linux", "--version", "2.3.0", "--url", "https://example.com/l"}), 0);
    EXPECT_EQ(admin({"register-release", "--platform", "dos", "--version", "1", "--url", "https://example.com/x"}), 2);
    EXPECT_EQ(admin({"register-release", "--platform", "win", "--version", "1", "--url", "file:///etc/passwd"}), 2);

    Reply feed = api().get("/updates/win/appcast.xml");
    ASSERT_EQ(feed.status, 200);
    EXPECT_NE(feed.header("Content-Type").find("xml"), std::string::npos);
    EXPECT_NE(feed.body.find("sparkle:version=\"2.2.0\""), std::string::npos);
    EXPECT_NE(feed.body.find("url=\"https://example.com/Lumenda3D-2.2.0-setup.exe\" length=\"84213760\""),
              std::string::npos);
    EXPECT_NE(feed.body.find("https://example.com/notes?a=1&amp;b=2"), std::string::npos);
    EXPECT_EQ(feed.body.find("2.3.0"), std::string::npos);   // another platform's release
    EXPECT_NE(api().get("/updates/linux/appcast.xml").body.find("2.3.0"), std::string::npos);
    EXPECT_EQ(api().get("/updates/mac/appcast.xml").body.find("<item>"), std::string::npos);
    EXPECT_EQ(api().get("/updates/dos/appcast.xml").status, 404);
}

INSTANTIATE_TEST_SUITE_P(Backends, Publishing, ::testing::Values("sqlite", "postgresql"), backendName);

} // namespace
} // namespace Lumenda3D::Cloud::test
