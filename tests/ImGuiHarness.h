#pragma once
// Runs Dear ImGui without a renderer, so that panels can be tested without a window: a context
// with a display size and a built font atlas, frames that are begun and rendered, and input fed
// the way this ImGui version reads it (mouse position and buttons, key states, typed characters),
// with a press and its release always in different frames.
#include <imgui.h>

#include <functional>
#include <string>

namespace Lumenda3D::test {

class ImGuiHarness {
public:
    explicit ImGuiHarness(float width = 1280.0f, float height = 800.0f) {
        previous_ = ImGui::GetCurrentContext();
        context_ = ImGui::CreateContext();
        ImGui::SetCurrentContext(context_);
        ImGuiIO& io = ImGui::GetIO();
        io.DisplaySize = ImVec2(width, height);
        io.DeltaTime = 1.0f / 60.0f;
        io.IniFilename = nullptr;  // never write imgui.ini from a test
        io.LogFilename = nullptr;
        unsigned char* pixels = nullptr;
        int w = 0, h = 0;
        io.Fonts->GetTexDataAsRGBA32(&pixels, &w, &h);
        io.Fonts->SetTexID(reinterpret_cast<ImTextureID>(static_cast<intptr_t>(1)));
    }
    ~ImGuiHarness() {
        if (inFrame_)
            ImGui::EndFrame();
        ImGui::DestroyContext(context_);
        ImGui::SetCurrentContext(previous_);
    }
    ImGuiHarness(const ImGuiHarness&) = delete;
    ImGuiHarness& operator=(const ImGuiHarness&) = delete;

    // One whole frame around `draw`.
    void frame(const std::function<void()>& draw) {
        ImGui::NewFrame();
        inFrame_ = true;
        draw();
        ImGui::Render();
        inFrame_ = false;
    }

    void moveMouse(float x, float y) { ImGui::GetIO().MousePos = ImVec2(x, y); }
    void setMouseButton(int button, bool down) { ImGui::GetIO().MouseDown[button] = down; }
    void setKey(int key, bool down) { ImGui::GetIO().KeysDown[key] = down; }
    void setCtrl(bool down) { ImGui::GetIO().KeyCtrl = down; }
    void setShift(bool down) { ImGui::GetIO().KeyShift = down; }
    void type(const std::string& text) {
        for (unsigned char c : text)
            ImGui::GetIO().AddInputCharacter(c);
    }

    // A click at (x, y): move there, press in one frame, release in the next, each frame drawn
    // with `draw`; a frame before lets hover state settle.
    void click(float x, float y, const std::function<void()>& draw, int button = 0) {
        moveMouse(x, y);
        frame(draw);
        setMouseButton(button, true);
        frame(draw);
        setMouseButton(button, false);
        frame(draw);
    }

private:
    ImGuiContext* previous_ = nullptr;
    ImGuiContext* context_ = nullptr;
    bool inFrame_ = false;
};

} // namespace Lumenda3D::test
