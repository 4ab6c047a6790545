// The block operations that are not drags, on a real document with undo: duplicate with its
// offsets, the gizmo's copy with a repeat count, add, and delete with the game's reload.
#include "blocks/BlocksTestSupport.h"

#include "engine/scene/ScriptParser.h"

#include <gtest/gtest.h>

using namespace Lumenda3D;
using Lumenda3D::test::BlocksScene;

namespace {

using Lumenda3D::test::schemaParser;

const char* kGame = R"(<KiteBench3D>
  <Level name="one"><Box name="crate" x="1" y="2" z="3"/><Comment text="hi"/></Level>
  <Level name="two"/>
</KiteBench3D>)";

class BlocksHelperTest : public ::testing::Test {
protected:
    BlocksHelperTest() {
        scene.helper->setScriptParser(test::sharedSchemaParser());
        scene.helper->setRunPartialSourceCallback([this](pugi::xml_node& node, pugi::xml_node&) { built.push_back(node.name()); });
    }
    pugi::xml_node levelOne() const { return scene.document.root().child("Level"); }

    BlocksScene scene{kGame};
    std::vector<std::string> built;
};

TEST_F(BlocksHelperTest, DuplicateOffsetsByKindAndDirection) {
    scene.helper->setGetModelBoxCallback([](int, BlocksHelper::ModelBox& box) {
        box.boxMin = Ogre::Vector3(-1, -1, -1);
        box.boxMax = Ogre::Vector3(1, 1, 1);
        box.scale = Ogre::Vector3(3, 3, 3);
        return true;
    });
    // A 3D object with a box 2 high and scale 3 goes 6 up.
    scene.helper->onBlockDuplicate(scene.blockNamed("Box"), "Up");
    pugi::xml_node copy = levelOne().child("Box").next_sibling();
    ASSERT_STREQ(copy.name(), "Box");
    EXPECT_FLOAT_EQ(copy.attribute("y").as_float(), 8.0f);
    EXPECT_FLOAT_EQ(copy.attribute("x").as_float(), 1.0f);
    EXPECT_EQ(built, std::vector<std::string>{"Box"});
    // A logic block moves by 50 to the right; "Forward" leaves it where it is.
    scene.helper->onBlockDuplicate(scene.blockNamed("Comment"), "Right");
    EXPECT_FLOAT_EQ(levelOne().last_child().attribute("x").as_float(), 50.0f);
    scene.helper->onBlockDuplicate(scene.blockNamed("Comment"), "Forward");
    EXPECT_FLOAT_EQ(levelOne().child("Comment").next_sibling().attribute("z").as_float(), 0.0f);
    // The top element has nowhere to go.
    const std::string before = scene.text();
    scene.helper->onBlockDuplicate(scene.workflow->getRootBlock(), "Same");
    EXPECT_EQ(scene.text(), before);
    // Each duplicate is one undo step.
    scene.files.undo();
    scene.files.undo();
    scene.files.undo();
    scene.frame();
    EXPECT_EQ(std::distance(levelOne().children().begin(), levelOne().children().end()), 2);
}

TEST_F(BlocksHelperTest, GizmoCopyMakesCountCopiesAlongTheObjectAsOneStep) {
    scene.helper->setGetModelBoxCallback([](int, BlocksHelper::ModelBox& box) {
        box.boxMin = Ogre::Vector3(-1, -0.5f, -0.5f);
        box.boxMax = Ogre::Vector3(1, 0.5f, 0.5f);
        box.position = Ogre::Vector3(1, 2, 3);
        box.scale = Ogre::Vector3(3, 1, 1);
        return true;
    });
    std::vector<int> selected;
    auto saved = Block::onSelected;
    Block::onSelected = [&selected](int id) { selected.push_back(id); };
    scene.helper->onBlockCopy(scene.blockNamed("Box"), Ogre::Vector3(1, 0, 0), 3);
    Block::onSelected = saved;
    std::vector<float> xs;
    for (pugi::xml_node box : levelOne().children("Box"))
        xs.push_back(box.attribute("x").as_float());
    EXPECT_EQ(xs, (std::vector<float>{1.0f, 7.0f, 13.0f, 19.0f}));
    ASSERT_EQ(selected.size(), 1u) << "only the last copy is selected";
    EXPECT_EQ(selected[0], levelOne().children("Box").begin()->next_sibling().next_sibling().next_sibling().attribute("id").as_int());
    scene.files.undo();
    scene.frame();
    EXPECT_EQ(std::distance(levelOne().children("Box").begin(), levelOne().children("Box").end()), 1);
    // Without a live model the copy is a duplicate in place, once.
    scene.helper->setGetModelBoxCallback(nullptr);
    scene.helper->onBlockCopy(scene.blockNamed("Box"), Ogre::Vector3(1, 0, 0), 3);
    EXPECT_EQ(std::distance(levelOne().children("Box").begin(), levelOne().children("Box").end()), 2);
    EXPECT_FLOAT_EQ(levelOne().child("Box").next_sibling().attribute("x").as_float(), 1.0f);
}

TEST_F(BlocksHelperTest, AddWithoutABlockGoesUnderTheRootAtTheSceneCentre) {
    scene.helper->setGetSceneCenterScreenPosCallback([] { return ImVec2(640, 400); });
    scene.helper->setConvert2DTo3DCallback([](ImVec2 p) { return Ogre::Vector3(p.x / 100, 0, p.y / 100); });
    scene.helper->onBlockAdd(nullptr, schemaParser().getCodeSchema()->getCommand("Sphere"));
    pugi::xml_node sphere = scene.document.root().last_child();
    ASSERT_STREQ(sphere.name(), "Sphere");
    EXPECT_FLOAT_EQ(sphere.attribute("x").as_float(), 6.4f);
    EXPECT_TRUE(scene.block(sphere.attribute("id").as_int()));
    // Inside a block that gives no free position, the defaults stand.
    scene.helper->onBlockAdd(scene.blockNamed("Box"), schemaParser().getCodeSchema()->getCommand("Sphere"));
    EXPECT_STRNE(levelOne().child("Box").child("Sphere").attribute("x").value(), "6.4");
    // Without a parent there is nothing to add to.
    std::string message;
    scene.helper->setShowErrorCallback([&message](const std::string& text) { message = text; });
    scene.helper->addObject(schemaParser().getCodeSchema()->getCommand("Sphere"), ImVec2(), false);
    EXPECT_TRUE(message.empty());
}

TEST_F(BlocksHelperTest, DeleteReloadsTheGameOnItsLevelAndUndoBringsItBack) {
    std::vector<std::string> levels;
    scene.helper->setGetCurLevelCallback([] { return std::string("two"); });
    scene.helper->setSetLevelCallback([&levels](const std::string& level) { levels.push_back(level); });
    bool stopped = false;
    scene.helper->setStopRenderingCallback([&stopped](bool stop) { stopped = stop; });
    std::shared_ptr<Block> box = scene.blockNamed("Box");
    box->selectBlock();
    scene.helper->onBlockDelete(box);
    EXPECT_FALSE(levelOne().child("Box"));
    EXPECT_FALSE(scene.blockNamed("Box"));
    EXPECT_FALSE(Block::selectedBlock);
    EXPECT_EQ(levels, std::vector<std::string>{"two"});
    EXPECT_FALSE(stopped);
    scene.files.update();
    scene.files.undo();
    scene.frame();
    ASSERT_TRUE(levelOne().child("Box"));
    EXPECT_TRUE(scene.blockNamed("Box"));
    // An empty node is reported.
    std::string message;
    scene.helper->setShowErrorCallback([&message](const std::string& text) { message = text; });
    scene.helper->deleteObject(pugi::xml_node());
    EXPECT_EQ(message, "No node found");
    scene.helper->deleteObject(scene.document.root());
    EXPECT_EQ(message, "No parent node found");
}

} // namespace
