// The names of an export's outputs: the cleaned file name, the path in the exports folder, the
// application text, and where the Linux target puts its folder and archive.
#include "export/LinuxPackager.h"
#include "export/LocalExportService.h"

#include "TestDataRoot.h"

#include <filesystem>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Lumenda3D {
namespace {

TEST(ExportNames, SanitizeNameMakesAFileNameThatIsSafeEverywhere) {
    struct Case {
        const char* name;
        const char* expected;
    };
    const Case cases[] = {
        {"My Game", "My Game"},
        {"a/b\\c:d*e?f\"g<h>i|j", "a_b_c_d_e_f_g_h_i_j"},
        {"   leading spaces", "leading spaces"},
        {"trailing dots and spaces . . ", "trailing dots and spaces"},
        {" . . ", "game"},
        {"", "game"},
        // Each byte of a multi-byte character gives one underscore: "ÄÖ" is four bytes.
        {"\xC3\x84\xC3\x96", "____"},
        // Windows device names, in any case, whole names only.
        {"COM1", "game"},
        {"com1", "game"},
        {"lpt9", "game"},
        {"Nul", "game"},
        {"COM10", "COM10"},
        {"COM1 Racer", "COM1 Racer"},
        {"CON.txt", "CON.txt"},
        {"COM0", "COM0"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(LocalExportService::sanitizeName(c.name), c.expected) << "for '" << c.name << "'";

    // 70 characters whose 64th is a dot: cut to 64, then the trailing dot goes too.
    const std::string longName = std::string(63, 'x') + "." + std::string(6, 'y');
    EXPECT_EQ(LocalExportService::sanitizeName(longName), std::string(63, 'x'));
    EXPECT_EQ(LocalExportService::sanitizeName(std::string(100, 'z')).size(), 64u);
}

TEST(ExportNames, OutputPathsLieInTheExportsFolderWithTheSuffixUncleaned) {
    test::TestDataRoot root;
    const std::string path = LocalExportService::exportsOutputPath("Space: Race!", "-web.zip");
    EXPECT_EQ(std::filesystem::path(path).filename().string(), "Space_ Race_-web.zip");
    EXPECT_EQ(std::filesystem::path(path).parent_path(), root.path() / "exports");
    EXPECT_TRUE(std::filesystem::is_directory(root.path() / "exports"));

    ExportService::Options options;
    options.displayName = "Racer";
    EXPECT_EQ(std::filesystem::path(LocalExportService::defaultOutputPath(ExportService::Platform::Linux, options))
                  .filename(),
              "Racer-linux.tar.gz");
    options.windowsFormat = ExportService::WindowsFormat::Installer;
    EXPECT_EQ(std::filesystem::path(LocalExportService::defaultOutputPath(ExportService::Platform::Windows, options))
                  .filename(),
              "Racer-setup.exe");

    const LinuxPackager::Paths paths = LinuxPackager::pathsFor("/out/Racer-linux.tar.gz", "Racer?");
    EXPECT_EQ(paths.folder, "/out/Racer-linux");
    EXPECT_EQ(paths.archive, "/out/Racer-linux.tar.gz");
    EXPECT_EQ(paths.topName, "Racer_");
    EXPECT_EQ(LinuxPackager::pathsFor("/out/folder", "x").archive, "/out/folder.tar.gz");
}

TEST(ExportNames, ApplicationTextHasFullScreenOnlyWhenAsked) {
    const nlohmann::json windowed = nlohmann::json::parse(LocalExportService::buildAppJson("Ünïcode \"Game\"", false));
    EXPECT_EQ(windowed.at("displayName"), "Ünïcode \"Game\"");
    EXPECT_FALSE(windowed.contains("fullScreen"));
    const std::string text = LocalExportService::buildAppJson("G", true);
    EXPECT_EQ(nlohmann::json::parse(text).at("fullScreen"), true);
    EXPECT_NE(text.find("\n  \"displayName\""), std::string::npos) << "indented by two spaces: " << text;
}

} // namespace
} // namespace Lumenda3D
