// The asset picker's cloud source against the real cloud server: the user's own uploads listed
// with their addresses, a chosen file fetched into the asset cache where the game's resolver
// finds it, and plain words when the user is signed out, the file is gone or the server is dead.
#include "CloudClientTest.h"

#include "assets/AssetCatalogs.h"
#include "attributes/CloudAssetSource.h"
#include "engine/assets/LmdAssetResolver.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace Lumenda3D::test {
namespace {

class CloudAssetSourceTest : public CloudClientTest {
protected:
    struct Listing {
        bool called = false;
        std::vector<AssetEntry> entries;
        std::string error;
    };
    Listing list(const std::string& type) {
        Listing out;
        source.list(type, [&out](std::vector<AssetEntry> entries, const std::string& error) {
            out.called = true;
            out.entries = std::move(entries);
            out.error = error;
        });
        EXPECT_TRUE(pumpUntil([&] { return out.called; })) << "no answer came";
        return out;
    }
    std::optional<std::string> fetch(const AssetEntry& entry) {
        std::optional<std::string> error;
        source.fetch("textures", entry, [&error](const std::string& why) { error = why; });
        EXPECT_TRUE(pumpUntil([&] { return error.has_value(); })) << "no answer came";
        return error;
    }
    void upload(const std::string& token, const std::string& name, const std::string& bytes) {
        httplib::MultipartFormDataItems form = {{"action", "uploadTexture", "", ""},
                                                {"fileName", name, "", ""},
                                                {"token", token, "", ""},
                                                {"imageData", bytes, name, "image/png"}};
        ASSERT_EQ(api().assetMultipart(form).status, 200);
    }

    std::string cache = (dataRoot_.path() / "asset-cache").string();
    CloudAssetSource source{cache, std::make_shared<AssetCatalogs>()};
};

TEST_F(CloudAssetSourceTest, OwnUploadsAreListedAndAChosenOneIsFetchedWhereTheGameLooks) {
    const std::string token = logInAs("ann");
    const std::string png("\x89PNG\r\n\x1a\n-bark-", 14);
    upload(token, "bark wall.png", png);

    const Listing listed = list("textures");
    ASSERT_TRUE(listed.error.empty()) << listed.error;
    ASSERT_EQ(listed.entries.size(), 1u);
    const AssetEntry& bark = listed.entries[0];
    EXPECT_EQ(bark.name, "bark wall.png");
    EXPECT_EQ(bark.reference, serverUrl() + "/assets/textures/ann/bark%20wall.png");
    EXPECT_EQ(bark.thumbnailUrl, serverUrl() + "/assets/textures/ann/thumbs/thumb_bark%20wall.jpg");
    EXPECT_EQ(list("sounds").entries.size(), 0u);

    EXPECT_EQ(fetch(bark), "");
    std::ifstream file(source.cachedPath("textures", bark.reference), std::ios::binary);
    std::stringstream bytes;
    bytes << file.rdbuf();
    EXPECT_EQ(bytes.str(), png);
    // The game's resolver finds the address in that cache.
    LmdAssetResolver resolver;
    resolver.setCacheDir(cache);
    EXPECT_EQ(resolver.resolve(bark.reference, LmdAssetResolver::Kind::Texture),
              source.cachedPath("textures", bark.reference));

    AssetEntry gone = bark;
    gone.name = "gone.png";
    gone.reference = serverUrl() + "/assets/textures/ann/gone.png";
    const auto missing = fetch(gone);
    EXPECT_NE(missing->find("Could not fetch 'gone.png'"), std::string::npos) << *missing;
    EXPECT_NE(missing->find("404"), std::string::npos) << *missing;
}

TEST_F(CloudAssetSourceTest, SignedOutAndDeadServersAreToldPlainly) {
    EXPECT_EQ(list("textures").error, "Log in to see your cloud assets.");

    logInAs("ann");
    const std::string dead = "http://127.0.0.1:" + std::to_string(Cloud::test::unusedPort());
    setenv(ApiConfig::kServerVariable, dead.c_str(), 1);
    ApiConfig::init("");
    const Listing listed = list("textures");
    EXPECT_TRUE(listed.entries.empty());
    EXPECT_EQ(listed.error.rfind("Could not reach the Lumenda3D server at " + dead, 0), 0u) << listed.error;

    unsetenv(ApiConfig::kServerVariable);
    ApiConfig::init("");
    EXPECT_EQ(list("textures").error, "No Lumenda3D server is set up, so there are no cloud assets to show.");
}

} // namespace
} // namespace Lumenda3D::test
