#include "ui/BaseUI.h"

#include <algorithm>
#include <cfloat>
#include <utility>

namespace Lumenda3D {

float BaseUI::dpiScale_ = 1.0f;
bool BaseUI::mobileMode_ = false;

namespace {

std::function<void(bool)>& virtualKeyboardCallback() {
    static std::function<void(bool)> callback;
    return callback;
}

// What the resize callback needs: the string behind the buffer and the caller's own callback.
struct StringInput {
    std::string* text;
    ImGuiInputTextCallback chained;
    void* chainedUserData;
};

int stringInputCallback(ImGuiInputTextCallbackData* data) {
    auto* input = static_cast<StringInput*>(data->UserData);
    if (data->EventFlag == ImGuiInputTextFlags_CallbackResize) {
        // ImGui asks for room for BufTextLen characters; it writes the text itself afterwards.
        input->text->resize(static_cast<size_t>(data->BufTextLen));
        data->Buf = input->text->data();
        return 0;
    }
    if (!input->chained)
        return 0;
    data->UserData = input->chainedUserData;
    const int result = input->chained(data);
    data->UserData = input;
    return result;
}

// The buffer ImGui edits is the string's own storage, with its capacity as the buffer size.
ImGuiInputTextFlags prepareStringInput(std::string& text, ImGuiInputTextFlags flags) {
    if (text.capacity() < 16)
        text.reserve(16);
    return flags | ImGuiInputTextFlags_CallbackResize;
}

} // namespace

BaseUI::BaseUI(std::string name) : name_(std::move(name)) {}

BaseUI::~BaseUI() = default;

std::shared_ptr<BaseUI> BaseUI::getElementByName(const std::string& name) const {
    return owner_ ? owner_->getElementByName(name) : nullptr;
}

LmdCommandRegistry* BaseUI::getCommands() const {
    return owner_ ? owner_->getCommands() : nullptr;
}

void BaseUI::calculateSize() {
    position_ = ImGui::GetWindowPos();
    size_ = ImGui::GetWindowSize();
}

float BaseUI::scaled(float base) { return dpiScale_ > 1.0f ? base * dpiScale_ : base; }

void BaseUI::setDpiScale(float scale) {
    // A scale that is not a positive number (a window not yet shown reports 0) counts as 1.
    dpiScale_ = (scale > 0.0f && scale < 100.0f) ? scale : 1.0f;
}

void BaseUI::setOnVirtualKeyboard(std::function<void(bool)> callback) {
    virtualKeyboardCallback() = std::move(callback);
}

bool BaseUI::getItemRect(const std::string& label, ImVec2& min, ImVec2& max) const {
    auto it = items_.find(label);
    if (it == items_.end() || ImGui::GetCurrentContext() == nullptr || it->second.frame != ImGui::GetFrameCount())
        return false;
    min = it->second.min;
    max = it->second.max;
    return true;
}

ImVec2 BaseUI::getItemCenter(const std::string& label) const {
    ImVec2 min(-1, -1), max(-1, -1);
    if (!getItemRect(label, min, max))
        return ImVec2(-1, -1);
    return ImVec2((min.x + max.x) * 0.5f, (min.y + max.y) * 0.5f);
}

std::string BaseUI::fitText(const std::string& text, float maxWidth) {
    if (ImGui::CalcTextSize(text.c_str()).x <= maxWidth)
        return text;
    static const char* const kEllipsis = "...";
    const float ellipsisWidth = ImGui::CalcTextSize(kEllipsis).x;
    // Character boundaries: a UTF-8 sequence is never cut in the middle.
    std::string best;
    size_t end = 0;
    while (end < text.size()) {
        size_t next = end + 1;
        while (next < text.size() && (static_cast<unsigned char>(text[next]) & 0xC0) == 0x80)
            ++next;
        const float width = ImGui::CalcTextSize(text.data(), text.data() + next).x + ellipsisWidth;
        if (width > maxWidth)
            break;
        end = next;
    }
    best.assign(text, 0, end);
    return best + kEllipsis;
}

bool BaseUI::openPopupWhenFree(const char* title) {
    if (ImGui::IsPopupOpen(title))
        return true;
    if (ImGui::IsPopupOpen("", ImGuiPopupFlags_AnyPopupId))
        return false;
    ImGui::OpenPopup(title);
    return true;
}

bool BaseUI::beginModalWhileOpen(const char* title, float baseWidth, bool open, bool& shown) {
    if (!open) {
        if (shown && ImGui::BeginPopupModal(title)) {
            ImGui::CloseCurrentPopup();
            ImGui::EndPopup();
        }
        shown = false;
        return false;
    }
    if (!openPopupWhenFree(title) || !beginPopupModal(title, baseWidth))
        return false;
    shown = true;
    return true;
}

bool BaseUI::keyPressedOnce(ImGuiKey key) {
    const int index = ImGui::GetKeyIndex(key);
    return index >= 0 && ImGui::IsKeyPressed(index, false);
}

bool BaseUI::beginPopupModal(const char* title, float baseWidth, ImGuiWindowFlags flags) {
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    ImGui::SetNextWindowPos(viewport->GetCenter(), ImGuiCond_Appearing, ImVec2(0.5f, 0.5f));
    if (baseWidth > 0.0f) {
        const float width = std::min(scaled(baseWidth), viewport->Size.x);
        ImGui::SetNextWindowSizeConstraints(ImVec2(width, 0.0f), ImVec2(width, FLT_MAX));
    }
    return ImGui::BeginPopupModal(title, nullptr,
                                  flags | ImGuiWindowFlags_AlwaysAutoResize | ImGuiWindowFlags_NoSavedSettings |
                                      ImGuiWindowFlags_NoCollapse);
}

bool BaseUI::inputText(const char* label, std::string& text, ImGuiInputTextFlags flags,
                       ImGuiInputTextCallback callback, void* userData) {
    flags = prepareStringInput(text, flags);
    StringInput input{&text, callback, userData};
    const bool changed =
        ImGui::InputText(label, text.data(), text.capacity() + 1, flags, stringInputCallback, &input);
    recordItem(label);
    notifyKeyboard();
    return changed;
}

bool BaseUI::inputTextMultiline(const char* label, std::string& text, const ImVec2& size, ImGuiInputTextFlags flags,
                                ImGuiInputTextCallback callback, void* userData) {
    flags = prepareStringInput(text, flags);
    StringInput input{&text, callback, userData};
    const bool changed = ImGui::InputTextMultiline(label, text.data(), text.capacity() + 1, size, flags,
                                                   stringInputCallback, &input);
    recordItem(label);
    notifyKeyboard();
    return changed;
}

bool BaseUI::inputInt(const char* label, int& value, int step, int minValue, int maxValue) {
    int edited = value;
    ImGui::InputInt(label, &edited, step, step * 10);
    recordItem(label);
    notifyKeyboard();
    edited = std::clamp(edited, minValue, maxValue);
    if (edited == value)
        return false;
    value = edited;
    return true;
}

bool BaseUI::tabButton(const char* label, bool active, const ImVec2& size) {
    const ImGuiStyle& style = ImGui::GetStyle();
    ImGui::PushStyleColor(ImGuiCol_Button, style.Colors[active ? ImGuiCol_TabActive : ImGuiCol_Tab]);
    ImGui::PushStyleColor(ImGuiCol_ButtonHovered, style.Colors[ImGuiCol_TabHovered]);
    ImGui::PushStyleColor(ImGuiCol_ButtonActive, style.Colors[ImGuiCol_TabActive]);
    const bool clicked = button(label, size);
    ImGui::PopStyleColor(3);
    if (active) {
        // A bar under the tab in front, so that the current tab reads at a glance.
        const ImVec2 min = ImGui::GetItemRectMin();
        const ImVec2 max = ImGui::GetItemRectMax();
        ImGui::GetWindowDrawList()->AddRectFilled(ImVec2(min.x, max.y - scaled(2.0f)), max,
                                                  ImGui::GetColorU32(ImGuiCol_PlotHistogram));
    }
    return clicked;
}

bool BaseUI::button(const char* label, const ImVec2& size) {
    const bool clicked = ImGui::Button(label, size);
    recordItem(label);
    return clicked;
}

void BaseUI::recordItem(const char* label) {
    ItemRect& rect = items_[label];
    rect.min = ImGui::GetItemRectMin();
    rect.max = ImGui::GetItemRectMax();
    rect.frame = ImGui::GetFrameCount();
}

void BaseUI::notifyKeyboard() {
    if (!mobileMode_ || !virtualKeyboardCallback())
        return;
    if (ImGui::IsItemActivated())
        virtualKeyboardCallback()(true);
    else if (ImGui::IsItemDeactivated())
        virtualKeyboardCallback()(false);
}

} // namespace Lumenda3D
