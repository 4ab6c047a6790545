// The asset catalog against the real cloud server on loopback: the list with the user's folder
// and storage, an upload with its thumbnail, delete, a quota refusal, a lapsed session with
// exactly one login and one retry, an upload that times out, and the anonymous list.
#include "CloudClientTest.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "AssetFileBytes.h"
#include "assets/AssetCatalog.h"

namespace Lumenda3D::test {
namespace {

class AssetCatalogTest : public CloudClientTest {
protected:
    struct Result {
        bool called = false;
        bool ok = false;
        std::string error;
    };
    AssetCatalog::Done record(Result& out) {
        return [&out](bool ok, const std::string& error) {
            out.called = true;
            out.ok = ok;
            out.error = error;
        };
    }
    Result upload(AssetCatalog& catalog, const std::string& name, const std::string& bytes,
                  const std::string& thumb = "") {
        Result out;
        catalog.uploadToServer(name, bytes, thumb, thumb.empty() ? "" : "thumb.jpg", record(out));
        EXPECT_TRUE(pumpUntil([&] { return out.called; })) << "no answer came";
        return out;
    }
    void list(AssetCatalog& catalog) {
        bool done = false;
        catalog.fetchListThen([&done](const std::string&) { done = true; });
        EXPECT_TRUE(pumpUntil([&] { return done; })) << "no answer came";
    }
    std::string get(const std::string& url) {
        const std::string path = url.substr(serverUrl().size());
        return api().get(path).body;
    }

    AssetCatalog textures{AssetCatalog::texturesConfig()};
};

TEST_F(AssetCatalogTest, UploadListThumbnailAndDeleteRoundTrip) {
    logInAs("ann");
    const std::string png = pngHeader(4, 4);
    const std::string thumb = Cloud::test::fakeJpeg(64);
    const Result uploaded = upload(textures, "bark wall.png", png, thumb);
    ASSERT_TRUE(uploaded.ok) << uploaded.error;
    EXPECT_FALSE(textures.isUploading());
    // An upload lists again by itself.
    ASSERT_TRUE(pumpUntil([&] { return !textures.isFetching() && !textures.getMyAssets().empty(); }));
    EXPECT_EQ(textures.getMyAssets(), std::vector<std::string>{"bark wall.png"});
    EXPECT_EQ(textures.getUsername(), "ann");
    ASSERT_TRUE(textures.isStorageKnown());
    EXPECT_FALSE(textures.isStorageUnlimited());
    EXPECT_GT(textures.getStorageQuotaMb(), 0.0);
    EXPECT_GT(textures.getStorageUsedMb(), 0.0);

    // The addresses the catalog builds are where the server keeps the file and its thumbnail.
    EXPECT_EQ(textures.assetUrl("bark wall.png", true), serverUrl() + "/assets/textures/ann/bark%20wall.png");
    EXPECT_EQ(get(textures.assetUrl("bark wall.png", true)), png);
    EXPECT_EQ(textures.thumbnailUrl("bark wall.png", true),
              serverUrl() + "/assets/textures/ann/thumbs/thumb_bark%20wall.jpg");
    EXPECT_EQ(get(textures.thumbnailUrl("bark wall.png", true)), thumb);
    std::optional<std::string> bytes;
    textures.fetchAssetBytes("bark wall.png", true, [&](bool ok, const std::string& body, const std::string& error) {
        bytes = ok ? body : "failed: " + error;
    });
    ASSERT_TRUE(pumpUntil([&] { return bytes.has_value(); }));
    EXPECT_EQ(*bytes, png);

    Result deleted;
    textures.deleteAsset("bark wall.png", record(deleted));
    ASSERT_TRUE(pumpUntil([&] { return deleted.called; }));
    EXPECT_TRUE(deleted.ok) << deleted.error;
    EXPECT_TRUE(textures.getMyAssets().empty());
    Result again;
    textures.deleteAsset("bark wall.png", record(again));
    ASSERT_TRUE(pumpUntil([&] { return again.called; }));
    EXPECT_FALSE(again.ok);
    EXPECT_FALSE(again.error.empty());
}

TEST_F(AssetCatalogTest, SignedOutListIsThePublicCatalogueWithoutStorage) {
    // Signed out the form carries no token at all: the server answers the public list, where an
    // empty or bad token would have been refused with 401.
    list(textures);
    EXPECT_TRUE(textures.hasListed()) << textures.getListError();
    EXPECT_TRUE(textures.getListError().empty());
    EXPECT_TRUE(textures.getMyAssets().empty());
    EXPECT_FALSE(textures.isStorageKnown());

    const Result refused = upload(textures, "a.png", pngHeader(2, 2));
    EXPECT_FALSE(refused.ok);
    EXPECT_EQ(refused.error, CloudReply::kSessionEndedText);
    EXPECT_EQ(textures.getUploadStatus(), std::string("Upload failed: ") + CloudReply::kSessionEndedText);
}

TEST_F(AssetCatalogTest, TheServersRefusalsReachThePersonAndFailedListsKeepTheOldOnes) {
    logInAs("ann");
    ASSERT_TRUE(upload(textures, "keep.png", pngHeader(2, 2)).ok);
    ASSERT_TRUE(pumpUntil([&] { return !textures.isFetching() && textures.getMyAssets().size() == 1; }));

    ASSERT_TRUE(services().accounts().setQuota("ann", 0));
    const Result overQuota = upload(textures, "big.png", pngHeader(2, 2) + std::string(4096, 'x'));
    EXPECT_FALSE(overQuota.ok);
    EXPECT_NE(overQuota.error.find("Your storage is full"), std::string::npos) << overQuota.error;

    const Result wrongType = upload(textures, "notes.txt", "hello");
    EXPECT_FALSE(wrongType.ok);
    EXPECT_FALSE(wrongType.error.empty());

    // A dead server: the list stands as it was.
    const std::string dead = "http://127.0.0.1:" + std::to_string(Cloud::test::unusedPort());
    setenv(ApiConfig::kServerVariable, dead.c_str(), 1);
    ApiConfig::init("");
    list(textures);
    EXPECT_EQ(textures.getMyAssets(), std::vector<std::string>{"keep.png"});
    EXPECT_EQ(textures.getListError().rfind("Could not reach the Lumenda3D server", 0), 0u) << textures.getListError();
}

TEST_F(AssetCatalogTest, ALapsedSessionLogsInOnceAndRetriesOnce) {
    const std::string token = registerUser("ann");
    ASSERT_TRUE(auth().storeSession(std::string(64, 'a'), "ann"));  // a session the server never made
    int prompts = 0;
    AuthenticationFlowManager::getInstance().setLoginPrompt([&](std::function<void()> onLoggedIn, std::function<void()>) {
        ++prompts;
        ASSERT_TRUE(auth().storeSession(token, "ann"));
        onLoggedIn();
    });
    const Result uploaded = upload(textures, "bark.png", pngHeader(2, 2));
    EXPECT_TRUE(uploaded.ok) << uploaded.error;
    EXPECT_EQ(prompts, 1);

    // A login that does not help: the second refusal is reported, with no second prompt.
    ASSERT_TRUE(auth().storeSession(std::string(64, 'b'), "ann"));
    AuthenticationFlowManager::getInstance().setLoginPrompt([&](std::function<void()> onLoggedIn, std::function<void()>) {
        ++prompts;
        ASSERT_TRUE(auth().storeSession(std::string(64, 'c'), "ann"));
        onLoggedIn();
    });
    Result deleted;
    textures.deleteAsset("bark.png", record(deleted));
    ASSERT_TRUE(pumpUntil([&] { return deleted.called; }));
    EXPECT_FALSE(deleted.ok);
    EXPECT_EQ(deleted.error, CloudReply::kSessionEndedText);
    EXPECT_EQ(prompts, 2);

    // A login the person cancels ends the upload with the refusal; nothing stays "uploading".
    ASSERT_TRUE(auth().storeSession(std::string(64, 'd'), "ann"));
    AuthenticationFlowManager::getInstance().setLoginPrompt(
        [&](std::function<void()>, std::function<void()> onCancelled) {
            ++prompts;
            if (onCancelled)
                onCancelled();
        });
    const Result cancelled = upload(textures, "bark.png", pngHeader(2, 2));
    EXPECT_FALSE(cancelled.ok);
    EXPECT_EQ(cancelled.error, CloudReply::kSessionEndedText);
    EXPECT_FALSE(textures.isUploading());
    EXPECT_EQ(prompts, 3);
}

TEST_F(AssetCatalogTest, AnUploadThatGetsNoAnswerFailsAfterItsTimeout) {
    logInAs("ann");
    // A server that takes the connection and never answers.
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(listener, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(::listen(listener, 4), 0);
    socklen_t length = sizeof(address);
    ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const std::string silent = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    setenv(ApiConfig::kServerVariable, silent.c_str(), 1);
    ApiConfig::init("");

    textures.setUploadTimeoutMs(300);
    const Result timedOut = upload(textures, "bark.png", pngHeader(2, 2));
    EXPECT_FALSE(timedOut.ok);
    EXPECT_FALSE(timedOut.error.empty());
    EXPECT_FALSE(textures.isUploading());
    EXPECT_EQ(textures.getUploadStatus().rfind("Upload failed: ", 0), 0u);
    ::close(listener);
}

} // namespace
} // namespace Lumenda3D::test
