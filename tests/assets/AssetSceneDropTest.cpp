// Drops from the asset library onto the scene: what is made, what is reused, what is left alone.
#include "assets/AssetSceneDrop.h"

#include <gtest/gtest.h>

#include "FakeAssetHost.h"

namespace Lumenda3D {
namespace {

const char* kScene = R"(<Game>
  <Level name="main">
    <Box name="crate" id="1"/>
    <Model name="robot" fileName="robot.glb" id="2"><Box name="arm" id="3"/><Sphere name="head" id="4"/></Model>
    <Text name="title" id="5"/>
  </Level>
</Game>)";

class AssetSceneDropTest : public ::testing::Test {
protected:
    AssetSceneDropTest() : host(kScene), drop(&host) {
        host.sceneColumns = {{500, 1}, {600, 3}, {700, 5}};
        host.wholeModels = {{3, 2}, {4, 2}};
    }
    size_t count(const char* xpath) { return host.document.select_nodes(xpath).size(); }
    std::string textureOf(int id) { return host.getXmlNodeById(id).attribute("texture").value(); }

    test::FakeAssetHost host;
    AssetSceneDrop drop;
    const AssetSceneDrop::Dragged bark{AssetSceneDrop::Kind::Texture, "bark.png", "local:bark.png"};
};

TEST_F(AssetSceneDropTest, ATextureOnNothingDoesNothingAndTwoDropsShareOneMaterial) {
    EXPECT_EQ(drop.dropAssetIntoScene(bark, ImVec2(450, 300)), -1);
    EXPECT_EQ(count("//Material"), 0u);
    EXPECT_TRUE(host.created.empty());
    // Onto an object whose command has no texture: no target either.
    EXPECT_EQ(drop.dropAssetIntoScene(bark, ImVec2(700, 300)), -1);
    EXPECT_EQ(count("//Material"), 0u);

    EXPECT_EQ(drop.dropAssetIntoScene(bark, ImVec2(500.7f, 300)), 1);
    ASSERT_EQ(count("//Material"), 1u);
    const pugi::xml_node material = host.document.select_node("//Material").node();
    EXPECT_STREQ(material.attribute("picture").value(), "local:bark.png");
    EXPECT_EQ(textureOf(1), material.attribute("name").value());

    drop.setApplyToWholeModel(false);
    EXPECT_EQ(drop.dropAssetIntoScene(bark, ImVec2(600, 300)), 3);
    EXPECT_EQ(count("//Material"), 1u);  // found again by its picture
    EXPECT_EQ(textureOf(3), material.attribute("name").value());
    EXPECT_EQ(textureOf(4), "");  // only the part under the pointer
    EXPECT_TRUE(host.boxes.empty());  // the highlight goes with the drag
}

TEST_F(AssetSceneDropTest, TheWholeModelGetsTheMaterialOnEveryPartThatTakesOne) {
    drop.setApplyToWholeModel(true);
    drop.updateTextureDropTarget(ImVec2(600, 10));
    EXPECT_EQ(drop.getTargetXmlId(), 2);
    EXPECT_EQ(drop.getTargetName(), "robot");
    EXPECT_EQ(drop.dropAssetIntoScene(bark, ImVec2(600, 10)), 2);
    const std::string name = host.document.select_node("//Material").node().attribute("name").value();
    EXPECT_EQ(textureOf(2), name);
    EXPECT_EQ(textureOf(3), name);
    EXPECT_EQ(textureOf(4), name);
    // Document first, then the running game, one update per part.
    EXPECT_EQ(host.liveUpdates.size(), 3u);
}

TEST_F(AssetSceneDropTest, OnlyTheLastTargetOfADragKeepsItsBoundingBox) {
    drop.setApplyToWholeModel(false);
    drop.updateTextureDropTarget(ImVec2(500, 0));
    EXPECT_EQ(host.boxes, std::set<int>{1});
    drop.updateTextureDropTarget(ImVec2(600, 0));
    EXPECT_EQ(host.boxes, std::set<int>{3});
    drop.updateTextureDropTarget(ImVec2(700, 0));  // no texture there
    EXPECT_TRUE(host.boxes.empty());
    EXPECT_EQ(drop.getTargetName(), "");
}

TEST_F(AssetSceneDropTest, ModelsLandWhereDroppedAndSoundsAreLoadedOnce) {
    const AssetSceneDrop::Dragged ship{AssetSceneDrop::Kind::Model, "ship.glb", "local:ship.glb"};
    const int id = drop.dropAssetIntoScene(ship, ImVec2(250, 125));
    ASSERT_GT(id, 0);
    const pugi::xml_node model = host.getXmlNodeById(id);
    EXPECT_STREQ(model.name(), "Model");
    EXPECT_STREQ(model.attribute("fileName").value(), "local:ship.glb");
    EXPECT_STREQ(model.attribute("x").value(), "2.5");
    EXPECT_STREQ(model.attribute("z").value(), "1.25");
    // The file is sent once more so that the engine fits the freshly read model's scale.
    EXPECT_EQ(host.liveUpdates.back(), std::to_string(id) + " fileName=local:ship.glb");

    const AssetSceneDrop::Dragged boing{AssetSceneDrop::Kind::Sound, "boing.wav", "local:boing.wav"};
    const int first = drop.dropAssetIntoScene(boing, ImVec2(500, 0));
    EXPECT_EQ(drop.dropAssetIntoScene(boing, ImVec2(600, 0)), first);
    ASSERT_EQ(count("//LoadSound"), 1u);
    EXPECT_STREQ(host.document.select_node("//LoadSound").node().attribute("name").value(), "sound1");
}

TEST_F(AssetSceneDropTest, AMaterialDraggedFromTheGameIsPutOnAsItIs) {
    const AssetSceneDrop::Dragged wood{AssetSceneDrop::Kind::Material, "wood", "wood"};
    EXPECT_EQ(drop.dropAssetIntoScene(wood, ImVec2(500, 0)), 1);
    EXPECT_EQ(textureOf(1), "wood");
    EXPECT_EQ(count("//Material"), 0u);
}

} // namespace
} // namespace Lumenda3D
