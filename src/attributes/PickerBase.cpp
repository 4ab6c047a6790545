#include "attributes/PickerBase.h"

#include <cstring>

#include <imgui.h>

#include "base/LmdValueParser.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {

bool PickerBase::isPickerOpen(const std::string& key) const {
    const auto found = pickerOpen_.find(key);
    return found != pickerOpen_.end() && found->second;
}

void PickerBase::setPickerOpen(const std::string& key, bool open) {
    pickerOpen_[key] = open;
}

void PickerBase::storeInitialValue(const std::string& key, const std::string& value) {
    initialValues_[key] = value;
}

std::string PickerBase::getInitialValue(const std::string& key) const {
    const auto found = initialValues_.find(key);
    return found == initialValues_.end() ? std::string() : found->second;
}

bool PickerBase::hasInitialValue(const std::string& key) const {
    return initialValues_.count(key) > 0;
}

void PickerBase::clearInitialValue(const std::string& key) {
    initialValues_.erase(key);
}

std::string PickerBase::popupId(const std::string& key) {
    return "Choose " + key + "##picker_" + key;
}

void PickerBase::setupPickerPopup(const std::string&) {
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    const bool touch = BaseUI::isMobileMode();
    const ImGuiCond when = touch ? ImGuiCond_Always : ImGuiCond_Appearing;
    const ImVec2 centre(viewport->Pos.x + viewport->Size.x * 0.5f, viewport->Pos.y + viewport->Size.y * 0.5f);
    ImGui::SetNextWindowPos(centre, when, ImVec2(0.5f, 0.5f));
    ImGui::SetNextWindowSize(ImVec2(viewport->Size.x * (touch ? 1.0f : 0.5f), viewport->Size.y * (touch ? 1.0f : 0.7f)),
                             when);
}

bool PickerBase::beginPickerPopup(const std::string& key) {
    setupPickerPopup(key);
    bool open = true;
    // An opaque pop-up: the list stays readable over the block tree and the scene.
    ImVec4 background = ImGui::GetStyleColorVec4(ImGuiCol_PopupBg);
    background.w = 1.0f;
    ImGui::PushStyleColor(ImGuiCol_PopupBg, background);
    const bool shown = ImGui::BeginPopupModal(popupId(key).c_str(), &open, getPickerWindowFlags());
    ImGui::PopStyleColor();
    if (!shown)
        return false;
    if (open)
        return true;
    closePicker(key);
    ImGui::EndPopup();
    return false;
}

int PickerBase::getPickerWindowFlags() {
    return ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoCollapse |
           (BaseUI::isMobileMode() ? ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoResize : 0);
}

void PickerBase::drawSearchBar(const char* id, char* buffer, size_t size, const char* hint) {
    const float height = ImGui::GetFrameHeight() + ImGui::GetStyle().WindowPadding.y * 2;
    ImGui::BeginChild((std::string("##searchBar") + id).c_str(), ImVec2(0, height), true,
                      ImGuiWindowFlags_NoScrollbar);
    const std::string clear = std::string("Clear##") + id;
    const float clearWidth = ImGui::CalcTextSize("Clear").x + ImGui::GetStyle().FramePadding.x * 2;
    ImGui::PushItemWidth(ImGui::GetContentRegionAvail().x - clearWidth - ImGui::GetStyle().ItemSpacing.x);
    ImGui::InputTextWithHint(id, hint, buffer, size);
    record(id);
    ImGui::PopItemWidth();
    ImGui::SameLine();
    if (ImGui::Button(clear.c_str()))
        buffer[0] = '\0';
    record(clear);
    ImGui::EndChild();
}

bool PickerBase::matchesSearch(const std::string& item, const char* search) {
    if (!search || !*search)
        return true;
    return LmdValueParser::toLower(item).find(LmdValueParser::toLower(search)) != std::string::npos;
}

bool PickerBase::drawField(const std::string& key, const std::string& value, bool missing, pugi::xml_node& node) {
    const std::string id = widgetId(key, node);
    char shown[256];
    const std::string text = missing ? value + kMissingSuffix : value;
    std::strncpy(shown, text.c_str(), sizeof(shown) - 1);
    shown[sizeof(shown) - 1] = '\0';
    const std::string button = "...##" + key;
    const float buttonWidth = ImGui::CalcTextSize("...").x + ImGui::GetStyle().FramePadding.x * 2;
    ImGui::PushItemWidth(ImGui::GetContentRegionAvail().x - buttonWidth - ImGui::GetStyle().ItemInnerSpacing.x);
    if (missing)
        ImGui::PushStyleColor(ImGuiCol_Text, ImVec4(1.0f, 0.55f, 0.35f, 1.0f));
    ImGui::InputText(("##" + id).c_str(), shown, sizeof(shown), ImGuiInputTextFlags_ReadOnly);
    if (missing)
        ImGui::PopStyleColor();
    record("##" + id);
    ImGui::PopItemWidth();
    ImGui::SameLine(0, ImGui::GetStyle().ItemInnerSpacing.x);
    const bool pressed = ImGui::Button(button.c_str());
    record(button);
    if (pressed) {
        if (!hasInitialValue(key))
            storeInitialValue(key, value);
        setPickerOpen(key, true);
        ImGui::OpenPopup(popupId(key).c_str());
    }
    return pressed;
}

std::optional<std::string> PickerBase::drawChoiceList(const char* childId, const std::vector<std::string>& items,
                                                      const std::string& value, const char* search,
                                                      const char* emptyText) {
    std::optional<std::string> chosen;
    ImGui::BeginChild(childId, ImVec2(0, -bottomRowHeight()), true);
    if (items.empty())
        ImGui::TextDisabled("%s", emptyText);
    for (const std::string& item : items) {
        if (!matchesSearch(item, search))
            continue;
        const bool current = item == value;
        const std::string label = item + "##item";
        if (ImGui::Selectable(label.c_str(), current))
            chosen = item;
        record(label);
        if (current)
            ImGui::SetItemDefaultFocus();
    }
    ImGui::EndChild();
    return chosen;
}

float PickerBase::bottomRowHeight() {
    return ImGui::GetFrameHeightWithSpacing() + ImGui::GetStyle().WindowPadding.y;
}

void PickerBase::closePicker(const std::string& key) {
    setPickerOpen(key, false);
    clearInitialValue(key);
    ImGui::CloseCurrentPopup();
}

void PickerBase::choose(const std::string& key, pugi::xml_node& node, const pugi::xml_node& definition,
                        const std::string& item) {
    setValueAndUpdateLua("string", key, node, item, definition);
    closePicker(key);
}

void PickerBase::drawPickerBottomButtons(const std::string& key, pugi::xml_node& node, const pugi::xml_node& definition,
                                         bool showOk, bool showClear, bool showCancel,
                                         const std::function<void()>& extra) {
    const ImGuiStyle& style = ImGui::GetStyle();
    const float rowY = ImGui::GetWindowHeight() - ImGui::GetFrameHeight() - style.WindowPadding.y;
    if (ImGui::GetCursorPosY() < rowY)
        ImGui::SetCursorPosY(rowY);
    if (extra) {
        extra();
        ImGui::SameLine();
    }
    auto width = [&](const char* label) { return ImGui::CalcTextSize(label).x + style.FramePadding.x * 2; };
    float total = 0.0f;
    for (auto [shown, label] : {std::pair{showOk, "Ok"}, std::pair{showClear, "Clear"}, std::pair{showCancel, "Cancel"}})
        if (shown)
            total += width(label) + style.ItemSpacing.x;
    const float right = ImGui::GetWindowContentRegionMax().x - total + style.ItemSpacing.x;
    if (ImGui::GetCursorPosX() < right)
        ImGui::SetCursorPosX(right);
    const std::string initial = getInitialValue(key);
    if (showOk) {
        const std::string ok = "Ok##" + key;
        if (ImGui::Button(ok.c_str()))
            closePicker(key);
        record(ok);
        ImGui::SameLine();
    }
    if (showClear) {
        const std::string clear = "Clear##clear_" + key;
        if (ImGui::Button(clear.c_str())) {
            removeValue(node, key);
            setLuaValue("string", key, node, "");
        }
        record(clear);
        ImGui::SameLine();
    }
    if (showCancel) {
        const std::string cancel = "Cancel##" + key;
        if (ImGui::Button(cancel.c_str())) {
            if (initial.empty())
                removeValue(node, key);
            else if (node.attribute(key.c_str()).as_string() != initial)
                setValueAndUpdateLua("string", key, node, initial, definition);
            closePicker(key);
        }
        record(cancel);
    }
}

} // namespace Lumenda3D
