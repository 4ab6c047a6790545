#pragma once
// The one input path of the application: a person's events (from SDL) and synthetic events go
// through here, first to the interface layer (ImGui), then to the application (game, editor,
// editor camera).
#include <OgreInput.h>

#include <functional>

namespace Lumenda3D {

class LmdInputRouter : public OgreBites::InputListener {
public:
    LmdInputRouter(OgreBites::InputListener* ui = nullptr, OgreBites::InputListener* app = nullptr)
        : mUi(ui), mApp(app) {}

    void setUi(OgreBites::InputListener* ui) { mUi = ui; }
    void setApp(OgreBites::InputListener* app) { mApp = app; }
    // Told every pointer position (moves, presses, releases), real or synthetic.
    void setPointerObserver(std::function<void(int, int)> observer) { mPointerObserver = std::move(observer); }

    // The interface sees an event first; when it takes it (returns true) the application does not,
    // except for releases: a key or button released over a panel still reaches the application,
    // so that a gesture begun in the scene always ends there.
    bool keyPressed(const OgreBites::KeyboardEvent& evt) override;
    bool keyReleased(const OgreBites::KeyboardEvent& evt) override;
    bool mouseMoved(const OgreBites::MouseMotionEvent& evt) override;
    bool mouseWheelRolled(const OgreBites::MouseWheelEvent& evt) override;
    bool mousePressed(const OgreBites::MouseButtonEvent& evt) override;
    bool mouseReleased(const OgreBites::MouseButtonEvent& evt) override;
    bool textInput(const OgreBites::TextInputEvent& evt) override;

private:
    template <typename Event>
    bool route(const char* name, bool (OgreBites::InputListener::*handler)(const Event&), const Event& evt,
               bool alwaysToApp);
    void notePointer(int x, int y);

    OgreBites::InputListener* mUi;
    OgreBites::InputListener* mApp;
    std::function<void(int, int)> mPointerObserver;
};

} // namespace Lumenda3D
