#include "project/ProjectDialog.h"

namespace Lumenda3D {

bool ProjectDialog::beginFrame(const std::string& popupTitle, float baseWidth) {
    // The title of the popup that is up, so that a hidden dialog closes that one.
    if (open_)
        popup_ = popupTitle;
    return beginModalWhileOpen(popup_.c_str(), baseWidth, open_, shown_);
}

void ProjectDialog::endFrame() {
    if (!open_) {
        ImGui::CloseCurrentPopup();
        shown_ = false;
    }
    ImGui::EndPopup();
}

void ProjectDialog::drawStatus(const std::string& status, bool busy) {
    if (status.empty())
        return;
    ImGui::PushTextWrapPos(0.0f);
    if (busy)
        ImGui::TextDisabled("%s", status.c_str());
    else
        ImGui::TextColored(ImVec4(1.0f, 0.45f, 0.4f, 1.0f), "%s", status.c_str());
    ImGui::PopTextWrapPos();
}

ProjectDialog::Answer ProjectDialog::buttonRow(const std::string& confirmLabel, const char* cancelLabel,
                                               float baseWidth, bool busy, bool enterConfirms) {
    Answer answer;
    const ImVec2 size(scaled(baseWidth), 0.0f);
    if (busy)
        ImGui::BeginDisabled();
    answer.confirmed = button(confirmLabel.c_str(), size);
    if (busy)
        ImGui::EndDisabled();
    ImGui::SameLine();
    answer.cancelled = cancelButton(cancelLabel, baseWidth);
    if (enterConfirms && !busy && keyPressedOnce(ImGuiKey_Enter))
        answer.confirmed = true;
    return answer;
}

bool ProjectDialog::cancelButton(const char* label, float baseWidth) {
    const bool clicked = button(label, ImVec2(scaled(baseWidth), 0.0f));
    return keyPressedOnce(ImGuiKey_Escape) || clicked;
}

} // namespace Lumenda3D
