#pragma once
// The bar across the top of the editor: the menu (when the container has one), the open
// project's title, the Play/Stop button and the account button. It holds no editor state of its
// own besides the title. Play and Stop are the commands of the registry (kPlayCommand,
// kStopCommand): the button shows Stop while that command is enabled, and a click executes the
// command shown, so that the agent guard and the enabled rules are the registry's. Who is logged
// in is asked through a callback every frame.
#include <functional>
#include <string>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class TopBar : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "topBar";
    // The commands the Play/Stop button executes.
    static constexpr const char* kPlayCommand = "game.play";
    static constexpr const char* kStopCommand = "game.stop";
    static constexpr const char* kPlayLabel = "Play##topBar";
    static constexpr const char* kStopLabel = "Stop##topBar";
    static constexpr const char* kLoginLabel = "Log in##topBar";
    static constexpr const char* kLogoutLabel = "Log out##topBar";
    static constexpr const char* kTitleId = "##projectTitle";  // where the title text was drawn

    explicit TopBar(const std::string& name = kName);

    void draw() override;

    // The text shown as the project's title, with its storage suffix (" [Local]", ...).
    void setProjectTitle(const std::string& title) { projectTitle_ = title; }
    const std::string& getProjectTitle() const { return projectTitle_; }

    // Callbacks; each may be empty.
    void setOnLogin(std::function<void()> callback) { onLogin_ = std::move(callback); }
    void setOnLogout(std::function<void()> callback) { onLogout_ = std::move(callback); }
    // The logged-in user's name; empty while nobody is logged in.
    void setOnGetUserName(std::function<std::string()> callback) { userName_ = std::move(callback); }

private:
    void drawTitle(float maxWidth);
    void drawPlayStop();
    void drawAccount(float rightEdge);

    std::string projectTitle_;
    std::function<void()> onLogin_;
    std::function<void()> onLogout_;
    std::function<std::string()> userName_;
};

} // namespace Lumenda3D
