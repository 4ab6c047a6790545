#pragma once
// The Save As dialog, also used to save a project as a plugin (and back) and to rename a cloud
// project: a name field (with the keyboard on it when the dialog opens), the choice between the
// cloud and this computer when the caller allows it, a status line, and the confirming button
// and "Cancel". Enter confirms, Escape cancels.
//
// A name that cannot be a project's name is refused in the dialog, with the reason. A confirmed
// name goes to the save callback and the dialog becomes busy: the button is greyed out and the
// status line shows the progress, until the editor either hides the dialog (success) or clears
// the busy flag after writing the reason on the status line (failure; the person may try again).
#include <functional>
#include <string>

#include "project/ProjectDialog.h"

namespace Lumenda3D {

class SaveProjectDialog : public ProjectDialog {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "saveProjectDialog";
    static constexpr const char* kPopupId = "###saveProjectDialog";
    static constexpr const char* kNameField = "##saveProjectName";
    static constexpr const char* kCloudChoice = "Cloud##saveProjectTarget";
    static constexpr const char* kLocalChoice = "This computer##saveProjectTarget";
    static constexpr const char* kConfirmId = "##saveProjectConfirm";
    static constexpr const char* kCancelLabel = "Cancel##saveProjectCancel";

    enum class Target { Cloud = 0, Local = 1 };

    explicit SaveProjectDialog(const std::string& name = kName);

    void draw() override;

    void show(const std::string& name, Target target, const std::string& title, bool allowTargetChoice,
              const std::string& buttonLabel);
    void hide();
    // Shows the hidden dialog again as it was (name, target, title), with `status` in it.
    void reopen(const std::string& status);
    void setStatusMessage(const std::string& message) { status_ = message; }
    void clearBusy() { busy_ = false; }
    // Called with the name and the target when the person confirms a valid name.
    void setOnSave(std::function<void(const std::string&, Target)> callback) { onSave_ = std::move(callback); }

    // A name a project may have, in the cloud and as a folder of this computer.
    static bool isValidProjectName(const std::string& name);
    // Why a name is refused, in the dialog's words; "" for a valid name.
    static std::string nameProblem(const std::string& name);

    bool isBusy() const { return busy_; }
    const std::string& getStatusMessage() const { return status_; }
    const std::string& getTitle() const { return title_; }
    const std::string& getNameText() const { return name_; }
    Target getTarget() const { return target_; }
    // The confirming button's widget label, for input that aims at it.
    std::string confirmButtonLabel() const { return buttonLabel_ + kConfirmId; }

private:
    void confirm();

    bool focusName_ = false;
    bool busy_ = false;
    bool allowTargetChoice_ = true;
    Target target_ = Target::Cloud;
    std::string title_;
    std::string name_;
    std::string buttonLabel_ = "Save";
    std::string status_;
    std::function<void(const std::string&, Target)> onSave_;
};

} // namespace Lumenda3D
