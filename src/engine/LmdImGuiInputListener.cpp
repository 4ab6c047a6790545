#include "engine/LmdImGuiInputListener.h"

#include <imgui.h>

namespace Lumenda3D {

void LmdImGuiInputListener::onNewFrame() {
    mButtonsDownThisFrame.clear();
    mKeysDownThisFrame.clear();
    std::vector<Held> held;
    held.swap(mHeld);
    for (const Held& h : held) {
        if (h.isKey)
            applyKey(h.key, h.down);
        else
            applyButton(h.button, h.down);
    }
}

bool LmdImGuiInputListener::applyButton(const OgreBites::MouseButtonEvent& evt, bool down) {
    // Hold a release of a button pressed in this frame, and everything behind an earlier held event.
    if (!mHeld.empty() || (!down && mButtonsDownThisFrame.count(evt.button))) {
        Held h;
        h.down = down;
        h.button = evt;
        mHeld.push_back(h);
        return ImGui::GetIO().WantCaptureMouse;
    }
    if (down) {
        mButtonsDownThisFrame.insert(evt.button);
        return ImGuiInputListener::mousePressed(evt);
    }
    return ImGuiInputListener::mouseReleased(evt);
}

bool LmdImGuiInputListener::applyKey(const OgreBites::KeyboardEvent& evt, bool down) {
    if (!mHeld.empty() || (!down && mKeysDownThisFrame.count(evt.keysym.sym))) {
        Held h;
        h.isKey = true;
        h.down = down;
        h.key = evt;
        mHeld.push_back(h);
        return ImGui::GetIO().WantCaptureKeyboard;
    }
    if (down) {
        mKeysDownThisFrame.insert(evt.keysym.sym);
        return ImGuiInputListener::keyPressed(evt);
    }
    return ImGuiInputListener::keyReleased(evt);
}

bool LmdImGuiInputListener::mousePressed(const OgreBites::MouseButtonEvent& evt) {
    return applyButton(evt, true);
}

bool LmdImGuiInputListener::mouseReleased(const OgreBites::MouseButtonEvent& evt) {
    return applyButton(evt, false);
}

bool LmdImGuiInputListener::keyPressed(const OgreBites::KeyboardEvent& evt) {
    return applyKey(evt, true);
}

bool LmdImGuiInputListener::keyReleased(const OgreBites::KeyboardEvent& evt) {
    return applyKey(evt, false);
}

} // namespace Lumenda3D
