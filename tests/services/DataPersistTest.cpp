#include "services/DataPersist.h"

#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "services/FileManager.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

// Collects the log lines written while it lives, without echoing them to stderr.
class LogCapture {
public:
    LogCapture() {
        LmdLog::setEchoToStderr(false);
        handle_ = LmdLog::addSink([this](const std::string& text, LogLevel) { lines.push_back(text); });
    }
    ~LogCapture() {
        LmdLog::removeSink(handle_);
        LmdLog::setEchoToStderr(true);
    }
    std::vector<std::string> lines;

private:
    int handle_ = 0;
};

class DataPersistTest : public test::DataRootTest {
protected:
    // Every regular file under the data root, relative to it.
    std::vector<std::string> filesUnderRoot() const {
        std::vector<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(dataRoot.path()))
            if (entry.is_regular_file())
                files.push_back(fs::relative(entry.path(), dataRoot.path()).generic_string());
        return files;
    }
};

TEST_F(DataPersistTest, RoundTripOverwriteAndEmptyText) {
    std::string text;
    EXPECT_FALSE(DataPersist::LoadPersistText("lmdEditor/settings", text));

    ASSERT_TRUE(DataPersist::SavePersistText("lmdEditor/settings", "{\"a\":1}\n"));
    ASSERT_TRUE(DataPersist::LoadPersistText("lmdEditor/settings", text));
    EXPECT_EQ(text, "{\"a\":1}\n");

    ASSERT_TRUE(DataPersist::SavePersistText("lmdEditor/settings", "x"));
    ASSERT_TRUE(DataPersist::LoadPersistText("lmdEditor/settings", text));
    EXPECT_EQ(text, "x");

    // An empty entry exists: it is not the same as no entry.
    ASSERT_TRUE(DataPersist::SavePersistText("lmdEditor/settings", ""));
    text = "stale";
    ASSERT_TRUE(DataPersist::LoadPersistText("lmdEditor/settings", text));
    EXPECT_EQ(text, "");
}

TEST_F(DataPersistTest, EntriesLiveInConfigFolderUnderStableNames) {
    // The on-disk names are what earlier versions of the editor wrote: they must not drift.
    ASSERT_TRUE(DataPersist::SavePersistText("lmdEditor/settings", "s"));
    ASSERT_TRUE(DataPersist::SavePersistText("token", "t"));
    ASSERT_TRUE(DataPersist::SavePersistText("a b/c.d:e\\f%", "odd"));
    const fs::path config = LmdPaths::configDir();
    EXPECT_EQ(fs::path(DataPersist::entryPath("lmdEditor/settings")), config / "lmdEditor" / "settings.txt");
    EXPECT_TRUE(fs::is_regular_file(config / "lmdEditor" / "settings.txt"));
    EXPECT_TRUE(fs::is_regular_file(config / "token.txt"));
    EXPECT_TRUE(fs::is_regular_file(config / "a%20b" / "c%2Ed%3Ae%5Cf%25.txt"));

    std::string text;
    ASSERT_TRUE(DataPersist::LoadPersistText("a b/c.d:e\\f%", text));
    EXPECT_EQ(text, "odd");
}

TEST_F(DataPersistTest, SimilarKeysNeverShareAFile) {
    // Keys that a careless mapping (dots kept, '/' flattened, suffix appended) would merge.
    const std::vector<std::string> keys = {"a", "a/b", "a.txt/b", "a.txt", "a%2Etxt", "a_b", "a-b", "a/b/c", "A"};
    for (const auto& key : keys)
        ASSERT_TRUE(DataPersist::SavePersistText(key, "value of " + key)) << key;
    for (const auto& key : keys) {
        std::string text;
        ASSERT_TRUE(DataPersist::LoadPersistText(key, text)) << key;
        // Names differing only in case share a file on case-insensitive file systems; not on this one.
        EXPECT_EQ(text, "value of " + key) << key;
    }
}

TEST_F(DataPersistTest, BadKeysAreRefusedAndNothingLeavesTheConfigFolder) {
    // Something a key escaping the folder could reach.
    ASSERT_TRUE(FileManager::writeFileAtomic((dataRoot.path() / "outside.txt").string(), "secret"));
    const std::vector<std::string> badKeys = {
        "", "/", "/etc/passwd", "..", "../outside", "a/../../outside", "a/..", ".", "./a", "a/./b",
        "a//b", "a/", std::string("a\0b", 3),
    };
    LogCapture log;
    for (const auto& key : badKeys) {
        std::string text = "unchanged";
        EXPECT_FALSE(DataPersist::SavePersistText(key, "x")) << key;
        EXPECT_FALSE(DataPersist::LoadPersistText(key, text)) << key;
        EXPECT_EQ(text, "unchanged") << key;
        EXPECT_EQ(DataPersist::entryPath(key), "") << key;
    }
    EXPECT_EQ(log.lines.size(), 2 * badKeys.size()) << "one line for each refused call";
    EXPECT_EQ(filesUnderRoot(), std::vector<std::string>{"outside.txt"});
}

TEST_F(DataPersistTest, FailedSaveReturnsFalseAndLogsOneLineWhy) {
    // The config folder cannot be created because a file is in its place.
    ASSERT_TRUE(FileManager::writeFileAtomic(LmdPaths::configDir(), "not a folder"));
    {
        LogCapture log;
        EXPECT_FALSE(DataPersist::SavePersistText("lmdEditor/settings", "x"));
        ASSERT_EQ(log.lines.size(), 1u);
        EXPECT_NE(log.lines[0].find("lmdEditor/settings"), std::string::npos) << log.lines[0];
        EXPECT_NE(log.lines[0].find("folder"), std::string::npos) << log.lines[0];
    }
    fs::remove(LmdPaths::configDir());

    // The entry's own file is a folder: saving fails, loading finds no entry.
    fs::create_directories(DataPersist::entryPath("lmdEditor/settings"));
    LogCapture log;
    EXPECT_FALSE(DataPersist::SavePersistText("lmdEditor/settings", "x"));
    EXPECT_EQ(log.lines.size(), 1u);
    std::string text;
    EXPECT_FALSE(DataPersist::LoadPersistText("lmdEditor/settings", text));
}

TEST_F(DataPersistTest, FollowsTheDataRootAtEachCall) {
    ASSERT_TRUE(DataPersist::SavePersistText("k", "first root"));
    const fs::path second = dataRoot.path() / "second";
    setenv("LUMENDA3D_HOME", second.c_str(), 1);
    std::string text;
    EXPECT_FALSE(DataPersist::LoadPersistText("k", text));
    ASSERT_TRUE(DataPersist::SavePersistText("k", "second root"));
    EXPECT_TRUE(fs::is_regular_file(second / "config" / "k.txt"));
    // The fixture puts the variable back at the end of the test.
}

TEST_F(DataPersistTest, ClearingAllKeepsOnlyTheNamedEntriesAndLeavesOtherFoldersAlone) {
    ASSERT_TRUE(DataPersist::SavePersistText("lumenda3d_token", "{\"token\":\"t\"}"));
    ASSERT_TRUE(DataPersist::SavePersistText("lmdEditor/settings", "{}"));
    ASSERT_TRUE(DataPersist::SavePersistText("games/Kart/save", "level 3"));
    ASSERT_TRUE(DataPersist::SavePersistText("lumenda3d_token2", "not the login"));
    ASSERT_TRUE(FileManager::writeFileAtomic(LmdPaths::projectsDir() + "/Kart/src.xml", "<KiteBench3D/>"));

    EXPECT_TRUE(DataPersist::ClearAllPersistData({"lumenda3d_token"}));

    std::string text;
    EXPECT_TRUE(DataPersist::LoadPersistText("lumenda3d_token", text));
    EXPECT_EQ(text, "{\"token\":\"t\"}");
    EXPECT_FALSE(DataPersist::LoadPersistText("lmdEditor/settings", text));
    EXPECT_FALSE(DataPersist::LoadPersistText("lumenda3d_token2", text));
    EXPECT_FALSE(fs::exists(fs::path(LmdPaths::configDir()) / "games"));
    // Projects are not persisted entries.
    EXPECT_TRUE(fs::exists(LmdPaths::projectsDir() + "/Kart/src.xml"));
    // Nothing to clear is not a failure.
    fs::remove_all(LmdPaths::configDir());
    EXPECT_TRUE(DataPersist::ClearAllPersistData({}));
}

} // namespace
} // namespace Lumenda3D
