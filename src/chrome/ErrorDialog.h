#pragma once
// The modal error dialog: user-level failures ("Invalid XML", a failed save, ...). Messages queue:
// each show adds one, the dialog shows the oldest, and OK (or Enter, or Escape) takes it away and
// brings up the next. A message equal to the last one queued is not queued again, so a failure
// that repeats does not make the user click through copies.
#include <deque>
#include <string>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class ErrorDialog : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "errorDialog";
    static constexpr const char* kTitle = "Error###errorDialog";
    static constexpr const char* kOkLabel = "OK##errorDialog";
    static constexpr const char* kCopyLabel = "Copy##errorDialog";

    explicit ErrorDialog(const std::string& name = kName);

    void draw() override;

    void show(const std::string& text);
    bool isOpen() const { return !queue_.empty(); }
    // The message on screen (the oldest one); empty when none.
    std::string getCurrentText() const { return queue_.empty() ? std::string() : queue_.front(); }
    size_t getPendingCount() const { return queue_.size(); }

private:
    void dismiss();

    std::deque<std::string> queue_;
};

} // namespace Lumenda3D
