#include "services/LmdAutoUpdater.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "LoopbackHttpServer.h"
#include "TestDataRoot.h"
#include "base/LmdLog.h"

namespace Lumenda3D {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Outcome = LmdAutoUpdater::Outcome;

std::string feedWith(const std::vector<std::string>& versions) {
    std::string xml = R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel><title>Lumenda3D</title>)";
    for (const std::string& v : versions)
        xml += "<item><title>Lumenda3D " + v + "</title>"
               "<sparkle:releaseNotesLink>https://example.invalid/notes/" + v + ".html</sparkle:releaseNotesLink>"
               "<enclosure url=\"https://example.invalid/Lumenda3D-" + v + "-setup.exe\" length=\"1234\" "
               "type=\"application/octet-stream\" sparkle:version=\"" + v + "\"/></item>";
    return xml + "</channel></rss>";
}

TEST(LmdAppcast, VersionsCompareNumericallyPartByPart) {
    struct Case {
        const char* a;
        const char* b;
        int sign;
    };
    for (const Case& c : std::vector<Case>{{"2.1.10", "2.1.9", 1},
                                           {"2.1", "2.1.0", 0},
                                           {"v2.2.0", "2.1.3", 1},
                                           {"10.0", "9.99.99", 1},
                                           {"2.1.3", "2.1.3", 0},
                                           {"02.01.03", "2.1.3", 0},
                                           {"2.2.0-beta.2", "2.2.0", -1},
                                           {"2.2.0-beta.2", "2.2.0-beta.10", -1},
                                           {"2.2.0-beta", "2.2.0-alpha", 1},
                                           {"2.2.0-1", "2.2.0-alpha", -1},
                                           {"2.2.0+build5", "2.2.0", 0},
                                           {"99999999999999999999999.0", "99999999999999999999998.9", 1},
                                           {"garbage", "0.0.1", -1},
                                           {"1..2", "0", -1}}) {
        const int got = LmdAppcast::compareVersions(c.a, c.b);
        EXPECT_EQ((got > 0) - (got < 0), c.sign) << c.a << " vs " << c.b;
        const int back = LmdAppcast::compareVersions(c.b, c.a);
        EXPECT_EQ((back > 0) - (back < 0), -c.sign) << c.b << " vs " << c.a;
    }
}

TEST(LmdAppcast, ReadsItemsAndSkipsThoseWithoutAVersion) {
    std::vector<LmdAppcast::Item> items;
    std::string error;
    const std::string xml = R"(<rss><channel>
        <item><title>no version</title><enclosure url="https://x/none.exe"/></item>
        <item><title> Old </title><sparkle:version>2.0.0</sparkle:version></item>
        <item><title>New</title><pubDate>Mon, 02 Jun 2025 10:00:00 +0000</pubDate>
          <enclosure url="https://x/new.exe" length="84213760" s:version="2.10.0" s:shortVersionString="2.10"/></item>
        </channel></rss>)";
    ASSERT_TRUE(LmdAppcast::parse(xml, items, error)) << error;
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].title, "Old");
    EXPECT_EQ(items[0].displayVersion, "2.0.0");
    const LmdAppcast::Item* newest = LmdAppcast::newest(items);
    ASSERT_NE(newest, nullptr);
    EXPECT_EQ(newest->version, "2.10.0");
    EXPECT_EQ(newest->displayVersion, "2.10");
    EXPECT_EQ(newest->downloadUrl, "https://x/new.exe");
    EXPECT_EQ(newest->length, 84213760u);

    EXPECT_TRUE(LmdAppcast::parse("<rss><channel/></rss>", items, error));
    EXPECT_TRUE(items.empty());
    EXPECT_FALSE(LmdAppcast::parse("<html><body>Not found</body></html>", items, error));
    EXPECT_FALSE(LmdAppcast::parse("<rss><channel><item>", items, error));
    EXPECT_FALSE(LmdAppcast::parse("<rss><channel><item><title>x</title></item></channel></rss>", items, error));
}

class LmdAutoUpdaterTest : public test::DataRootTest {
protected:
    void SetUp() override {
        server.server().Get("/updates/win/appcast.xml", [this](const httplib::Request&, httplib::Response& res) {
            ++hits;
            if (hang)
                server.hold();
            res.set_content(feed, "application/rss+xml");
        });
        server.start();
        MyHttpClient::Options options;
        options.workerThreads = 1;
        options.defaultTimeoutMs = 3000;
        client = std::make_shared<MyHttpClient>(options);
        LmdLog::setEchoToStderr(false);
    }
    void TearDown() override {
        LmdLog::setEchoToStderr(true);
        server.release();
    }

    std::string feedUrl() const { return LmdAutoUpdater::feedUrlFor(server.url("/")); }

    // Runs one automatic check against the feed; what the handler heard.
    std::vector<LmdAutoUpdater::Result> check(LmdAutoUpdater& updater, const std::string& feedText) {
        feed = feedText;
        std::vector<LmdAutoUpdater::Result> heard;
        updater.setResultHandler([&](const LmdAutoUpdater::Result& r) { heard.push_back(r); });
        updater.init(feedUrl(), "Lumenda3D", "2.1.3");
        EXPECT_TRUE(test::pumpUntil(updater, [&] { return !updater.isChecking(); }));
        updater.setResultHandler(nullptr);
        return heard;
    }

    test::LoopbackHttpServer server;
    std::shared_ptr<MyHttpClient> client;
    std::string feed;
    std::atomic<int> hits{0};
    std::atomic<bool> hang{false};
};

TEST_F(LmdAutoUpdaterTest, TellsOnlyAboutANewerVersion) {
    LmdAutoUpdater updater(client);
    const auto newer = check(updater, feedWith({"2.1.2", "2.2.0", "2.1.4"}));
    ASSERT_EQ(newer.size(), 1u);
    EXPECT_EQ(newer[0].outcome, Outcome::UpdateAvailable);
    EXPECT_FALSE(newer[0].manual);
    EXPECT_EQ(newer[0].currentVersion, "2.1.3");
    EXPECT_EQ(newer[0].update.version, "2.2.0");
    EXPECT_EQ(newer[0].update.downloadUrl, "https://example.invalid/Lumenda3D-2.2.0-setup.exe");

    // Same, older, broken: the user is not bothered, the outcome is still recorded.
    EXPECT_TRUE(check(updater, feedWith({"2.1.3"})).empty());
    EXPECT_EQ(updater.lastResult().outcome, Outcome::UpToDate);
    EXPECT_TRUE(check(updater, feedWith({"1.9.9", "2.1.2"})).empty());
    EXPECT_EQ(updater.lastResult().outcome, Outcome::UpToDate);
    EXPECT_TRUE(check(updater, "<rss><channel><item>").empty());
    EXPECT_EQ(updater.lastResult().outcome, Outcome::Failed);
    EXPECT_NE(updater.lastResult().error.find("not valid XML"), std::string::npos) << updater.lastResult().error;
    EXPECT_EQ(hits, 4);
}

TEST_F(LmdAutoUpdaterTest, ManualChecksAlwaysAnswer) {
    LmdAutoUpdater updater(client);
    std::vector<LmdAutoUpdater::Result> heard;
    updater.setResultHandler([&](const LmdAutoUpdater::Result& r) { heard.push_back(r); });

    updater.checkForUpdatesManual();   // before init: nothing configured
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_EQ(heard[0].outcome, Outcome::NotConfigured);

    feed = feedWith({"2.1.3"});
    updater.init(feedUrl(), "Lumenda3D", "2.1.3");
    updater.checkForUpdatesManual();   // joins the check under way
    ASSERT_TRUE(test::pumpUntil(updater, [&] { return heard.size() == 2; }));
    EXPECT_EQ(heard[1].outcome, Outcome::UpToDate);
    EXPECT_TRUE(heard[1].manual);
    EXPECT_EQ(hits, 1);

    // No server behind the address: the user hears why.
    LmdAutoUpdater offline(client);
    offline.setResultHandler([&](const LmdAutoUpdater::Result& r) { heard.push_back(r); });
    offline.init(LmdAutoUpdater::feedUrlFor("http://127.0.0.1:" + std::to_string(test::closedLoopbackPort())),
                 "Lumenda3D", "2.1.3");
    offline.checkForUpdatesManual();
    ASSERT_TRUE(test::pumpUntil(offline, [&] { return heard.size() == 3; }));
    EXPECT_EQ(heard[2].outcome, Outcome::Failed);
    EXPECT_TRUE(heard[2].manual);
    EXPECT_NE(heard[2].error.find("Could not connect"), std::string::npos) << heard[2].error;
}

TEST_F(LmdAutoUpdaterTest, NeverHoldsUpStartOrEndAndStaysQuietWithoutAServer) {
    LmdAutoUpdater quiet(client);
    int told = 0;
    quiet.setResultHandler([&](const LmdAutoUpdater::Result&) { ++told; });
    quiet.init(LmdAutoUpdater::feedUrlFor(""), "Lumenda3D", "2.1.3");
    EXPECT_FALSE(quiet.isConfigured());
    EXPECT_FALSE(quiet.isChecking());
    quiet.pump();
    EXPECT_EQ(client->outstanding(), 0u);
    EXPECT_EQ(told, 0);

    // A server that never answers: init returns at once, cleanup abandons the check promptly.
    hang = true;
    LmdAutoUpdater updater(client);
    updater.setResultHandler([&](const LmdAutoUpdater::Result&) { ++told; });
    auto start = Clock::now();
    updater.init(feedUrl(), "Lumenda3D", "2.1.3");
    EXPECT_LT(Clock::now() - start, 100ms);
    EXPECT_TRUE(updater.isChecking());
    const auto deadline = Clock::now() + 5s;
    while (hits == 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(2ms);
    start = Clock::now();
    updater.cleanup();
    EXPECT_TRUE(test::pumpUntil(*client, [&] { return client->outstanding() == 0; }, 1s));
    EXPECT_LT(Clock::now() - start, 500ms);
    EXPECT_EQ(told, 0);

    EXPECT_EQ(LmdAutoUpdater::feedUrlFor("https://example.invalid/"), "https://example.invalid/updates/win/appcast.xml");
}

} // namespace
} // namespace Lumenda3D
