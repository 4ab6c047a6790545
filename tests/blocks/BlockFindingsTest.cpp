// The document check's findings in the block tree: a block the check names wears a warning mark
// whose tooltip is the finding, the others do not, and the mark goes when the value is fixed.
#include "blocks/BlocksTestSupport.h"

#include "engine/editing/LmdDocumentFindings.h"

#include <gtest/gtest.h>

using namespace Lumenda3D;
using Lumenda3D::test::BlocksScene;

namespace {

const char* kGame = R"(<KiteBench3D>
  <Var name="score" value="0"/>
  <Level name="One">
    <Box name="player">
      <OnStart>
        <Set var="score" value="spede * 2"/>
        <Print text="ok"/>
      </OnStart>
    </Box>
  </Level>
</KiteBench3D>)";

class BlockFindingsTest : public ::testing::Test {
protected:
    BlockFindingsTest() {
        findings.follow(&scene.files, [] { return test::schemaParser().getCodeSchema(); });
        Block::documentFindings = &findings;
        findings.update(LmdDocumentFindings::Clock::now());
        scene.frame();
    }
    ~BlockFindingsTest() override {
        Block::documentFindings = nullptr;
        findings.follow(nullptr, nullptr);
    }
    // The centre of the warning mark of `block` on screen.
    ImVec2 markOf(const Block& block) const {
        const ImVec2 o = scene.workflow->getTreeOrigin();
        ImVec2 min, max;
        BlockLayout::warningMark(ImVec2(o.x + block.layout.pos.x, o.y + block.layout.pos.y),
                                 BlockLayout::Metrics::forScale(1.0f), min, max);
        return ImVec2((min.x + max.x) * 0.5f, (min.y + max.y) * 0.5f + 4.0f);
    }
    void hover(ImVec2 p) {
        scene.ui.moveMouse(p.x, p.y);
        scene.frames(2);
    }

    BlocksScene scene{kGame};
    LmdDocumentFindings findings;
};

TEST_F(BlockFindingsTest, TheMarkedBlockTellsItsFindingAndTheMarkGoesWhenTheValueIsFixed) {
    std::shared_ptr<Block> set = scene.blockNamed("Set");
    std::shared_ptr<Block> print = scene.blockNamed("Print");
    ASSERT_TRUE(set && print);
    EXPECT_TRUE(set->hasFindings());
    EXPECT_FALSE(print->hasFindings());
    EXPECT_FALSE(scene.blockNamed("OnStart")->hasFindings()) << "only the block at fault is marked";
    EXPECT_NE(set->findingsText().find("unknown variable 'spede'"), std::string::npos) << set->findingsText();

    hover(markOf(*set));
    EXPECT_EQ(scene.workflow->getFindingsTooltip(), set->findingsText());
    hover(scene.centreOf(*set));
    EXPECT_EQ(scene.workflow->getFindingsTooltip(), "") << "the tooltip belongs to the mark, not the block";
    hover(markOf(*print));
    EXPECT_EQ(scene.workflow->getFindingsTooltip(), "") << "an unmarked block has no tooltip";

    scene.files.setAttribute(set->getXmlNode(), "value", "score * 2");
    findings.update(LmdDocumentFindings::Clock::now() + LmdDocumentFindings::kQuiet * 2);
    scene.frame();
    EXPECT_FALSE(set->hasFindings());
    hover(markOf(*set));
    EXPECT_EQ(scene.workflow->getFindingsTooltip(), "");
}

} // namespace
