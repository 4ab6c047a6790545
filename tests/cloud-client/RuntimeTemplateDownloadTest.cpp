// The editor's downloader against the real cloud server: a runtime template the administrator
// added is downloaded, checked and cached; the next export uses the cache; a platform the server
// has no template for is refused in words that say so.
#include <zip.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "CloudClientTest.h"
#include "AdminCommands.h"
#include "export/RuntimeTemplateDownloader.h"
#include "services/ApiConfig.h"

namespace Lumenda3D::test {
namespace {

class RuntimeTemplateDownloadTest : public CloudClientTest {
protected:
    struct Result {
        bool done = false, ok = false;
        std::string text, dir;
        float last = -1;
    };
    Result ensure(const std::string& platform) {
        Result r;
        RuntimeTemplateDownloader downloader(ApiConfig::getApiBaseUrl(), RuntimeTemplateDownloader::defaultCacheRoot());
        downloader.ensure(
            platform, client_, [&r](float f, const std::string&) { r.last = f; },
            [&r](bool ok, const std::string& text, const std::string& dir) {
                r.done = true;
                r.ok = ok;
                r.text = text;
                r.dir = dir;
            });
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!r.done && std::chrono::steady_clock::now() < deadline) {
            client_->pump();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        EXPECT_TRUE(r.done);
        return r;
    }
    void addTemplate(const std::string& version, const std::string& player) {
        const std::string path = dir_.path() + "/runtime-" + version + ".zip";
        int err = 0;
        zip_t* zip = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &err);
        ASSERT_NE(zip, nullptr);
        zip_file_add(zip, "lumenda3d-player.exe", zip_source_buffer(zip, player.data(), player.size(), 0), 0);
        ASSERT_EQ(zip_close(zip), 0);
        std::istringstream in;
        std::ostringstream out, errText;
        ASSERT_EQ(Cloud::AdminCommands::run(services().config(),
                                            {"add-runtime-template", "--platform", "windows", "--version", version,
                                             "--archive", path},
                                            in, out, errText),
                  0)
            << errText.str();
    }

    std::shared_ptr<MyHttpClient> client_ = std::make_shared<MyHttpClient>();
};

TEST_F(RuntimeTemplateDownloadTest, AddedTemplateIsDownloadedOnceAndThenServedFromTheCache) {
    const Result none = ensure("windows");
    EXPECT_FALSE(none.ok);
    EXPECT_NE(none.text.find("the server has no Windows runtime template"), std::string::npos) << none.text;

    const std::string player = "MZ" + std::string(200000, 'p');
    addTemplate("1.0.0", player);
    const Result first = ensure("windows");
    ASSERT_TRUE(first.ok) << first.text;
    EXPECT_NE(first.text.find("downloaded"), std::string::npos) << first.text;
    EXPECT_EQ(first.last, 1.0f);
    std::ifstream file(first.dir + "/lumenda3d-player.exe", std::ios::binary);
    std::stringstream bytes;
    bytes << file.rdbuf();
    EXPECT_EQ(bytes.str(), player);

    const Result second = ensure("windows");
    ASSERT_TRUE(second.ok) << second.text;
    EXPECT_NE(second.text.find("(cached)"), std::string::npos) << second.text;
    EXPECT_EQ(second.dir, first.dir);

    const Result linux = ensure("linux");   // nothing added for Linux
    EXPECT_FALSE(linux.ok);
    EXPECT_NE(linux.text.find("No Linux runtime template is available"), std::string::npos) << linux.text;
}

} // namespace
} // namespace Lumenda3D::test
