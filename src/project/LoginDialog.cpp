#include "project/LoginDialog.h"

namespace Lumenda3D {

namespace {
constexpr float kWidth = 400.0f;
constexpr float kButtonWidth = 120.0f;
} // namespace

LoginDialog::LoginDialog(const std::string& name) : ProjectDialog(name) {}

std::string LoginDialog::confirmButtonLabel() const {
    return std::string(registering_ ? "Create account" : "Log in") + kConfirmId;
}

std::string LoginDialog::switchButtonLabel() const {
    return std::string(registering_ ? "I have an account" : "New account...") + kSwitchId;
}

void LoginDialog::show(std::function<void()> onLoggedIn, std::function<void()> onCancelled) {
    onLoggedIn_ = std::move(onLoggedIn);
    onCancelled_ = std::move(onCancelled);
    if (open_)
        return;
    ++round_;
    open_ = true;
    busy_ = false;
    status_.clear();
    password_.clear();
    focusUser_ = true;
}

void LoginDialog::hide() {
    ++round_;
    open_ = false;
    busy_ = false;
    onLoggedIn_ = nullptr;
    onCancelled_ = nullptr;
    password_.clear();
}

void LoginDialog::submit() {
    if (user_.empty() || password_.empty()) {
        status_ = "Enter your user name and password.";
        return;
    }
    const Request& request = registering_ ? register_ : login_;
    if (!request) {
        status_ = "Logging in is not available in this editor.";
        return;
    }
    busy_ = true;
    status_ = registering_ ? "Creating the account..." : "Logging in...";
    const int round = round_;
    std::weak_ptr<int> alive = alive_;
    request(user_, password_, [this, round, alive](bool ok, const std::string& error) {
        if (alive.expired() || round != round_)
            return;
        busy_ = false;
        if (!ok) {
            status_ = error.empty() ? "The server refused the login." : error;
            return;
        }
        // Closed first: what waited for the login may open a dialog of its own.
        std::function<void()> then = std::move(onLoggedIn_);
        hide();
        if (then)
            then();
    });
}

void LoginDialog::draw() {
    if (!beginFrame(kTitle, kWidth))
        return;

    bool confirmed = false;
    if (busy_)
        ImGui::BeginDisabled();
    if (focusUser_) {
        ImGui::SetKeyboardFocusHere();
        focusUser_ = false;
    }
    if (inputText(kUserField, user_, ImGuiInputTextFlags_EnterReturnsTrue))
        confirmed = true;
    if (inputText(kPasswordField, password_, ImGuiInputTextFlags_Password | ImGuiInputTextFlags_EnterReturnsTrue))
        confirmed = true;
    if (busy_)
        ImGui::EndDisabled();

    drawStatus(status_, busy_);
    ImGui::Spacing();
    const ImVec2 size(scaled(kButtonWidth), 0.0f);
    if (busy_)
        ImGui::BeginDisabled();
    if (button(confirmButtonLabel().c_str(), size))
        confirmed = true;
    ImGui::SameLine();
    if (button(switchButtonLabel().c_str(), size)) {
        registering_ = !registering_;
        status_.clear();
    }
    if (busy_)
        ImGui::EndDisabled();
    ImGui::SameLine();
    const bool cancelled = cancelButton(kCancelLabel, kButtonWidth);
    if (keyPressedOnce(ImGuiKey_Enter))
        confirmed = true;

    if (cancelled) {
        std::function<void()> then = std::move(onCancelled_);
        hide();
        if (then)
            then();
    } else if (confirmed && !busy_)
        submit();
    endFrame();
}

} // namespace Lumenda3D
