// The assets endpoint with the editor's own calls (form and multipart bodies with an "action"
// field), on both backends: list, upload with thumbnail, files and thumbnails by URL, delete,
// quota, size limit, path tricks in names and malformed bodies.
#include "CloudBackendTest.h"
#include "FormData.h"

namespace Lumenda3D::Cloud::test {
namespace {

using Assets = CloudBackendTest;

httplib::MultipartFormDataItems upload(const std::string& action, const std::string& fileName,
                                       const std::string& token, const std::string& field, const std::string& data,
                                       const std::string& thumb = "") {
    httplib::MultipartFormDataItems items = {{"action", action, "", ""}, {"fileName", fileName, "", ""}};
    if (!token.empty())
        items.push_back({"token", token, "", ""});
    items.push_back({field, data, fileName, "application/octet-stream"});
    if (!thumb.empty())
        items.push_back({"thumbData", thumb, "thumb", "application/octet-stream"});
    return items;
}

TEST_P(Assets, ListUploadFetchAndDeleteAsTheCatalogDoes) {
    startServer();
    services().assets().put({AssetStore::kPublic, "textures", "grass.png", "public grass", std::nullopt}, -1, 1);
    const std::string token = api().registerUser("ann");

    // Signed out: the public catalogue, no storage block.
    Reply anonymous = api().assetForm("action=getTextures");
    ASSERT_EQ(anonymous.status, 200) << anonymous.body;
    EXPECT_EQ(anonymous.json["textures"], nlohmann::json::array({"grass.png"}));
    EXPECT_EQ(anonymous.json["my_textures"], nlohmann::json::array());
    EXPECT_FALSE(anonymous.json.contains("storage"));

    const std::string png = "\x89PNG\r\n\x1a\n" + std::string(1000, 'p');
    Reply up = api().assetMultipart(upload("uploadTexture", "bark wall.png", token, "imageData", png, fakeJpeg(100)));
    ASSERT_EQ(up.status, 200) << up.body;
    EXPECT_EQ(up.json["success"], true);
    EXPECT_EQ(up.json["error"], "");
    ASSERT_EQ(api().assetMultipart(upload("uploadSound", "boing.ogg", token, "soundData", "OggS....")).status, 200);
    ASSERT_EQ(api().assetMultipart(upload("uploadModel", "ship.glb", token, "modelData", "glTF....", fakeJpeg(50))).status, 200);

    Reply mine = api().assetForm("action=getTextures&token=" + FormData::encode(token));
    ASSERT_EQ(mine.status, 200) << mine.body;
    EXPECT_EQ(mine.json["my_textures"], nlohmann::json::array({"bark wall.png"}));
    EXPECT_EQ(mine.json["username"], "ann");
    EXPECT_EQ(mine.json["storage"]["unlimited"], false);
    EXPECT_EQ(mine.json["storage"]["quota_mb"], 1.0);
    EXPECT_GT(mine.json["storage"]["used_mb"].get<double>(), 0.0);
    EXPECT_EQ(api().assetForm("action=getSounds&token=" + token).json["my_sounds"], nlohmann::json::array({"boing.ogg"}));
    const std::string sqlName = "it's'); DROP TABLE assets;--.wav";
    ASSERT_EQ(api().assetMultipart(upload("uploadSound", sqlName, token, "soundData", "RIFF")).status, 200);
    EXPECT_EQ(api().assetForm("action=getSounds&token=" + token).json["my_sounds"],
              nlohmann::json::array({"boing.ogg", sqlName}));

    // The files and thumbnails at the addresses the catalog builds.
    EXPECT_EQ(api().get("/assets/textures/grass.png").body, "public grass");
    Reply file = api().get("/assets/textures/ann/bark%20wall.png");
    EXPECT_EQ(file.body, png);
    EXPECT_EQ(file.header("Content-Type"), "image/png");
    EXPECT_EQ(api().get("/assets/textures/ann/thumbs/thumb_bark%20wall.jpg").body, fakeJpeg(100));
    EXPECT_EQ(api().get("/assets/models/ann/thumbs/model_thumb_ship.jpg").body, fakeJpeg(50));
    EXPECT_EQ(api().get("/assets/sounds/ann/thumbs/sound_thumb_boing.jpg").status, 404);
    EXPECT_EQ(api().get("/assets/textures/nobody/x.png").status, 404);

    // Re-uploading a name replaces it and counts the size once.
    ASSERT_EQ(api().assetMultipart(upload("uploadTexture", "bark wall.png", token, "imageData", "tiny")).status, 200);
    EXPECT_EQ(api().get("/assets/textures/ann/bark%20wall.png").body, "tiny");
    EXPECT_EQ(services().assets().used(services().accounts().findByName("ann")->id), 4 + 8 + 8 + 4);

    Reply removed = api().assetForm("action=deleteAsset&assetType=textures&fileName=bark%20wall.png&token=" + token);
    EXPECT_EQ(removed.json["success"], true) << removed.body;
    EXPECT_EQ(api().get("/assets/textures/ann/bark%20wall.png").status, 404);
    Reply again = api().assetForm("action=deleteAsset&assetType=textures&fileName=bark%20wall.png&token=" + token);
    EXPECT_EQ(again.json["success"], false);
    EXPECT_EQ(again.status, 404);
}

TEST_P(Assets, QuotaSizeLimitAndOtherUsersFiles) {
    startServer();
    const std::string ann = api().registerUser("ann");
    const std::string bob = api().registerUser("bob");
    const std::string chunk(400 * 1024, 'd');   // the test quota is 1 MB, the file limit 512 KB
    ASSERT_EQ(api().assetMultipart(upload("uploadTexture", "a.png", ann, "imageData", chunk)).status, 200);
    ASSERT_EQ(api().assetMultipart(upload("uploadTexture", "b.png", ann, "imageData", chunk)).status, 200);
    Reply full = api().assetMultipart(upload("uploadTexture", "c.png", ann, "imageData", chunk));
    EXPECT_EQ(full.status, 403);
    EXPECT_EQ(full.json["code"], "quota_exceeded");
    EXPECT_EQ(full.json["success"], false);
    EXPECT_EQ(api().get("/assets/textures/ann/c.png").status, 404);
    Reply big = api().assetMultipart(upload("uploadTexture", "big.png", bob, "imageData", std::string(600 * 1024, 'x')));
    EXPECT_EQ(big.status, 413);
    EXPECT_EQ(big.json["code"], "file_too_large");

    // Bob cannot delete Ann's file; a freed quota takes a new upload.
    EXPECT_EQ(api().assetForm("action=deleteAsset&assetType=textures&fileName=a.png&token=" + bob).status, 404);
    EXPECT_EQ(api().get("/assets/textures/ann/a.png").body, chunk);
    EXPECT_EQ(api().assetForm("action=deleteAsset&assetType=textures&fileName=a.png&token=" + ann).status, 200);
    EXPECT_EQ(api().assetMultipart(upload("uploadTexture", "c.png", ann, "imageData", chunk)).status, 200);
    // The administrator's "unlimited" lifts the quota.
    services().accounts().setQuota("ann", -1);
    EXPECT_EQ(api().assetMultipart(upload("uploadTexture", "d.png", ann, "imageData", chunk)).status, 200);
    EXPECT_EQ(api().assetForm("action=getTextures&token=" + ann).json["storage"]["unlimited"], true);
}

TEST_P(Assets, BadNamesBadBodiesAndMissingLoginsAreRefused) {
    startServer();
    const std::string token = api().registerUser("ann");
    for (const char* name : {"../../etc/passwd.png", "..\\x.png", "a/b.png", "/abs.png", ".png", "CON.png",
                             "x.png\r\nX: y", "virus.exe", "noext", "%2e%2e%2fx.png"}) {
        Reply r = api().assetMultipart(upload("uploadTexture", name, token, "imageData", "data"));
        EXPECT_EQ(r.status, 400) << name << " " << r.body;
        EXPECT_EQ(r.json["success"], false) << name;
    }
    EXPECT_EQ(api().get("/assets/textures/ann/..%2F..%2Fcloud.sqlite3").status, 404);
    EXPECT_EQ(api().get("/assets/textures/..%2F..%2Fetc%2Fpasswd").status, 404);

    Reply noLogin = api().assetMultipart(upload("uploadTexture", "x.png", "", "imageData", "data"));
    EXPECT_EQ(noLogin.status, 401);
    EXPECT_EQ(noLogin.json["code"], "unauthorized");
    EXPECT_EQ(api().assetForm("action=getTextures&token=deadbeef").status, 401);
    EXPECT_EQ(api().assetForm("action=deleteAsset&assetType=textures&fileName=x.png").status, 401);
    EXPECT_EQ(api().assetMultipart(upload("uploadTexture", "x.png", token, "soundData", "data")).status, 400);
    EXPECT_EQ(api().assetForm("action=formatDisk&token=" + token).json["code"], "unknown_action");
    EXPECT_EQ(api().assetForm("").json["code"], "unknown_action");
    EXPECT_EQ(api().assetForm("action=%zz").json["code"], "malformed_form");
    EXPECT_EQ(api().assetForm("action=deleteAsset&assetType=..&fileName=x.png&token=" + token).status, 400);

    Reply broken = api().sendRaw("POST", "/api/assets", "--b\r\nContent-Disposition: form-data; name=\"action\"\r\n\r\nup",
                                 "multipart/form-data; boundary=b");
    EXPECT_EQ(broken.status, 400);
    EXPECT_EQ(broken.json["code"], "malformed_multipart");
    EXPECT_EQ(broken.json["success"], false);
    EXPECT_EQ(api().sendRaw("POST", "/api/assets", "{}", "application/json").status, 415);
    EXPECT_EQ(api().assetForm("action=getTextures&token=" + token).json["my_textures"], nlohmann::json::array());
}

INSTANTIATE_TEST_SUITE_P(Backends, Assets, ::testing::Values("sqlite", "postgresql"), backendName);

} // namespace
} // namespace Lumenda3D::Cloud::test
