#include "ui/AllUI.h"

#include <algorithm>
#include <exception>

#include "base/LmdLog.h"
#include "ui/LmdImGuiStackGuard.h"

namespace Lumenda3D {

const std::vector<std::string>& AllUI::slotNames() {
    static const std::vector<std::string> names = {
        "addLevelDialog",  "multiCopyDialog",       "graphicsSettingsDialog", "aiSettingsDialog",
        "mcpSettingsDialog", "menu",                "contextMenu",            "topBar",
        "workflow",        "blocksPalette",         "bottomBar",              "tabs",
        "sourceEditor",    "errorDialog",           "attributesEditor",       "aiChatPanel",
        "mobilePanel",     "mobileBottomBar",       "projectTemplateDialog",  "loginDialog",
        "openResourceDialog", "blocksHelper",       "saveProjectDialog",      "publishDialog",
        "exportDialog",    "prerequisitesDialog",   "toastNotification",      "recoverFromCrashDialog",
        "aboutDialog",     "confirmDialog",         "mergeConflictDialog",    "clearCacheDialog",
        "assetLibraryPanel"};
    return names;
}

const std::vector<AllUI::DrawStep>& AllUI::drawSteps() {
    using Kind = DrawStep::Kind;
    using Layout = DrawStep::Layout;
    // Menu, workflow, bottom bar and source editor are not here: other panels draw them. The
    // toast comes last so that toasts lie over everything.
    static const std::vector<DrawStep> steps = {
        {Kind::Panel, "loginDialog"},
        {Kind::Panel, "openResourceDialog"},
        {Kind::Panel, "projectTemplateDialog"},
        {Kind::Panel, "saveProjectDialog"},
        {Kind::Panel, "publishDialog"},
        {Kind::Panel, "exportDialog"},
        {Kind::Panel, "prerequisitesDialog"},
        {Kind::Panel, "topBar"},
        {Kind::Panel, "tabs"},
        {Kind::TopInset, ""},
        {Kind::Panel, "errorDialog"},
        {Kind::Panel, "addLevelDialog"},
        {Kind::Panel, "multiCopyDialog"},
        {Kind::Panel, "graphicsSettingsDialog"},
        {Kind::Panel, "contextMenu"},
        {Kind::Panel, "blocksPalette"},
        {Kind::Panel, "mobilePanel", Layout::Mobile},
        {Kind::MobileFabOverlay, "blocksPalette", Layout::Mobile},
        {Kind::Panel, "attributesEditor", Layout::Desktop},
        {Kind::Panel, "aiChatPanel", Layout::Desktop},
        {Kind::Panel, "recoverFromCrashDialog"},
        {Kind::Panel, "aboutDialog"},
        {Kind::Panel, "clearCacheDialog"},
        {Kind::Panel, "aiSettingsDialog"},
        {Kind::Panel, "mcpSettingsDialog"},
        {Kind::Panel, "confirmDialog"},
        {Kind::Panel, "mergeConflictDialog"},
        {Kind::Panel, "assetLibraryPanel"},
        {Kind::Panel, "toastNotification"},
    };
    return steps;
}

namespace {

bool isKnownSlot(const std::string& name) {
    const std::vector<std::string>& slots = AllUI::slotNames();
    return std::find(slots.begin(), slots.end(), name) != slots.end();
}

bool inLayout(const AllUI::DrawStep& step) {
    switch (step.layout) {
    case AllUI::DrawStep::Layout::Any:
        return true;
    case AllUI::DrawStep::Layout::Mobile:
        return BaseUI::isMobileMode();
    case AllUI::DrawStep::Layout::Desktop:
        return !BaseUI::isMobileMode();
    }
    return true;
}

} // namespace

AllUI::AllUI(const std::string& name) : BaseUI(name) {}

AllUI::~AllUI() {
    for (auto& entry : panels_)
        if (entry.second)
            entry.second->owner_ = nullptr;
}

void AllUI::setElement(const std::string& name, std::shared_ptr<BaseUI> panel) {
    auto it = panels_.find(name);
    if (it != panels_.end()) {
        if (it->second)
            it->second->owner_ = nullptr;
        if (!panel) {
            panels_.erase(it);
            extraNames_.erase(std::remove(extraNames_.begin(), extraNames_.end(), name), extraNames_.end());
            return;
        }
        panel->owner_ = this;
        it->second = std::move(panel);
        return;
    }
    if (!panel)
        return;
    panel->owner_ = this;
    panels_.emplace(name, std::move(panel));
    if (!isKnownSlot(name))
        extraNames_.push_back(name);
}

std::shared_ptr<BaseUI> AllUI::getElementByName(const std::string& name) const {
    auto it = panels_.find(name);
    return it == panels_.end() ? nullptr : it->second;
}

std::vector<std::string> AllUI::getElementNames() const {
    std::vector<std::string> names;
    for (const std::string& slot : slotNames())
        if (panels_.count(slot))
            names.push_back(slot);
    names.insert(names.end(), extraNames_.begin(), extraNames_.end());
    return names;
}

std::vector<std::string> AllUI::getDrawOrder() const {
    std::vector<std::string> order;
    for (const DrawStep& step : drawSteps()) {
        if (!inLayout(step))
            continue;
        if (step.kind == DrawStep::Kind::TopInset)
            order.emplace_back();
        else if (step.kind == DrawStep::Kind::MobileFabOverlay)
            order.push_back(std::string(step.slot) + ":fab");
        else
            order.emplace_back(step.slot);
    }
    return order;
}

void AllUI::init() {
    initPanels();
}

std::vector<std::string> AllUI::initPanels() {
    std::vector<std::string> failures;
    for (const std::string& name : getElementNames()) {
        std::shared_ptr<BaseUI> panel = getElementByName(name);
        const std::string failure = runGuardedReporting(("setup of panel " + name).c_str(), [&] { panel->init(); });
        if (failure.empty())
            continue;
        failures.push_back(name + ": " + failure);
        setElement(name, nullptr);
    }
    return failures;
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

void AllUI::drawStep(const std::string& slot, bool fabOverlay, std::exception_ptr& firstError) {
    std::shared_ptr<BaseUI> panel = getElementByName(slot);
    if (!panel)
        return;
    LmdImGuiStackGuard guard;
    try {
        if (fabOverlay)
            panel->drawMobileFabOverlay();
        else
            panel->draw();
    } catch (...) {
        for (const std::string& line : guard.restore())
            LmdLog::message("ImGui state after the failure in panel " + slot + ": " + line);
        if (!firstError)
            firstError = std::current_exception();
    }
}

void AllUI::draw() {
    // A darker veil behind modals and a near-opaque popup background: the editor's dialogs stand
    // out from the panels and the 3D view behind them.
    ImGui::PushStyleColor(ImGuiCol_ModalWindowDimBg, ImVec4(0.0f, 0.0f, 0.0f, 0.45f));
    ImGui::PushStyleColor(ImGuiCol_PopupBg, ImVec4(0.11f, 0.11f, 0.13f, 0.97f));

    std::exception_ptr firstError;
    for (const DrawStep& step : drawSteps()) {
        if (!inLayout(step))
            continue;
        if (step.kind == DrawStep::Kind::TopInset)
            reportTopInset();
        else
            drawStep(step.slot, step.kind == DrawStep::Kind::MobileFabOverlay, firstError);
    }

    ImGui::PopStyleColor(2);
    if (firstError)
        std::rethrow_exception(firstError);
}

} // namespace Lumenda3D
