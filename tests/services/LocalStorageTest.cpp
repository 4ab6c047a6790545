// The local store: project names, writing, reading and listing projects, and the local-assets
// sandbox with its refusals, all under a private data root.
#include "services/LocalStorage.h"

#include "AssetFileBytes.h"
#include "FileSizeLimit.h"
#include "TestDataRoot.h"

#include "base/LmdPaths.h"
#include "engine/assets/LmdAssetResolver.h"
#include "services/FileManager.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

class LocalStorageTest : public test::DataRootTest {
protected:
    // A file outside the store, to import from.
    // Without `content`: the header of a real file of the name's kind.
    fs::path source(const std::string& name, const std::string& content = "") {
        const fs::path dir = dataRoot.path() / "downloads";
        fs::create_directories(dir);
        std::ofstream(dir / name, std::ios::binary) << (content.empty() ? test::bytesForName(name) : content);
        return dir / name;
    }
    std::string import(const fs::path& from, const std::string& type, const std::string& name = "",
                       bool overwrite = false) {
        error.clear();
        return LocalStorage::importAsset(from.string(), type, name, overwrite, error);
    }
    static std::string text(const std::vector<unsigned char>& bytes) { return std::string(bytes.begin(), bytes.end()); }

    std::string error;
};

TEST(LocalStorageNames, ProjectNamesArePortableSingleFolderNames) {
    for (const std::string& good :
         {std::string("Kart"), std::string("My game 2"), std::string("Äpfel & Birnen (v2)"), std::string("a.b"),
          std::string("Console"), std::string("COM10"), std::string(64, 'x'), std::string("日本語のゲーム"),
          // 64 two-byte characters: the limit counts characters, not bytes.
          [] {
              std::string s;
              for (int i = 0; i < 64; ++i)
                  s += "é";
              return s;
          }()})
        EXPECT_TRUE(LocalStorage::isValidProjectName(good)) << good;

    for (const std::string& bad :
         {std::string(""), std::string(65, 'x'), std::string("a/b"), std::string("a\\b"), std::string("."),
          std::string(".."), std::string(".hidden"), std::string("   "), std::string(" lead"), std::string("trail "),
          std::string("end."), std::string("tab\there"), std::string("del\x7f"), std::string("nul\0x", 5),
          std::string("a:b"), std::string("a*b"), std::string("a?b"), std::string("a|b"), std::string("a\"b"),
          std::string("a<b>"), std::string("CON"), std::string("nul"), std::string("com1.txt"), std::string("LPT9"),
          std::string("\xff"), std::string("caf\xc3"), std::string("\xc0\xaf"), std::string("\xed\xa0\x80")})
        EXPECT_FALSE(LocalStorage::isValidProjectName(bad)) << bad;
}

TEST_F(LocalStorageTest, ProjectsAreWrittenReadAndListed) {
    EXPECT_TRUE(LocalStorage::isFeatureAvailable());
    EXPECT_TRUE(LocalStorage::listProjects().empty());  // no projects folder yet

    ASSERT_TRUE(LocalStorage::writeProjectXml("Zebra", "<KiteBench3D/>"));
    ASSERT_TRUE(LocalStorage::writeProjectXml("Apple pie", "<KiteBench3D>\n</KiteBench3D>"));
    EXPECT_TRUE(fs::is_regular_file(fs::path(LmdPaths::projectsDir()) / "Zebra" / "src.xml"));

    std::string xml;
    ASSERT_TRUE(LocalStorage::readProjectXml("Zebra", xml));
    EXPECT_EQ(xml, "<KiteBench3D/>");
    ASSERT_TRUE(LocalStorage::writeProjectXml("Zebra", "<KiteBench3D><Level/></KiteBench3D>"));
    ASSERT_TRUE(LocalStorage::readProjectXml("Zebra", xml));
    EXPECT_EQ(xml, "<KiteBench3D><Level/></KiteBench3D>");
    EXPECT_FALSE(LocalStorage::readProjectXml("Missing", xml));

    ASSERT_TRUE(LocalStorage::writeProjectThumbnail("Zebra", {0xFF, 0xD8, 0xFF, 0x00}));
    EXPECT_EQ(fs::file_size(fs::path(LocalStorage::projectDir("Zebra")) / "thumbnail.jpg"), 4u);
    EXPECT_FALSE(LocalStorage::writeProjectThumbnail("Zebra", {}));

    // Only folders with a document and a valid name count as projects.
    fs::create_directories(fs::path(LmdPaths::projectsDir()) / "Empty folder");
    fs::create_directories(fs::path(LmdPaths::projectsDir()) / " odd");
    std::ofstream(fs::path(LmdPaths::projectsDir()) / " odd" / "src.xml") << "<KiteBench3D/>";
    std::ofstream(fs::path(LmdPaths::projectsDir()) / "loose.xml") << "<KiteBench3D/>";
    EXPECT_EQ(LocalStorage::listProjects(), (std::vector<std::string>{"Apple pie", "Zebra"}));
}

TEST_F(LocalStorageTest, NamesNeverLeadOutsideTheProjectsFolder) {
    // projects/../src.xml would be the data folder's own file.
    ASSERT_TRUE(FileManager::writeFileAtomic((fs::path(LmdPaths::dataDir()) / "src.xml").string(), "<secret/>"));
    std::string xml, why;
    EXPECT_FALSE(LocalStorage::readProjectXml("..", xml));
    EXPECT_FALSE(LocalStorage::writeProjectXml("../escape", "<KiteBench3D/>", &why));
    EXPECT_NE(why.find("invalid project name"), std::string::npos);
    EXPECT_FALSE(fs::exists(fs::path(LmdPaths::dataDir()) / "escape"));
    EXPECT_FALSE(LocalStorage::writeProjectThumbnail("a/b", {1, 2, 3}));
}

TEST_F(LocalStorageTest, AFailedWriteKeepsTheOldDocument) {
    ASSERT_TRUE(LocalStorage::writeProjectXml("Kart", "<KiteBench3D/>"));
    std::string why;
    {
        test::FileSizeLimit limit(1024);
        EXPECT_FALSE(LocalStorage::writeProjectXml("Kart", "<KiteBench3D>" + std::string(8192, ' ') + "</KiteBench3D>",
                                                   &why));
    }
    EXPECT_NE(why.find("src.xml"), std::string::npos) << why;
    std::string xml;
    ASSERT_TRUE(LocalStorage::readProjectXml("Kart", xml));
    EXPECT_EQ(xml, "<KiteBench3D/>");
    // No temporary file is left beside it.
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(LocalStorage::projectDir("Kart")))
        names.push_back(entry.path().filename().string());
    EXPECT_EQ(names, std::vector<std::string>{"src.xml"});
}

TEST_F(LocalStorageTest, ImportedAssetsResolveAsLocalReferences) {
    EXPECT_EQ(import(source("tree.png", test::pngHeader(2, 2)), "textures"), "tree.png");
    EXPECT_EQ(import(source("download-1234.bin.PNG", test::pngHeader(2, 2)), "textures", "Bark.PNG"), "Bark.PNG");  // any case
    EXPECT_EQ(import(source("boing.ogg"), "sounds"), "boing.ogg");
    EXPECT_EQ(import(source("ship.glb"), "models"), "ship.glb");
    EXPECT_EQ(error, "");

    EXPECT_EQ(LocalStorage::listLocalAssets("textures"), (std::vector<std::string>{"Bark.PNG", "tree.png"}));
    EXPECT_EQ(LocalStorage::listLocalAssets("models"), std::vector<std::string>{"ship.glb"});
    EXPECT_TRUE(LocalStorage::listLocalAssets("fonts").empty());
    std::vector<unsigned char> bytes;
    ASSERT_TRUE(LocalStorage::readLocalAsset("textures", "tree.png", bytes));
    EXPECT_EQ(text(bytes), test::pngHeader(2, 2));
    EXPECT_FALSE(LocalStorage::readLocalAsset("textures", "../models/ship.glb", bytes));

    // "local:<name>" finds the file in the sandbox, by kind.
    LmdAssetResolver resolver;
    resolver.setLocalAssetsDir(LocalStorage::localAssetsDir());
    EXPECT_EQ(resolver.resolve("local:tree.png", LmdAssetResolver::Kind::Texture),
              (fs::path(LocalStorage::localAssetsDir()) / "textures" / "tree.png").string());
    EXPECT_EQ(resolver.resolve("local:ship.glb", LmdAssetResolver::Kind::Model),
              (fs::path(LocalStorage::localAssetsDir()) / "models" / "ship.glb").string());
}

TEST_F(LocalStorageTest, ImportRefusalsSayWhatToDo) {
    const std::string missing = (dataRoot.path() / "nowhere" / "y.png").string();
    EXPECT_EQ(import(missing, "textures"), "");
    EXPECT_EQ(error, "File not found: " + missing);

    const fs::path folder = dataRoot.path() / "folder.png";
    fs::create_directories(folder);
    EXPECT_EQ(import(folder, "textures"), "");
    EXPECT_EQ(error, "'" + folder.string() + "' is a folder — pass the path of a file.");

    const fs::path png = source("y.png");
    EXPECT_EQ(import(png, "fonts"), "");
    EXPECT_EQ(error, "Unknown asset type 'fonts' — use models, textures or sounds.");

    EXPECT_EQ(import(png, "textures", "sub/y.png"), "");
    EXPECT_EQ(error.rfind("Invalid asset name 'sub/y.png' — ", 0), 0u) << error;

    EXPECT_EQ(import(source("notes.txt"), "textures"), "");
    EXPECT_EQ(error,
              "'notes.txt' does not have a file type allowed for textures — use one of .png, .jpg, .jpeg, .gif, .bmp, "
              ".tga.");
    EXPECT_EQ(import(png, "models"), "");
    EXPECT_NE(error.find("allowed for models — use one of .obj, "), std::string::npos) << error;

    // An existing name needs overwrite; with it, the new bytes replace the old ones.
    EXPECT_EQ(import(png, "textures"), "y.png");
    EXPECT_EQ(import(source("other.png", test::pngHeader(9, 9)), "textures", "y.png"), "");
    EXPECT_EQ(error, "An asset named 'y.png' already exists — pass overwrite:true to replace it.");
    EXPECT_EQ(import(source("other.png", test::pngHeader(9, 9)), "textures", "y.png", true), "y.png");
    std::vector<unsigned char> bytes;
    ASSERT_TRUE(LocalStorage::readLocalAsset("textures", "y.png", bytes));
    EXPECT_EQ(text(bytes), test::pngHeader(9, 9));
}

TEST_F(LocalStorageTest, AnUnreadableSourceIsRefused) {
    const fs::path png = source("secret.png");
    fs::permissions(png, fs::perms::none);
    if (::access(png.c_str(), R_OK) == 0)
        GTEST_SKIP() << "file permissions are not enforced for this user";
    EXPECT_EQ(import(png, "textures"), "");
    EXPECT_EQ(error, "Cannot read " + png.string() + " — check that the file is readable.");
    EXPECT_TRUE(LocalStorage::listLocalAssets("textures").empty());
}

TEST_F(LocalStorageTest, ThumbnailsBelongToTheirAssetAndGoWithIt) {
    const fs::path thumb = source("thumb.jpg", "JPEGDATA");
    EXPECT_FALSE(LocalStorage::importThumbnailFromPath("textures", "tree.png", thumb.string(), error));
    EXPECT_EQ(error, "No local asset named 'tree.png' in textures — import the asset before its thumbnail.");

    ASSERT_EQ(import(source("tree.png"), "textures"), "tree.png");
    EXPECT_FALSE(LocalStorage::importThumbnailFromPath("textures", "tree.png", source("thumb.ogg").string(), error));
    EXPECT_NE(error.find("is not an image"), std::string::npos) << error;
    ASSERT_TRUE(LocalStorage::importThumbnailFromPath("textures", "tree.png", thumb.string(), error)) << error;

    const std::string path = LocalStorage::getAssetThumbnailFilePath("textures", "tree.png");
    EXPECT_EQ(path, (fs::path(LocalStorage::localAssetsDir()) / "textures" / "thumbs" / "tree.png.jpg").string());
    std::vector<unsigned char> bytes;
    ASSERT_TRUE(LocalStorage::readLocalAssetThumbnail("textures", "tree.png", bytes));
    EXPECT_EQ(text(bytes), "JPEGDATA");
    EXPECT_EQ(LocalStorage::listLocalAssets("textures"), std::vector<std::string>{"tree.png"});  // no thumbs
    EXPECT_EQ(LocalStorage::getAssetThumbnailFilePath("textures", ".."), "");

    ASSERT_TRUE(LocalStorage::deleteLocalAsset("textures", "tree.png", error)) << error;
    EXPECT_TRUE(LocalStorage::listLocalAssets("textures").empty());
    EXPECT_FALSE(fs::exists(path));
    EXPECT_FALSE(LocalStorage::deleteLocalAsset("textures", "tree.png", error));
    EXPECT_EQ(error, "No local asset named 'tree.png' in textures.");
}

} // namespace
} // namespace Lumenda3D
