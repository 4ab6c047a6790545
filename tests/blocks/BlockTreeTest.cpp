// The block tree as a mirror of the document: building, rebuilding after reloads and undo (what
// stays open and selected), in-place updates, ids, colours, the cut of long values, and the one
// move operation with its index rules.
#include "blocks/BlocksTestSupport.h"

#include "blocks/BlockLayout.h"

#include <gtest/gtest.h>

using namespace Lumenda3D;
using Lumenda3D::test::BlocksScene;

namespace {

const char* kGame = R"(<KiteBench3D>
  <Level name="one" guidId="L1">
    <Box name="a" guidId="A"/>
    <Group name="g" guidId="G" isCollapse="true">
      <Sphere name="inner" guidId="S"/>
    </Group>
  </Level>
  <Level name="two"><Box name="b"/></Level>
  <Gizmotron wobble="3"/>
</KiteBench3D>)";

std::vector<std::string> childNames(const Block& block) {
    std::vector<std::string> names;
    for (const auto& child : block.getChilds())
        names.push_back(child->getName());
    return names;
}

TEST(BlockTreeTest, MirrorsTheDocumentAndRegistersEveryElementById) {
    BlocksScene scene(kGame);
    std::shared_ptr<Block> root = scene.workflow->getRootBlock();
    ASSERT_TRUE(root);
    EXPECT_TRUE(root->isMainBlock());
    EXPECT_EQ(childNames(*root), (std::vector<std::string>{"Level", "Level", "Gizmotron"}));
    // Every element is found by its id, and the block holds that very element.
    int count = 0;
    std::function<void(pugi::xml_node)> check = [&](pugi::xml_node node) {
        std::shared_ptr<Block> block = Block::getBlockById(node.attribute("id").as_int(-1));
        EXPECT_TRUE(block && block->getXmlNode() == node) << node.name();
        ++count;
        for (pugi::xml_node child : node.children())
            check(child);
    };
    for (pugi::xml_node child : scene.document.root().children())
        check(child);
    EXPECT_EQ(count, 7);
    // An element the schema does not know is a plain grey block like any other.
    std::shared_ptr<Block> unknown = scene.blockNamed("Gizmotron");
    ASSERT_TRUE(unknown);
    EXPECT_FLOAT_EQ(unknown->getColor().x, 0.7f);
    EXPECT_TRUE(unknown->getImage().empty());
    // The closed group keeps its child out of the layout.
    std::shared_ptr<Block> group = scene.blockNamed("Group");
    EXPECT_TRUE(group->isCollapsed());
    EXPECT_TRUE(group->layout.shown.empty());
}

TEST(BlockTreeTest, ReloadKeepsSelectionAndMemoryOnlyOpeningByIdentity) {
    BlocksScene scene(kGame);
    std::shared_ptr<Block> inner = scene.blockNamed("Sphere");
    ASSERT_TRUE(scene.workflow->revealBlock(inner->getXmlId(), true));
    EXPECT_FALSE(scene.blockNamed("Group")->isCollapsed()) << "revealing opens the ancestors";
    scene.frame();

    // An agent's edit reloads the whole document: every handle and id changes.
    std::string text = scene.text();
    text.replace(text.find("name=\"a\""), 8, "name=\"renamed\"");
    const int oldId = inner->getXmlId();
    ASSERT_TRUE(scene.document.setXmlSourceString(text));
    scene.frame();

    std::shared_ptr<Block> innerAgain = scene.blockNamed("Sphere");
    ASSERT_TRUE(innerAgain);
    EXPECT_NE(innerAgain.get(), inner.get());
    EXPECT_NE(innerAgain->getXmlId(), oldId);
    EXPECT_EQ(Block::selectedBlock, innerAgain);
    EXPECT_FALSE(scene.blockNamed("Group")->isCollapsed());
    EXPECT_EQ(scene.document.root().child("Level").child("Group").attribute("isCollapse").as_string(), std::string("true"))
        << "opening in memory writes nothing";

    // Without a guidId the place in the tree identifies the block.
    std::shared_ptr<Block> box = Block::getBlockById(scene.document.root().child("Level").next_sibling("Level").child("Box").attribute("id").as_int());
    box->selectBlock();
    scene.frame();
    ASSERT_TRUE(scene.document.setXmlSourceString(scene.text()));
    scene.frame();
    ASSERT_TRUE(Block::selectedBlock);
    EXPECT_EQ(Block::selectedBlock->getXmlNode().attribute("name").as_string(), std::string("b"));
}

TEST(BlockTreeTest, SelectionOfAnElementThatIsGoneIsDropped) {
    BlocksScene scene(kGame);
    scene.blockNamed("Gizmotron")->selectBlock();
    scene.frame();
    std::string text = scene.text();
    text.erase(text.find("<Gizmotron"), std::string("<Gizmotron wobble=\"3\" />").size());
    ASSERT_TRUE(scene.document.setXmlSourceString(text)) << text;
    scene.frame();
    EXPECT_FALSE(Block::selectedBlock);
    EXPECT_FALSE(scene.blockNamed("Gizmotron"));
}

TEST(BlockTreeTest, StructureEditsUpdateInPlaceAndUndoRebuildsWithFreshIds) {
    BlocksScene scene(kGame);
    std::shared_ptr<Block> level = scene.blockNamed("Level");
    std::shared_ptr<Block> box = scene.blockNamed("Box");
    const pugi::xml_node node = scene.files.createElement(level->getXmlNode(), "Cone", {{"name", "c"}});
    ASSERT_TRUE(node);
    // The tree follows the document service: the new block is there, the others are the same.
    EXPECT_EQ(scene.blockNamed("Level"), level);
    EXPECT_EQ(scene.blockNamed("Box"), box);
    EXPECT_EQ(childNames(*level), (std::vector<std::string>{"Box", "Group", "Cone"}));
    ASSERT_TRUE(scene.block(node.attribute("id").as_int()));

    scene.files.undo();
    scene.frame();
    EXPECT_EQ(childNames(*scene.blockNamed("Level")), (std::vector<std::string>{"Box", "Group"}));
    // After the reload every block answers to the id its element has now, the root too.
    std::shared_ptr<Block> root = scene.workflow->getRootBlock();
    EXPECT_EQ(Block::getBlockById(scene.document.root().attribute("id").as_int()), root);
    for (const auto& child : scene.blockNamed("Level")->getChilds())
        EXPECT_EQ(child->getXmlId(), child->getXmlNode().attribute("id").as_int(-2));
    scene.files.redo();
    scene.frame();
    EXPECT_EQ(childNames(*scene.blockNamed("Level")), (std::vector<std::string>{"Box", "Group", "Cone"}));
}

TEST(BlockTreeTest, ColoursFollowTheNameRulesThenTheCategory) {
    Block::setCategoryColors({{"Box", ImVec4(0.1f, 0.2f, 0.3f, 1.0f)}});
    EXPECT_FLOAT_EQ(Block::getBlockColor("EndIf").y, 1.0f);     // contains "If"
    EXPECT_FLOAT_EQ(Block::getBlockColor("Endif").x, 0.7f);     // case matters
    EXPECT_FLOAT_EQ(Block::getBlockColor("SetValue").x, 0.7f);  // "Set" only exactly
    EXPECT_FLOAT_EQ(Block::getBlockColor("Set").x, 1.0f);
    EXPECT_FLOAT_EQ(Block::getBlockColor("Loop").y, 1.0f);
    EXPECT_FLOAT_EQ(Block::getBlockColor("MyComment").y, 0.6f);
    EXPECT_FLOAT_EQ(Block::getBlockColor("Box").z, 0.3f);
    EXPECT_FLOAT_EQ(Block::getBlockColor("B").x, 0.7f);
    Block::setCategoryColors({});
}

TEST(BlockTreeTest, LongValuesAreCutAtFiftyBytesOnACharacterBoundary) {
    bool cut = true;
    EXPECT_EQ(BlockLayout::shownValue(std::string(50, 'x').c_str(), &cut), std::string(50, 'x'));
    EXPECT_FALSE(cut);
    EXPECT_EQ(BlockLayout::shownValue(std::string(51, 'x').c_str(), &cut), std::string(50, 'x') + "...");
    EXPECT_TRUE(cut);
    // A two-byte character across the cut is not split.
    const std::string text = std::string(49, 'x') + "\xC3\xA9" + "yy";
    EXPECT_EQ(BlockLayout::shownValue(text.c_str()), std::string(49, 'x') + "...");
}

TEST(BlockTreeTest, AddChildBlockMovesWithTheIndexRules) {
    BlocksScene scene(R"(<KiteBench3D><Level name="l"><Box name="a"/><Box name="b"/><Box name="c"/><Box name="d"/></Level><Level name="m"/></KiteBench3D>)");
    std::shared_ptr<Block> level = scene.blockNamed("Level");
    auto names = [&] {
        std::string out;
        for (pugi::xml_node n : level->getXmlNode().children())
            out += n.attribute("name").as_string();
        return out;
    };
    std::shared_ptr<Block> b = level->getChilds()[1];
    // From index 1 to index 3 among four: index 2 of the three that remain.
    ASSERT_TRUE(level->addChildBlock(b, 3, false));
    EXPECT_EQ(names(), "acbd");
    EXPECT_EQ(level->getChilds()[2], b);
    // The child count appends; one more is refused.
    EXPECT_TRUE(level->addChildBlock(level->getChilds()[0], 4, false));
    EXPECT_EQ(names(), "cbda");
    EXPECT_FALSE(level->addChildBlock(level->getChilds()[0], 5, false));
    EXPECT_FALSE(level->addChildBlock(level->getChilds()[0], -1, false));
    // A block cannot go into itself or its descendants.
    std::shared_ptr<Block> other = scene.workflow->getRootBlock()->getChilds()[1];
    EXPECT_FALSE(b->addChildBlock(level, 0, false));
    EXPECT_FALSE(level->addChildBlock(level, 0, false));
    EXPECT_EQ(names(), "cbda");
    // Into another parent, through the document service: one undo step.
    ASSERT_TRUE(other->addChildBlock(b, 0, false));
    EXPECT_EQ(names(), "cda");
    EXPECT_EQ(other->getXmlNode().first_child().attribute("name").as_string(), std::string("b"));
    scene.files.undo();
    scene.frame();
    EXPECT_EQ(scene.blockNamed("Level")->getChilds().size(), 4u);
}

} // namespace
