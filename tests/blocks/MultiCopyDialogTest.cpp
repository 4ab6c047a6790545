// The dialog that asks how many copies the gizmo's copy makes, as a person uses it: the count
// field has the keyboard, Enter or "Copy" runs the copy once with the count, Escape or "Cancel"
// runs nothing, and counts outside 1..100 are brought within.
#include "PanelTestSupport.h"

#include "blocks/MultiCopyDialog.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class MultiCopyDialogTest : public PanelTest {
protected:
    void open() {
        dialog.show([this](int count) { counts.push_back(count); });
        ui.frame(draw);
        ui.frame(draw);
        ui.frame(draw);
    }
    // Types into the field, which selects its whole text when it takes the keyboard.
    void typeCount(const std::string& text) {
        ui.type(text);
        ui.frame(draw);
        ui.frame(draw);
    }
    bool popupOpen() const { return isPopupOpen(MultiCopyDialog::kTitle); }

    MultiCopyDialog dialog;
    std::function<void()> draw = [this] { dialog.draw(); };
    std::vector<int> counts;
};

TEST_F(MultiCopyDialogTest, ACountTypedAndEnterRunsTheCopyOnceAndCloses) {
    open();
    ASSERT_TRUE(popupOpen());
    typeCount("4");
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    EXPECT_EQ(counts, std::vector<int>{4});
    EXPECT_FALSE(dialog.isOpen());
    ui.frame(draw);
    EXPECT_FALSE(popupOpen());
    // Further frames and keys run nothing more.
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    EXPECT_EQ(counts.size(), 1u);

    // The next gesture starts from the count chosen last; the button works like Enter.
    open();
    EXPECT_EQ(dialog.getCount(), 4);
    clickItem(dialog, MultiCopyDialog::kCopyLabel, draw);
    EXPECT_EQ(counts, (std::vector<int>{4, 4}));
}

TEST_F(MultiCopyDialogTest, EscapeAndCancelMakeNoCopy) {
    open();
    typeCount("7");
    pressKey(Lumenda3D::test::kKeyEscape, draw);
    EXPECT_TRUE(counts.empty());
    EXPECT_FALSE(dialog.isOpen());

    open();
    clickItem(dialog, MultiCopyDialog::kCancelLabel, draw);
    EXPECT_TRUE(counts.empty());
    EXPECT_FALSE(dialog.isOpen());
    // Hidden by the editor while open: the waiting copy is dropped with it.
    open();
    dialog.hide();
    ui.frame(draw);
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    EXPECT_TRUE(counts.empty());
    EXPECT_FALSE(popupOpen());
}

TEST_F(MultiCopyDialogTest, CountsOutsideTheRangeAreBroughtWithinIt) {
    open();
    typeCount("1000");
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    open();
    typeCount("0");
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    open();
    typeCount("-3");
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    EXPECT_EQ(counts, (std::vector<int>{MultiCopyDialog::kMaxCount, 1, 1}));
}

TEST_F(MultiCopyDialogTest, ASecondGestureWhileOpenReplacesTheWaitingCopy) {
    std::vector<int> first;
    dialog.show([&first](int count) { first.push_back(count); });
    ui.frame(draw);
    open();
    typeCount("3");
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    EXPECT_TRUE(first.empty());
    EXPECT_EQ(counts, std::vector<int>{3});
}

} // namespace
