// What comes from the server about runtime templates is outside input: the list (manifest) and
// the archive. Bad lists are refused whole; archives that would write outside their folder, hold
// links or are damaged are refused and leave nothing behind.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "ExportTestSupport.h"
#include "export/RuntimeTemplateManifest.h"
#include "export/Sha256.h"
#include "export/TemplateArchive.h"

namespace Lumenda3D::test {
namespace {

namespace fs = std::filesystem;

const std::string kSha = std::string(64, 'a');

TEST(RuntimeTemplateManifest, ReadsTheNewestFirstListOfThePlatform) {
    std::string error;
    auto m = RuntimeTemplateManifest::parse(
        R"({"platform": "windows", "templates": [
              {"version": "1.4.0", "sha256": ")" + kSha + R"(", "size": 1200, "url": "ignored", "path": "ignored"},
              {"version": "1.3.2-rc_1", "sha256": ")" + kSha + R"(", "size": 1}]})",
        "windows", error);
    ASSERT_TRUE(m) << error;
    ASSERT_EQ(m->templates.size(), 2u);
    EXPECT_EQ(m->templates[0].version, "1.4.0");
    EXPECT_EQ(m->templates[0].size, 1200);
    EXPECT_EQ(m->templates[1].version, "1.3.2-rc_1");
    auto empty = RuntimeTemplateManifest::parse(R"({"platform": "linux", "templates": []})", "linux", error);
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->templates.empty());
}

TEST(RuntimeTemplateManifest, RefusesListsThatDoNotFit) {
    auto entry = [](const std::string& version, const std::string& sha, const std::string& size) {
        return R"({"platform": "windows", "templates": [{"version": )" + version + R"(, "sha256": )" + sha +
               R"(, "size": )" + size + "}]}";
    };
    const std::string sha = "\"" + kSha + "\"";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"not json", "not JSON"},
        {"[]", "not JSON"},
        {R"({"platform": "linux", "templates": []})", "not for windows"},
        {R"({"platform": "windows"})", "\"templates\""},
        {R"({"platform": "windows", "templates": [7]})", "not an object"},
        {entry("\"../../etc\"", sha, "10"), "version"},
        {entry("\"\"", sha, "10"), "version"},
        {entry("\".hidden\"", sha, "10"), "version"},
        {entry("\"" + std::string(33, '1') + "\"", sha, "10"), "version"},
        {entry("1.0", sha, "10"), "version"},
        {entry("\"1.0\"", "\"" + std::string(64, 'A') + "\"", "10"), "sha256"},
        {entry("\"1.0\"", "\"abc\"", "10"), "sha256"},
        {entry("\"1.0\"", sha, "0"), "size"},
        {entry("\"1.0\"", sha, "-5"), "size"},
        {entry("\"1.0\"", sha, "1.5"), "size"},
        {entry("\"1.0\"", sha, "99999999999999"), "size"},
    };
    for (const auto& [text, why] : cases) {
        std::string error;
        EXPECT_FALSE(RuntimeTemplateManifest::parse(text, "windows", error)) << text;
        EXPECT_NE(error.find(why), std::string::npos) << text << " -> " << error;
    }
}

TEST(Sha256, KnownDigestsOfBytesAndFiles) {
    EXPECT_EQ(Sha256::hexOf(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Sha256::hexOf("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    ScratchDir scratch;
    const std::string big(200000, 'x');   // more than one read buffer
    writeFile(scratch / "f", big);
    EXPECT_EQ(Sha256::hexOfFile(scratch / "f"), Sha256::hexOf(big));
    EXPECT_EQ(Sha256::hexOfFile(scratch / "missing"), "");
}

TEST(TemplateArchive, UnpacksFilesFoldersAndTheExecutableBit) {
    ScratchDir scratch;
    const std::string zip = zipBytes({{"lumenda3d-player", "ELF", true},
                                      {"lib/", ""},
                                      {"lib/libOgreMain.so.1.12", "so"},
                                      {"media/lua/runtime.lua", "return 1"}});
    std::string error;
    ASSERT_TRUE(TemplateArchive::unpackBytes(zip, scratch / "t", error)) << error;
    EXPECT_EQ(readAll(scratch / "t/lumenda3d-player"), "ELF");
    EXPECT_EQ(readAll(scratch / "t/media/lua/runtime.lua"), "return 1");
    EXPECT_TRUE(fs::is_directory(scratch / "t/lib"));
    struct stat st {};
    ASSERT_EQ(::stat((scratch / "t/lumenda3d-player").c_str(), &st), 0);
    EXPECT_TRUE(st.st_mode & S_IXUSR);
    ASSERT_EQ(::stat((scratch / "t/lib/libOgreMain.so.1.12").c_str(), &st), 0);
    EXPECT_FALSE(st.st_mode & S_IXUSR);

    // The same from a file; a folder that exists already is never unpacked into.
    writeFile(scratch / "t.zip", zip);
    ASSERT_TRUE(TemplateArchive::unpackFile(scratch / "t.zip", scratch / "u", error)) << error;
    EXPECT_EQ(readAll(scratch / "u/lumenda3d-player"), "ELF");
    EXPECT_FALSE(TemplateArchive::unpackFile(scratch / "t.zip", scratch / "u", error));
}

TEST(TemplateArchive, RefusesEscapingPathsLinksAndDamageLeavingNothing) {
    ScratchDir scratch;
    const std::vector<std::pair<std::vector<ZipEntry>, std::string>> cases = {
        {{{"ok.txt", "1"}, {"../evil.txt", "x"}}, "unsafe path"},
        {{{"a/../../evil.txt", "x"}}, "unsafe path"},
        {{{"/etc/evil", "x"}}, "unsafe path"},
        {{{"a\\..\\evil", "x"}}, "unsafe path"},
        {{{"C:/evil", "x"}}, "unsafe path"},
        {{{"./a", "x"}}, "unsafe path"},
        {{{"a//b", "x"}}, "unsafe path"},
        {{{"ok.txt", "1"}, {"link", "->/etc/passwd"}}, "link"},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        std::string error;
        const std::string dest = scratch / ("case" + std::to_string(i));
        EXPECT_FALSE(TemplateArchive::unpackBytes(zipBytes(cases[i].first), dest, error)) << i;
        EXPECT_NE(error.find(cases[i].second), std::string::npos) << i << ": " << error;
        EXPECT_FALSE(fs::exists(dest)) << i;
    }
    EXPECT_FALSE(fs::exists(scratch.path().parent_path() / "evil.txt"));

    std::string good = zipBytes({{"a.txt", std::string(5000, 'a')}});
    std::string error;
    EXPECT_FALSE(TemplateArchive::unpackBytes("PK\x03\x04 not really", scratch / "x", error));
    EXPECT_NE(error.find("not a valid ZIP"), std::string::npos) << error;
    EXPECT_FALSE(TemplateArchive::unpackBytes(good.substr(0, good.size() - 30), scratch / "y", error));
    EXPECT_FALSE(TemplateArchive::unpackBytes(zipBytes({}), scratch / "z", error));
    for (const char* d : {"x", "y", "z"})
        EXPECT_FALSE(fs::exists(scratch / d)) << d;
}

} // namespace
} // namespace Lumenda3D::test
