#pragma once
// Asks how many copies the gizmo's copy should make. Ctrl held as a copy drag ends asks for a
// count; the dialog opens with the last count chosen, the field has the keyboard, Enter or
// "Copy" runs the copy with it, Escape or "Cancel" makes none. The count is kept within
// [1, kMaxCount]: a run of copies is one undo step, and a typo such as 1000 would fill the scene.
#include <functional>
#include <string>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class MultiCopyDialog : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "multiCopyDialog";
    static constexpr const char* kTitle = "Copies###multiCopyDialog";
    static constexpr const char* kCountField = "##multiCopyCount";
    static constexpr const char* kCopyLabel = "Copy##multiCopy";
    static constexpr const char* kCancelLabel = "Cancel##multiCopy";
    static constexpr int kMaxCount = 100;

    using OnCount = std::function<void(int)>;

    explicit MultiCopyDialog(const std::string& name = kName);

    void draw() override;

    // Opens the dialog; `onCount` runs once with the chosen count, never when cancelled. A second
    // show while open replaces the waiting copy (the newer gesture is the one the person meant).
    void show(OnCount onCount);
    void hide();

    bool isOpen() const { return open_; }
    int getCount() const { return count_; }

private:
    bool open_ = false;
    bool shown_ = false;
    bool focusCount_ = false;
    int count_ = 2;
    OnCount onCount_;
};

} // namespace Lumenda3D
