#include "ui/AllUI.h"

#include <exception>

#include "chrome/ConfirmDialog.h"
#include "chrome/ErrorDialog.h"
#include "chrome/Tabs.h"
#include "chrome/ToastNotification.h"
#include "chrome/TopBar.h"
#include "chrome/SourceEditor.h"
#include "ui/LmdImGuiStackGuard.h"
#include "base/LmdLog.h"
#include "project/RecoverFromCrashDialog.h"

namespace Lumenda3D {

AllUI::AllUI(const std::string& name) : BaseUI(name) {
    add("topBar", std::make_shared<TopBar>("topBar"));
    add("tabs", std::make_shared<Tabs>("tabs"));
    add("sourceEditor", std::make_shared<SourceEditor>("sourceEditor"));
    add("errorDialog", std::make_shared<ErrorDialog>("errorDialog"));
    add("toastNotification", std::make_shared<ToastNotification>("toastNotification"));
    add("recoverFromCrashDialog", std::make_shared<RecoverFromCrashDialog>("recoverFromCrashDialog"));
    add("confirmDialog", std::make_shared<ConfirmDialog>("confirmDialog"));

    // The source editor is drawn by the tabs, while its tab is in front. The toast comes last so
    // that toasts lie over everything.
    // The agent server's settings dialog needs the editor's controller: the editor puts it into
    // its slot (setElement) before init. Its draw also raises the agents' permission prompts.
    drawOrder_ = {"topBar", "tabs", "", "mcpSettingsDialog", "errorDialog", "recoverFromCrashDialog",
                  "confirmDialog", "toastNotification"};
}

AllUI::~AllUI() {
    for (auto& entry : panels_)
        if (entry.second)
            entry.second->owner_ = nullptr;
}

void AllUI::add(const std::string& name, std::shared_ptr<BaseUI> panel) {
    panel->owner_ = this;
    panels_[name] = std::move(panel);
    creationOrder_.push_back(name);
}

void AllUI::setElement(const std::string& name, std::shared_ptr<BaseUI> panel) {
    auto it = panels_.find(name);
    if (it == panels_.end()) {
        if (!panel)
            return;
        add(name, std::move(panel));
        return;
    }
    if (it->second)
        it->second->owner_ = nullptr;
    if (panel)
        panel->owner_ = this;
    it->second = std::move(panel);
}

std::shared_ptr<BaseUI> AllUI::getElementByName(const std::string& name) const {
    auto it = panels_.find(name);
    return it == panels_.end() ? nullptr : it->second;
}

void AllUI::init() {
    for (const std::string& name : creationOrder_)
        if (auto panel = getElementByName(name))
            panel->init();
}

void AllUI::reportTopInset() {
    float top = 0.0f;
    for (const char* name : {"topBar", "tabs"})
        if (auto panel = getElementByName(name))
            top += panel->getHeight();
    topInset_ = top;
    if (onTopInset_)
        onTopInset_(top, 0.0f);
}

void AllUI::draw() {
    // A darker veil behind modals and a near-opaque popup background: the editor's dialogs stand
    // out from the panels and the 3D view behind them.
    ImGui::PushStyleColor(ImGuiCol_ModalWindowDimBg, ImVec4(0.0f, 0.0f, 0.0f, 0.45f));
    ImGui::PushStyleColor(ImGuiCol_PopupBg, ImVec4(0.11f, 0.11f, 0.13f, 0.97f));

    std::exception_ptr firstError;
    for (const std::string& name : drawOrder_) {
        if (name.empty()) {
            reportTopInset();
            continue;
        }
        auto panel = getElementByName(name);
        if (!panel)
            continue;
        LmdImGuiStackGuard guard;
        try {
            panel->draw();
        } catch (...) {
            for (const std::string& line : guard.restore())
                LmdLog::message("ImGui state after the failure in panel " + name + ": " + line);
            if (!firstError)
                firstError = std::current_exception();
        }
    }

    ImGui::PopStyleColor(2);
    if (firstError)
        std::rethrow_exception(firstError);
}

std::shared_ptr<TopBar> AllUI::getTopBar() const { return getElement<TopBar>("topBar"); }
std::shared_ptr<Tabs> AllUI::getTabs() const { return getElement<Tabs>("tabs"); }
std::shared_ptr<SourceEditor> AllUI::getSourceEditor() const { return getElement<SourceEditor>("sourceEditor"); }
std::shared_ptr<ErrorDialog> AllUI::getErrorDialog() const { return getElement<ErrorDialog>("errorDialog"); }
std::shared_ptr<ToastNotification> AllUI::getToastNotification() const {
    return getElement<ToastNotification>("toastNotification");
}
std::shared_ptr<RecoverFromCrashDialog> AllUI::getRecoverFromCrashDialog() const {
    return getElement<RecoverFromCrashDialog>("recoverFromCrashDialog");
}
std::shared_ptr<ConfirmDialog> AllUI::getConfirmDialog() const { return getElement<ConfirmDialog>("confirmDialog"); }

} // namespace Lumenda3D
