// The panel container: panels in their slots find each other, creation and drawing follow the
// editor's fixed orders whatever order the features register in, the top inset is reported after
// the bars, and a panel that fails (at setup, or half-way through its window) spoils nothing else.
#include "PanelTestSupport.h"

#include "ui/ConfirmDialog.h"
#include "chrome/ErrorDialog.h"
#include "chrome/SourceEditor.h"
#include "chrome/Tabs.h"
#include "chrome/ToastNotification.h"
#include "chrome/TopBar.h"
#include "ui/AllUI.h"
#include "base/LmdLog.h"
#include "chrome/ChromePanels.h"
#include "project/ProjectPanels.h"
#include "project/RecoverFromCrashDialog.h"

#include <imgui_internal.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class AllUITest : public PanelTest {
protected:
    AllUITest() { LmdLog::setEchoToStderr(false); }
    ~AllUITest() override { LmdLog::setEchoToStderr(true); }
    std::shared_ptr<AllUI> all = std::make_shared<AllUI>();
};

// Notes its name in a shared list when initialised, drawn, or asked for its floating buttons.
class Recorder : public BaseUI {
public:
    Recorder(const std::string& name, std::vector<std::string>& log) : BaseUI(name), log_(log) {}
    void init() override { log_.push_back("init " + getName()); }
    void draw() override { log_.push_back(getName()); }
    void drawMobileFabOverlay() override { log_.push_back(getName() + ":fab"); }

private:
    std::vector<std::string>& log_;
};

// The panels of the editor in the order they are created.
const std::vector<std::string> kCreationOrder = {
    "addLevelDialog", "multiCopyDialog", "graphicsSettingsDialog", "aiSettingsDialog", "mcpSettingsDialog", "menu",
    "contextMenu", "topBar", "workflow", "blocksPalette", "bottomBar", "tabs", "sourceEditor", "errorDialog",
    "attributesEditor", "aiChatPanel", "mobilePanel", "mobileBottomBar", "projectTemplateDialog", "loginDialog",
    "openResourceDialog", "blocksHelper", "saveProjectDialog", "publishDialog", "exportDialog",
    "prerequisitesDialog", "toastNotification", "recoverFromCrashDialog", "aboutDialog", "confirmDialog",
    "mergeConflictDialog", "clearCacheDialog", "assetLibraryPanel"};

// Every slot filled with a recorder, registered in reverse order.
void fillEverySlot(AllUI& all, std::vector<std::string>& log) {
    for (auto it = kCreationOrder.rbegin(); it != kCreationOrder.rend(); ++it)
        all.setElement(*it, std::make_shared<Recorder>(*it, log));
}

TEST_F(AllUITest, TheWorkingPanelsGoIntoTheirSlotsAndFindEachOtherByName) {
    EXPECT_TRUE(all->getElementNames().empty());
    registerProjectPanels(*all);
    registerChromePanels(*all);
    EXPECT_EQ(all->getElementNames(),
              (std::vector<std::string>{"menu", "topBar", "tabs", "sourceEditor", "errorDialog",
                                        "projectTemplateDialog", "loginDialog", "openResourceDialog",
                                        "saveProjectDialog", "publishDialog", "toastNotification",
                                        "recoverFromCrashDialog", "aboutDialog", "confirmDialog",
                                        "clearCacheDialog"}));
    ASSERT_TRUE(all->getPanel<TopBar>() && all->getPanel<Tabs>() && all->getPanel<SourceEditor>() &&
                all->getPanel<ErrorDialog>() && all->getPanel<ToastNotification>() &&
                all->getPanel<RecoverFromCrashDialog>() && all->getPanel<ConfirmDialog>());
    EXPECT_EQ(all->getPanel<Tabs>()->getElementByName("sourceEditor"), all->getPanel<SourceEditor>());
    EXPECT_EQ(all->getPanel<Tabs>()->getElementByName("nothing"), nullptr);

    // A panel that outlives its container finds nothing.
    auto tabs = all->getPanel<Tabs>();
    all.reset();
    EXPECT_EQ(tabs->getElementByName("topBar"), nullptr);
}

TEST_F(AllUITest, CreationAndInitialisationFollowTheSlotsWhateverTheRegistrationOrder) {
    std::vector<std::string> log;
    fillEverySlot(*all, log);
    // A name outside the slots is kept after them; emptying a slot takes its panel out.
    all->setElement("pluginPanel", std::make_shared<Recorder>("pluginPanel", log));
    all->setElement("blocksHelper", nullptr);
    std::vector<std::string> expected = kCreationOrder;
    expected.erase(std::find(expected.begin(), expected.end(), "blocksHelper"));
    expected.push_back("pluginPanel");
    EXPECT_EQ(all->getElementNames(), expected);

    all->init();
    std::vector<std::string> inits;
    for (const std::string& name : expected)
        inits.push_back("init " + name);
    EXPECT_EQ(log, inits);
}

TEST_F(AllUITest, DrawsInTheFixedOrderOfEachLayoutAndReportsTheBarsAsTheTopInset) {
    std::vector<std::string> log;
    fillEverySlot(*all, log);
    all->setElement("pluginPanel", std::make_shared<Recorder>("pluginPanel", log));  // never drawn
    all->setOnTopInset([&](float, float) { log.push_back("inset"); });
    const std::vector<std::string> before = {"loginDialog", "openResourceDialog", "projectTemplateDialog",
                                             "saveProjectDialog", "publishDialog", "exportDialog",
                                             "prerequisitesDialog", "topBar", "tabs", "inset", "errorDialog",
                                             "addLevelDialog", "multiCopyDialog", "graphicsSettingsDialog",
                                             "contextMenu", "blocksPalette"};
    const std::vector<std::string> after = {"recoverFromCrashDialog", "aboutDialog", "clearCacheDialog",
                                            "aiSettingsDialog", "mcpSettingsDialog", "confirmDialog",
                                            "mergeConflictDialog", "assetLibraryPanel", "toastNotification"};
    auto expectLayout = [&](const std::vector<std::string>& middle) {
        std::vector<std::string> expected = before;
        expected.insert(expected.end(), middle.begin(), middle.end());
        expected.insert(expected.end(), after.begin(), after.end());
        log.clear();
        ui.frame([&] { all->draw(); });
        EXPECT_EQ(log, expected);
    };
    expectLayout({"attributesEditor", "aiChatPanel"});
    BaseUI::setMobileMode(true);
    expectLayout({"mobilePanel", "blocksPalette:fab"});
    BaseUI::setMobileMode(false);

    // Empty slots are skipped.
    log.clear();
    for (const std::string& name : kCreationOrder)
        if (name != "tabs" && name != "toastNotification")
            all->setElement(name, nullptr);
    ui.frame([&] { all->draw(); });
    EXPECT_EQ(log, (std::vector<std::string>{"tabs", "inset", "toastNotification"}));

    // With the real bars: the inset is where the tabs end, and nothing is to the left.
    auto real = std::make_shared<AllUI>();
    registerChromePanels(*real);
    float top = -1, left = -1;
    real->setOnTopInset([&](float t, float l) { top = t, left = l; });
    ui.frame([&] { real->draw(); });
    EXPECT_GT(real->getPanel<TopBar>()->getHeight(), 10.0f);
    EXPECT_NEAR(top, real->getPanel<Tabs>()->getBottom(), 0.5f);
    EXPECT_EQ(left, 0.0f);
}

// Throws from init.
class BrokenInit : public BaseUI {
public:
    BrokenInit() : BaseUI("contextMenu") {}
    void init() override { throw std::runtime_error("no fonts"); }
};

TEST_F(AllUITest, APanelThatCannotBeSetUpIsNamedAndTheOthersStillAre) {
    std::vector<std::string> log;
    fillEverySlot(*all, log);
    all->setElement("contextMenu", std::make_shared<BrokenInit>());
    LmdLog::setEchoToStderr(false);
    EXPECT_EQ(all->initPanels(), (std::vector<std::string>{"contextMenu: no fonts"}));
    EXPECT_EQ(log.size(), kCreationOrder.size() - 1);
    // Not set up, so not drawn either.
    EXPECT_EQ(all->getElementByName("contextMenu"), nullptr);
}

// Opens a window, a child and a colour, then throws, as a panel with a bug would.
class Faulty : public BaseUI {
public:
    Faulty() : BaseUI("errorDialog") {}
    void draw() override {
        ImGui::Begin("Faulty##faulty");
        ImGui::PushStyleColor(ImGuiCol_Text, IM_COL32(255, 0, 0, 255));
        ImGui::PushID("row");
        ImGui::BeginChild("inner", ImVec2(100, 100));
        ImGui::BeginGroup();
        throw std::runtime_error("broken panel");
    }
};

TEST_F(AllUITest, APanelThatThrowsLeavesImGuiUsableAndTheOthersDrawn) {
    registerChromePanels(*all);
    all->setElement("errorDialog", std::make_shared<Faulty>());
    all->getPanel<ToastNotification>()->show("still here", 10.0f);
    ImGuiContext& g = *ImGui::GetCurrentContext();
    for (int frame = 0; frame < 3; ++frame) {
        std::string caught;
        ui.frame([&] {
            try {
                all->draw();
            } catch (const std::exception& e) {
                caught = e.what();
            }
            // Back at the level the container was called from, with nothing left pushed.
            EXPECT_EQ(g.CurrentWindowStack.Size, 1);
            EXPECT_EQ(g.ColorStack.Size, 0);
            EXPECT_EQ(g.GroupStack.Size, 0);
        });
        EXPECT_EQ(caught, "broken panel");
    }
    // The panels after the faulty one went on drawing: the toast's time ran.
    ASSERT_EQ(all->getPanel<ToastNotification>()->getToasts().size(), 1u);
    EXPECT_GT(all->getPanel<ToastNotification>()->getToasts().front().age, 0.0f);
}

} // namespace
