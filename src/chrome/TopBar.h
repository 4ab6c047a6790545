#pragma once
// The bar across the top of the editor: the menu (when the container has one), the open
// project's title, the Play/Stop button and the account button. It holds no editor state of its
// own besides the title: whether the game runs and who is logged in are asked through callbacks
// every frame, and the buttons only call back.
#include <functional>
#include <string>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class TopBar : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "topBar";
    static constexpr const char* kPlayAction = "run the game";  // the agent guard's action word
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
    void setOnPlay(std::function<void()> callback) { onPlay_ = std::move(callback); }
    void setOnStop(std::function<void()> callback) { onStop_ = std::move(callback); }
    // Whether the game runs: Stop is shown then, Play otherwise. Without it, Play is shown.
    void setOnGetIsRunning(std::function<bool()> callback) { isRunning_ = std::move(callback); }
    // Asked with kPlayAction before Play acts; true means the click was an agent's and is ignored.
    void setIsAgentDrivenAction(std::function<bool(const char*)> callback) { isAgentDriven_ = std::move(callback); }
    void setOnLogin(std::function<void()> callback) { onLogin_ = std::move(callback); }
    void setOnLogout(std::function<void()> callback) { onLogout_ = std::move(callback); }
    // The logged-in user's name; empty while nobody is logged in.
    void setOnGetUserName(std::function<std::string()> callback) { userName_ = std::move(callback); }

private:
    void drawTitle(float maxWidth);
    void drawPlayStop();
    void drawAccount(float rightEdge);

    std::string projectTitle_;
    std::function<void()> onPlay_;
    std::function<void()> onStop_;
    std::function<bool()> isRunning_;
    std::function<bool(const char*)> isAgentDriven_;
    std::function<void()> onLogin_;
    std::function<void()> onLogout_;
    std::function<std::string()> userName_;
};

} // namespace Lumenda3D
