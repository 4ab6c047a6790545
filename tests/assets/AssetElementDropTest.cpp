// Drops from the asset library onto a block of the tree or a field of the attribute panel: which
// attribute takes the asset and in what form, what is refused and why, one undo step per drop.
#include "assets/AssetElementDrop.h"

#include <sstream>

#include <gtest/gtest.h>

#include "FakeAssetHost.h"

namespace Lumenda3D {
namespace {

using Kind = AssetSceneDrop::Kind;

const char* kGame = R"(<Game>
  <Material name="wood" picture="local:wood.png" id="9"/>
  <LoadSound name="jump" fileName="jump.wav" id="8"/>
  <Level name="main">
    <Box name="crate" id="1"/>
    <Model name="robot" fileName="robot.glb" id="2"><Box name="arm" id="3"/><Sphere name="head" id="4"/></Model>
    <Image2D name="logo" id="5"/>
  </Level>
</Game>)";

class AssetElementDropTest : public ::testing::Test {
protected:
    AssetElementDropTest() : host(kGame), scene(&host), drop(scene) {}
    std::string attr(int id, const char* name) { return host.getXmlNodeById(id).attribute(name).value(); }
    size_t count(const char* xpath) { return host.document.select_nodes(xpath).size(); }
    std::string text() {
        std::ostringstream out;
        host.document.save(out);
        return out.str();
    }

    test::FakeAssetHost host;
    AssetSceneDrop scene;
    AssetElementDrop drop;
    const AssetSceneDrop::Dragged bark{Kind::Texture, "bark.png", "local:bark.png"};
    const AssetSceneDrop::Dragged tank{Kind::Model, "tank.obj", "local:tank.obj"};
    const AssetSceneDrop::Dragged boing{Kind::Sound, "boing.wav", "local:boing.wav"};
    const AssetSceneDrop::Dragged wood{Kind::Material, "wood", "wood"};
};

TEST_F(AssetElementDropTest, EachFieldTakesTheAssetInItsOwnForm) {
    // A material field: the texture's Material, made once and then found by its picture.
    EXPECT_EQ(drop.apply(bark, 1, "texture"), "");
    EXPECT_EQ(attr(1, "texture"), "material1");
    EXPECT_EQ(drop.apply(bark, 5, "picture"), "");
    EXPECT_EQ(attr(5, "picture"), "local:bark.png");  // a picture field: the texture itself
    EXPECT_EQ(drop.apply(bark, 3, "texture"), "");
    EXPECT_EQ(attr(3, "texture"), "material1");
    EXPECT_EQ(count("//Material"), 2u);
    // A field of one part leaves the rest of the model alone.
    EXPECT_EQ(attr(4, "texture"), "");
    EXPECT_EQ(attr(2, "texture"), "");

    EXPECT_EQ(drop.apply(wood, 2, "texture"), "");
    EXPECT_EQ(attr(2, "texture"), "wood");
    EXPECT_EQ(drop.apply(tank, 2, "fileName"), "");
    EXPECT_EQ(attr(2, "fileName"), "local:tank.obj");
    EXPECT_EQ(drop.apply(boing, 8, "fileName"), "");
    EXPECT_EQ(attr(8, "fileName"), "local:boing.wav");
    // Each applied drop, material and all, is one undo step.
    EXPECT_EQ(host.undoSteps, 6);
    EXPECT_EQ(host.groupDepth, 0);
}

TEST_F(AssetElementDropTest, AFieldThatTakesOtherThingsRefusesAndLeavesTheDocument) {
    const std::string before = text();
    struct Case {
        AssetSceneDrop::Dragged asset;
        int id;
        const char* field;
        const char* refusal;
    };
    const Case cases[] = {
        {bark, 2, "fileName", "\"fileName\" does not take a texture."},
        {tank, 1, "texture", "\"texture\" does not take a model."},
        {boing, 2, "fileName", "\"fileName\" does not take a sound."},  // a model's file is no sound
        {wood, 5, "picture", "\"picture\" does not take a material."},
        {bark, 1, "name", "\"name\" does not take a texture."},
        {bark, 77, "texture", "The block is gone."},
    };
    for (const Case& c : cases) {
        EXPECT_FALSE(drop.plan(c.asset, c.id, c.field).fits) << c.field;
        EXPECT_EQ(drop.apply(c.asset, c.id, c.field), c.refusal);
    }
    EXPECT_EQ(text(), before);
    EXPECT_EQ(host.undoSteps, 0);
}

TEST_F(AssetElementDropTest, ABlockTakesTheAssetThroughItsFirstFittingAttribute) {
    // An object: its material, with the whole model chosen also the model's parts.
    AssetElementDrop::Plan plan = drop.plan(bark, 2, "");
    EXPECT_TRUE(plan.fits);
    EXPECT_EQ(plan.attribute, "texture");
    EXPECT_EQ(plan.text, "Apply to: robot");
    EXPECT_EQ(drop.apply(bark, 2, ""), "");
    EXPECT_EQ(attr(2, "texture"), "material1");
    EXPECT_EQ(attr(3, "texture"), "material1");
    EXPECT_EQ(attr(4, "texture"), "material1");
    EXPECT_EQ(host.undoSteps, 1);
    // With only the part chosen, the other parts keep theirs.
    scene.setApplyToWholeModel(false);
    EXPECT_EQ(drop.apply(wood, 2, ""), "");
    EXPECT_EQ(attr(2, "texture"), "wood");
    EXPECT_EQ(attr(3, "texture"), "material1");

    // A 2D picture, a Material's picture, a Model's file, a sound's file.
    EXPECT_EQ(drop.apply(bark, 5, ""), "");
    EXPECT_EQ(attr(5, "picture"), "local:bark.png");
    EXPECT_EQ(drop.apply(bark, 9, ""), "");
    EXPECT_EQ(attr(9, "picture"), "local:bark.png");
    EXPECT_EQ(drop.plan(tank, 2, "").text, "fileName: tank.obj");
    EXPECT_EQ(drop.apply(tank, 2, ""), "");
    EXPECT_EQ(attr(2, "fileName"), "local:tank.obj");
    EXPECT_EQ(drop.apply(boing, 8, ""), "");
    EXPECT_EQ(attr(8, "fileName"), "local:boing.wav");
    EXPECT_EQ(count("//Material"), 2u);

    // Blocks with no place for the asset.
    EXPECT_EQ(drop.apply(boing, 1, ""), "\"crate\" (Box) has no place for a sound.");
    EXPECT_EQ(drop.apply(tank, 5, ""), "\"logo\" (Image2D) has no place for a model.");
    EXPECT_EQ(drop.apply(wood, 9, ""), "\"wood\" (Material) has no place for a material.");
    EXPECT_EQ(attr(1, "texture"), "");
}

} // namespace
} // namespace Lumenda3D
