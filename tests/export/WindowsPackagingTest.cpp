// The Windows deliverables built for real: the ZIP (read back with libzip), the installer made by
// makensis (listed and unpacked with 7z), the icon, and the refusals that leave no output behind.
#include <gtest/gtest.h>

#include <zip.h>

#include <map>
#include <set>

#include "ExportTestSupport.h"
#include "FileSizeLimit.h"
#include "export/NsisBuilder.h"
#include "export/WindowsAppIcon.h"
#include "export/WindowsZipPackager.h"

namespace Lumenda3D::test {
namespace {

namespace fs = std::filesystem;

std::map<std::string, std::string> zipContents(const std::string& path) {
    std::map<std::string, std::string> out;
    int err = 0;
    zip_t* zip = zip_open(path.c_str(), ZIP_RDONLY, &err);
    EXPECT_NE(zip, nullptr) << path;
    if (!zip)
        return out;
    for (zip_int64_t i = 0; i < zip_get_num_entries(zip, 0); ++i) {
        const std::string name = zip_get_name(zip, i, 0);
        zip_stat_t st;
        zip_stat_index(zip, i, 0, &st);
        std::string bytes(st.size, '\0');
        if (zip_file_t* f = zip_fopen_index(zip, i, 0)) {
            zip_fread(f, bytes.data(), bytes.size());
            zip_fclose(f);
        }
        out[name] = bytes;
    }
    zip_discard(zip);
    return out;
}

WindowsPackageInput packageInput(const ScratchDir& scratch) {
    const GameParts parts = makeGameParts(scratch);
    WindowsPackageInput in;
    in.templateDir = makeWindowsTemplate(scratch);
    in.packagePath = parts.packagePath;
    in.assetsDir = parts.assetsDir;
    in.appJson = "{\n  \"displayName\": \"Space Race\"\n}";
    in.outputPath = scratch / "Exports/Space Race-windows.zip";
    in.appFileName = "Space Race";
    in.stageDir = scratch / "work/windows-stage";
    return in;
}

bool leftoversBeside(const std::string& path) {
    for (const auto& e : fs::directory_iterator(fs::path(path).parent_path()))
        if (e.path().filename().string().find(".part-") != std::string::npos ||
            e.path().filename().string().find(".building-") != std::string::npos)
            return true;
    return false;
}

TEST(WindowsZipPackager, PacksRuntimeGamePackageAssetsAndAppTextUnderTheGamesFolder) {
    ScratchDir scratch;
    const WindowsPackageInput in = packageInput(scratch);
    std::string error;
    WindowsPackageResult result;
    ASSERT_TRUE(WindowsZipPackager::package(in, error, result)) << error;
    EXPECT_EQ(result.zipPath, in.outputPath);
    EXPECT_EQ(result.exeName, "Space Race.exe");
    EXPECT_TRUE(WindowsZipPackager::isWindowsExecutable(result.exePath));

    const auto files = zipContents(in.outputPath);
    std::set<std::string> names;
    for (const auto& [name, bytes] : files)
        names.insert(name);
    for (const char* expected : {"Space Race/", "Space Race/Space Race.exe", "Space Race/OgreMain.dll",
                                 "Space Race/media/codeSchema.xml", "Space Race/game/bin.dat", "Space Race/game/app.json",
                                 "Space Race/game/textures/bricks.png", "Space Race/game/sounds/jump.ogg"})
        EXPECT_TRUE(names.count(expected)) << expected;
    EXPECT_FALSE(names.count("Space Race/lumenda3d-player.exe"));   // renamed, not doubled
    EXPECT_FALSE(names.count("Space Race/template.json"));
    EXPECT_EQ(files.at("Space Race/game/bin.dat"), readAll(in.packagePath));
    EXPECT_EQ(files.at("Space Race/game/app.json"), in.appJson + "\n");
    EXPECT_EQ(files.at("Space Race/Space Race.exe"), readAll(in.templateDir + "/lumenda3d-player.exe"));
    EXPECT_FALSE(leftoversBeside(in.outputPath));
}

TEST(WindowsZipPackager, RefusesWhatIsNotAWindowsRuntimeAndKeepsTheOldZip) {
    ScratchDir scratch;
    WindowsPackageInput in = packageInput(scratch);
    writeFile(in.outputPath, "the export of yesterday");
    std::string error;
    WindowsPackageResult result;

    // A Linux player under the Windows name is never packed.
    fs::copy_file("/bin/true", in.templateDir + "/lumenda3d-player.exe", fs::copy_options::overwrite_existing);
    EXPECT_FALSE(WindowsZipPackager::package(in, error, result));
    EXPECT_NE(error.find("not a Windows program"), std::string::npos) << error;

    fs::remove(in.templateDir + "/lumenda3d-player.exe");
    EXPECT_FALSE(WindowsZipPackager::package(in, error, result));
    EXPECT_NE(error.find("has no lumenda3d-player.exe"), std::string::npos) << error;

    in = packageInput(scratch);
    fs::remove(in.packagePath);
    EXPECT_FALSE(WindowsZipPackager::package(in, error, result));
    EXPECT_NE(error.find("game package"), std::string::npos) << error;

    EXPECT_EQ(readAll(in.outputPath), "the export of yesterday");
    EXPECT_FALSE(leftoversBeside(in.outputPath));
}

TEST(WindowsZipPackager, AnUnwritableDestinationFailsWithoutLeavingAPart) {
    ScratchDir scratch;
    WindowsPackageInput in = packageInput(scratch);
    fs::create_directories(in.outputPath);   // a folder where the ZIP should go: the rename must fail
    std::string error;
    WindowsPackageResult result;
    EXPECT_FALSE(WindowsZipPackager::package(in, error, result));
    EXPECT_NE(error.find(in.outputPath), std::string::npos) << error;
    EXPECT_TRUE(fs::is_directory(in.outputPath));
    EXPECT_FALSE(leftoversBeside(in.outputPath));
}

TEST(WindowsZipPackager, AFullDiskLeavesTheOldZipAndNoPart) {
    ScratchDir scratch;
    const WindowsPackageInput in = packageInput(scratch);
    std::string noise(200000, '\0');
    std::mt19937 random(7);
    for (char& c : noise)
        c = static_cast<char>(random());   // does not compress: the ZIP outgrows every file in it
    writeFile(in.assetsDir + "/sounds/music.ogg", noise);
    writeFile(in.outputPath, "the export of yesterday");
    std::string error;
    WindowsPackageResult result;
    {
        FileSizeLimit disk(230000);
        EXPECT_FALSE(WindowsZipPackager::package(in, error, result));
    }
    EXPECT_NE(error.find("cannot write " + in.outputPath), std::string::npos) << error;
    EXPECT_EQ(readAll(in.outputPath), "the export of yesterday");
    EXPECT_FALSE(leftoversBeside(in.outputPath));
}

TEST(WindowsAppIcon, DrawsAValidIcoOrTakesTheTemplatesOwn) {
    const std::string ico = WindowsAppIcon::draw("Space Race");
    ASSERT_TRUE(WindowsAppIcon::isIco(ico));
    EXPECT_EQ(static_cast<unsigned char>(ico[4]), 4u);   // 16, 32, 48 and 256 pixels
    EXPECT_NE(ico, WindowsAppIcon::draw("Cave Run"));   // each game its colour
    EXPECT_FALSE(WindowsAppIcon::isIco(ico.substr(0, ico.size() - 1)));   // an image past the end
    EXPECT_FALSE(WindowsAppIcon::isIco("PNG"));

    ScratchDir scratch;
    std::string error;
    ASSERT_TRUE(WindowsAppIcon::prepare(scratch / "no-template", "Space Race", scratch / "a.ico", error)) << error;
    EXPECT_EQ(readAll(scratch / "a.ico"), ico);
    const std::string own = WindowsAppIcon::draw("the template's own");
    writeFile(scratch / "template/icon.ico", own);
    ASSERT_TRUE(WindowsAppIcon::prepare(scratch / "template", "Space Race", scratch / "b.ico", error)) << error;
    EXPECT_EQ(readAll(scratch / "b.ico"), own);
    writeFile(scratch / "broken/icon.ico", "not an icon");
    ASSERT_TRUE(WindowsAppIcon::prepare(scratch / "broken", "Space Race", scratch / "c.ico", error)) << error;
    EXPECT_EQ(readAll(scratch / "c.ico"), ico);
}

TEST(NsisBuilder, EscapesTextsAndWritesTheShortcutChoiceIntoTheScript) {
    EXPECT_EQ(NsisBuilder::escape("Tom's \"best\" $5 game"), "Tom's $\\\"best$\\\" $$5 game");
    EXPECT_EQ(NsisBuilder::escape(std::string("a\x01\nb", 4)), "a$\\nb");
    NsisBuilder::Input in;
    in.displayName = "Cost: $HOME";
    in.appFileName = "Cost_ _HOME";
    in.exeName = "Cost_ _HOME.exe";
    in.desktopShortcut = false;
    std::string s = NsisBuilder::script(in, "BODY");
    EXPECT_NE(s.find("!define APP_NAME \"Cost: $$HOME\"\n"), std::string::npos) << s;
    EXPECT_NE(s.find("!define APP_VERSION \"1.0\"\n"), std::string::npos);
    EXPECT_EQ(s.find("DESKTOP_SHORTCUT"), std::string::npos);
    EXPECT_EQ(s.substr(s.size() - 4), "BODY");
    in.desktopShortcut = true;
    EXPECT_NE(NsisBuilder::script(in, "").find("!define DESKTOP_SHORTCUT\n"), std::string::npos);
}

TEST(NsisBuilder, FindsTheScriptNextToTheProgramThenHereThenUnderTheInstallation) {
    ScratchDir scratch;
    const std::string exe = scratch / "bin", cwd = scratch / "cwd", root = scratch / "root";
    EXPECT_EQ(NsisBuilder::findScriptTemplate(exe, cwd, root), "");
    writeFile(root + "/Editor/win_export_template.nsi", "3");
    EXPECT_EQ(NsisBuilder::findScriptTemplate(exe, cwd, root), root + "/Editor/win_export_template.nsi");
    writeFile(cwd + "/win_export_template.nsi", "2");
    EXPECT_EQ(NsisBuilder::findScriptTemplate(exe, cwd, root), cwd + "/win_export_template.nsi");
    writeFile(exe + "/win_export_template.nsi", "1");
    EXPECT_EQ(NsisBuilder::findScriptTemplate(exe, cwd, root), exe + "/win_export_template.nsi");
    EXPECT_EQ(NsisBuilder::scriptSearchPaths(exe, cwd, "").size(), 2u);
    // The build puts the shipped script next to the executables.
    EXPECT_TRUE(fs::exists(std::string(LMD_TEST_BINARY_DIR) + "/win_export_template.nsi"));
}

class InstallerTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (ComponentManager::findInstalledToolRoot("nsis").empty())
            GTEST_SKIP() << "makensis is not installed";
        in_ = packageInput(scratch_);
        std::string error;
        ASSERT_TRUE(WindowsZipPackager::package(in_, error, packaged_)) << error;
        ASSERT_TRUE(WindowsAppIcon::prepare(in_.templateDir, "Space Race", scratch_ / "work/app.ico", error));
    }
    NsisBuilder::Input installerInput(bool desktopShortcut) {
        NsisBuilder::Input b;
        b.toolRoot = ComponentManager::findInstalledToolRoot("nsis");
        b.scriptTemplate = std::string(LMD_SOURCE_DIR) + "/src/export/win_export_template.nsi";
        b.workDir = scratch_ / "work";
        b.stageDir = packaged_.stageDir;
        b.exeName = packaged_.exeName;
        b.displayName = "Space \"Race\" $1";
        b.appFileName = "Space Race";
        b.versionName = "2.1";
        b.iconPath = scratch_ / "work/app.ico";
        b.outputPath = scratch_ / "Exports/Space Race-setup.exe";
        b.desktopShortcut = desktopShortcut;
        return b;
    }
    // The installer's script as makensis reads it (its preprocessor resolved the !ifdef lines).
    std::string preprocessedScript() {
        const ExportProcess::Result r =
            ExportProcess::run({ComponentManager::findProgram("nsis"), "-PPO", "-NOCD", scratch_ / "work/installer.nsi"});
        EXPECT_TRUE(r.ok()) << r.output;
        return r.output;
    }
    ScratchDir scratch_;
    WindowsPackageInput in_;
    WindowsPackageResult packaged_;
};

TEST_F(InstallerTest, InstallerHoldsTheGameAnd7zUnpacksIt) {
    const NsisBuilder::Input b = installerInput(true);
    std::string error;
    ASSERT_TRUE(NsisBuilder::build(b, error)) << error;
    ASSERT_TRUE(WindowsZipPackager::isWindowsExecutable(b.outputPath));
    EXPECT_FALSE(leftoversBeside(b.outputPath));

    const ExportProcess::Result list = sevenZip({"l", b.outputPath});
    ASSERT_TRUE(list.ok()) << list.output;
    for (const char* name : {"Space Race.exe", "bin.dat", "app.json", "OgreMain.dll", "app.ico", "Uninstall.exe"})
        EXPECT_NE(list.output.find(name), std::string::npos) << name << "\n" << list.output;

    const std::string out = scratch_ / "unpacked";
    const ExportProcess::Result unpack = sevenZip({"x", "-y", "-o" + out, b.outputPath});
    ASSERT_TRUE(unpack.ok()) << unpack.output;
    EXPECT_EQ(readAll(out + "/game/bin.dat"), readAll(in_.packagePath));
    EXPECT_EQ(readAll(out + "/game/app.json"), in_.appJson + "\n");
    EXPECT_EQ(readAll(out + "/game/textures/bricks.png"), "png bytes");
    EXPECT_EQ(readAll(out + "/media/codeSchema.xml"), "<schema/>");
    EXPECT_TRUE(WindowsZipPackager::isWindowsExecutable(out + "/Space Race.exe"));
    // The shortcuts and the name as the installer uses them.
    const std::string script = preprocessedScript();
    EXPECT_NE(script.find("CreateShortcut \"$DESKTOP\\Space Race.lnk\""), std::string::npos) << script;
    EXPECT_NE(script.find("$SMPROGRAMS\\Space Race\\Space Race.lnk"), std::string::npos);
    EXPECT_NE(script.find("Name \"Space $\\\"Race$\\\" $$1\""), std::string::npos);
}

TEST_F(InstallerTest, WithoutTheDesktopOptionNoDesktopShortcutIsMade) {
    const NsisBuilder::Input b = installerInput(false);
    std::string error;
    ASSERT_TRUE(NsisBuilder::build(b, error)) << error;
    const ExportProcess::Result list = sevenZip({"l", b.outputPath});
    ASSERT_TRUE(list.ok()) << list.output;
    EXPECT_NE(list.output.find("Space Race.exe"), std::string::npos);
    const std::string script = preprocessedScript();
    EXPECT_EQ(script.find("$DESKTOP"), std::string::npos) << script;
    EXPECT_NE(script.find("$SMPROGRAMS\\Space Race"), std::string::npos);
}

TEST_F(InstallerTest, AFailedBuildNamesTheCauseAndLeavesNoInstaller) {
    NsisBuilder::Input b = installerInput(true);
    writeFile(b.outputPath, "yesterday's installer");
    std::string error;
    b.iconPath = scratch_ / "work/missing.ico";
    EXPECT_FALSE(NsisBuilder::build(b, error));
    EXPECT_NE(error.find("makensis ended with code"), std::string::npos) << error;
    EXPECT_EQ(readAll(b.outputPath), "yesterday's installer");
    EXPECT_FALSE(leftoversBeside(b.outputPath));

    b = installerInput(true);
    b.scriptTemplate = scratch_ / "nowhere.nsi";
    EXPECT_FALSE(NsisBuilder::build(b, error));
    EXPECT_NE(error.find("win_export_template.nsi was not found"), std::string::npos) << error;
}

TEST(ComponentManager, FindsMakensisOnPathOrInTheDebianPlaceAndNothingWhenAbsent) {
    const std::string real = ComponentManager::findInstalledToolRoot("nsis");
    if (real.empty())
        GTEST_SKIP() << "makensis is not installed";
    EXPECT_TRUE(fs::exists(real + "/makensis"));
    EXPECT_EQ(ComponentManager::findInstalledToolRoot("a tool we do not know"), "");

    const std::string oldPath = std::getenv("PATH") ? std::getenv("PATH") : "";
    const auto oldDirs = ComponentManager::fallbackDirs();
    ScratchDir emptyBin;
    setenv("PATH", emptyBin.path().c_str(), 1);
    EXPECT_EQ(ComponentManager::findInstalledToolRoot("nsis"), real);   // the usual place still holds it
    ComponentManager::setFallbackDirs({});
    EXPECT_EQ(ComponentManager::findInstalledToolRoot("nsis"), "");
    ComponentManager::setFallbackDirs(oldDirs);
    setenv("PATH", oldPath.c_str(), 1);
}

} // namespace
} // namespace Lumenda3D::test
