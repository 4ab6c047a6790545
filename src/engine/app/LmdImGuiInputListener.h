#pragma once
// Feeds input to Dear ImGui through OGRE's ImGui listener, without losing quick clicks and taps.
//
// ImGui 1.86 samples the mouse buttons and keys once per frame (in NewFrame): a press and its
// release that arrive before the same NewFrame cancel out and the click is lost. This listener
// holds the second change of a button or key within one frame (and every button or key event
// after it, to keep their order) until the next frame, so ImGui sees the press in one frame and
// the release in the next; a double click inside one frame becomes two clicks over four frames.
#include <OgreImGuiInputListener.h>

#include <set>
#include <vector>

namespace Lumenda3D {

class LmdImGuiInputListener : public OgreBites::ImGuiInputListener {
public:
    // Needs a current ImGui context (created by Ogre::ImGuiOverlay).
    LmdImGuiInputListener() = default;

    // Call right after ImGui's NewFrame: a new input frame starts and held events are replayed.
    void onNewFrame();

    bool mousePressed(const OgreBites::MouseButtonEvent& evt) override;
    bool mouseReleased(const OgreBites::MouseButtonEvent& evt) override;
    bool keyPressed(const OgreBites::KeyboardEvent& evt) override;
    bool keyReleased(const OgreBites::KeyboardEvent& evt) override;

    std::size_t heldEvents() const { return mHeld.size(); }

private:
    struct Held {
        bool isKey = false;
        bool down = false;
        OgreBites::MouseButtonEvent button{};
        OgreBites::KeyboardEvent key{};
    };
    bool applyButton(const OgreBites::MouseButtonEvent& evt, bool down);
    bool applyKey(const OgreBites::KeyboardEvent& evt, bool down);

    std::set<int> mButtonsChangedThisFrame;
    std::set<int> mKeysChangedThisFrame;
    std::vector<Held> mHeld;
};

} // namespace Lumenda3D
