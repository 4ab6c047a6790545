// The block tree driven with real input over frames (press, move, hold, release, keys): selection
// on the press, moving blocks by drag and drop with its refusals, folding, the keys of the tree,
// search and the filter for the assistant's changes, scrolling to a block, and operations on
// blocks whose element vanished in a reload.
#include "blocks/BlocksTestSupport.h"

#include <gtest/gtest.h>

using namespace Lumenda3D;
using Lumenda3D::test::BlocksScene;

namespace {

const char* kGame = R"(<KiteBench3D>
  <Level name="one">
    <Box name="a" guidId="ga"/>
    <Group name="g" isCollapse="true"><Sphere name="inner"/></Group>
  </Level>
  <Level name="two"><Box name="c"/></Level>
</KiteBench3D>)";

constexpr int kDelete = 127;

class WorkflowInputTest : public ::testing::Test {
protected:
    WorkflowInputTest() {
        ImGui::GetIO().KeyMap[ImGuiKey_Delete] = kDelete;
        ImGui::GetIO().KeyMap[ImGuiKey_Escape] = 27;
        savedOnSelected_ = Block::onSelected;
        Block::onSelected = [this](int id) { selections.push_back(id); };
    }
    ~WorkflowInputTest() override { Block::onSelected = savedOnSelected_; }

    void moveTo(ImVec2 p) {
        scene.ui.moveMouse(p.x, p.y);
        scene.frame();
    }
    void press(ImVec2 p) {
        moveTo(p);
        scene.ui.setMouseButton(0, true);
        scene.frame();
    }
    void release() {
        scene.ui.setMouseButton(0, false);
        scene.frame();
    }
    // Press on `from`, hold past the drag delay, move to `to` over a few frames, release.
    void drag(ImVec2 from, ImVec2 to) {
        press(from);
        scene.frames(15);  // 0.25 s at 60 frames a second
        for (int i = 1; i <= 4; ++i)
            moveTo(ImVec2(from.x + (to.x - from.x) * i / 4, from.y + (to.y - from.y) * i / 4));
        release();
    }
    void key(int k, bool ctrl = false, bool shift = false) {
        scene.ui.setCtrl(ctrl);
        scene.ui.setShift(shift);
        scene.ui.setKey(k, true);
        scene.frame();
        scene.ui.setKey(k, false);
        scene.frame();
        scene.ui.setCtrl(false);
        scene.ui.setShift(false);
    }
    // A point inside `parent` just below its last child: a drop there goes to its end.
    ImVec2 belowLastChild(const Block& parent) const {
        const ImVec2 o = scene.workflow->getTreeOrigin();
        return ImVec2(o.x + parent.layout.pos.x + parent.layout.size.x * 0.5f,
                      o.y + parent.layout.pos.y + parent.layout.size.y - 4.0f);
    }
    std::string levelNames(const char* level) const {
        std::string out;
        for (pugi::xml_node n : scene.document.root().find_child_by_attribute("Level", "name", level).children())
            out += std::string(n.attribute("name").as_string()) + " ";
        return out;
    }

    BlocksScene scene{kGame};
    std::vector<int> selections;

private:
    std::function<void(int)> savedOnSelected_;
};

TEST_F(WorkflowInputTest, APressSelectsAtOnceAndAQuickClickStartsNoDrag) {
    std::shared_ptr<Block> box = scene.blockNamed("Box");
    const std::string before = scene.text();
    press(scene.centreOf(*box));
    EXPECT_EQ(Block::selectedBlock, box) << "selected on the press, before the release";
    ASSERT_EQ(selections, std::vector<int>{box->getXmlId()});
    release();
    EXPECT_FALSE(scene.workflow->isDraggingBlock());
    EXPECT_EQ(scene.text(), before);
    // Pressing the selected block again tells nobody.
    press(scene.centreOf(*box));
    release();
    EXPECT_EQ(selections.size(), 1u);
}

TEST_F(WorkflowInputTest, DraggingABlockMovesItsElementAsOneUndoStep) {
    std::shared_ptr<Block> a = scene.blockNamed("Box");
    std::shared_ptr<Block> two = scene.workflow->getRootBlock()->getChilds()[1];
    drag(scene.centreOf(*a), belowLastChild(*two));
    EXPECT_EQ(levelNames("one"), "g ");
    EXPECT_EQ(levelNames("two"), "c a ");
    EXPECT_EQ(Block::getBlockById(a->getXmlId()), a) << "the moved block keeps its identity and id";
    EXPECT_EQ(a->getParent(), two);

    scene.files.undo();
    scene.frame();
    EXPECT_EQ(levelNames("one"), "a g ");
    EXPECT_EQ(levelNames("two"), "c ");
}

TEST_F(WorkflowInputTest, RefusedAndAbandonedDropsChangeNothing) {
    const std::string before = scene.text();
    std::shared_ptr<Block> one = scene.workflow->getRootBlock()->getChilds()[0];
    std::shared_ptr<Block> a = scene.blockNamed("Box");
    // Onto one of its own descendants.
    drag(ImVec2(scene.centreOf(*one).x, scene.workflow->getTreeOrigin().y + one->layout.pos.y + 10.0f),
         scene.centreOf(*a));
    EXPECT_EQ(scene.text(), before);
    // Released outside every target (over the 3D view).
    drag(scene.centreOf(*a), ImVec2(1000.0f, 400.0f));
    EXPECT_EQ(scene.text(), before);
    // Escape before the release.
    press(scene.centreOf(*a));
    scene.frames(15);
    moveTo(belowLastChild(*scene.workflow->getRootBlock()->getChilds()[1]));
    ASSERT_TRUE(scene.workflow->isDraggingBlock());
    scene.ui.setKey(27, true);
    scene.frame();
    scene.ui.setKey(27, false);
    EXPECT_FALSE(scene.workflow->isDraggingBlock());
    release();
    EXPECT_EQ(scene.text(), before);
    EXPECT_FALSE(scene.files.canUndo());
}

TEST_F(WorkflowInputTest, TheCollapseButtonFoldsThroughTheDocument) {
    std::shared_ptr<Block> group = scene.blockNamed("Group");
    ASSERT_TRUE(group->isCollapsed());
    const ImVec2 o = scene.workflow->getTreeOrigin();
    ImVec2 centre;
    float radius = 0;
    BlockLayout::collapseButton(ImVec2(o.x + group->layout.pos.x, o.y + group->layout.pos.y),
                                ImVec2(o.x + group->layout.pos.x + group->layout.size.x, 0), scene.workflow->getMetrics(),
                                centre, radius);
    press(centre);
    release();
    EXPECT_FALSE(group->isCollapsed());
    EXPECT_EQ(group->layout.shown.size(), 1u);
    EXPECT_STREQ(group->getXmlNode().attribute("isCollapse").value(), "false");
    EXPECT_NE(Block::selectedBlock, group) << "the button does not select";
    scene.files.undo();
    scene.frame();
    EXPECT_TRUE(scene.blockNamed("Group")->isCollapsed());
}

TEST_F(WorkflowInputTest, KeysDeleteDuplicateCopyAndPasteTheSelectedBlock) {
    std::shared_ptr<Block> a = scene.blockNamed("Box");
    press(scene.centreOf(*a));
    release();
    key(kDelete);
    EXPECT_EQ(levelNames("one"), "g ");
    EXPECT_FALSE(Block::selectedBlock);
    scene.files.undo();
    scene.frame();
    EXPECT_EQ(levelNames("one"), "a g ");

    a = scene.blockNamed("Box");
    press(scene.centreOf(*a));
    release();
    key('d', true);
    EXPECT_EQ(levelNames("one"), "a a g ");
    pugi::xml_node first = scene.document.root().child("Level").first_child();
    pugi::xml_node copy = first.next_sibling();
    EXPECT_NE(copy.attribute("id").as_int(), first.attribute("id").as_int());
    EXPECT_STRNE(copy.attribute("guidId").value(), "ga");
    EXPECT_TRUE(scene.block(copy.attribute("id").as_int()));
    scene.files.undo();
    scene.frame();
    EXPECT_EQ(levelNames("one"), "a g ");

    // Copy the box, select the other level's box, paste behind it.
    press(scene.centreOf(*scene.blockNamed("Box")));
    release();
    key('c', true);
    std::shared_ptr<Block> c = scene.workflow->getRootBlock()->getChilds()[1]->getChilds()[0];
    press(scene.centreOf(*c));
    release();
    key('v', true);
    EXPECT_EQ(levelNames("two"), "c a ");
    EXPECT_EQ(levelNames("one"), "a g ");
    ASSERT_TRUE(Block::selectedBlock);
    EXPECT_EQ(Block::selectedBlock->getXmlNode().attribute("name").as_string(), std::string("a"));
}

TEST_F(WorkflowInputTest, KeysTypedIntoTheSearchBarDoNotTouchBlocks) {
    press(scene.centreOf(*scene.blockNamed("Box")));
    release();
    const ImVec2 field = scene.workflow->getItemCenter("##WorkflowSearch");
    press(field);
    release();
    key(kDelete);
    EXPECT_EQ(levelNames("one"), "a g ");
}

TEST_F(WorkflowInputTest, SearchOpensClosedBlocksForItsHitsWithoutWriting) {
    std::shared_ptr<Block> group = scene.blockNamed("Group");
    scene.workflow->setSearchText("INNER");
    scene.frame();
    ASSERT_EQ(group->layout.shown.size(), 1u);
    EXPECT_EQ(group->layout.shown[0]->getName(), "Sphere");
    // Only the paths to a hit are shown: the box and the other level are not.
    std::shared_ptr<Block> one = scene.workflow->getRootBlock()->getChilds()[0];
    ASSERT_EQ(one->layout.shown.size(), 1u);
    EXPECT_EQ(scene.workflow->getRootBlock()->layout.shown.size(), 1u);
    EXPECT_STREQ(group->getXmlNode().attribute("isCollapse").value(), "true");
    // A hit on a block shows its whole subtree; attribute values count.
    scene.workflow->setSearchText("one");
    scene.frame();
    EXPECT_EQ(one->layout.shown.size(), 2u);
    scene.workflow->setSearchText("");
    scene.frame();
    EXPECT_TRUE(group->layout.shown.empty());
    EXPECT_EQ(scene.workflow->getRootBlock()->layout.shown.size(), 2u);
}

TEST_F(WorkflowInputTest, TheChangesFilterShowsOnlyTheAssistantsWorkWhileThereIsAny) {
    std::string text = scene.text();
    text.replace(text.find("<Box name=\"c\""), 13, "<Box name=\"c\" _aiChange=\"added\"");
    ASSERT_TRUE(scene.document.setXmlSourceString(text));
    scene.frame();
    EXPECT_TRUE(Block::hasAiChanges);
    ImVec2 min, max;
    EXPECT_TRUE(scene.workflow->getItemRect("Show only AI changes", min, max));
    Block::showOnlyChanges = true;
    scene.frame();
    std::shared_ptr<Block> root = scene.workflow->getRootBlock();
    ASSERT_EQ(root->layout.shown.size(), 1u);
    EXPECT_EQ(root->layout.shown[0]->getXmlNode().attribute("name").as_string(), std::string("two"));
    EXPECT_EQ(root->layout.shown[0]->layout.shown[0]->borderState, Block::kBorderAiAdded);
    // A reload without changes ends the filter: nothing stale hides the tree.
    text.replace(text.find(" _aiChange=\"added\""), 18, "");
    ASSERT_TRUE(scene.document.setXmlSourceString(text));
    scene.frame();
    EXPECT_FALSE(Block::hasAiChanges);
    EXPECT_FALSE(Block::showOnlyChanges);
    EXPECT_EQ(scene.workflow->getRootBlock()->layout.shown.size(), 2u);
}

TEST_F(WorkflowInputTest, OperationsOnABlockWhoseElementVanishedAreRefusedQuietly) {
    std::shared_ptr<Block> stale = scene.blockNamed("Box");
    ASSERT_TRUE(scene.document.setXmlSourceString(scene.text()));
    scene.frame();
    const std::string before = scene.text();
    scene.helper->onBlockDelete(stale);
    scene.helper->onBlockDuplicate(stale, "Right");
    EXPECT_FALSE(scene.helper->copyBlock(stale));
    EXPECT_FALSE(scene.helper->pasteBlock(stale, false));
    EXPECT_FALSE(scene.workflow->getRootBlock()->addChildBlock(nullptr, 0, false));
    EXPECT_EQ(scene.text(), before);
}

TEST_F(WorkflowInputTest, ARightClickDuringADragCancelsItAndOpensTheMenuForWhatIsUnderThePointer) {
    std::shared_ptr<Block> a = scene.blockNamed("Box");
    std::shared_ptr<Block> two = scene.workflow->getRootBlock()->getChilds()[1];
    std::shared_ptr<Block> menuFor;
    bool menuOpened = false;
    scene.workflow->setOnContextMenu([&](std::shared_ptr<Block> block) {
        menuOpened = true;
        menuFor = block;
    });
    const std::string before = scene.text();
    press(scene.centreOf(*a));
    scene.frames(15);
    moveTo(scene.centreOf(*two->getChilds()[0]));
    ASSERT_TRUE(scene.workflow->isDraggingBlock());
    scene.ui.setMouseButton(1, true);
    scene.frame();
    scene.ui.setMouseButton(1, false);
    scene.frame();
    EXPECT_FALSE(scene.workflow->isDraggingBlock());
    EXPECT_TRUE(menuOpened);
    EXPECT_EQ(menuFor, two->getChilds()[0]);
    release();
    EXPECT_EQ(scene.text(), before);
}

TEST(WorkflowUnknownElementsTest, ElementsTheSchemaDoesNotKnowAreMovedAndDeletedLikeOthers) {
    BlocksScene scene(R"(<KiteBench3D><Level name="l"><Thing name="t" odd="1"><Gadget/></Thing></Level><Level name="m"/></KiteBench3D>)");
    std::shared_ptr<Block> thing = scene.blockNamed("Thing");
    std::shared_ptr<Block> other = scene.workflow->getRootBlock()->getChilds()[1];
    ASSERT_TRUE(thing);
    ASSERT_TRUE(other->addChildBlock(thing, 0, false));
    EXPECT_STREQ(scene.document.root().last_child().first_child().name(), "Thing");
    scene.helper->onBlockDelete(scene.blockNamed("Thing"));
    EXPECT_FALSE(scene.document.root().find_node([](pugi::xml_node n) { return std::string(n.name()) == "Gadget"; }));
    EXPECT_FALSE(scene.blockNamed("Gadget"));
}

TEST(WorkflowScrollTest, RevealingADeepBlockOpensItsAncestorsAndScrollsToIt) {
    std::string xml = "<KiteBench3D>";
    for (int i = 0; i < 40; ++i)
        xml += "<Level name=\"l" + std::to_string(i) + "\"><Box name=\"b" + std::to_string(i) + "\"/></Level>";
    xml += "<Level name=\"last\" isCollapse=\"true\"><Group name=\"g\" isCollapse=\"true\"><Box name=\"deep\"/></Group></Level>";
    xml += "</KiteBench3D>";
    BlocksScene scene(xml);
    pugi::xml_node deep = scene.document.root().find_node([](pugi::xml_node n) { return std::string(n.attribute("name").value()) == "deep"; });
    std::shared_ptr<Block> block = scene.block(deep.attribute("id").as_int());
    ASSERT_TRUE(block);
    EXPECT_EQ(scene.workflow->getScrollY(), 0.0f);
    ASSERT_TRUE(scene.workflow->revealBlock(block->getXmlId(), true));
    scene.frames(6);
    EXPECT_GT(scene.workflow->getScrollY(), 1000.0f);
    EXPECT_TRUE(block->wasDrawnThisFrame());
    EXPECT_EQ(Block::selectedBlock, block);
    const float top = block->windowPos.y;
    EXPECT_GE(top, scene.workflow->getBlocksAreaMin().y);
    EXPECT_LE(top, scene.workflow->getBlocksAreaMax().y);
}

} // namespace
