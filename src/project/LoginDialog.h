#pragma once
// The login to the product's web server: user name and password (the keyboard on the name when
// the dialog opens), "Log in", a switch to creating an account, and "Cancel". Enter confirms,
// Escape cancels. While the server is asked the dialog shows it and takes no second request; a
// refusal or a dead server is written in the dialog, which stays open for another try. After a
// successful login the dialog closes and runs, once, what was waiting for the login; a cancelled
// dialog drops it and runs what waits for a cancel instead (a dialog that asked for the login
// comes back).
#include <functional>
#include <memory>
#include <string>

#include "project/ProjectDialog.h"

namespace Lumenda3D {

class LoginDialog : public ProjectDialog {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "loginDialog";
    static constexpr const char* kTitle = "Log in###loginDialog";
    static constexpr const char* kUserField = "User name##login";
    static constexpr const char* kPasswordField = "Password##login";
    static constexpr const char* kConfirmId = "##loginConfirm";
    static constexpr const char* kSwitchId = "##loginSwitch";
    static constexpr const char* kCancelLabel = "Cancel##login";

    // The server's answer: ok, or the reason in the person's words.
    using Done = std::function<void(bool ok, const std::string& error)>;
    using Request = std::function<void(const std::string& user, const std::string& password, Done done)>;

    explicit LoginDialog(const std::string& name = kName);

    void draw() override;

    // Opens the dialog; `onLoggedIn` runs once after a successful login, `onCancelled` once when
    // the person cancels. A second show while it is open replaces both (the latest request is the
    // one the person sees).
    void show(std::function<void()> onLoggedIn, std::function<void()> onCancelled = nullptr);
    void hide();

    void setOnLogin(Request callback) { login_ = std::move(callback); }
    void setOnRegister(Request callback) { register_ = std::move(callback); }

    bool isBusy() const { return busy_; }
    bool isRegistering() const { return registering_; }
    const std::string& getStatusMessage() const { return status_; }
    std::string confirmButtonLabel() const;
    std::string switchButtonLabel() const;

private:
    void submit();

    bool focusUser_ = false;
    bool busy_ = false;
    bool registering_ = false;
    int round_ = 0;
    std::string user_;
    std::string password_;
    std::string status_;
    std::function<void()> onLoggedIn_;
    std::function<void()> onCancelled_;
    Request login_;
    Request register_;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

} // namespace Lumenda3D
