#include "project/ClearCacheDialog.h"

namespace Lumenda3D {

namespace {
constexpr float kWidth = 420.0f;
constexpr float kButtonWidth = 110.0f;
} // namespace

ClearCacheDialog::ClearCacheDialog(const std::string& name) : ProjectDialog(name) {}

void ClearCacheDialog::show() {
    clearAssets_ = true;
    clearSaved_ = false;
    open_ = true;
}

void ClearCacheDialog::draw() {
    if (!beginFrame(kTitle, kWidth))
        return;

    ImGui::TextUnformatted("Clear:");
    ImGui::Checkbox(kAssetsLabel, &clearAssets_);
    recordItem(kAssetsLabel);
    ImGui::Checkbox(kSavedLabel, &clearSaved_);
    recordItem(kSavedLabel);
    ImGui::TextDisabled("Your projects and your login are kept.");
    ImGui::Spacing();
    const Answer answer = buttonRow(kClearLabel, kCancelLabel, kButtonWidth, false);
    if (answer.cancelled || answer.confirmed)
        open_ = false;
    endFrame();
    // After the popup has closed, so that the question the editor asks next can take its place.
    if (answer.confirmed && !answer.cancelled && onClear_)
        onClear_(clearAssets_, clearSaved_);
}

} // namespace Lumenda3D
