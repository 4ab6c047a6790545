// The login: the login dialog is the prompt of the login-and-retry rule, and its requests go to
// the login service.
#include "core/Lumenda3DEditor.h"

#include "base/LmdLog.h"
#include "project/LoginDialog.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

void Lumenda3DEditor::setupAuthentication() {
    auto dialog = allUI ? allUI->getPanel<LoginDialog>() : nullptr;
    if (!dialog)
        return;
    dialog->setOnLogin([](const std::string& user, const std::string& password, LoginDialog::Done done) {
        AuthenticationManager::getInstance().login(user, password, std::move(done));
    });
    dialog->setOnRegister([](const std::string& user, const std::string& password, LoginDialog::Done done) {
        AuthenticationManager::getInstance().registerAccount(user, password, std::move(done));
    });
    std::weak_ptr<LoginDialog> weak = dialog;
    AuthenticationFlowManager::getInstance().setLoginPrompt(
        [weak](std::function<void()> onLoggedIn, std::function<void()> onCancelled) {
            if (auto shown = weak.lock()) {
                LmdLog::message("Asking the user to log in");
                shown->show(std::move(onLoggedIn), std::move(onCancelled));
            }
        });
}

} // namespace Lumenda3D
