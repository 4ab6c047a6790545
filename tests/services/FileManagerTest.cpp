#include "services/FileManager.h"

#include "FileSizeLimit.h"
#include "TestDataRoot.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

class FileManagerTest : public test::DataRootTest {
protected:
    std::string read(const fs::path& path) {
        std::string data;
        EXPECT_TRUE(FileManager::readFile(path.string(), data)) << path;
        return data;
    }
    // Every entry in `dir`, so a test can tell that no temporary file was left behind.
    std::vector<std::string> entries(const fs::path& dir) {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(dir))
            names.push_back(entry.path().filename().string());
        return names;
    }
};

using test::FileSizeLimit;

TEST_F(FileManagerTest, WriteCreatesFoldersAndReplacesContentExactly) {
    const fs::path target = dataRoot.path() / "a" / "b" / "c.bin";
    const std::string first("line one\r\nwith a \0 byte and more text", 36);
    std::string error;
    ASSERT_TRUE(FileManager::writeFileAtomic(target.string(), first, &error)) << error;
    EXPECT_EQ(read(target), first);
    EXPECT_TRUE(FileManager::fileExists(target.string()));

    // A shorter replacement must not keep a tail of the old content.
    ASSERT_TRUE(FileManager::writeFileAtomic(target.string(), "short", &error)) << error;
    EXPECT_EQ(read(target), "short");
    ASSERT_TRUE(FileManager::writeFileAtomic(target.string(), "", &error)) << error;
    EXPECT_EQ(read(target), "");

    EXPECT_EQ(entries(target.parent_path()), std::vector<std::string>{"c.bin"});
}

TEST_F(FileManagerTest, FullDiskKeepsTheOldFileAndLeavesNoTemporary) {
    const fs::path target = dataRoot.path() / "settings.txt";
    ASSERT_TRUE(FileManager::writeFileAtomic(target.string(), "old content"));

    bool written = true;
    std::string error;
    {
        FileSizeLimit limit(64);
        written = FileManager::writeFileAtomic(target.string(), std::string(4096, 'x'), &error);
    }
    EXPECT_FALSE(written);
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(read(target), "old content");
    EXPECT_EQ(entries(dataRoot.path()), std::vector<std::string>{"settings.txt"});
}

TEST_F(FileManagerTest, WriteFailsWhenTargetOrParentIsInTheWay) {
    // The target is a folder: the rename cannot replace it.
    const fs::path folder = dataRoot.path() / "taken";
    fs::create_directories(folder / "inner");
    std::string error;
    EXPECT_FALSE(FileManager::writeFileAtomic(folder.string(), "data", &error));
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(fs::is_directory(folder / "inner"));

    // A parent "folder" is a regular file: nothing can be created under it, and it is not touched.
    const fs::path blocker = dataRoot.path() / "blocker";
    ASSERT_TRUE(FileManager::writeFileAtomic(blocker.string(), "keep me"));
    error.clear();
    EXPECT_FALSE(FileManager::writeFileAtomic((blocker / "sub" / "file.txt").string(), "data", &error));
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(read(blocker), "keep me");

    auto names = entries(dataRoot.path());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"blocker", "taken"}));
}

TEST_F(FileManagerTest, ReadAndRemoveOfMissingFiles) {
    const fs::path missing = dataRoot.path() / "nothing.txt";
    std::string data = "unchanged";
    std::string error;
    EXPECT_FALSE(FileManager::readFile(missing.string(), data, &error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(FileManager::fileExists(missing.string()));
    EXPECT_TRUE(FileManager::removeFile(missing.string()));

    ASSERT_TRUE(FileManager::writeFileAtomic(missing.string(), "x"));
    EXPECT_TRUE(FileManager::removeFile(missing.string()));
    EXPECT_FALSE(fs::exists(missing));
    // A folder is not a file.
    EXPECT_FALSE(FileManager::fileExists(dataRoot.path().string()));
}

} // namespace
} // namespace Lumenda3D
