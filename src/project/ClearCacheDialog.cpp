#include "project/ClearCacheDialog.h"

namespace Lumenda3D {

namespace {
constexpr float kWidth = 420.0f;
constexpr float kButtonWidth = 110.0f;
} // namespace

ClearCacheDialog::ClearCacheDialog(const std::string& name) : BaseUI(name) {}

void ClearCacheDialog::show() {
    clearAssets_ = true;
    clearSaved_ = false;
    open_ = true;
}

void ClearCacheDialog::draw() {
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

    ImGui::TextUnformatted("Clear:");
    ImGui::Checkbox(kAssetsLabel, &clearAssets_);
    recordItem(kAssetsLabel);
    ImGui::Checkbox(kSavedLabel, &clearSaved_);
    recordItem(kSavedLabel);
    ImGui::TextDisabled("Your projects and your login are kept.");
    ImGui::Spacing();
    const ImVec2 size(scaled(kButtonWidth), 0.0f);
    const bool confirmed = button(kClearLabel, size) || keyPressedOnce(ImGuiKey_Enter);
    ImGui::SameLine();
    const bool cancelled = button(kCancelLabel, size) || keyPressedOnce(ImGuiKey_Escape);

    if (cancelled || confirmed) {
        open_ = false;
        ImGui::CloseCurrentPopup();
        shown_ = false;
    }
    ImGui::EndPopup();
    // After the popup has closed, so that the question the editor asks next can take its place.
    if (confirmed && !cancelled && onClear_)
        onClear_(clearAssets_, clearSaved_);
}

} // namespace Lumenda3D
