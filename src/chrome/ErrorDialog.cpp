#include "chrome/ErrorDialog.h"

namespace Lumenda3D {

namespace {
constexpr float kWidth = 420.0f;
} // namespace

ErrorDialog::ErrorDialog(const std::string& name) : BaseUI(name) {}

void ErrorDialog::show(const std::string& text) {
    if (!queue_.empty() && queue_.back() == text)
        return;
    queue_.push_back(text);
}

void ErrorDialog::dismiss() {
    if (!queue_.empty())
        queue_.pop_front();
    ImGui::CloseCurrentPopup();
}

void ErrorDialog::draw() {
    if (queue_.empty() || !openPopupWhenFree(kTitle))
        return;
    if (!beginPopupModal(kTitle, kWidth))
        return;

    ImGui::PushTextWrapPos(0.0f);
    ImGui::TextUnformatted(queue_.front().c_str());
    ImGui::PopTextWrapPos();
    if (queue_.size() > 1)
        ImGui::TextDisabled("%zu more message%s after this one", queue_.size() - 1, queue_.size() > 2 ? "s" : "");
    ImGui::Spacing();

    const float buttonWidth = scaled(100.0f);
    if (button(kOkLabel, ImVec2(buttonWidth, 0.0f)) || keyPressedOnce(ImGuiKey_Enter) || keyPressedOnce(ImGuiKey_Escape)) {
        dismiss();
    } else {
        ImGui::SameLine();
        // For a bug report or a search: the message's text goes to the clipboard.
        if (button(kCopyLabel, ImVec2(buttonWidth, 0.0f)))
            ImGui::SetClipboardText(queue_.front().c_str());
    }
    ImGui::EndPopup();
}

} // namespace Lumenda3D
