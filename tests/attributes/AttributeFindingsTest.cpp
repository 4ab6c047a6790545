// The document check's findings in the attribute panel: a finding stands right below the field
// of the attribute it names, one that names no attribute stands above the groups, and a fixed
// value takes its finding away.
#include "AttributesTestSupport.h"
#include "PanelTestSupport.h"

#include "engine/editing/LmdDocumentFindings.h"

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

using test::AttributesScene;

const char* kGame = R"(<KiteBench3D><Var name="score" value="0"/><Level name="One"><Box name="player"><OnStart>)"
                    R"(<Set var="score" value="spede * 2"/><Break/></OnStart></Box></Level></KiteBench3D>)";

class AttributeFindingsTest : public test::PanelTest {
protected:
    AttributeFindingsTest() {
        findings.follow(&scene.files, [] { return test::attributesSchemaParser().getCodeSchema(); });
        findings.checkNow();
        scene.panel->setFindings(&findings);
    }
    ~AttributeFindingsTest() override { findings.follow(nullptr, nullptr); }
    bool rect(const std::string& label, ImVec2& min, ImVec2& max) {
        return scene.panel->getItemRect(label, min, max);
    }

    AttributesScene scene{kGame, ui};
    LmdDocumentFindings findings;
};

TEST_F(AttributeFindingsTest, AFindingStandsBelowTheFieldItNamesAndGoesWhenTheValueIsFixed) {
    scene.show("Set");
    scene.frame();
    scene.frame();
    ImVec2 fieldMin, fieldMax, findingMin, findingMax;
    ASSERT_TRUE(rect("##value", fieldMin, fieldMax));
    ASSERT_TRUE(rect("finding##value", findingMin, findingMax));
    EXPECT_NEAR(findingMin.y, fieldMax.y, 8.0f) << "right below the field";
    EXPECT_NEAR(findingMin.x, fieldMin.x, 2.0f) << "in the field's column";
    EXPECT_FALSE(rect("finding##var", findingMin, findingMax)) << "the var is fine";
    EXPECT_FALSE(rect("finding##", findingMin, findingMax)) << "the finding names its attribute";

    scene.files.setAttribute(scene.element("Set"), "value", "score * 2");
    findings.update(LmdDocumentFindings::Clock::now() + LmdDocumentFindings::kQuiet * 2);
    scene.frame();
    EXPECT_FALSE(rect("finding##value", findingMin, findingMax));
}

TEST_F(AttributeFindingsTest, AFindingOnTheBlocksPlaceStandsAboveTheGroups) {
    scene.show("Break");
    scene.frame();
    scene.frame();
    ImVec2 min, max;
    ASSERT_TRUE(rect("finding##", min, max));
}

} // namespace
} // namespace Lumenda3D
