// The asset library panel in an ImGui frame without a renderer: the grid and its messages,
// search, files offered by drop or path with the question before them, the quota check, delete
// after confirmation, and a drag from a cell to the scene.
#include "assets/AssetLibraryPanel.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "AssetFileBytes.h"
#include "FakeAssetHost.h"
#include "ImGuiHarness.h"
#include "TestDataRoot.h"
#include "services/LocalStorage.h"
#include "ui/AssetDrop.h"

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

using Type = AssetLibraryPanel::AssetType;
using Source = AssetLibraryPanel::SourceTab;

class AssetLibraryPanelTest : public ::testing::Test {
protected:
    AssetLibraryPanelTest() {
        panel.setHost(&host);
        panel.init();
    }
    std::string file(const std::string& name, const std::string& bytes) {
        return test::writeFileIn(root.path() / "desktop", name, bytes);
    }
    // One editor frame: the content in a window like the block editor's tab, `also` (other
    // panels), then the panel's own work (its modals), in the editor's drawing order.
    void frame(const std::function<void()>& also = {}) {
        imgui.frame([&] {
            ImGui::SetNextWindowPos(ImVec2(0, 0));
            ImGui::SetNextWindowSize(ImVec2(380, 600));
            ImGui::Begin("Asset Library##test");
            panel.drawContent();
            ImGui::End();
            if (also)
                also();
            panel.draw();
        });
    }

    test::TestDataRoot root;
    test::ImGuiHarness imgui;
    test::FakeAssetHost host{R"(<Game><Level name="main"><Box name="crate" id="1"/></Level>
                                 <Material name="wood" picture="wood.png"/></Game>)"};
    AssetLibraryPanel panel{std::make_shared<AssetCatalogs>()};
};

TEST_F(AssetLibraryPanelTest, TheGridTellsWhatIsMissingAndSearchFilters) {
    panel.selectTabs(Type::Texture, Source::Local);
    frame();
    EXPECT_EQ(panel.emptyGridMessage(), "No local textures yet. Click \"Import local textures...\" below.");
    for (const char* name : {"Bark.png", "grass.png", "bricks.jpg"}) {
        std::string error;
        ASSERT_FALSE(panel.getCatalog(Type::Texture)
                         .importLocalAsset({file(name, test::bytesForName(name)), "", "", false}, error)
                         .empty())
            << error;
    }
    frame();
    EXPECT_EQ(panel.visibleNames(), (std::vector<std::string>{"Bark.png", "bricks.jpg", "grass.png"}));
    panel.setSearch("BR");
    EXPECT_EQ(panel.visibleNames(), (std::vector<std::string>{"bricks.jpg"}));
    panel.setSearch("zzz");
    EXPECT_EQ(panel.emptyGridMessage(), "No matching local textures.");
    panel.setSearch("");

    panel.selectTabs(Type::Material, Source::Local);
    EXPECT_EQ(panel.visibleNames(), std::vector<std::string>{"wood"});
    panel.selectTabs(Type::Sound, Source::Cloud);
    EXPECT_EQ(panel.emptyGridMessage(), "Log in to see your cloud sounds.");
    frame();
}

TEST_F(AssetLibraryPanelTest, ADroppedFileIsAskedAboutThenImportedOffTheMainThread) {
    panel.selectTabs(Type::Texture, Source::Local);
    host.dropped = {file("notes.txt", "hello")};
    frame();
    EXPECT_FALSE(panel.isAskingAboutDroppedFile());  // an unknown kind never asks
    EXPECT_EQ(host.errors.back(), "Unsupported file type: notes.txt");

    // A sound dropped while the texture tab shows goes to the sounds.
    host.dropped = {file("boing.wav", test::wavHeader())};
    frame();
    ASSERT_TRUE(panel.isAskingAboutDroppedFile());
    panel.answerDroppedFile(true);
    EXPECT_EQ(host.toasts.back(), "Imported \"boing.wav\"!");
    EXPECT_EQ(panel.getCatalog(Type::Sound).getLocalAssets(), std::vector<std::string>{"boing.wav"});
    EXPECT_GE(host.localRefreshes, 1);

    // The same name again: the question says it will be overwritten.
    panel.offerFile(file("boing.wav", test::wavHeader() + "more"));
    ASSERT_TRUE(panel.isAskingAboutDroppedFile());
    frame();
    panel.answerDroppedFile(false);
    std::vector<unsigned char> bytes;
    ASSERT_TRUE(LocalStorage::readLocalAsset("sounds", "boing.wav", bytes));
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), test::wavHeader());  // "No" kept the old one

    // A file that is not what it says: one message, nothing stored.
    panel.importDroppedFile(file("fake.ogg", test::wavHeader()), Type::Sound, false);
    EXPECT_EQ(host.errors.back().rfind("Import failed: \"fake.ogg\" does not hold OGG sound data", 0), 0u) << host.errors.back();
    EXPECT_EQ(panel.getCatalog(Type::Sound).getLocalAssets(), std::vector<std::string>{"boing.wav"});
}

TEST_F(AssetLibraryPanelTest, UploadsCheckInOrderAndTheQuotaIsNeverNegative) {
    AssetCatalog& textures = panel.getCatalog(Type::Texture);
    panel.uploadFileToCloud(Type::Texture, file("song.ogg", test::oggHeader()));
    EXPECT_EQ(host.errors.back(), "Unsupported file type: song.ogg");
    panel.uploadFileToCloud(Type::Texture, file("bark.png", test::pngHeader(2, 2)));
    EXPECT_EQ(host.errors.back(), "Sign in to upload assets");
    host.loggedIn = true;
    panel.uploadFileToCloud(Type::Texture, (root.path() / "nowhere.png").string());
    EXPECT_EQ(host.errors.back(), "Could not read nowhere.png");
    // A model whose header passes but which the importer cannot read never leaves this machine.
    panel.uploadFileToCloud(Type::Model, file("broken.obj", "v 0 0 0\nv 1 0 0\n"));
    EXPECT_EQ(host.errors.back().rfind("Upload failed: \"broken.obj\" could not be read as a model: ", 0), 0u)
        << host.errors.back();
    EXPECT_FALSE(panel.getCatalog(Type::Model).isUploading());

    std::string message;
    // No storage block: any size may start.
    EXPECT_TRUE(panel.cloudUploadWithinQuota(textures, size_t(1) << 40, message));
    ASSERT_TRUE(textures.parseListResponse(
        R"({"my_textures": [], "username": "ann", "storage": {"unlimited": false, "used_mb": 250, "quota_mb": 200}})"));
    EXPECT_FALSE(panel.cloudUploadWithinQuota(textures, 1536 * 1024, message));
    EXPECT_EQ(message, "Not enough cloud storage: file is 1.5 MB, 0.0 MB free");
    ASSERT_TRUE(textures.parseListResponse(
        R"({"username": "ann", "storage": {"unlimited": true, "used_mb": 250, "quota_mb": 200}})"));
    EXPECT_TRUE(panel.cloudUploadWithinQuota(textures, 1536 * 1024, message));
}

TEST_F(AssetLibraryPanelTest, DeleteAsksFirstAndNoLeavesTheFile) {
    std::string error;
    AssetCatalog& models = panel.getCatalog(Type::Model);
    ASSERT_FALSE(models.importLocalAsset({file("crate.obj", test::bytesForName("crate.obj")), "", "", false}, error).empty())
        << error;
    panel.selectTabs(Type::Model, Source::Local);
    panel.requestDeleteAsset(Type::Model, "crate.obj", true);
    frame();
    EXPECT_TRUE(panel.isAskingToDelete());
    EXPECT_EQ(models.getLocalAssets(), std::vector<std::string>{"crate.obj"});
    panel.confirmDelete();
    EXPECT_TRUE(models.getLocalAssets().empty());
    EXPECT_EQ(host.toasts.back(), "Deleted \"crate.obj\"");
    frame();
}

TEST_F(AssetLibraryPanelTest, ACellDraggedOntoTheSceneBecomesABlockWhereItIsReleased) {
    std::string error;
    ASSERT_FALSE(panel.getCatalog(Type::Model)
                     .importLocalAsset({file("crate.obj", test::bytesForName("crate.obj")), "", "", false}, error)
                     .empty());
    panel.selectTabs(Type::Model, Source::Local);
    frame();
    // Press on the first cell (below the tabs and the action row), move out over the scene, let go.
    imgui.moveMouse(40, 150);
    frame();
    imgui.setMouseButton(0, true);
    frame();
    for (float x = 60; x <= 600; x += 60) {
        imgui.moveMouse(x, 200);
        frame();
    }
    EXPECT_TRUE(panel.isDragging());
    imgui.setMouseButton(0, false);
    frame();
    EXPECT_FALSE(panel.isDragging());
    ASSERT_EQ(host.created, std::vector<std::string>{"Model"});
    const pugi::xml_node model = host.document.select_node("//Model").node();
    EXPECT_STREQ(model.attribute("fileName").value(), "local:crate.obj");
    EXPECT_STREQ(model.attribute("x").value(), "6");

    // Released over a panel instead: nothing is made.
    imgui.moveMouse(40, 150);
    frame();
    imgui.setMouseButton(0, true);
    frame();
    imgui.moveMouse(100, 300);
    frame();
    imgui.moveMouse(200, 300);
    frame();
    imgui.setMouseButton(0, false);
    frame();
    EXPECT_EQ(host.created.size(), 1u);
}

// A drag from a cell to a drop place of another window (as the block tree and the attribute panel
// mark theirs), released there.
class AssetLibraryDropPlaceTest : public AssetLibraryPanelTest {
protected:
    void frameWithPlace(int xmlId, const std::string& field) {
        frame([&] {
            ImGui::SetNextWindowPos(ImVec2(420, 0));
            ImGui::SetNextWindowSize(ImVec2(300, 300));
            ImGui::Begin("Tree##test");
            ImGui::Button("crate", ImVec2(200, 100));
            if (AssetDrop::targetLastItem(xmlId, field, "crate"))
                ++drops;
            ImGui::End();
        });
    }
    void dragFirstCellOnto(int xmlId, const std::string& field) {
        imgui.moveMouse(40, 150);
        frameWithPlace(xmlId, field);
        imgui.setMouseButton(0, true);
        frameWithPlace(xmlId, field);
        for (float x = 60; x <= 520; x += 40) {
            imgui.moveMouse(x, 60);
            frameWithPlace(xmlId, field);
        }
        imgui.setMouseButton(0, false);
        frameWithPlace(xmlId, field);
        frameWithPlace(xmlId, field);
    }
    int drops = 0;
};

TEST_F(AssetLibraryDropPlaceTest, ACellReleasedOnAPlaceIsAppliedOrRefusedWithAReason) {
    host.sceneLeft = 2000;  // the whole window is panels: no scene drop may happen
    std::string error;
    ASSERT_FALSE(panel.getCatalog(Type::Texture)
                     .importLocalAsset({file("bark.png", test::bytesForName("bark.png")), "", "", false}, error)
                     .empty());
    ASSERT_FALSE(panel.getCatalog(Type::Sound)
                     .importLocalAsset({file("boing.wav", test::wavHeader()), "", "", false}, error)
                     .empty());
    panel.selectTabs(Type::Texture, Source::Local);
    frameWithPlace(1, "");
    dragFirstCellOnto(1, "");
    EXPECT_EQ(drops, 1);
    EXPECT_STREQ(host.getXmlNodeById(1).attribute("texture").value(), "material1");
    EXPECT_EQ(host.document.select_nodes("//Material[@picture='local:bark.png']").size(), 1u);
    EXPECT_EQ(host.undoSteps, 1);
    EXPECT_FALSE(panel.isDragging());

    // A sound has no place on a box: told, nothing changes.
    panel.selectTabs(Type::Sound, Source::Local);
    frameWithPlace(1, "");
    dragFirstCellOnto(1, "");
    EXPECT_EQ(drops, 2);
    EXPECT_EQ(host.toasts.back(), "\"crate\" (Box) has no place for a sound.");
    EXPECT_EQ(panel.getLastMessage(), host.toasts.back());
    EXPECT_EQ(host.undoSteps, 1);
    EXPECT_TRUE(host.created.size() == 1u);  // the one material; no LoadSound either
}

TEST_F(AssetLibraryPanelTest, ExportSavesACopyWhereThePersonSays) {
    std::string error;
    const std::string picture = test::pngHeader(3, 3) + "pixels";
    ASSERT_FALSE(
        panel.getCatalog(Type::Texture).importLocalAsset({file("bark.png", picture), "", "", false}, error).empty());
    const fs::path out = root.path() / "out";
    fs::create_directories(out);
    auto read = [](const fs::path& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    };

    // A folder takes the file under its own name; a pasted address and quotes are fine.
    panel.exportAsset(Type::Texture, "bark.png", Source::Local, out.string());
    EXPECT_EQ(read(out / "bark.png"), picture);
    EXPECT_EQ(host.toasts.back(), "Exported \"bark.png\" to " + (out / "bark.png").string());
    panel.exportAsset(Type::Texture, "bark.png", Source::Local, "'file://" + (out / "copy.png").string() + "'");
    EXPECT_EQ(read(out / "copy.png"), picture);
    // Over an existing file: replaced, and no temporary file stays beside it.
    std::ofstream(out / "old.png") << "old";
    panel.exportAsset(Type::Texture, "bark.png", Source::Local, (out / "old.png").string());
    EXPECT_EQ(read(out / "old.png"), picture);
    EXPECT_EQ(std::distance(fs::directory_iterator(out), fs::directory_iterator()), 3);

    // Nowhere to go, or nothing to copy: one message and no file.
    panel.exportAsset(Type::Texture, "bark.png", Source::Local, (root.path() / "missing" / "x.png").string());
    EXPECT_EQ(host.errors.back(), "Export failed: The folder \"" + (root.path() / "missing").string() + "\" does not exist.");
    EXPECT_FALSE(fs::exists(root.path() / "missing"));
    panel.exportAsset(Type::Texture, "gone.png", Source::Local, out.string());
    EXPECT_EQ(host.errors.back(), "Export failed: could not read \"gone.png\" from your local assets.");
    EXPECT_FALSE(fs::exists(out / "gone.png"));
    panel.exportAsset(Type::Texture, "bark.png", Source::Local, "  ");
    EXPECT_EQ(host.errors.back(), "Export failed: Type where the file should go.");
    EXPECT_EQ(panel.busyCount(), 0);

    // A name in an existing folder is the file itself.
    EXPECT_EQ(AssetLibraryPanel::exportTargetFor("bark.png", (out / "new.png").string(), error), (out / "new.png").string());
}

} // namespace
} // namespace Lumenda3D
