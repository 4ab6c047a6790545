// The panel base: text fields over std::string, the DPI rule with modal placement, text fitting
// and the on-screen keyboard notice of the touch layout.
#include "PanelTestSupport.h"

#include "ui/BaseUI.h"

#include <imgui_internal.h>

#include <gtest/gtest.h>

#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

// A panel whose draw is the test's own, with the protected helpers in reach.
class Probe : public BaseUI {
public:
    Probe() : BaseUI("probe") {}
    using BaseUI::beginPopupModal;
    using BaseUI::inputText;
    using BaseUI::inputTextMultiline;
    using BaseUI::openPopupWhenFree;
};

class BaseUITest : public PanelTest {
protected:
    // One window with the probe's widgets, drawn by `body`.
    std::function<void()> window(const std::function<void()>& body) {
        return [body] {
            ImGui::SetNextWindowPos(ImVec2(10, 10));
            ImGui::SetNextWindowSize(ImVec2(600, 400));
            ImGui::Begin("Probe##probe");
            body();
            ImGui::End();
        };
    }
    Probe probe;
};

TEST_F(BaseUITest, TextFieldsGrowTheStringAndPassOtherEventsToTheCallersCallback) {
    std::string line;  // starts with no room at all
    std::string block = "first\n";
    // A character filter of the caller's: digits are refused.
    auto noDigits = [](ImGuiInputTextCallbackData* data) -> int {
        ++*static_cast<int*>(data->UserData);
        return (data->EventChar >= '0' && data->EventChar <= '9') ? 1 : 0;
    };
    int filterCalls = 0;
    auto draw = window([&] {
        probe.inputText("Line##probe", line, ImGuiInputTextFlags_CallbackCharFilter, noDigits, &filterCalls);
        probe.inputTextMultiline("##block", block, ImVec2(400, 200));
    });
    clickItem(probe, "Line##probe", draw);
    const std::string typed = "a1b2c3-this line is much longer than any small string buffer-end";
    ui.type(typed);
    ui.frame(draw);
    EXPECT_EQ(line, "abc-this line is much longer than any small string buffer-end");
    EXPECT_EQ(filterCalls, static_cast<int>(typed.size()));

    clickItem(probe, "##block", draw);  // below the last line: the cursor goes to the end
    ui.type("second\nthird");
    ui.frame(draw);
    EXPECT_EQ(block, "first\nsecond\nthird");
}

TEST_F(BaseUITest, LayoutNumbersGrowWithTheDpiScaleOnlyAboveOne) {
    BaseUI::setDpiScale(0.5f);
    EXPECT_FLOAT_EQ(BaseUI::scaled(20.0f), 20.0f);
    BaseUI::setDpiScale(0.0f);  // a window not yet shown reports no scale
    EXPECT_FLOAT_EQ(BaseUI::getDpiScale(), 1.0f);
    BaseUI::setDpiScale(2.0f);
    EXPECT_FLOAT_EQ(BaseUI::scaled(20.0f), 40.0f);

    // A modal is centred on the display and takes its width by the same rule.
    bool open = false;
    auto draw = [&] {
        probe.openPopupWhenFree("Question##probe");
        open = probe.beginPopupModal("Question##probe", 150.0f);
        if (open) {
            ImGui::TextUnformatted("Really?");
            ImGui::EndPopup();
        }
    };
    ui.frame(draw);
    ui.frame(draw);
    ASSERT_TRUE(open);
    ImGuiWindow* popup = ImGui::FindWindowByName("Question##probe");
    ASSERT_NE(popup, nullptr);
    EXPECT_FLOAT_EQ(popup->Size.x, 300.0f);
    EXPECT_NEAR(popup->Pos.x + popup->Size.x / 2, 640.0f, 1.0f);
    EXPECT_NEAR(popup->Pos.y + popup->Size.y / 2, 400.0f, 1.0f);
}

TEST_F(BaseUITest, FitTextCutsAtCharacterBoundariesAndFits) {
    std::string fitted, accented;
    float width = 0;
    ui.frame([&] {
        fitted = BaseUI::fitText("A rather long project name that will not fit in the top bar", 120.0f);
        width = ImGui::CalcTextSize(fitted.c_str()).x;
        // "\xC3\xA9" (e acute) is two bytes: a cut may never fall between them.
        accented = BaseUI::fitText("\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9",
                                   ImGui::CalcTextSize("\xC3\xA9\xC3\xA9...").x + 1.0f);
    });
    EXPECT_LE(width, 120.0f);
    EXPECT_GT(width, 100.0f);
    EXPECT_EQ(fitted.substr(fitted.size() - 3), "...");
    EXPECT_EQ(accented, "\xC3\xA9\xC3\xA9...");
}

TEST_F(BaseUITest, TouchLayoutAsksForTheKeyboardWhileAFieldIsActive) {
    std::vector<bool> calls;
    BaseUI::setOnVirtualKeyboard([&](bool show) { calls.push_back(show); });
    std::string text;
    auto draw = window([&] { probe.inputText("Name##probe", text); });

    clickItem(probe, "Name##probe", draw);  // desktop layout: nothing to show
    ui.click(590, 390, draw);
    EXPECT_TRUE(calls.empty());

    BaseUI::setMobileMode(true);
    clickItem(probe, "Name##probe", draw);
    ui.click(590, 390, draw);  // elsewhere in the window: the field is left
    EXPECT_EQ(calls, (std::vector<bool>{true, false}));
}

} // namespace
