// The panel container: which panels exist and find each other, the drawing order with the top
// inset reported after the bars, and a panel that throws half-way through its window.
#include "PanelTestSupport.h"

#include "chrome/ConfirmDialog.h"
#include "chrome/ErrorDialog.h"
#include "chrome/SourceEditor.h"
#include "chrome/Tabs.h"
#include "chrome/ToastNotification.h"
#include "chrome/TopBar.h"
#include "ui/AllUI.h"
#include "base/LmdLog.h"
#include "project/RecoverFromCrashDialog.h"

#include <imgui_internal.h>

#include <gtest/gtest.h>

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

// Notes its name in a shared list when drawn.
class Recorder : public BaseUI {
public:
    Recorder(const std::string& name, std::vector<std::string>& log) : BaseUI(name), log_(log) {}
    void draw() override { log_.push_back(getName()); }

private:
    std::vector<std::string>& log_;
};

TEST_F(AllUITest, HoldsTheWorkingPanelsWhichFindEachOtherByName) {
    EXPECT_EQ(all->getElementNames(),
              (std::vector<std::string>{"topBar", "tabs", "sourceEditor", "errorDialog", "toastNotification",
                                        "recoverFromCrashDialog", "confirmDialog"}));
    ASSERT_TRUE(all->getTopBar() && all->getTabs() && all->getSourceEditor() && all->getErrorDialog() &&
                all->getToastNotification() && all->getRecoverFromCrashDialog() && all->getConfirmDialog());
    EXPECT_EQ(all->getTabs()->getElementByName("sourceEditor"), all->getSourceEditor());
    EXPECT_EQ(all->getTabs()->getElementByName("nothing"), nullptr);

    // A panel that outlives its container finds nothing.
    auto tabs = all->getTabs();
    all.reset();
    EXPECT_EQ(tabs->getElementByName("topBar"), nullptr);
}

TEST_F(AllUITest, DrawsInItsOrderAndReportsTheBarsAsTheTopInset) {
    std::vector<std::string> log;
    for (const std::string& name : all->getElementNames())
        all->setElement(name, std::make_shared<Recorder>(name, log));
    all->setOnTopInset([&](float, float) { log.push_back("inset"); });
    ui.frame([&] { all->draw(); });
    EXPECT_EQ(log, (std::vector<std::string>{"topBar", "tabs", "inset", "errorDialog", "recoverFromCrashDialog",
                                             "confirmDialog", "toastNotification"}));
    EXPECT_EQ(all->getTopBar(), nullptr);  // the slot now holds a panel of another class

    // With the real bars: the inset is where the tabs end, and nothing is to the left.
    auto real = std::make_shared<AllUI>();
    float top = -1, left = -1;
    real->setOnTopInset([&](float t, float l) { top = t, left = l; });
    ui.frame([&] { real->draw(); });
    EXPECT_GT(real->getTopBar()->getHeight(), 10.0f);
    EXPECT_NEAR(top, real->getTabs()->getBottom(), 0.5f);
    EXPECT_EQ(left, 0.0f);
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
    all->setElement("errorDialog", std::make_shared<Faulty>());
    all->getToastNotification()->show("still here", 10.0f);
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
    ASSERT_EQ(all->getToastNotification()->getToasts().size(), 1u);
    EXPECT_GT(all->getToastNotification()->getToasts().front().age, 0.0f);
}

} // namespace
