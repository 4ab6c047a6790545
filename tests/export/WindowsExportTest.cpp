// A Windows export through the whole pipeline (LocalExportService::exportWindows) with a Windows
// runtime template handed over by a test source: the progress scale of the packaging, the ZIP,
// the installer, the ZIP delivered when the installer cannot be built, and signing failures that
// end the export.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "ExportTestSupport.h"
#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "engine/Lumenda3DEngine.h"
#include "export/LocalExportService.h"
#include "export/TemplateManager.h"
#include "export/WindowsExportStep.h"
#include "export/WindowsZipPackager.h"
#include "services/LoopbackHttpServer.h"
#include "services/MyHttpClient.h"

namespace Lumenda3D::test {
namespace {

namespace fs = std::filesystem;
using Platform = ExportService::Platform;

class WindowsFolderTemplate : public TemplateSource {
public:
    explicit WindowsFolderTemplate(std::string folder) : folder_(std::move(folder)) {}
    std::string describe() const override { return "the test"; }
    void fetch(Platform, std::shared_ptr<MyHttpClient>, ExportService::Progress, Delivered delivered) override {
        delivered(true, folder_);
    }

private:
    std::string folder_;
};

const char* const kGame = "<KiteBench3D><Var name=\"score\" value=\"0\"/><Level name=\"One\"><Box name=\"crate\"/></Level>"
                          "</KiteBench3D>";

class WindowsExportTest : public ::testing::Test {
protected:
    struct Outcome {
        bool finished = false, ok = false;
        std::string text;
        std::vector<std::pair<float, std::string>> steps;
        // The steps from packaging on.
        std::vector<std::pair<float, std::string>> packaging() const {
            std::vector<std::pair<float, std::string>> out;
            for (const auto& s : steps)
                if (s.first >= LocalExportService::kPackagingFraction)
                    out.push_back(s);
            return out;
        }
    };

    void SetUp() override {
        if (ComponentManager::findProgram("nsis").empty())
            GTEST_SKIP() << "makensis is needed for the stand-in Windows player";
        LmdLog::setEchoToStderr(false);
        sink_ = LmdLog::addSink([this](const std::string& text, LogLevel) { log_.push_back(text); });
        templates_.addSource(Platform::Windows, std::make_shared<WindowsFolderTemplate>(makeWindowsTemplate(scratch_)));
        service_.setHttpClient(client_);
        oldDirs_ = ComponentManager::fallbackDirs();
    }
    void TearDown() override {
        ComponentManager::setFallbackDirs(oldDirs_);
        if (!oldPath_.empty())
            setenv("PATH", oldPath_.c_str(), 1);
        LmdLog::removeSink(sink_);
        LmdLog::setEchoToStderr(true);
    }

    Outcome run(const ExportService::Options& options, const std::string& outputPath) {
        Outcome o;
        service_.exportWindows(
            &engine_, kGame, outputPath, options, [&o](float f, const std::string& t) { o.steps.emplace_back(f, t); },
            [&o](bool ok, const std::string& text) {
                o.finished = true;
                o.ok = ok;
                o.text = text;
            });
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!o.finished && std::chrono::steady_clock::now() < end)
            if (client_->pump() == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
        EXPECT_TRUE(o.finished);
        return o;
    }
    static ExportService::Options options(ExportService::WindowsFormat format) {
        ExportService::Options o;
        o.displayName = "Cave Run";
        o.versionName = "1.2";
        o.windowsFormat = format;
        return o;
    }
    std::string exports(const std::string& name) const { return (dataRoot_.path() / "exports" / name).string(); }
    bool logged(const std::string& line) const {
        return std::find(log_.begin(), log_.end(), line) != log_.end();
    }
    void hideMakensis() {
        oldPath_ = std::getenv("PATH") ? std::getenv("PATH") : "";
        setenv("PATH", (scratch_ / "empty-bin").c_str(), 1);
        ComponentManager::setFallbackDirs({});
    }

    TestDataRoot dataRoot_;
    ScratchDir scratch_;
    Lumenda3DEngine engine_{"WindowsExportTest"};
    std::shared_ptr<MyHttpClient> client_ = std::make_shared<MyHttpClient>();
    TemplateManager templates_;
    LocalExportService service_{templates_};
    std::vector<std::string> log_;
    std::vector<std::string> oldDirs_;
    std::string oldPath_;
    int sink_ = 0;
};

using Steps = std::vector<std::pair<float, std::string>>;

TEST_F(WindowsExportTest, AZipExportPacksTheCompiledGameBesideTheWindowsPlayer) {
    const std::string zip = exports("Cave Run-windows.zip");
    const Outcome o = run(options(ExportService::WindowsFormat::Zip), zip);
    ASSERT_TRUE(o.ok) << o.text;
    EXPECT_EQ(o.text, zip);
    EXPECT_EQ(o.packaging(), (Steps{{0.88f, "Packaging the game..."}, {1.0f, "Done"}}));
    EXPECT_TRUE(logged("LocalExportService: export complete -> " + zip));
    const std::string out = scratch_ / "unzipped";
    ASSERT_TRUE(sevenZip({"x", "-y", "-o" + out, zip}).ok());
    EXPECT_TRUE(WindowsZipPackager::isWindowsExecutable(out + "/Cave Run/Cave Run.exe"));
    EXPECT_EQ(readAll(out + "/Cave Run/game/app.json"), "{\n  \"displayName\": \"Cave Run\"\n}\n");
    EXPECT_GT(fs::file_size(out + "/Cave Run/game/bin.dat"), 0u);
}

TEST_F(WindowsExportTest, AnInstallerExportDeliversTheSetupAndTheZipBesideIt) {
    const std::string setup = exports("Cave Run-setup.exe");
    const Outcome o = run(options(ExportService::WindowsFormat::Installer), setup);
    ASSERT_TRUE(o.ok) << o.text;
    EXPECT_EQ(o.text, setup);
    EXPECT_EQ(o.packaging(), (Steps{{0.88f, "Packaging the game..."},
                                    {0.92f, "Building the installer (this can take a minute)..."},
                                    {1.0f, "Done"}}));
    EXPECT_TRUE(logged("LocalExportService: installer complete -> " + setup));
    EXPECT_TRUE(WindowsZipPackager::isWindowsExecutable(setup));
    EXPECT_TRUE(fs::exists(exports("Cave Run-windows.zip")));
    const ExportProcess::Result list = sevenZip({"l", setup});
    EXPECT_NE(list.output.find("Cave Run.exe"), std::string::npos) << list.output;
    EXPECT_NE(list.output.find("bin.dat"), std::string::npos);
}

TEST_F(WindowsExportTest, WithoutMakensisTheZipIsStillDelivered) {
    hideMakensis();
    const std::string setup = exports("Cave Run-setup.exe");
    const Outcome o = run(options(ExportService::WindowsFormat::Installer), setup);
    ASSERT_TRUE(o.ok) << o.text;
    const std::string zip = exports("Cave Run-windows.zip");
    EXPECT_EQ(o.text, zip);
    EXPECT_EQ(o.packaging(), (Steps{{0.88f, "Packaging the game..."}, {1.0f, "Done"}}));
    EXPECT_TRUE(logged("LocalExportService: installer skipped (the NSIS installer tool is not installed); "
                       "delivering ZIP -> " + zip));
    EXPECT_FALSE(fs::exists(setup));
    EXPECT_TRUE(fs::exists(zip));
}

TEST_F(WindowsExportTest, ASigningFailureEndsTheExportWithoutAnInstaller) {
    const std::string setup = exports("Cave Run-setup.exe");
    ExportService::Options o = options(ExportService::WindowsFormat::Installer);
    writeFile(scratch_ / "not-a.pfx", "not a certificate");
    o.windowsSigning.certificatePath = scratch_ / "not-a.pfx";
    o.windowsSigning.password = "hunter2";
    const Outcome outcome = run(o, setup);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.text.rfind("Signing failed: ", 0), 0u) << outcome.text;
    EXPECT_EQ(outcome.text.find("hunter2"), std::string::npos);
    EXPECT_EQ(outcome.packaging(), (Steps{{0.88f, "Packaging the game..."}, {0.90f, "Signing the application..."}}));
    EXPECT_FALSE(fs::exists(setup));
    for (const std::string& line : log_)
        EXPECT_EQ(line.find("hunter2"), std::string::npos) << line;

    o.windowsSigning.certificatePath = scratch_ / "missing.pfx";
    const Outcome missing = run(o, setup);
    EXPECT_EQ(missing.text, "Signing failed: the certificate " + (scratch_ / "missing.pfx") + " does not exist or cannot be read");
}

// A signed installer export: the application and the installer are signed and timestamped by a
// time-stamping authority on loopback (openssl ts), and both signatures verify.
TEST_F(WindowsExportTest, ASignedInstallerExportSignsAndTimestampsTheProgramAndTheInstaller) {
    const std::string openssl = ExportProcess::findOnPath("openssl");
    const std::string osslsigncode = ComponentManager::findProgram("osslsigncode");
    if (openssl.empty() || osslsigncode.empty())
        GTEST_SKIP() << "openssl and osslsigncode are needed";
    const std::string d = (scratch_.path() / "keys").string();
    fs::create_directories(d);
    auto make = [&](const std::vector<std::string>& args) {
        std::vector<std::string> argv = {openssl};
        argv.insert(argv.end(), args.begin(), args.end());
        const ExportProcess::Result r = ExportProcess::run(argv);
        EXPECT_TRUE(r.ok()) << r.output;
    };
    make({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", d + "/key.pem", "-out", d + "/cert.pem", "-subj",
          "/CN=Cave Run Publisher", "-days", "2", "-addext", "extendedKeyUsage=codeSigning"});
    make({"pkcs12", "-export", "-out", d + "/cert.pfx", "-inkey", d + "/key.pem", "-in", d + "/cert.pem", "-passout",
          "pass:pfx pass"});
    make({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", d + "/tsa.key", "-out", d + "/tsa.pem", "-subj",
          "/CN=Test Time Stamping", "-days", "2", "-addext", "extendedKeyUsage=critical,timeStamping"});
    writeFile(d + "/serial", "01\n");
    writeFile(d + "/tsa.cnf", "[ tsa ]\ndefault_tsa = t\n[ t ]\nserial = " + d + "/serial\nsigner_digest = sha256\n"
                              "default_policy = 1.2.3.4.1\ndigests = sha256, sha1\ness_cert_id_alg = sha256\n");
    LoopbackHttpServer tsa;
    std::atomic<int> stamps{0};
    tsa.server().Post("/tsa", [&](const httplib::Request& req, httplib::Response& res) {
        const std::string query = d + "/q" + std::to_string(++stamps) + ".tsq", reply = query + ".tsr";
        writeFile(query, req.body);
        const ExportProcess::Result r = ExportProcess::run({openssl, "ts", "-reply", "-config", d + "/tsa.cnf",
                                                            "-queryfile", query, "-signer", d + "/tsa.pem", "-inkey",
                                                            d + "/tsa.key", "-out", reply});
        if (!r.ok()) {
            res.status = 500;
            return;
        }
        res.set_content(readAll(reply), "application/timestamp-reply");
    });
    tsa.start();

    ExportService::Options o = options(ExportService::WindowsFormat::Installer);
    o.windowsSigning.certificatePath = d + "/cert.pfx";
    o.windowsSigning.password = "pfx pass";
    o.windowsSigning.timestampUrl = tsa.url("/tsa");
    const std::string setup = exports("Cave Run-setup.exe");
    const Outcome outcome = run(o, setup);
    ASSERT_TRUE(outcome.ok) << outcome.text;
    EXPECT_EQ(outcome.packaging(), (Steps{{0.88f, "Packaging the game..."},
                                          {0.90f, "Signing the application..."},
                                          {0.92f, "Building the installer (this can take a minute)..."},
                                          {0.97f, "Signing the installer..."},
                                          {1.0f, "Done"}}));
    EXPECT_EQ(stamps, 2);
    auto verify = [&](const std::string& file) {
        return ExportProcess::run({osslsigncode, "verify", "-CAfile", d + "/cert.pem", "-TSA-CAfile", d + "/tsa.pem",
                                   "-in", file});
    };
    const ExportProcess::Result installer = verify(setup);
    EXPECT_TRUE(installer.ok()) << installer.output;
    EXPECT_NE(installer.output.find("Cave Run Publisher"), std::string::npos);
    EXPECT_NE(installer.output.find("Test Time Stamping"), std::string::npos) << installer.output;
    const std::string out = scratch_ / "installed";
    ASSERT_TRUE(sevenZip({"x", "-y", "-o" + out, setup}).ok());
    const ExportProcess::Result program = verify(out + "/Cave Run.exe");
    EXPECT_TRUE(program.ok()) << program.output;
}

TEST(WindowsExportStep, TheZipOfAnInstallerExportStandsBesideIt) {
    using F = ExportService::WindowsFormat;
    EXPECT_EQ(WindowsExportStep::zipPathFor("/x/Cave Run-setup.exe", F::Installer), "/x/Cave Run-windows.zip");
    EXPECT_EQ(WindowsExportStep::zipPathFor("/x/Game.exe", F::Installer), "/x/Game-windows.zip");
    EXPECT_EQ(WindowsExportStep::zipPathFor("/x/Game", F::Installer), "/x/Game-windows.zip");
    EXPECT_EQ(WindowsExportStep::zipPathFor("/x/Game.zip", F::Zip), "/x/Game.zip");
}

} // namespace
} // namespace Lumenda3D::test
