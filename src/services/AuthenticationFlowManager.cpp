#include "services/AuthenticationFlowManager.h"

#include "base/LmdLog.h"
#include "services/AuthenticationManager.h"
#include "services/CloudReply.h"

namespace Lumenda3D {

AuthenticationFlowManager& AuthenticationFlowManager::getInstance() {
    static AuthenticationFlowManager instance;
    return instance;
}

void AuthenticationFlowManager::checkLogin(std::function<void()> then, bool showDialog,
                                           std::function<void()> onCancelled) {
    if (AuthenticationManager::getInstance().isAuthenticated()) {
        if (then)
            then();
        return;
    }
    if (!showDialog)
        return;
    if (!prompt_) {
        LmdLog::message("A login is needed, and this editor has no way to ask for one.");
        return;
    }
    prompt_(
        [then] {
            // The prompt reports a login; the action runs only if a session really exists now.
            if (AuthenticationManager::getInstance().isAuthenticated() && then)
                then();
        },
        std::move(onCancelled));
}

bool AuthenticationFlowManager::isAuthenticationError(const std::string& error) {
    return error == CloudReply::kSessionEndedText;
}

} // namespace Lumenda3D
