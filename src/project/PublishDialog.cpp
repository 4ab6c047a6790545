#include "project/PublishDialog.h"

namespace Lumenda3D {

namespace {
constexpr float kWidth = 480.0f;
constexpr float kButtonWidth = 110.0f;
} // namespace

PublishDialog::PublishDialog(const std::string& name) : ProjectDialog(name) {}

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
    if (!beginFrame(kTitle, kWidth))
        return;

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

    drawStatus(status_, busy_);
    ImGui::Spacing();
    // Enter belongs to the description's lines; the category field confirms with it.
    const Answer answer = buttonRow(kPublishLabel, kCancelLabel, kButtonWidth, busy_, false);
    confirmed = confirmed || answer.confirmed;

    if (answer.cancelled) {
        hide();
    } else if (confirmed && !busy_) {
        busy_ = true;
        status_ = "Publishing...";
        if (onPublish_)
            onPublish_(description_, category_, viewSource_, true);
    }
    endFrame();
}

} // namespace Lumenda3D
