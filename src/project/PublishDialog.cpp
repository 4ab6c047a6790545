#include "project/PublishDialog.h"

namespace Lumenda3D {

namespace {
constexpr float kWidth = 480.0f;
constexpr float kButtonWidth = 110.0f;
} // namespace

PublishDialog::PublishDialog(const std::string& name) : BaseUI(name) {}

void PublishDialog::show(const std::string& description, const std::string& category, bool viewSource) {
    description_ = description;
    category_ = category;
    viewSource_ = viewSource;
    status_.clear();
    busy_ = false;
    open_ = true;
    focusDescription_ = true;
}

void PublishDialog::draw() {
    if (!open_) {
        if (shown_ && ImGui::BeginPopupModal(kTitle)) {
            ImGui::CloseCurrentPopup();
            ImGui::EndPopup();
        }
        shown_ = false;
        return;
    }
    if (!openPopupWhenFree(kTitle) || !beginPopupModal(kTitle, kWidth))
        return;
    shown_ = true;

    if (busy_)
        ImGui::BeginDisabled();
    ImGui::TextUnformatted("Description");
    if (focusDescription_) {
        ImGui::SetKeyboardFocusHere();
        focusDescription_ = false;
    }
    inputTextMultiline(kDescriptionField, description_, ImVec2(-1.0f, ImGui::GetTextLineHeight() * 5.0f));
    ImGui::TextUnformatted("Category");
    ImGui::SetNextItemWidth(-1.0f);
    bool confirmed = inputText(kCategoryField, category_, ImGuiInputTextFlags_EnterReturnsTrue);
    ImGui::Checkbox(kViewSourceLabel, &viewSource_);
    recordItem(kViewSourceLabel);
    if (busy_)
        ImGui::EndDisabled();

    if (!status_.empty()) {
        ImGui::PushTextWrapPos(0.0f);
        if (busy_)
            ImGui::TextDisabled("%s", status_.c_str());
        else
            ImGui::TextColored(ImVec4(1.0f, 0.45f, 0.4f, 1.0f), "%s", status_.c_str());
        ImGui::PopTextWrapPos();
    }
    ImGui::Spacing();
    const ImVec2 size(scaled(kButtonWidth), 0.0f);
    if (busy_)
        ImGui::BeginDisabled();
    if (button(kPublishLabel, size))
        confirmed = true;
    if (busy_)
        ImGui::EndDisabled();
    ImGui::SameLine();
    bool cancelled = button(kCancelLabel, size);
    if (keyPressedOnce(ImGuiKey_Escape))
        cancelled = true;

    if (cancelled) {
        hide();
    } else if (confirmed && !busy_) {
        busy_ = true;
        status_ = "Publishing...";
        if (onPublish_)
            onPublish_(description_, category_, viewSource_, true);
    }
    if (!open_) {
        ImGui::CloseCurrentPopup();
        shown_ = false;
    }
    ImGui::EndPopup();
}

} // namespace Lumenda3D
