#include "blocks/MultiCopyDialog.h"

#include <algorithm>

namespace Lumenda3D {

namespace {
constexpr float kWidth = 300.0f;
constexpr float kButtonWidth = 100.0f;
} // namespace

MultiCopyDialog::MultiCopyDialog(const std::string& name) : BaseUI(name) {}

void MultiCopyDialog::show(OnCount onCount) {
    onCount_ = std::move(onCount);
    count_ = std::clamp(count_, 1, kMaxCount);
    open_ = true;
    focusCount_ = true;
}

void MultiCopyDialog::hide() {
    open_ = false;
    onCount_ = nullptr;
}

void MultiCopyDialog::draw() {
    if (!beginModalWhileOpen(kTitle, kWidth, open_, shown_))
        return;

    ImGui::TextUnformatted("Number of copies");
    if (focusCount_) {
        ImGui::SetKeyboardFocusHere();
        focusCount_ = false;
    }
    ImGui::SetNextItemWidth(-1.0f);
    inputInt(kCountField, count_, 1, 1, kMaxCount);
    ImGui::TextDisabled("1 to %d, made as one step that Undo takes back.", kMaxCount);
    ImGui::Spacing();

    const ImVec2 size(scaled(kButtonWidth), 0.0f);
    const bool confirmed = button(kCopyLabel, size) || keyPressedOnce(ImGuiKey_Enter);
    ImGui::SameLine();
    const bool cancelled = button(kCancelLabel, size) || keyPressedOnce(ImGuiKey_Escape);

    if (!confirmed && !cancelled) {
        ImGui::EndPopup();
        return;
    }
    ImGui::CloseCurrentPopup();
    ImGui::EndPopup();
    OnCount run = std::move(onCount_);
    open_ = false;
    shown_ = false;
    onCount_ = nullptr;
    // After the popup has closed: the copy selects its last block and rebuilds the tree.
    if (confirmed && !cancelled && run)
        run(std::clamp(count_, 1, kMaxCount));
}

} // namespace Lumenda3D
