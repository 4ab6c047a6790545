#include "ai/MergeConflictDialog.h"

#include <exception>

#include "base/LmdLog.h"

namespace Lumenda3D {

namespace {
const char* const kTitle = "Merge conflict";
}

void MergeConflictDialog::show(const std::vector<std::string>& labels, Callback callback) {
    labels_ = labels;
    callback_ = std::move(callback);
    visible_ = true;
    openRequested_ = true;
    centreFrames_ = 3;
}

void MergeConflictDialog::choose(int winner) {
    visible_ = false;
    openRequested_ = false;
    Callback callback = std::move(callback_);
    callback_ = nullptr;
    labels_.clear();
    if (callback)
        callback(winner);
}

void MergeConflictDialog::draw() {
    try {
        drawPopup();
    } catch (const std::exception& e) {
        LmdLog::warning(std::string("Error in MergeConflictDialog::draw: ") + e.what());
    } catch (...) {
        LmdLog::warning("Unknown error in MergeConflictDialog::draw");
    }
}

void MergeConflictDialog::drawPopup() {
    if (!visible_) {
        // Chosen from outside the popup (a test, the driver): close it at its own level.
        if (ImGui::IsPopupOpen(kTitle) && ImGui::BeginPopupModal(kTitle)) {
            ImGui::CloseCurrentPopup();
            ImGui::EndPopup();
        }
        return;
    }
    if (openRequested_ && openPopupWhenFree(kTitle))
        openRequested_ = false;
    const ImGuiIO& io = ImGui::GetIO();
    ImGui::GetBackgroundDrawList()->AddRectFilled(ImVec2(0, 0), io.DisplaySize, IM_COL32(0, 0, 0, 0x96));
    if (centreFrames_ > 0) {
        ImGui::SetNextWindowPos(ImVec2(io.DisplaySize.x * 0.5f, io.DisplaySize.y * 0.5f), ImGuiCond_Always, ImVec2(0.5f, 0.5f));
        --centreFrames_;
    }
    ImGui::SetNextWindowSizeConstraints(ImVec2(scaled(420.0f), 0), ImVec2(io.DisplaySize.x * 0.9f, io.DisplaySize.y * 0.9f));
    if (!ImGui::BeginPopupModal(kTitle, nullptr, ImGuiWindowFlags_AlwaysAutoResize))
        return;
    ImGui::PushTextWrapPos(ImGui::GetCursorPosX() + scaled(520.0f));
    ImGui::TextUnformatted("Your recent edits and the assistant's changes touch the same things. Choose which to keep "
                           "— this applies to all conflicts below.");
    ImGui::Separator();
    for (const std::string& label : labels_) {
        ImGui::Bullet();
        ImGui::TextWrapped("%s", label.c_str());
    }
    ImGui::PopTextWrapPos();
    ImGui::Separator();
    int winner = 0;
    if (button("Keep the assistant's changes"))
        winner = 1;
    ImGui::SameLine();
    if (button("Keep my changes"))
        winner = 2;
    ImGui::SameLine();
    if (button("Cancel##mergeConflict"))
        winner = 3;
    if (winner != 0) {
        ImGui::CloseCurrentPopup();
        ImGui::EndPopup();
        choose(winner);
        return;
    }
    ImGui::EndPopup();
}

} // namespace Lumenda3D
