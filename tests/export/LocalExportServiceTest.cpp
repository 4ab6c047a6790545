// The export pipeline from the entry to the deliverable, with a template source that hands over a
// small folder instead of the real runtime: the progress scale, the failures in their order, assets
// that cannot be had, and a disk that fills up while packaging.
#include "export/LocalExportService.h"

#include "FileSizeLimit.h"
#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "engine/Lumenda3DEngine.h"
#include "engine/package/LmdGamePackage.h"
#include "export/ExportProcess.h"
#include "export/TemplateManager.h"
#include "services/ApiConfig.h"
#include "services/FileManager.h"
#include "services/LocalStorage.h"
#include "services/LoopbackHttpServer.h"
#include "services/MyHttpClient.h"

#include <chrono>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

using Platform = ExportService::Platform;

// Hands over a folder made in the test's data root, reporting halfway and at the end.
class FolderTemplate : public TemplateSource {
public:
    explicit FolderTemplate(std::string folder) : folder_(std::move(folder)) {}
    std::string describe() const override { return "the test"; }
    void fetch(Platform, std::shared_ptr<MyHttpClient>, ExportService::Progress progress, Delivered delivered) override {
        ++fetches;
        progress(0.5f, "Fetching the template...");
        progress(1.0f, "Template ready");
        delivered(true, folder_);
    }
    int fetches = 0;

private:
    std::string folder_;
};

// Keeps the fetch waiting until release(), as a slow download would.
class HeldTemplate : public TemplateSource {
public:
    explicit HeldTemplate(std::string folder) : folder_(std::move(folder)) {}
    std::string describe() const override { return "a slow server"; }
    void fetch(Platform, std::shared_ptr<MyHttpClient>, ExportService::Progress, Delivered delivered) override {
        held_ = std::move(delivered);
    }
    // Keeps its answer after giving it, as a source may: that must not keep the export alive.
    void release() {
        if (held_)
            held_(true, folder_);
    }

private:
    std::string folder_;
    Delivered held_;
};

struct Outcome {
    bool finished = false;
    bool ok = false;
    std::string text;
    std::vector<std::pair<float, std::string>> steps;
};

class LocalExportServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        LmdLog::setEchoToStderr(false);
        sink_ = LmdLog::addSink([this](const std::string& text, LogLevel) { log.push_back(text); });
        templateDir = (dataRoot.path() / "template").string();
        ASSERT_TRUE(FileManager::writeFileAtomic(templateDir + "/AppRun", "#!/bin/sh\necho game\n"));
        ASSERT_TRUE(FileManager::writeFileAtomic(templateDir + "/lib/libgame.so", std::string(2 << 20, 'x')));
        ASSERT_TRUE(FileManager::writeFileAtomic(templateDir + "/template.json", "{}"));
        source = std::make_shared<FolderTemplate>(templateDir);
        templates.addSource(Platform::Linux, source);
        service.setHttpClient(client);
    }
    void TearDown() override {
        LmdLog::removeSink(sink_);
        LmdLog::setEchoToStderr(true);
    }

    Outcome run(Platform platform, const std::string& xml, Lumenda3DEngine* on = nullptr, bool withEngine = true) {
        Outcome outcome;
        ExportService::Options options;
        options.displayName = "Test Game";
        service.exportFor(
            platform, withEngine ? (on ? on : &engine) : nullptr, xml, output(platform), options,
            [&outcome](float f, const std::string& text) { outcome.steps.emplace_back(f, text); },
            [&outcome](bool ok, const std::string& text) {
                EXPECT_FALSE(outcome.finished) << "done twice";
                outcome.finished = true;
                outcome.ok = ok;
                outcome.text = text;
            });
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!outcome.finished && std::chrono::steady_clock::now() < end)
            if (client->pump() == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
        EXPECT_TRUE(outcome.finished);
        return outcome;
    }
    std::string output(Platform platform) const {
        return (dataRoot.path() / "exports" / (platform == Platform::Linux ? "Test Game-linux.tar.gz" : "Test Game.zip"))
            .string();
    }
    // What the exports folder holds, hidden work folders included.
    std::vector<std::string> exportsFolder() const {
        std::vector<std::string> names;
        std::error_code ec;
        for (const auto& entry : fs::directory_iterator(dataRoot.path() / "exports", ec))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    bool logged(const std::string& part) const {
        return std::any_of(log.begin(), log.end(), [&](const std::string& l) { return l.find(part) != std::string::npos; });
    }

    test::TestDataRoot dataRoot;
    Lumenda3DEngine engine{"LocalExportServiceTest"};
    std::shared_ptr<MyHttpClient> client = std::make_shared<MyHttpClient>();
    TemplateManager templates;
    LocalExportService service{templates};
    std::shared_ptr<FolderTemplate> source;
    std::string templateDir;
    std::vector<std::string> log;

private:
    int sink_ = 0;
};

const char* const kGame = "<KiteBench3D assetsVersion=\"3\">"
                          "<Material name=\"rock\" picture=\"local:rock.png\"/>"
                          "<LoadSound name=\"coin\" fileName=\"coin.wav\"/>"
                          "<Var name=\"score\" value=\"0\"/>"
                          "<Level name=\"One\"><Box name=\"crate\" texture=\"rock\"/></Level>"
                          "</KiteBench3D>";

TEST_F(LocalExportServiceTest, ALinuxExportFollowsTheProgressScaleAndDeliversAFolderAndAnArchive) {
    ASSERT_TRUE(FileManager::writeFileAtomic(LocalStorage::localAssetsDir() + "/textures/rock.png", "PNGDATA"));
    const Outcome outcome = run(Platform::Linux, kGame);
    ASSERT_TRUE(outcome.ok) << outcome.text;
    EXPECT_EQ(outcome.text, output(Platform::Linux));
    const std::vector<std::pair<float, std::string>> expected = {
        {0.0f, "Preparing export template..."},
        {0.15f, "Fetching the template..."},
        {0.3f, "Template ready"},
        {0.35f, "Compiling the game..."},
        {0.65f, "Preparing assets (1/2)..."},
        {0.85f, "Preparing assets (2/2)..."},
        {0.88f, "Packaging the game..."},
        {1.0f, "Done"},
    };
    ASSERT_EQ(outcome.steps.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(outcome.steps[i].first, expected[i].first, 1e-6) << i;
        EXPECT_EQ(outcome.steps[i].second, expected[i].second) << i;
    }
    EXPECT_TRUE(logged("LocalExportService: export complete -> " + output(Platform::Linux)));

    // The folder: the template (without its manifest) and the game with its assets.
    const fs::path folder = dataRoot.path() / "exports" / "Test Game-linux";
    EXPECT_TRUE(fs::exists(folder / "AppRun"));
    EXPECT_TRUE(fs::exists(folder / "lib" / "libgame.so"));
    EXPECT_FALSE(fs::exists(folder / "template.json"));
    std::string bytes, error;
    ASSERT_TRUE(FileManager::readFile((folder / "game" / "bin.dat").string(), bytes));
    LmdGamePackage package;
    ASSERT_TRUE(LmdGamePackage::parse(bytes, package, error)) << error;
    EXPECT_EQ(package.documentXml, kGame);
    EXPECT_FALSE(package.logicBytecode.empty());
    EXPECT_TRUE(FileManager::readFile((folder / "game" / "textures" / "rock.png").string(), bytes));
    EXPECT_EQ(bytes, "PNGDATA");
    EXPECT_TRUE(fs::exists(folder / "game" / "sounds" / "coin.wav"));
    ASSERT_TRUE(FileManager::readFile((folder / "game" / "app.json").string(), bytes));
    EXPECT_NE(bytes.find("\"displayName\": \"Test Game\""), std::string::npos);

    // The archive holds the same under the game's name.
    const ExportProcess::Result list = ExportProcess::run({"tar", "-tzf", output(Platform::Linux)});
    ASSERT_TRUE(list.ok()) << list.output;
    EXPECT_NE(list.output.find("Test Game/game/bin.dat"), std::string::npos);
    EXPECT_NE(list.output.find("Test Game/AppRun"), std::string::npos);
    EXPECT_EQ(exportsFolder(), (std::vector<std::string>{"Test Game-linux", "Test Game-linux.tar.gz"}));

    // Again, with another game: the first is replaced, nothing of it stays.
    const Outcome second = run(Platform::Linux, "<KiteBench3D><Var name=\"a\" value=\"1\"/></KiteBench3D>");
    ASSERT_TRUE(second.ok) << second.text;
    EXPECT_FALSE(fs::exists(folder / "game" / "textures" / "rock.png"));
    EXPECT_EQ(exportsFolder(), (std::vector<std::string>{"Test Game-linux", "Test Game-linux.tar.gz"}));
    // With no assets, the assets row still shows once, complete.
    EXPECT_NE(std::find(second.steps.begin(), second.steps.end(),
                        std::make_pair(0.85f, std::string("Preparing assets (0/0)..."))),
              second.steps.end());
}

TEST_F(LocalExportServiceTest, FailuresComeInTheirOrderWithTheirTextsAndLeaveNoOutput) {
    struct Case {
        const char* what;
        Platform platform;
        std::string xml;
        bool withEngine;
        std::string text; // the whole text, or its start when it ends in "..."
    };
    const Case cases[] = {
        {"no engine (checked before the empty document)", Platform::Linux, "", false,
         "Engine/HTTP client not available for export."},
        {"an empty document", Platform::Linux, "", true, "Project XML is empty — nothing to export."},
        {"text that is not XML", Platform::Linux, "<KiteBench3D><Box>", true,
         "Compile failed: the document is not well-formed XML: ..."},
        {"another root", Platform::Linux, "<Game/>", true, "Compile failed: the document's root element is <Game>..."},
        {"a document that does not validate", Platform::Linux,
         "<KiteBench3D><Box name=\"b\" width=\"wide\"/><Spaceship/></KiteBench3D>", true,
         "Compile failed: the document does not validate: ..."},
        {"Windows without a template", Platform::Windows, kGame, true, TemplateManager::noTemplateMessage(Platform::Windows)},
    };
    for (const Case& c : cases) {
        log.clear();
        const Outcome outcome = run(c.platform, c.xml, nullptr, c.withEngine);
        EXPECT_FALSE(outcome.ok) << c.what;
        const bool prefix = c.text.size() > 3 && c.text.compare(c.text.size() - 3, 3, "...") == 0;
        if (prefix)
            EXPECT_EQ(outcome.text.rfind(c.text.substr(0, c.text.size() - 3), 0), 0u) << c.what << ": " << outcome.text;
        else
            EXPECT_EQ(outcome.text, c.text) << c.what;
        EXPECT_TRUE(logged("LocalExportService: " + outcome.text)) << c.what;
        EXPECT_TRUE(exportsFolder().empty()) << c.what;
    }

    // The client is checked with the engine.
    LocalExportService noClient(templates);
    Outcome outcome;
    noClient.exportLinux(&engine, kGame, output(Platform::Linux), {}, nullptr,
                         [&outcome](bool ok, const std::string& text) { outcome.ok = ok, outcome.text = text; });
    EXPECT_EQ(outcome.text, "Engine/HTTP client not available for export.");

    // One export at a time: a second entry while a template is still being fetched is refused,
    // and the first goes on.
    auto slow = std::make_shared<HeldTemplate>(templateDir);
    templates.clearSources(Platform::Linux);
    templates.addSource(Platform::Linux, slow);
    Outcome first, second;
    service.exportLinux(&engine, kGame, output(Platform::Linux), {}, nullptr,
                        [&first](bool ok, const std::string& text) { first.finished = true, first.ok = ok, first.text = text; });
    EXPECT_TRUE(service.isRunning());
    service.exportLinux(&engine, kGame, output(Platform::Linux), {}, nullptr,
                        [&second](bool ok, const std::string& text) { second.ok = ok, second.text = text; });
    EXPECT_EQ(second.text, "Another export is still running; wait until it has finished, then export again.");
    slow->release();
    EXPECT_TRUE(first.finished);
    EXPECT_TRUE(first.ok) << first.text;
    EXPECT_FALSE(service.isRunning());

    // A template without a Windows player (a Linux one, say) is never packed for Windows.
    templates.addSource(Platform::Windows, source);
    outcome = run(Platform::Windows, kGame);
    EXPECT_EQ(outcome.text, "Packaging failed: the Windows runtime template at " + templateDir +
                                " has no lumenda3d-player.exe");
    EXPECT_FALSE(fs::exists(output(Platform::Windows)));
}

TEST_F(LocalExportServiceTest, AssetsThatCannotBeHadAreNamedInTheLogAndTheGameIsStillDelivered) {
    test::LoopbackHttpServer server;
    server.server().Get("/assets/textures/catalogue.png", [](const httplib::Request& request, httplib::Response& response) {
        response.set_content(request.get_param_value("v") == "3" ? "CATALOGUE" : "wrong version", "image/png");
    });
    server.server().Get("/gone.png", [](const httplib::Request&, httplib::Response& response) { response.status = 404; });
    server.start();
    setenv(ApiConfig::kServerVariable, server.url("").c_str(), 1);
    ApiConfig::init("");

    const std::string xml = "<KiteBench3D assetsVersion=\"3\">"
                            "<Material name=\"a\" picture=\"catalogue.png\"/>"
                            "<Material name=\"b\" picture=\"" + server.url("/gone.png") + "\"/>"
                            "<Material name=\"c\" picture=\"local:nowhere.png\"/>"
                            "</KiteBench3D>";
    const Outcome outcome = run(Platform::Linux, xml);
    unsetenv(ApiConfig::kServerVariable);
    ApiConfig::init("");
    ASSERT_TRUE(outcome.ok) << outcome.text;
    std::string bytes;
    ASSERT_TRUE(FileManager::readFile(
        (dataRoot.path() / "exports" / "Test Game-linux" / "game" / "textures" / "catalogue.png").string(), bytes));
    EXPECT_EQ(bytes, "CATALOGUE");
    const auto warning = std::find_if(log.begin(), log.end(), [](const std::string& l) {
        return l.rfind("LocalExportService: asset bundle warnings: ", 0) == 0;
    });
    ASSERT_NE(warning, log.end());
    EXPECT_NE(warning->find("gone.png"), std::string::npos) << *warning;
    EXPECT_NE(warning->find("404"), std::string::npos) << *warning;
    EXPECT_NE(warning->find("'local:nowhere.png'"), std::string::npos) << *warning;
    EXPECT_EQ(warning->find("catalogue.png"), std::string::npos) << *warning;
    // Three assets, three rows, the last at the end of the assets span.
    EXPECT_NE(std::find(outcome.steps.begin(), outcome.steps.end(),
                        std::make_pair(0.85f, std::string("Preparing assets (3/3)..."))),
              outcome.steps.end());
}

TEST_F(LocalExportServiceTest, AFullDiskWhilePackagingFailsAndKeepsTheEarlierExport) {
    ASSERT_TRUE(run(Platform::Linux, kGame).ok);
    std::string before;
    ASSERT_TRUE(FileManager::readFile(output(Platform::Linux), before));

    Outcome outcome;
    {
        // Room for the compiled game, not for the 2 MB library of the template.
        test::FileSizeLimit limit(1 << 20);
        outcome = run(Platform::Linux, kGame);
    }
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.text.rfind("Packaging failed: ", 0), 0u) << outcome.text;
    EXPECT_EQ(outcome.steps.back().second, "Packaging the game...");
    std::string after;
    ASSERT_TRUE(FileManager::readFile(output(Platform::Linux), after));
    EXPECT_EQ(after, before);
    EXPECT_EQ(exportsFolder(), (std::vector<std::string>{"Test Game-linux", "Test Game-linux.tar.gz"}));
}

} // namespace
} // namespace Lumenda3D
