#include "project/RecoverFromCrashDialog.h"

#include <ctime>

namespace Lumenda3D {

namespace {
constexpr float kWidth = 460.0f;
constexpr float kButtonWidth = 120.0f;

std::string countOf(long long count, const char* unit) {
    return std::to_string(count) + " " + unit + (count == 1 ? "" : "s") + " ago";
}
} // namespace

RecoverFromCrashDialog::RecoverFromCrashDialog(const std::string& name) : BaseUI(name) {}

std::string RecoverFromCrashDialog::formatTimeAgo(long long timestamp) {
    return formatTimeAgo(timestamp, static_cast<long long>(std::time(nullptr)));
}

std::string RecoverFromCrashDialog::formatTimeAgo(long long timestamp, long long now) {
    if (timestamp <= 0 || timestamp > now)
        return "unknown time";
    const long long age = now - timestamp;
    if (age < 60)
        return countOf(age, "second");
    if (age < 3600)
        return countOf(age / 60, "minute");
    if (age < 86400)
        return countOf(age / 3600, "hour");
    return countOf(age / 86400, "day");
}

void RecoverFromCrashDialog::show(const std::string& projectName, long long timestamp,
                                  std::function<void()> onRecover, std::function<void()> onDiscard,
                                  bool closedNormally) {
    projectName_ = projectName;
    timestamp_ = timestamp;
    closedNormally_ = closedNormally;
    onRecover_ = std::move(onRecover);
    onDiscard_ = std::move(onDiscard);
    open_ = true;
}

std::string RecoverFromCrashDialog::getMessage() const {
    const std::string what = projectName_.empty() ? "an unsaved project" : "\"" + projectName_ + "\"";
    const std::string age = formatTimeAgo(timestamp_);
    const std::string when = age == "unknown time" ? "at an unknown time" : age;
    // Both are true of the session that left the auto-save, whichever session that was.
    const std::string how = closedNormally_
                                ? "The editor was closed while " + what + " had changes that were not saved."
                                : "The editor did not close normally while you were working on " + what + ".";
    return how + "\nAn auto-save of them was made " + when +
           ".\n\nRecover it now, or discard it? A discarded auto-save is kept aside until the next save.";
}

void RecoverFromCrashDialog::draw() {
    if (!open_ || !openPopupWhenFree(kTitle) || !beginPopupModal(kTitle, kWidth))
        return;

    ImGui::PushTextWrapPos(0.0f);
    ImGui::TextUnformatted(getMessage().c_str());
    ImGui::PopTextWrapPos();
    ImGui::Spacing();

    const ImVec2 size(scaled(kButtonWidth), 0.0f);
    const bool recover = button(kRecoverLabel, size);
    ImGui::SameLine();
    const bool discard = !recover && button(kDiscardLabel, size);
    if (!recover && !discard) {
        ImGui::EndPopup();
        return;
    }
    // Close first, then answer: the answer may load a project or bring up the template dialog.
    ImGui::CloseCurrentPopup();
    ImGui::EndPopup();
    open_ = false;
    std::function<void()> callback = std::move(recover ? onRecover_ : onDiscard_);
    onRecover_ = nullptr;
    onDiscard_ = nullptr;
    if (callback)
        callback();
}

} // namespace Lumenda3D
