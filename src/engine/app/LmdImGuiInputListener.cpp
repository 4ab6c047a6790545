#include "engine/app/LmdImGuiInputListener.h"

#include <imgui.h>

namespace Lumenda3D {

void LmdImGuiInputListener::onNewFrame() {
    mButtonsChangedThisFrame.clear();
    mKeysChangedThisFrame.clear();
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
    // A button that already went down or up in this frame waits for the next one, and so does
    // everything behind an event that waits, to keep the order.
    if (!mHeld.empty() || mButtonsChangedThisFrame.count(evt.button)) {
        Held h;
        h.down = down;
        h.button = evt;
        mHeld.push_back(h);
        return ImGui::GetIO().WantCaptureMouse;
    }
    mButtonsChangedThisFrame.insert(evt.button);
    return down ? ImGuiInputListener::mousePressed(evt) : ImGuiInputListener::mouseReleased(evt);
}

bool LmdImGuiInputListener::applyKey(const OgreBites::KeyboardEvent& evt, bool down) {
    if (!mHeld.empty() || mKeysChangedThisFrame.count(evt.keysym.sym)) {
        Held h;
        h.isKey = true;
        h.down = down;
        h.key = evt;
        mHeld.push_back(h);
        return ImGui::GetIO().WantCaptureKeyboard;
    }
    mKeysChangedThisFrame.insert(evt.keysym.sym);
    return down ? ImGuiInputListener::keyPressed(evt) : ImGuiInputListener::keyReleased(evt);
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
