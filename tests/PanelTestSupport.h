#pragma once
// Helpers for panel tests on top of ImGuiHarness: the layout globals put back to the desktop
// defaults, keys mapped the way the engine maps them, and clicks aimed at a panel's widget by
// its label.
#include "ImGuiHarness.h"

#include "ui/BaseUI.h"

#include <imgui_internal.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace Lumenda3D::test {

// Key indices of io.KeysDown used by the tests for ImGui's named keys.
constexpr int kKeyEnter = 13;
constexpr int kKeyEscape = 27;
constexpr int kKeyBackspace = 8;

class PanelTest : public ::testing::Test {
protected:
    PanelTest() {
        BaseUI::setDpiScale(1.0f);
        BaseUI::setMobileMode(false);
        BaseUI::setOnVirtualKeyboard(nullptr);
        ImGuiIO& io = ImGui::GetIO();
        io.KeyMap[ImGuiKey_Enter] = kKeyEnter;
        io.KeyMap[ImGuiKey_Escape] = kKeyEscape;
        io.KeyMap[ImGuiKey_Backspace] = kKeyBackspace;
    }
    ~PanelTest() override {
        BaseUI::setDpiScale(1.0f);
        BaseUI::setMobileMode(false);
        BaseUI::setOnVirtualKeyboard(nullptr);
    }

    // Two frames (a new window or popup is laid out in its first frame and shown in its second),
    // then a click on the widget `label` of `panel`. Fails the test when the widget isn't drawn.
    void clickItem(const BaseUI& panel, const std::string& label, const std::function<void()>& draw) {
        ui.frame(draw);
        ui.frame(draw);
        const ImVec2 center = panel.getItemCenter(label);
        ASSERT_GE(center.x, 0.0f) << label << " is not drawn";
        ui.click(center.x, center.y, draw);
    }

    // One key press and release over two frames.
    void pressKey(int key, const std::function<void()>& draw) {
        ui.setKey(key, true);
        ui.frame(draw);
        ui.setKey(key, false);
        ui.frame(draw);
    }

    bool isDrawn(const BaseUI& panel, const std::string& label) const {
        ImVec2 min, max;
        return panel.getItemRect(label, min, max);
    }

    // Whether the popup `title`, opened outside any window (as the editor's dialogs are), is open
    // now. Usable between frames.
    static bool isPopupOpen(const char* title) {
        ImGuiContext& g = *ImGui::GetCurrentContext();
        ImGuiWindow* root = ImGui::FindWindowByName("Debug##Default");
        if (root == nullptr)
            return false;
        const ImGuiID id = root->GetIDNoKeepAlive(title);
        for (const ImGuiPopupData& popup : g.OpenPopupStack)
            if (popup.PopupId == id)
                return true;
        return false;
    }

    ImGuiHarness ui;
};

} // namespace Lumenda3D::test
