// The asset picker with a local store and a cloud of the test's own: both lists with the cloud's
// message beside a local list that still works, a local choice written at once, a cloud choice
// written only once its file has come (and not at all when the fetch fails or the block is gone).
#include "AssetFileBytes.h"
#include "PickerTestSupport.h"

#include "attributes/AssetPicker.h"
#include "attributes/LocalAssetSource.h"
#include "services/LocalStorage.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace Lumenda3D {
namespace {

namespace fs = std::filesystem;

const char* kGame = R"(<KiteBench3D><Level name="One"><Image2D name="logo" picture="grass.png"/></Level></KiteBench3D>)";

// A cloud that answers when the test says so.
class TestCloud : public AssetSource {
public:
    void list(const std::string& type, ListDone done) override {
        listedType = type;
        listDone = std::move(done);
    }
    void fetch(const std::string&, const AssetEntry& entry, FetchDone done) override {
        fetched.push_back(entry.name);
        fetchDone = std::move(done);
    }
    void fetchThumbnail(const std::string&, const AssetEntry& entry, ThumbnailDone done) override {
        thumbnailsAsked.push_back(entry.name);
        done("");
    }
    std::string listedType;
    ListDone listDone;
    FetchDone fetchDone;
    std::vector<std::string> fetched, thumbnailsAsked;
};

class AssetPickerTest : public test::PickerTest {
protected:
    AssetPickerTest() : PickerTest(kGame) {
        media = root.path() / "media";
        fs::create_directories(media / "textures");
        for (const char* name : {"grass.png", "wall.jpg", "notes.txt"})
            std::ofstream(media / "textures" / name) << "x";
        const fs::path source = root.path() / "bark.png";
        std::ofstream(source, std::ios::binary) << test::pngHeader(4, 4);
        std::string error;
        EXPECT_FALSE(LocalStorage::importAsset(source.string(), "textures", "bark.png", false, error).empty()) << error;

        auto owned = std::make_unique<TestCloud>();
        cloud = owned.get();
        auto picker = std::make_unique<AssetPicker>("textures", std::make_unique<LocalAssetSource>(media.string()),
                                                    std::move(owned));
        assets = picker.get();
        scene.panel->addNamedRenderer("picture", std::move(picker));
        scene.show("Image2D");
    }
    std::vector<std::string> names(const std::vector<AssetEntry>& entries) {
        std::vector<std::string> out;
        for (const AssetEntry& entry : entries)
            out.push_back(entry.reference);
        return out;
    }

    fs::path media;
    TestCloud* cloud = nullptr;
    AssetPicker* assets = nullptr;
};

TEST_F(AssetPickerTest, LocalAssetsAreListedAndChosenAtOnceWhileTheCloudIsSilent) {
    clickWidget("...##picture");
    EXPECT_EQ(cloud->listedType, "textures");
    // The store's assets first, by reference, then the shipped ones; other files are left out.
    EXPECT_EQ(names(assets->getLocalEntries()), (std::vector<std::string>{"local:bark.png", "grass.png", "wall.jpg"}));
    EXPECT_EQ(assets->getCloudStatus(), AssetPicker::kCloudLoading);

    clickWidget("wall.jpg##asset_wall.jpg");
    EXPECT_EQ(scene.value("Image2D", "picture"), "wall.jpg");
    EXPECT_EQ(scene.engine.updates.back().value, "wall.jpg");
    EXPECT_FALSE(popupOpen("picture"));
    scene.files.undo();
    frames();
    EXPECT_EQ(scene.value("Image2D", "picture"), "grass.png");
}

TEST_F(AssetPickerTest, ADeadCloudSaysSoAndTheLocalListStillWorks) {
    clickWidget("...##picture");
    cloud->listDone({}, "The Lumenda3D server does not answer.");
    frames();
    EXPECT_EQ(assets->getCloudStatus(), "The Lumenda3D server does not answer.");
    clickWidget("bark.png##asset_local:bark.png");
    EXPECT_EQ(scene.value("Image2D", "picture"), "local:bark.png");
}

TEST_F(AssetPickerTest, ACloudAssetIsWrittenOnlyOnceItsFileHasCome) {
    clickWidget("...##picture");
    cloud->listDone({{"sky.png", "http://cloud/assets/textures/ann/sky.png", "", "http://cloud/t.jpg"}}, "");
    frames();
    EXPECT_EQ(cloud->thumbnailsAsked, (std::vector<std::string>{"sky.png"}));
    clickWidget("sky.png##asset_http://cloud/assets/textures/ann/sky.png");
    EXPECT_EQ(cloud->fetched, (std::vector<std::string>{"sky.png"}));
    EXPECT_EQ(scene.value("Image2D", "picture"), "grass.png");
    EXPECT_NE(assets->getFetchStatus().find("Fetching 'sky.png'"), std::string::npos);
    EXPECT_TRUE(popupOpen("picture"));

    // A failed fetch says why and changes nothing; a second try that works writes and closes.
    cloud->fetchDone("Could not fetch 'sky.png' from the Lumenda3D server: the server answered 404.");
    frames();
    EXPECT_EQ(scene.value("Image2D", "picture"), "grass.png");
    EXPECT_NE(assets->getFetchStatus().find("404"), std::string::npos);
    clickWidget("sky.png##asset_http://cloud/assets/textures/ann/sky.png");
    cloud->fetchDone("");
    frames();
    EXPECT_EQ(scene.value("Image2D", "picture"), "http://cloud/assets/textures/ann/sky.png");
    EXPECT_FALSE(popupOpen("picture"));
}

TEST_F(AssetPickerTest, AFetchThatEndsAfterTheBlockWasDeletedWritesNothing) {
    clickWidget("...##picture");
    cloud->listDone({{"sky.png", "http://cloud/sky.png", "", ""}}, "");
    clickWidget("sky.png##asset_http://cloud/sky.png");
    pugi::xml_node image = scene.element("Image2D");
    scene.files.removeChild(image.parent(), image);
    cloud->fetchDone("");
    EXPECT_FALSE(scene.element("Image2D"));
    EXPECT_NE(assets->getFetchStatus().find("gone"), std::string::npos);
}

} // namespace
} // namespace Lumenda3D
