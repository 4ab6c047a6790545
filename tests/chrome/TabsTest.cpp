// The tabs: a click asks the change callback, a refusal keeps the tab in front, and the source
// editor is drawn exactly while "Source" is in front.
#include "PanelTestSupport.h"

#include "chrome/ChromePanels.h"
#include "chrome/SourceEditor.h"
#include "chrome/Tabs.h"
#include "ui/AllUI.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class TabsTest : public PanelTest {
protected:
    TabsTest() {
        tabs->setTabOnChangeCallback([this](const std::string& tab) {
            asked.push_back(tab);
            return allow;
        });
    }
    std::shared_ptr<AllUI> all = [] {
        auto ui = std::make_shared<AllUI>();
        registerChromePanels(*ui);
        return ui;
    }();
    std::shared_ptr<Tabs> tabs = all->getPanel<Tabs>();
    std::function<void()> draw = [this] { all->draw(); };
    std::vector<std::string> asked;
    bool allow = true;
};

TEST_F(TabsTest, SwitchingAsksTheCallbackAndShowsTheSourceEditorOnlyOnItsTab) {
    ui.frame(draw);
    EXPECT_EQ(tabs->getCurrentTab(), "Scene");
    EXPECT_FALSE(isDrawn(*all->getPanel<SourceEditor>(), SourceEditor::kTextLabel));

    clickItem(*tabs, Tabs::labelOf("Source"), draw);
    EXPECT_EQ(asked, std::vector<std::string>{"Source"});
    EXPECT_EQ(tabs->getCurrentTab(), "Source");
    EXPECT_TRUE(isDrawn(*all->getPanel<SourceEditor>(), SourceEditor::kTextLabel));
    // The editor sits below the bars.
    EXPECT_NEAR(all->getPanel<SourceEditor>()->getPosition().y, tabs->getBottom(), 0.5f);

    // A click on the tab already in front asks nothing.
    clickItem(*tabs, Tabs::labelOf("Source"), draw);
    EXPECT_EQ(asked.size(), 1u);

    clickItem(*tabs, Tabs::labelOf("Scene"), draw);
    EXPECT_EQ(asked, (std::vector<std::string>{"Source", "Scene"}));
    EXPECT_EQ(tabs->getCurrentTab(), "Scene");
    EXPECT_FALSE(isDrawn(*all->getPanel<SourceEditor>(), SourceEditor::kTextLabel));
}

TEST_F(TabsTest, ARefusedChangeKeepsSourceInFront) {
    clickItem(*tabs, Tabs::labelOf("Source"), draw);
    allow = false;  // as when the text does not parse
    clickItem(*tabs, Tabs::labelOf("Scene"), draw);
    EXPECT_EQ(asked.back(), "Scene");
    EXPECT_EQ(tabs->getCurrentTab(), "Source");
    EXPECT_TRUE(isDrawn(*all->getPanel<SourceEditor>(), SourceEditor::kTextLabel));

    allow = true;
    EXPECT_TRUE(tabs->selectTab("Scene"));
    EXPECT_EQ(tabs->getCurrentTab(), "Scene");
}

} // namespace
