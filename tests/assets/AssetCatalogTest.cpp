// The asset catalog without a server: list answers read into lists, user and storage; the local
// store's imports checked before anything is stored; the Config of each kind.
#include "assets/AssetCatalog.h"
#include "assets/AssetListing.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "AssetFileBytes.h"
#include "TestDataRoot.h"
#include "services/LocalStorage.h"

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

TEST(AssetCatalogListing, AnswersAreReadLeniently) {
    const auto listing = AssetListing::parse(
        "sounds", "my_sounds", R"({"sounds": ["b.ogg", 7, "a.wav", null], "my_sounds": ["z.mp3"], "username": "ann",
                    "storage": {"unlimited": false, "used_mb": 1.5}})");
    ASSERT_TRUE(listing.ok);
    EXPECT_EQ(listing.catalog, (std::vector<std::string>{"a.wav", "b.ogg"}));  // sorted, non-strings skipped
    EXPECT_EQ(listing.mine, std::vector<std::string>{"z.mp3"});
    EXPECT_EQ(listing.username, "ann");
    EXPECT_TRUE(listing.storageKnown);
    EXPECT_DOUBLE_EQ(listing.storageUsedMb, 1.5);
    EXPECT_DOUBLE_EQ(listing.storageQuotaMb, 0.0);  // missing counts as 0

    const auto anonymous = AssetListing::parse("sounds", "my_sounds", R"({"sounds": "x", "username": 3})");
    ASSERT_TRUE(anonymous.ok);
    EXPECT_TRUE(anonymous.catalog.empty());
    EXPECT_EQ(anonymous.username, "");
    EXPECT_FALSE(anonymous.storageKnown);
    EXPECT_FALSE(AssetListing::parse("sounds", "my_sounds", R"({"storage": 5})").storageKnown);

    EXPECT_FALSE(AssetListing::parse("sounds", "my_sounds", "[1]").ok);
    EXPECT_FALSE(AssetListing::parse("sounds", "my_sounds", "{not json").ok);
}

TEST(AssetCatalogListing, AnUnreadableAnswerKeepsTheListsThatWereThere) {
    AssetCatalog catalog(AssetCatalog::texturesConfig());
    ASSERT_TRUE(catalog.parseListResponse(R"({"textures": ["a.png"], "my_textures": ["b.png"], "username": "ann"})"));
    EXPECT_FALSE(catalog.parseListResponse("<html>busy</html>"));
    EXPECT_EQ(catalog.getCatalogAssets(), std::vector<std::string>{"a.png"});
    EXPECT_EQ(catalog.getMyAssets(), std::vector<std::string>{"b.png"});
    EXPECT_FALSE(catalog.getListError().empty());
    // Addresses: the user's folder only for the user's own files, names escaped.
    EXPECT_NE(catalog.assetUrl("b c.png", true).find("/textures/ann/b%20c.png"), std::string::npos);
    EXPECT_EQ(catalog.assetUrl("b.png", false).find("/ann/"), std::string::npos);
    EXPECT_NE(catalog.thumbnailUrl("tree.final.png", false).find("/textures/thumbs/thumb_tree.final.jpg"),
              std::string::npos);
}

TEST(AssetCatalogConfig, EachKindHasItsWordsAndOnlyTexturesWriteThumbnails) {
    const auto textures = AssetCatalog::texturesConfig();
    const auto models = AssetCatalog::modelsConfig();
    const auto sounds = AssetCatalog::soundsConfig();
    EXPECT_EQ(models.uploadField, "modelData");
    EXPECT_EQ(sounds.thumbPrefix, "sound_thumb_");
    EXPECT_EQ(textures.logName, "TexturesCatalog");
    EXPECT_TRUE(textures.thumbnailWriter);
    EXPECT_FALSE(models.thumbnailWriter);
    EXPECT_FALSE(sounds.thumbnailWriter);
    AssetCatalog catalog(models);
    EXPECT_TRUE(catalog.allowsExtension("Ship.GLB"));
    EXPECT_FALSE(catalog.allowsExtension("ship.png"));
    EXPECT_FALSE(catalog.allowsExtension("glb"));
}

class AssetCatalogLocalTest : public ::testing::Test {
protected:
    std::string file(const std::string& name, const std::string& bytes) {
        return test::writeFileIn(root.path() / "downloads", name, bytes);
    }
    std::string import(AssetCatalog& catalog, const std::string& path, bool overwrite = false) {
        error.clear();
        return catalog.importLocalAsset({path, "", "", overwrite}, error);
    }

    test::TestDataRoot root;
    std::string error;
};

TEST_F(AssetCatalogLocalTest, AGoodFileIsStoredWithAThumbnailAndListed) {
    AssetCatalog textures(AssetCatalog::texturesConfig());
    int changes = 0;
    textures.setOnLocalChange([&] { ++changes; });
    EXPECT_EQ(import(textures, file("grass.png", test::pngHeader(16, 16))), "grass.png") << error;
    EXPECT_EQ(textures.getLocalAssets(), std::vector<std::string>{"grass.png"});
    EXPECT_EQ(changes, 1);
    // Without a renderer the picture cannot be scaled: its own bytes are the thumbnail.
    std::vector<unsigned char> thumb;
    ASSERT_TRUE(LocalStorage::readLocalAssetThumbnail("textures", "grass.png", thumb));
    EXPECT_EQ(std::string(thumb.begin(), thumb.end()), test::pngHeader(16, 16));

    EXPECT_EQ(import(textures, file("grass.png", test::pngHeader(32, 32))), "");
    EXPECT_NE(error.find("already exists"), std::string::npos) << error;
    EXPECT_EQ(import(textures, file("grass.png", test::pngHeader(32, 32)), true), "grass.png") << error;

    ASSERT_TRUE(textures.deleteLocalAsset("grass.png", error)) << error;
    EXPECT_TRUE(textures.getLocalAssets().empty());
    EXPECT_FALSE(LocalStorage::readLocalAssetThumbnail("textures", "grass.png", thumb));
    EXPECT_FALSE(textures.deleteLocalAsset("grass.png", error));
}

TEST_F(AssetCatalogLocalTest, BadFilesAreRefusedAndLeaveNothingBehind) {
    AssetCatalog textures(AssetCatalog::texturesConfig());
    AssetCatalog models(AssetCatalog::modelsConfig());
    AssetCatalog sounds(AssetCatalog::soundsConfig());
    EXPECT_EQ(import(textures, file("fake.png", "GIF89a\x01\x00\x01\x00")), "");
    EXPECT_NE(error.find("does not hold PNG picture data"), std::string::npos) << error;
    EXPECT_EQ(import(textures, file("huge.png", test::pngHeader(20000, 20000))), "");
    EXPECT_NE(error.find("20000 x 20000"), std::string::npos) << error;
    EXPECT_EQ(import(sounds, file("empty.wav", "")), "");
    EXPECT_EQ(error, "\"empty.wav\" is empty (0 bytes), so there is nothing to import.");
    // Text the model importer makes nothing of.
    EXPECT_EQ(import(models, file("broken.obj", "this is not a model\n")), "");
    EXPECT_NE(error.find("\"broken.obj\" could not be read as a model"), std::string::npos) << error;
    EXPECT_EQ(import(models, file("missing.obj", "v 0 0 0\n").append(".gone")), "");
    EXPECT_FALSE(error.empty());

    for (const char* type : {"textures", "models", "sounds"}) {
        EXPECT_TRUE(LocalStorage::listLocalAssets(type).empty()) << type;
        std::error_code ec;
        const fs::path folder = fs::path(LocalStorage::localAssetsDir()) / type;
        if (fs::exists(folder, ec))
            for (const auto& entry : fs::recursive_directory_iterator(folder))
                ADD_FAILURE() << "left behind: " << entry.path();
    }

    EXPECT_EQ(import(models, file("crate.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n")), "crate.obj") << error;
    EXPECT_EQ(models.getLocalAssets(), std::vector<std::string>{"crate.obj"});
}

} // namespace
} // namespace Lumenda3D
