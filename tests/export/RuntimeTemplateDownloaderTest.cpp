// The downloader against a server on loopback that the test controls: download with progress and
// hash check, the cache that spares a second download, a newer version replacing the cached one,
// offline use of the cache, and servers that answer badly.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <nlohmann/json.hpp>

#include "ExportTestSupport.h"
#include "export/RuntimeTemplateDownloader.h"
#include "export/Sha256.h"
#include "services/LoopbackHttpServer.h"
#include "services/MyHttpClient.h"

namespace Lumenda3D::test {
namespace {

namespace fs = std::filesystem;

struct Outcome {
    bool finished = false;
    bool ok = false;
    std::string text, dir;
    std::vector<std::pair<float, std::string>> progress;
};

class RuntimeTemplateDownloaderTest : public ::testing::Test {
protected:
    void SetUp() override {
        server_.server().Get(R"(/api/runtime-templates/windows)", [this](const httplib::Request&, httplib::Response& res) {
            res.set_content(manifest_, "application/json");
        });
        server_.server().Get(R"(/api/runtime-templates/windows/([^/]+)/archive\.zip)",
                             [this](const httplib::Request& req, httplib::Response& res) {
                                 ++downloads_;
                                 if (req.matches[1].str() != version_) {
                                     res.status = 404;
                                     return;
                                 }
                                 res.set_content(archive_, "application/zip");
                             });
        server_.start();
        MyHttpClient::Options options;
        options.cacheDir = scratch_ / "http-cache";
        client_ = std::make_shared<MyHttpClient>(options);
        publish("1.0.0", zipBytes({{"lumenda3d-player.exe", "MZ player 1"}, {"media/a.txt", std::string(300000, 'm')}}));
    }

    void publish(const std::string& version, const std::string& archive, const std::string& sha = "") {
        version_ = version;
        archive_ = archive;
        manifest_ = nlohmann::json({{"platform", "windows"},
                                    {"templates",
                                     {{{"version", version},
                                       {"sha256", sha.empty() ? Sha256::hexOf(archive) : sha},
                                       {"size", archive.size()}}}}})
                        .dump();
    }

    RuntimeTemplateDownloader downloader() const {
        return RuntimeTemplateDownloader(server_.url("/api"), scratch_ / "runtime-templates");
    }

    Outcome ensure(RuntimeTemplateDownloader d) {
        Outcome o;
        d.ensure(
            "windows", client_, [&o](float f, const std::string& t) { o.progress.emplace_back(f, t); },
            [&o](bool ok, const std::string& text, const std::string& dir) {
                o.finished = true;
                o.ok = ok;
                o.text = text;
                o.dir = dir;
            });
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!o.finished && std::chrono::steady_clock::now() < deadline) {
            client_->pump();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        EXPECT_TRUE(o.finished);
        return o;
    }

    ScratchDir scratch_;
    LoopbackHttpServer server_;
    std::shared_ptr<MyHttpClient> client_;
    std::string manifest_, archive_, version_;
    std::atomic<int> downloads_{0};
};

TEST_F(RuntimeTemplateDownloaderTest, DownloadsOnceWithRisingProgressThenServesFromTheCache) {
    const Outcome first = ensure(downloader());
    ASSERT_TRUE(first.ok) << first.text;
    EXPECT_EQ(downloads_, 1);
    EXPECT_EQ(first.dir, scratch_ / "runtime-templates/windows/1.0.0");
    EXPECT_EQ(readAll(first.dir + "/lumenda3d-player.exe"), "MZ player 1");
    ASSERT_GE(first.progress.size(), 3u);
    EXPECT_EQ(first.progress.front().first, 0.0f);
    EXPECT_EQ(first.progress.back().first, 1.0f);
    for (std::size_t i = 1; i < first.progress.size(); ++i)
        EXPECT_GE(first.progress[i].first, first.progress[i - 1].first) << first.progress[i].second;
    bool sawDownload = false;
    for (const auto& [f, text] : first.progress)
        sawDownload |= text.find("Downloading the Windows runtime 1.0.0") != std::string::npos;
    EXPECT_TRUE(sawDownload);

    const Outcome second = ensure(downloader());
    ASSERT_TRUE(second.ok) << second.text;
    EXPECT_EQ(downloads_, 1);   // not fetched again
    EXPECT_EQ(second.dir, first.dir);
    EXPECT_NE(second.text.find("cached"), std::string::npos);
}

TEST_F(RuntimeTemplateDownloaderTest, ANewerVersionReplacesTheCachedOne) {
    ASSERT_TRUE(ensure(downloader()).ok);
    publish("1.1.0", zipBytes({{"lumenda3d-player.exe", "MZ player 2"}}));
    const Outcome o = ensure(downloader());
    ASSERT_TRUE(o.ok) << o.text;
    EXPECT_EQ(downloads_, 2);
    EXPECT_EQ(readAll(o.dir + "/lumenda3d-player.exe"), "MZ player 2");
    EXPECT_FALSE(fs::exists(scratch_ / "runtime-templates/windows/1.0.0"));
    EXPECT_EQ(downloader().cached("windows")->version, "1.1.0");
}

TEST_F(RuntimeTemplateDownloaderTest, OfflineTheCachedTemplateIsUsedAndWithoutOneTheExportIsTold) {
    {
        const Outcome none = ensure(RuntimeTemplateDownloader("http://127.0.0.1:1/api", scratch_ / "runtime-templates"));
        EXPECT_FALSE(none.ok);
        EXPECT_NE(none.text.find("No Windows runtime template is available: the server could not be reached"),
                  std::string::npos)
            << none.text;
    }
    const Outcome unset = ensure(RuntimeTemplateDownloader("", scratch_ / "runtime-templates"));
    EXPECT_FALSE(unset.ok);
    EXPECT_NE(unset.text.find("no Lumenda3D server is configured"), std::string::npos) << unset.text;
    ASSERT_TRUE(ensure(downloader()).ok);
    EXPECT_TRUE(ensure(RuntimeTemplateDownloader("", scratch_ / "runtime-templates")).ok);
    server_.stop();
    const Outcome offline = ensure(downloader());
    ASSERT_TRUE(offline.ok) << offline.text;
    EXPECT_NE(offline.text.find("Using the cached Windows runtime 1.0.0"), std::string::npos) << offline.text;
    EXPECT_EQ(readAll(offline.dir + "/lumenda3d-player.exe"), "MZ player 1");
}

TEST_F(RuntimeTemplateDownloaderTest, AServerWithoutATemplateSaysSo) {
    manifest_ = R"({"platform": "windows", "templates": []})";
    const Outcome o = ensure(downloader());
    EXPECT_FALSE(o.ok);
    EXPECT_NE(o.text.find("the server has no Windows runtime template"), std::string::npos) << o.text;
    EXPECT_EQ(downloads_, 0);
}

TEST_F(RuntimeTemplateDownloaderTest, DamagedOrHostileArchivesNeverReachTheCache) {
    publish("1.0.0", archive_, std::string(64, '0'));   // the list's hash does not match the bytes
    Outcome o = ensure(downloader());
    EXPECT_FALSE(o.ok);
    EXPECT_NE(o.text.find("damaged"), std::string::npos) << o.text;

    publish("1.0.1", zipBytes({{"lumenda3d-player.exe", "MZ"}, {"../../escaped.txt", "x"}}));
    o = ensure(downloader());
    EXPECT_FALSE(o.ok);
    EXPECT_NE(o.text.find("unsafe path"), std::string::npos) << o.text;
    EXPECT_FALSE(fs::exists(scratch_ / "escaped.txt"));
    EXPECT_FALSE(downloader().cached("windows"));
    if (fs::exists(scratch_ / "runtime-templates/windows")) {
        EXPECT_TRUE(fs::is_empty(scratch_ / "runtime-templates/windows"));
    }

    manifest_ = "{\"platform\": \"windows\", \"templates\": [{\"version\": \"../x\"}]}";
    o = ensure(downloader());
    EXPECT_FALSE(o.ok);
    EXPECT_NE(o.text.find("version"), std::string::npos) << o.text;
}

} // namespace
} // namespace Lumenda3D::test
