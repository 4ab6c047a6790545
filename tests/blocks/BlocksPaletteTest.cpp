// The palette and the drop of its templates: what the lists show, and templates dragged with real
// input into the tree, onto the palette (discarded) and onto the scene, with the element each drop
// makes (schema defaults, template file, fresh ids and names, its place) as one undo step.
#include "blocks/BlocksTestSupport.h"

#include "blocks/BlockDefaultsTemplate.h"
#include "blocks/BlockTemplate.h"
#include "engine/scene/ScriptParser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

using namespace Lumenda3D;
using Lumenda3D::test::BlocksScene;

namespace {

using Lumenda3D::test::schemaParser;

const char* kGame = R"(<KiteBench3D>
  <Var name="score" value="0"/>
  <Level name="one" isCollapse="true"><Box name="box1"/></Level>
  <Level name="two"/>
</KiteBench3D>)";

class BlocksPaletteTest : public ::testing::Test {
protected:
    BlocksPaletteTest() {
        Block::schema = schemaParser().getCodeSchema();
        scene.palette->setSchema(schemaParser().getCodeSchema());
        scene.palette->loadCategoriesAndBlocks();
        scene.helper->setScriptParser(test::sharedSchemaParser());
        scene.helper->setConvert2DTo3DCallback([](ImVec2) { return Ogre::Vector3(1.5f, 0.0f, -2.0f); });
        scene.frames(2);
    }
    ~BlocksPaletteTest() override { Block::schema = nullptr; }

    // Press on the template's preview, move to `to` over frames, release there.
    void dragTemplate(const std::string& blockName, ImVec2 to) {
        scene.palette->setSearchText("");
        scene.palette->setSelectedCategory("All");
        BlockTemplate* entry = scene.palette->findTemplate(blockName);
        ASSERT_TRUE(entry);
        // Bring it into view: only its category, searched by its caption.
        scene.palette->setSelectedCategory(entry->getCategory());
        scene.palette->setSearchText(entry->getDisplayName());
        scene.frames(2);
        const ImVec2 from((entry->getScreenMin().x + entry->getScreenMax().x) * 0.5f, entry->getScreenMin().y + 10.0f);
        scene.ui.moveMouse(from.x, from.y);
        scene.frame();
        scene.ui.setMouseButton(0, true);
        scene.frame();
        ASSERT_EQ(BlockTemplate::draggedTemplate, entry);
        for (int i = 1; i <= 4; ++i) {
            scene.ui.moveMouse(from.x + (to.x - from.x) * i / 4, from.y + (to.y - from.y) * i / 4);
            scene.frame();
        }
        scene.ui.setMouseButton(0, false);
        scene.frame();
        EXPECT_FALSE(BlockTemplate::draggedTemplate);
    }
    pugi::xml_node level(const char* name) const {
        return scene.document.root().find_child_by_attribute("Level", "name", name);
    }

    BlocksScene scene{kGame};
};

TEST_F(BlocksPaletteTest, ListsFollowTheSchemasCategoriesAndSearchCaptionsOnly) {
    BlocksPalette& palette = *scene.palette;
    ASSERT_FALSE(palette.getFilteredBlocks().empty());
    // Every listed command has a category; the colour is the category's.
    BlockTemplate* box = palette.findTemplate("Box");
    ASSERT_TRUE(box);
    EXPECT_EQ(box->getCategory(), "3D Models");
    EXPECT_NEAR(box->getColor().z, 0xE5 / 255.0f, 1e-5);
    palette.setSelectedCategory("Light");
    for (const auto& entry : palette.getFilteredBlocks())
        EXPECT_EQ(entry->getCategory(), "Light");
    const auto* data = palette.getFilteredBlocks().data();
    palette.setSelectedCategory("Light");
    EXPECT_EQ(palette.getFilteredBlocks().data(), data) << "the same category is not filtered again";
    palette.setSelectedCategory("No such category");
    EXPECT_TRUE(palette.getFilteredBlocks().empty());
    // The caption "Plane (floor)" holds "floor"; the element name "Plane" does not.
    palette.setSelectedCategory("All");
    palette.setSearchText("FLOOR");
    ASSERT_EQ(palette.getVisibleBlocks().size(), 1u);
    EXPECT_EQ(palette.getVisibleBlocks()[0]->getBlockName(), "Plane");
    // Colours: fillColor2 first, then contextMenuColor, grey for text that is not hexadecimal.
    pugi::xml_document d;
    d.load_string(R"(<c fillColor2="FF0000" contextMenuColor="0x00FF00"/><d contextMenuColor="0x0000FF"/><e contextMenuColor="blue"/>)");
    EXPECT_FLOAT_EQ(BlocksPalette::getCategoryColor(d.child("c")).x, 1.0f);
    EXPECT_FLOAT_EQ(BlocksPalette::getCategoryColor(d.child("d")).z, 1.0f);
    EXPECT_FLOAT_EQ(BlocksPalette::getCategoryColor(d.child("e")).x, 0.5f);
}

TEST_F(BlocksPaletteTest, ATemplateDroppedInTheTreeBecomesAnElementAtThePointer) {
    std::shared_ptr<Block> two = Block::getBlockById(level("two").attribute("id").as_int());
    std::shared_ptr<Block> var = scene.blockNamed("Var");
    // Dropped on the main block between the Var and the first level.
    const ImVec2 o = scene.workflow->getTreeOrigin();
    const float gap = o.y + var->layout.pos.y + var->layout.size.y + 6.0f;
    dragTemplate("Sphere", ImVec2(scene.centreOf(*two).x, gap));
    pugi::xml_node sphere = scene.document.root().child("Var").next_sibling();
    ASSERT_STREQ(sphere.name(), "Sphere") << scene.text();
    EXPECT_STREQ(sphere.attribute("name").value(), "sphere1");
    EXPECT_TRUE(scene.block(sphere.attribute("id").as_int()));
    EXPECT_STREQ(sphere.attribute("x").value(), "0") << "a tree drop keeps the default place";
    scene.files.undo();
    scene.frame();
    EXPECT_FALSE(scene.document.root().child("Sphere"));

    // Dropped into a closed level: it opens, and the new block is shown.
    std::shared_ptr<Block> one = Block::getBlockById(level("one").attribute("id").as_int());
    ASSERT_TRUE(one->isCollapsed());
    dragTemplate("Cone", scene.centreOf(*one));
    EXPECT_STREQ(level("one").last_child().name(), "Cone");
    EXPECT_STREQ(level("one").attribute("isCollapse").value(), "false");
    EXPECT_FALSE(Block::getBlockById(level("one").attribute("id").as_int())->isCollapsed());
}

TEST_F(BlocksPaletteTest, DropsOnThePaletteAreDiscardedAndSceneDropsLandUnderThePointer) {
    const std::string before = scene.text();
    dragTemplate("Box", ImVec2(40.0f, 500.0f));
    EXPECT_EQ(scene.text(), before);

    // On the scene: into the first level, at the point under the pointer.
    dragTemplate("Box", ImVec2(1000.0f, 400.0f));
    pugi::xml_node box = level("one").last_child();
    ASSERT_STREQ(box.name(), "Box");
    EXPECT_STREQ(box.attribute("name").value(), "box2") << "box1 is taken";
    EXPECT_FLOAT_EQ(box.attribute("x").as_float(), 1.5f);
    EXPECT_FLOAT_EQ(box.attribute("z").as_float(), -2.0f);
    // A logic block dropped on the scene is only appended.
    dragTemplate("Comment", ImVec2(1000.0f, 400.0f));
    pugi::xml_node comment = level("one").last_child();
    ASSERT_STREQ(comment.name(), "Comment");
    EXPECT_FALSE(comment.attribute("x")) << "nothing places a logic block";
}

TEST_F(BlocksPaletteTest, TemplateFilesGiveChildrenFreshIdsAndAreReadOnce) {
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "lmd-block-templates-test";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "Group.xml") << R"(<Group scaleY="2" name="fixed"><Box id="7" name="kept"><Sphere id="8"/></Box></Group>)";
    std::ofstream(folder / "Cone.xml") << "<Cone";
    BlockDefaultsTemplate::setFolder(folder.string());
    BlockDefaultsTemplate::clearCache();

    const pugi::xml_node group = scene.helper->dropTemplate(level("two"), "Group", "3D Models", 0, false, ImVec2());
    ASSERT_TRUE(group);
    EXPECT_STREQ(group.attribute("scaleY").value(), "2");
    EXPECT_STREQ(group.attribute("name").value(), "group1") << "a template's name is replaced";
    pugi::xml_node box = group.child("Box");
    EXPECT_STREQ(box.attribute("name").value(), "kept") << "a child's name is kept";
    EXPECT_NE(box.attribute("id").as_int(), 7);
    EXPECT_GT(box.child("Sphere").attribute("id").as_int(), box.attribute("id").as_int());
    EXPECT_TRUE(scene.block(box.child("Sphere").attribute("id").as_int()));

    const int read = BlockDefaultsTemplate::filesRead();
    EXPECT_FALSE(BlockDefaultsTemplate::getTemplateRoot("Cone"));
    EXPECT_FALSE(BlockDefaultsTemplate::getTemplateRoot("Cone"));
    EXPECT_EQ(BlockDefaultsTemplate::filesRead(), read + 1) << "a broken file is tried once";
    EXPECT_FALSE(BlockDefaultsTemplate::getTemplateRoot("../Cone"));
    BlockDefaultsTemplate::setFolder("");
    std::filesystem::remove_all(folder);
}

} // namespace
