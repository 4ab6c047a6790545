// The Linux runtime template of this installation: which libraries go in, what ldd's output
// means, and that a current template is taken from the cache instead of being made again.
#include "export/InstalledLinuxTemplate.h"
#include "export/LinuxTemplateBuilder.h"

#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "services/FileManager.h"

#include <filesystem>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

TEST(LinuxTemplate, DesktopLibrariesStayOutAndTheGamesOwnGoIn) {
    for (const char* desktop : {"libc.so.6", "libm.so.6", "ld-linux-x86-64.so.2", "libstdc++.so.6", "libGL.so.1",
                                "libEGL.so.1", "libX11.so.6", "libxcb-randr.so.0", "libasound.so.2", "libz.so.1",
                                "libwayland-client.so.0", "libpulse-simple.so.0"})
        EXPECT_TRUE(LinuxTemplateBuilder::isDesktopLibrary(desktop)) << desktop;
    for (const char* own : {"libOgreMain.so.1.12.10", "liblua5.4.so.0", "libSDL2-2.0.so.0", "libBulletDynamics.so.3.24",
                            "libassimp.so.5", "libmodplug.so.1", "libcurl.so.4", "libmd.so.0", "libXaw.so.7"})
        EXPECT_FALSE(LinuxTemplateBuilder::isDesktopLibrary(own)) << own;
}

TEST(LinuxTemplate, LddOutputGivesTheLibrariesAndNamesTheMissingOnes) {
    const std::string output = "\tlinux-vdso.so.1 (0x00007ffc1b7f1000)\n"
                               "\tliblua5.4.so.0 => /lib/x86_64-linux-gnu/liblua5.4.so.0 (0x00007f6f5a000000)\n"
                               "\tlibc.so.6 => /lib/x86_64-linux-gnu/libc.so.6 (0x00007f6f59e00000)\n"
                               "\t/lib64/ld-linux-x86-64.so.2 (0x00007f6f5a2c5000)\n";
    std::vector<LinuxTemplateBuilder::Library> libraries;
    std::string error;
    ASSERT_TRUE(LinuxTemplateBuilder::parseLdd(output, libraries, error)) << error;
    ASSERT_EQ(libraries.size(), 2u);
    EXPECT_EQ(libraries[0].soname, "liblua5.4.so.0");
    EXPECT_EQ(libraries[0].path, "/lib/x86_64-linux-gnu/liblua5.4.so.0");

    libraries.clear();
    EXPECT_FALSE(LinuxTemplateBuilder::parseLdd(output + "\tlibfoo.so.1 => not found\n\tlibbar.so.2 => not found\n",
                                                libraries, error));
    EXPECT_NE(error.find("libfoo.so.1 libbar.so.2"), std::string::npos) << error;
}

// A template made from a small stand-in player (a copy of a system program, so that ldd reads
// it) with the real OGRE plugins and media folder.
TEST(LinuxTemplate, IsMadeOnceAndTakenFromTheCacheUntilThePlayerChanges) {
    test::TestDataRoot root;
    LmdLog::setEchoToStderr(false);
    LinuxTemplateBuilder::Inputs inputs = LinuxTemplateBuilder::fromThisInstallation();
    inputs.playerPath = (root.path() / "bin" / "lumenda3d-player").string();
    fs::create_directories(root.path() / "bin");
    fs::copy_file("/bin/true", inputs.playerPath);
    inputs.mediaDir = LMD_SOURCE_MEDIA_DIR;
    const std::string cache = (root.path() / "cache" / "templates" / "linux").string();

    InstalledLinuxTemplate first(inputs, cache);
    std::vector<std::string> texts;
    std::string folder;
    first.fetch(ExportService::Platform::Linux, nullptr,
                [&texts](float, const std::string& text) { texts.push_back(text); },
                [&folder](bool ok, const std::string& text) {
                    EXPECT_TRUE(ok) << text;
                    folder = text;
                });
    ASSERT_EQ(folder, cache);
    EXPECT_EQ(first.buildCount(), 1);
    EXPECT_EQ(texts.back(), "The Linux runtime template is ready");
    for (const char* file : {"AppRun", "lumenda3d-player", "media/codeSchema.xml", "media/lua/lumenda3d_runtime.lua",
                             "ogre/plugins/RenderSystem_GL3Plus.so", "ogre/media/RTShaderLib", "template.json"})
        EXPECT_TRUE(fs::exists(fs::path(cache) / file)) << file;
    EXPECT_TRUE(fs::exists(fs::path(cache) / "lib" / "libOgreMain.so.1.12.10")) << "the plugin's own libraries";
    EXPECT_FALSE(fs::exists(fs::path(cache) / "lib" / "libc.so.6"));
    EXPECT_NE(fs::status(fs::path(cache) / "AppRun").permissions() & fs::perms::owner_exec, fs::perms::none);

    // Another editor session: the cached template is current and is not made again.
    InstalledLinuxTemplate second(inputs, cache);
    texts.clear();
    second.fetch(ExportService::Platform::Linux, nullptr, [&texts](float, const std::string& t) { texts.push_back(t); },
                 [](bool ok, const std::string& text) { EXPECT_TRUE(ok) << text; });
    EXPECT_EQ(second.buildCount(), 0);
    EXPECT_EQ(texts, std::vector<std::string>{"Using the cached Linux runtime template"});

    // A new player makes it stale; a player that is gone fails with a reason, and the cached
    // template is left as it was.
    ASSERT_TRUE(FileManager::writeFileAtomic(inputs.playerPath, "a newer player, longer than before"));
    EXPECT_FALSE(second.isCurrent());
    fs::remove(inputs.playerPath);
    std::string reason;
    second.fetch(ExportService::Platform::Linux, nullptr, nullptr, [&reason](bool ok, const std::string& text) {
        EXPECT_FALSE(ok);
        reason = text;
    });
    EXPECT_NE(reason.find("the player '" + inputs.playerPath + "' is missing"), std::string::npos) << reason;
    EXPECT_TRUE(fs::exists(fs::path(cache) / "AppRun"));
    std::vector<std::string> leftovers;
    for (const auto& entry : fs::directory_iterator(fs::path(cache).parent_path()))
        leftovers.push_back(entry.path().filename().string());
    EXPECT_EQ(leftovers, std::vector<std::string>{"linux"});

    // It makes Linux templates only.
    second.fetch(ExportService::Platform::Windows, nullptr, nullptr,
                 [](bool ok, const std::string& text) { EXPECT_FALSE(ok) << text; });
    LmdLog::setEchoToStderr(true);
}

} // namespace
} // namespace Lumenda3D
