#pragma once
// Asks the person, once for all conflicts, whose side to keep when the assistant's changes and the
// edits they made while it was thinking touch the same things. The answer is a winner of
// XmlMerge: 1 the assistant's changes, 2 the person's, 3 cancel (the assistant's are discarded).
#include <functional>
#include <string>
#include <vector>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class MergeConflictDialog : public BaseUI {
public:
    static constexpr const char* kName = "mergeConflictDialog";
    using Callback = std::function<void(int winner)>;

    MergeConflictDialog() : BaseUI(kName) {}

    void show(const std::vector<std::string>& labels, Callback callback);
    // Settles the conflicts: hides the dialog, then calls the callback (which may show it again).
    void choose(int winner);
    void draw() override;

    bool isVisible() const { return visible_; }
    const std::vector<std::string>& labels() const { return labels_; }

private:
    void drawPopup();

    std::vector<std::string> labels_;
    Callback callback_;
    bool visible_ = false;
    bool openRequested_ = false;
    int centreFrames_ = 0;
};

} // namespace Lumenda3D
