#pragma once
// What the project dialogs (login, open, publish, save, clear cache, templates) share: a modal
// popup centred on the display that waits until no other popup is up, that goes away with the
// dialog also when the dialog was closed between frames (a cloud call that finished), a status
// line (greyed while a call runs, red for an error), and a row of a confirming and a cancelling
// button with Enter and Escape.
//
//   if (!beginFrame(kTitle, kWidth)) return;
//   ... fields ...
//   drawStatus(status_, busy_);
//   const Answer answer = buttonRow(kOkLabel, kCancelLabel, kButtonWidth, busy_);
//   ... act on the answer (may set open_ false) ...
//   endFrame();
//
// Main thread only, from draw().
#include <memory>
#include <string>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class ProjectPictures;

class ProjectDialog : public BaseUI {
public:
    bool isOpen() const { return open_; }
    // Where the lists' pictures come from; without it every entry shows a plain frame.
    void setPictures(std::shared_ptr<ProjectPictures> pictures) { pictures_ = std::move(pictures); }

protected:
    explicit ProjectDialog(const std::string& name) : BaseUI(name) {}

    // Whether the dialog is drawn this frame; when true, endFrame must follow. A closed dialog
    // closes its popup if it was still up.
    bool beginFrame(const std::string& popupTitle, float baseWidth);
    // Ends the frame begun by beginFrame; a dialog closed meanwhile closes its popup now.
    void endFrame();

    // Nothing when `status` is empty.
    static void drawStatus(const std::string& status, bool busy);

    struct Answer {
        bool confirmed = false;
        bool cancelled = false;
    };
    // The confirming button (greyed while `busy`) and "Cancel" beside it, `baseWidth` each; Enter
    // confirms unless the dialog is busy or `enterConfirms` is false, Escape cancels.
    Answer buttonRow(const std::string& confirmLabel, const char* cancelLabel, float baseWidth, bool busy,
                     bool enterConfirms = true);
    // Escape or the cancelling button `label`, for a row of other buttons.
    bool cancelButton(const char* label, float baseWidth);

    bool open_ = false;
    std::shared_ptr<ProjectPictures> pictures_;

private:
    std::string popup_;
    bool shown_ = false;  // its popup is on screen
};

} // namespace Lumenda3D
