#include "project/SaveProjectDialog.h"

#include "services/LocalStorage.h"

namespace Lumenda3D {

namespace {
constexpr float kWidth = 460.0f;
constexpr float kButtonWidth = 110.0f;

size_t codePoints(const std::string& text) {
    size_t count = 0;
    for (unsigned char c : text)
        if ((c & 0xC0) != 0x80)
            ++count;
    return count;
}
} // namespace

SaveProjectDialog::SaveProjectDialog(const std::string& name) : ProjectDialog(name) {}

bool SaveProjectDialog::isValidProjectName(const std::string& name) {
    return LocalStorage::isValidProjectName(name);
}

std::string SaveProjectDialog::nameProblem(const std::string& name) {
    if (isValidProjectName(name))
        return "";
    if (name.empty())
        return "Enter a name for the project.";
    if (codePoints(name) > LocalStorage::kMaxProjectNameLength)
        return "The name is too long: at most " + std::to_string(LocalStorage::kMaxProjectNameLength) +
               " characters.";
    for (unsigned char c : name)
        if (c < 0x20 || c == 0x7F || std::string("/\\<>:\"|?*").find(static_cast<char>(c)) != std::string::npos)
            return "A name cannot contain / \\ < > : \" | ? * or control characters.";
    const char first = name.front(), last = name.back();
    if (first == ' ' || first == '.' || last == ' ' || last == '.')
        return "A name cannot begin or end with a space or a dot.";
    return "\"" + name + "\" cannot be used as a name: this computer reserves it for a device.";
}

void SaveProjectDialog::show(const std::string& name, Target target, const std::string& title,
                             bool allowTargetChoice, const std::string& buttonLabel) {
    name_ = name;
    target_ = target;
    title_ = title;
    allowTargetChoice_ = allowTargetChoice;
    buttonLabel_ = buttonLabel.empty() ? "Save" : buttonLabel;
    status_.clear();
    busy_ = false;
    open_ = true;
    focusName_ = true;
}

void SaveProjectDialog::hide() {
    open_ = false;
    busy_ = false;
}

void SaveProjectDialog::reopen(const std::string& status) {
    status_ = status;
    busy_ = false;
    open_ = true;
    focusName_ = true;
}

void SaveProjectDialog::confirm() {
    const std::string problem = nameProblem(name_);
    if (!problem.empty()) {
        status_ = problem;
        focusName_ = true;
        return;
    }
    busy_ = true;
    status_ = "Saving...";
    if (onSave_)
        onSave_(name_, target_);
}

void SaveProjectDialog::draw() {
    if (!beginFrame(title_ + kPopupId, kWidth))
        return;

    bool confirmed = false;
    ImGui::TextUnformatted("Name");
    if (focusName_) {
        ImGui::SetKeyboardFocusHere();
        focusName_ = false;
    }
    ImGui::SetNextItemWidth(-1.0f);
    const ImGuiInputTextFlags nameFlags = ImGuiInputTextFlags_EnterReturnsTrue |
                                          (busy_ ? ImGuiInputTextFlags_ReadOnly : ImGuiInputTextFlags_None);
    if (inputText(kNameField, name_, nameFlags))
        confirmed = true;

    if (allowTargetChoice_) {
        ImGui::Spacing();
        ImGui::TextUnformatted("Save to");
        ImGui::SameLine();
        if (busy_)
            ImGui::BeginDisabled();
        if (ImGui::RadioButton(kCloudChoice, target_ == Target::Cloud))
            target_ = Target::Cloud;
        recordItem(kCloudChoice);
        ImGui::SameLine();
        if (ImGui::RadioButton(kLocalChoice, target_ == Target::Local))
            target_ = Target::Local;
        recordItem(kLocalChoice);
        if (busy_)
            ImGui::EndDisabled();
    }

    if (!status_.empty())
        ImGui::Spacing();
    drawStatus(status_, busy_);
    ImGui::Spacing();

    // Enter confirms from anywhere in the dialog, not only from the name field.
    const Answer answer = buttonRow(confirmButtonLabel(), kCancelLabel, kButtonWidth, busy_);
    confirmed = confirmed || answer.confirmed;

    if (answer.cancelled) {
        // A cloud call on its way still finishes; only the dialog goes.
        hide();
    } else if (confirmed && !busy_) {
        confirm();
    }
    endFrame();
}

} // namespace Lumenda3D
