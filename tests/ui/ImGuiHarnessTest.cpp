// The panel test harness itself: a click reaches a button only through real frames, and typed
// text reaches an input field, so that panel tests built on it can be trusted.
#include "ImGuiHarness.h"

#include <gtest/gtest.h>

using Lumenda3D::test::ImGuiHarness;

TEST(ImGuiHarness, ClicksAndTypingReachWidgetsOverRealFrames) {
    ImGuiHarness ui;
    int clicks = 0;
    char text[64] = "";
    ImVec2 buttonCenter, fieldCenter;
    auto draw = [&] {
        ImGui::SetNextWindowPos(ImVec2(10, 10));
        ImGui::SetNextWindowSize(ImVec2(300, 200));
        ImGui::Begin("Panel##harness");
        if (ImGui::Button("Press##harness"))
            ++clicks;
        buttonCenter = ImVec2((ImGui::GetItemRectMin().x + ImGui::GetItemRectMax().x) / 2,
                              (ImGui::GetItemRectMin().y + ImGui::GetItemRectMax().y) / 2);
        ImGui::InputText("Name##harness", text, sizeof(text));
        fieldCenter = ImVec2(ImGui::GetItemRectMin().x + 20, (ImGui::GetItemRectMin().y + ImGui::GetItemRectMax().y) / 2);
        ImGui::End();
    };
    ui.frame(draw);
    ui.click(buttonCenter.x, buttonCenter.y, draw);
    EXPECT_EQ(clicks, 1);

    // A press and release inside one frame is lost, as with real input on this ImGui version.
    ui.setMouseButton(0, true);
    ui.setMouseButton(0, false);
    ui.frame(draw);
    EXPECT_EQ(clicks, 1);

    ui.click(fieldCenter.x, fieldCenter.y, draw);
    ui.type("Player");
    ui.frame(draw);
    ui.frame(draw);
    EXPECT_STREQ(text, "Player");
}
