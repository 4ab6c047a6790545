// The updater reads the update feed as the cloud server serves it: a registered release is
// announced with its versions, download and notes; a feed without releases means up to date.
#include "CloudClientTest.h"

#include "services/LmdAutoUpdater.h"

namespace Lumenda3D::test {
namespace {

class UpdateFeedTest : public CloudClientTest {
protected:
    // One check of the feed on `server` by an editor of version 2.1.3.
    LmdAutoUpdater::Result check(LmdAutoUpdater& updater, const std::string& server) {
        updater.init(LmdAutoUpdater::feedUrlFor(server), "Lumenda3D", "2.1.3");
        EXPECT_TRUE(pumpUntilUpdater(updater));
        return updater.lastResult();
    }
};

TEST_F(UpdateFeedTest, TheServersAppcastAnnouncesANewerReleaseAndOnlyThen) {
    auto client = std::make_shared<MyHttpClient>();
    {
        LmdAutoUpdater updater(client);
        const LmdAutoUpdater::Result none = check(updater, serverUrl());
        EXPECT_EQ(none.outcome, LmdAutoUpdater::Outcome::UpToDate) << none.error;
    }
    Cloud::Release release;
    release.platform = "win";
    release.version = "2.2.0";
    release.shortVersion = "2.2";
    release.url = "https://example.com/Lumenda3D-2.2.0-setup.exe";
    release.length = 84213760;
    release.notesUrl = "https://example.com/notes/2.2.0.html";
    release.publishedAt = 1748858400;
    services().releases().put(release);
    Cloud::Release linux = release;
    linux.platform = "linux";
    linux.version = "9.0.0";
    services().releases().put(linux);   // another platform's feed: not the editor's

    LmdAutoUpdater updater(client);
    const LmdAutoUpdater::Result found = check(updater, serverUrl() + "/");
    ASSERT_EQ(found.outcome, LmdAutoUpdater::Outcome::UpdateAvailable) << found.error;
    EXPECT_EQ(found.update.version, "2.2.0");
    EXPECT_EQ(found.update.displayVersion, "2.2");
    EXPECT_EQ(found.update.downloadUrl, release.url);
    EXPECT_EQ(found.update.releaseNotesUrl, release.notesUrl);
    EXPECT_EQ(found.update.length, 84213760u);
}

} // namespace
} // namespace Lumenda3D::test
