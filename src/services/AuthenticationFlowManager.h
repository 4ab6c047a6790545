#pragma once
// The one-login-and-retry rule of the cloud calls, and the question "is there a login, and if not,
// may we ask for one?".
//
// checkLogin(then, showDialog, onCancelled) runs `then` when a session exists. Without one it
// either asks the person (showDialog true: the login prompt that the editor installs, which calls
// its onLoggedIn after a successful login and its onCancelled when the person gives up) or stays
// quiet (showDialog false: only a session stored earlier is taken up; nobody is asked).
//
// The rule, as every cloud operation of the editor applies it: a call that fails with
// isAuthenticationError(error) and was not a retry calls checkLogin with a function that repeats
// the call marked isRetry, and true. A retry that fails again reports the failure. So a lapsed
// session costs one login and one more try, never a loop.
//
// Main thread only.
#include <functional>
#include <string>

namespace Lumenda3D {

class AuthenticationFlowManager {
public:
    // Shows the login to the person. It calls onLoggedIn once after a successful login, or
    // onCancelled (which may be empty) once when the person gives up.
    using LoginPrompt = std::function<void(std::function<void()> onLoggedIn, std::function<void()> onCancelled)>;

    static AuthenticationFlowManager& getInstance();

    void setLoginPrompt(LoginPrompt prompt) { prompt_ = std::move(prompt); }
    bool hasLoginPrompt() const { return static_cast<bool>(prompt_); }

    void checkLogin(std::function<void()> then, bool showDialog, std::function<void()> onCancelled = nullptr);

    // The error text of a cloud call means the session has ended (the server answered 401
    // "unauthorized"): log in and try once more. A wrong password, a refusal or a dead server
    // are not authentication errors.
    static bool isAuthenticationError(const std::string& error);

private:
    AuthenticationFlowManager() = default;
    LoginPrompt prompt_;
};

} // namespace Lumenda3D
