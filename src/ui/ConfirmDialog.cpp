#include "ui/ConfirmDialog.h"

namespace Lumenda3D {

namespace {
constexpr float kWidth = 440.0f;
constexpr float kButtonWidth = 110.0f;
} // namespace

ConfirmDialog::ConfirmDialog(const std::string& name) : BaseUI(name) {}

void ConfirmDialog::show(const std::string& title, const std::string& message, std::function<void()> onConfirm,
                         const std::string& confirmLabel, std::function<void()> onCancel) {
    queue_.push_back(Question{title, message, confirmLabel.empty() ? "OK" : confirmLabel, "", std::move(onConfirm),
                              nullptr, std::move(onCancel)});
}

void ConfirmDialog::show(const std::string& title, const std::string& message, std::function<void()> onConfirm,
                         const std::string& confirmLabel, std::function<void()> onSecond,
                         const std::string& secondLabel, std::function<void()> onCancel) {
    queue_.push_back(Question{title, message, confirmLabel.empty() ? "OK" : confirmLabel, secondLabel,
                              std::move(onConfirm), std::move(onSecond), std::move(onCancel)});
}

std::string ConfirmDialog::confirmButtonLabel() const {
    return queue_.empty() ? std::string() : queue_.front().confirmLabel + kConfirmId;
}

std::string ConfirmDialog::secondButtonLabel() const {
    return queue_.empty() || queue_.front().secondLabel.empty() ? std::string()
                                                                 : queue_.front().secondLabel + kSecondId;
}

void ConfirmDialog::draw() {
    if (queue_.empty())
        return;
    // The title changes from question to question; the popup's id after "###" does not.
    const std::string popup = queue_.front().title + kPopupId;
    if (!openPopupWhenFree(popup.c_str()) || !beginPopupModal(popup.c_str(), kWidth))
        return;

    const Question& question = queue_.front();
    ImGui::PushTextWrapPos(0.0f);
    ImGui::TextUnformatted(question.message.c_str());
    ImGui::PopTextWrapPos();
    ImGui::Spacing();

    const ImVec2 size(scaled(kButtonWidth), 0.0f);
    Answer answer = Answer::None;
    if (button(confirmButtonLabel().c_str(), size))
        answer = Answer::Confirm;
    if (!question.secondLabel.empty()) {
        ImGui::SameLine();
        if (button(secondButtonLabel().c_str(), size))
            answer = Answer::Second;
    }
    ImGui::SameLine();
    if (button(kCancelLabel, size))
        answer = Answer::Cancel;
    if (answer == Answer::None && keyPressedOnce(ImGuiKey_Escape))
        answer = Answer::Cancel;

    if (answer == Answer::None) {
        ImGui::EndPopup();
        return;
    }
    // Close first, then answer: the callback may ask the next question or open another dialog.
    ImGui::CloseCurrentPopup();
    ImGui::EndPopup();
    Question answered = std::move(queue_.front());
    queue_.pop_front();
    const std::function<void()>& callback = answer == Answer::Confirm  ? answered.onConfirm
                                            : answer == Answer::Second ? answered.onSecond
                                                                       : answered.onCancel;
    if (callback)
        callback();
}

} // namespace Lumenda3D
