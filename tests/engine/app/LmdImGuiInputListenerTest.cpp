// Runs Dear ImGui without a renderer (the ImGui code is the one inside OGRE's Overlay library) to
// check that quick clicks and taps survive ImGui's once-per-frame sampling.
#include "engine/app/LmdImGuiInputListener.h"

#include <gtest/gtest.h>
#include <imgui.h>

using namespace Lumenda3D;

namespace {

class ImGuiInputTest : public ::testing::Test {
protected:
    void SetUp() override {
        ImGui::CreateContext();
        ImGuiIO& io = ImGui::GetIO();
        io.IniFilename = nullptr;
        io.DisplaySize = ImVec2(800, 600);
        io.DeltaTime = 1.0f / 60;
        unsigned char* pixels = nullptr;
        int w = 0, h = 0;
        io.Fonts->GetTexDataAsRGBA32(&pixels, &w, &h);
    }
    void TearDown() override { ImGui::DestroyContext(); }

    // One frame with a window holding one button; returns whether the button fired.
    template <typename Listener>
    bool frame(Listener& listener, bool* clicked = nullptr, bool* released = nullptr) {
        ImGui::NewFrame();
        listener.onNewFrame();
        if (clicked)
            *clicked = ImGui::IsMouseClicked(ImGuiMouseButton_Left);
        if (released)
            *released = ImGui::IsMouseReleased(ImGuiMouseButton_Left);
        ImGui::SetNextWindowPos(ImVec2(10, 10));
        ImGui::SetNextWindowSize(ImVec2(200, 100));
        ImGui::Begin("panel");
        ImGui::SetCursorPos(ImVec2(20, 40));
        const bool pressed = ImGui::Button("OK", ImVec2(100, 30)); // spans (30..130, 50..80)
        ImGui::End();
        ImGui::Render();
        return pressed;
    }

    static OgreBites::MouseButtonEvent button(int type) {
        OgreBites::MouseButtonEvent e{};
        e.type = type;
        e.x = 80;
        e.y = 65;
        e.button = OgreBites::BUTTON_LEFT;
        e.clicks = 1;
        return e;
    }
    static OgreBites::KeyboardEvent key(int type, OgreBites::Keycode sym) {
        OgreBites::KeyboardEvent e{};
        e.type = type;
        e.keysym.sym = sym;
        return e;
    }
    template <typename Listener>
    void pointAtButton(Listener& listener) {
        OgreBites::MouseMotionEvent m{};
        m.type = OgreBites::MOUSEMOTION;
        m.x = 80;
        m.y = 65;
        listener.mouseMoved(m);
    }
};

// OGRE's own listener, with a no-op frame hook, to show what goes wrong without the delay.
struct PlainListener : OgreBites::ImGuiInputListener {
    void onNewFrame() {}
};

} // namespace

TEST_F(ImGuiInputTest, PressAndReleaseInOneFrameStillClickAButton) {
    LmdImGuiInputListener listener;
    pointAtButton(listener);
    frame(listener);
    frame(listener);
    listener.mousePressed(button(OgreBites::MOUSEBUTTONDOWN));
    listener.mouseReleased(button(OgreBites::MOUSEBUTTONUP));
    EXPECT_EQ(listener.heldEvents(), 1u) << "the release waits for the next frame";
    bool clicked = false, released = false;
    int presses = frame(listener, &clicked, &released) ? 1 : 0;
    EXPECT_TRUE(clicked);
    EXPECT_FALSE(released);
    for (int i = 0; i < 3; ++i)
        presses += frame(listener) ? 1 : 0;
    EXPECT_EQ(presses, 1);
    EXPECT_EQ(listener.heldEvents(), 0u);
    EXPECT_FALSE(ImGui::GetIO().MouseDown[0]);
}

TEST_F(ImGuiInputTest, WithoutTheDelayTheSameClickIsLost) {
    PlainListener listener;
    pointAtButton(listener);
    frame(listener);
    frame(listener);
    listener.mousePressed(button(OgreBites::MOUSEBUTTONDOWN));
    listener.mouseReleased(button(OgreBites::MOUSEBUTTONUP));
    int presses = 0;
    for (int i = 0; i < 4; ++i)
        presses += frame(listener) ? 1 : 0;
    EXPECT_EQ(presses, 0) << "ImGui 1.86 samples once per frame; if this ever passes, the delay may go";
}

TEST_F(ImGuiInputTest, ReleasesInLaterFramesAreNotDelayed) {
    LmdImGuiInputListener listener;
    pointAtButton(listener);
    frame(listener);
    listener.mousePressed(button(OgreBites::MOUSEBUTTONDOWN));
    frame(listener);
    listener.mouseReleased(button(OgreBites::MOUSEBUTTONUP));
    EXPECT_EQ(listener.heldEvents(), 0u);
    EXPECT_FALSE(ImGui::GetIO().MouseDown[0]);
    EXPECT_TRUE(frame(listener));
}

TEST_F(ImGuiInputTest, DoubleTapWithinOneFrameBecomesTwoClicksOverFourFrames) {
    LmdImGuiInputListener listener;
    pointAtButton(listener);
    frame(listener);
    for (int i = 0; i < 2; ++i) {
        listener.mousePressed(button(OgreBites::MOUSEBUTTONDOWN));
        listener.mouseReleased(button(OgreBites::MOUSEBUTTONUP));
    }
    int presses = 0;
    for (int i = 0; i < 6; ++i)
        presses += frame(listener) ? 1 : 0;
    EXPECT_EQ(presses, 2) << "order is kept: down, up, down, up";
}

TEST_F(ImGuiInputTest, KeyTapWithinOneFrameIsSeenDown) {
    LmdImGuiInputListener listener;
    frame(listener);
    const OgreBites::Keycode tab = '\t';
    listener.keyPressed(key(OgreBites::KEYDOWN, tab));
    listener.keyReleased(key(OgreBites::KEYUP, tab));
    ImGui::NewFrame();
    listener.onNewFrame();
    EXPECT_TRUE(ImGui::IsKeyPressed(ImGui::GetKeyIndex(ImGuiKey_Tab), false));
    ImGui::Render();
    ImGui::NewFrame();
    listener.onNewFrame();
    EXPECT_FALSE(ImGui::IsKeyDown(ImGui::GetKeyIndex(ImGuiKey_Tab)));
    EXPECT_TRUE(ImGui::IsKeyReleased(ImGui::GetKeyIndex(ImGuiKey_Tab)));
    ImGui::Render();
}
