// The modal dialogs of the chrome: errors queue and leave with OK, questions call exactly the
// answer's callback once, and two dialogs with something to show never take each other's place.
#include "PanelTestSupport.h"

#include "chrome/ChromePanels.h"
#include "ui/ConfirmDialog.h"
#include "chrome/ErrorDialog.h"
#include "ui/AllUI.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class DialogsTest : public PanelTest {
protected:
    std::shared_ptr<AllUI> all = [] {
        auto ui = std::make_shared<AllUI>();
        registerChromePanels(*ui);
        return ui;
    }();
    ErrorDialog& errors = *all->getPanel<ErrorDialog>();
    ConfirmDialog& confirm = *all->getPanel<ConfirmDialog>();
    std::function<void()> draw = [this] { all->draw(); };
    std::vector<std::string> answers;
    std::function<void()> note(const std::string& answer) {
        return [this, answer] { answers.push_back(answer); };
    }
};

TEST_F(DialogsTest, ErrorsQueueAndLeaveOneByOne) {
    errors.show("Invalid XML");
    errors.show("Invalid XML");  // the same failure again is not a second message
    errors.show("Could not open project 7: timeout");
    EXPECT_EQ(errors.getPendingCount(), 2u);

    clickItem(errors, ErrorDialog::kOkLabel, draw);
    EXPECT_EQ(errors.getCurrentText(), "Could not open project 7: timeout");
    ui.frame(draw);
    ui.frame(draw);
    EXPECT_TRUE(isPopupOpen(ErrorDialog::kTitle));

    pressKey(Lumenda3D::test::kKeyEnter, draw);
    EXPECT_FALSE(errors.isOpen());
    ui.frame(draw);
    EXPECT_FALSE(isPopupOpen(ErrorDialog::kTitle));
}

TEST_F(DialogsTest, EachAnswerCallsItsOwnCallbackOnce) {
    confirm.show("Warning", "This cannot be undone. Continue?", note("clear"), "Clear", note("cancel"));
    clickItem(confirm, confirm.confirmButtonLabel(), draw);
    ui.frame(draw);
    EXPECT_EQ(answers, std::vector<std::string>{"clear"});
    EXPECT_FALSE(confirm.isOpen());

    confirm.show("Close Project", "You have unsaved changes in \"Kart\".\nSave before closing?", note("save"), "Save",
                 note("dont"), "Don't Save", note("cancel"));
    EXPECT_EQ(confirm.secondButtonLabel(), "Don't Save##confirmDialogSecond");
    clickItem(confirm, confirm.secondButtonLabel(), draw);
    confirm.show("Unsaved changes", "Your changes will be lost.", note("exit"), "Exit", note("cancel"));
    clickItem(confirm, ConfirmDialog::kCancelLabel, draw);
    confirm.show("New conversation", "Start a new conversation?", note("start"), "Start new", note("cancel"));
    ui.frame(draw);
    ui.frame(draw);
    pressKey(Lumenda3D::test::kKeyEscape, draw);
    ui.frame(draw);
    EXPECT_EQ(answers, (std::vector<std::string>{"clear", "dont", "cancel", "cancel"}));
    EXPECT_FALSE(confirm.isOpen());

    // A question asked from an answer comes up next.
    confirm.show("First", "One?", [this] { confirm.show("Second", "Two?", note("second")); });
    clickItem(confirm, confirm.confirmButtonLabel(), draw);
    ui.frame(draw);
    ui.frame(draw);
    EXPECT_EQ(confirm.getCurrentTitle(), "Second");
    EXPECT_TRUE(isPopupOpen("Second###confirmDialog"));
}

TEST_F(DialogsTest, ADialogWaitsWhileAnotherIsOnScreen) {
    confirm.show("Unpublish game", "The game will be removed from the site.", note("unpublish"), "Unpublish");
    errors.show("Please save the project before unpublishing.");
    for (int i = 0; i < 4; ++i)
        ui.frame(draw);
    // The error dialog is drawn first, so it came up first; the question waits, not lost.
    EXPECT_TRUE(isPopupOpen(ErrorDialog::kTitle));
    EXPECT_FALSE(isDrawn(confirm, confirm.confirmButtonLabel()));

    clickItem(errors, ErrorDialog::kOkLabel, draw);
    clickItem(confirm, confirm.confirmButtonLabel(), draw);
    EXPECT_EQ(answers, std::vector<std::string>{"unpublish"});
}

} // namespace
