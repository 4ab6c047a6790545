// The Save dialog as a person uses it: typing a name and pressing Enter, choosing the target,
// refused names explained in the dialog, the busy state while a save is on its way, and Escape.
#include "PanelTestSupport.h"

#include "project/SaveProjectDialog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class SaveProjectDialogTest : public PanelTest {
protected:
    SaveProjectDialogTest() {
        dialog.setOnSave([this](const std::string& name, SaveProjectDialog::Target target) {
            saved.push_back(name);
            targets.push_back(target);
        });
    }
    // The dialog opened and shown; the keyboard is on the name field then.
    void open(const std::string& name, bool allowTargetChoice = true) {
        dialog.show(name, SaveProjectDialog::Target::Cloud, "Save Project As", allowTargetChoice, "Save");
        ui.frame(draw);
        ui.frame(draw);
        ui.frame(draw);
    }

    SaveProjectDialog dialog;
    std::function<void()> draw = [this] { dialog.draw(); };
    std::vector<std::string> saved;
    std::vector<SaveProjectDialog::Target> targets;
};

TEST_F(SaveProjectDialogTest, TypingANameAndEnterSavesItOnceAndTheDialogWaits) {
    open("");
    ui.type("Stairs");
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    ASSERT_EQ(saved, std::vector<std::string>{"Stairs"});
    EXPECT_EQ(targets.front(), SaveProjectDialog::Target::Cloud);
    EXPECT_TRUE(dialog.isBusy());
    EXPECT_EQ(dialog.getStatusMessage(), "Saving...");
    // While busy, neither Enter nor the button saves a second time.
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    clickItem(dialog, dialog.confirmButtonLabel(), draw);
    EXPECT_EQ(saved.size(), 1u);
    // A failure leaves the dialog open with the reason; the person may try again.
    dialog.setStatusMessage("Save failed: server unreachable");
    dialog.clearBusy();
    clickItem(dialog, dialog.confirmButtonLabel(), draw);
    EXPECT_EQ(saved.size(), 2u);
    // Success hides it, and its popup goes with it.
    dialog.hide();
    ui.frame(draw);
    ui.frame(draw);
    EXPECT_FALSE(isPopupOpen((std::string("Save Project As") + SaveProjectDialog::kPopupId).c_str()));
}

TEST_F(SaveProjectDialogTest, TheTargetChoiceIsOfferedOnlyWhenAllowed) {
    open("Stairs");
    clickItem(dialog, SaveProjectDialog::kLocalChoice, draw);
    clickItem(dialog, dialog.confirmButtonLabel(), draw);
    ASSERT_EQ(targets.size(), 1u);
    EXPECT_EQ(targets.front(), SaveProjectDialog::Target::Local);

    dialog.hide();
    open("Stairs", false);
    EXPECT_FALSE(isDrawn(dialog, SaveProjectDialog::kLocalChoice));
}

TEST_F(SaveProjectDialogTest, BadNamesAreExplainedInTheDialogAndNotSaved) {
    const std::vector<std::string> bad = {"", "a/b", "..", "say \"hi\"", " lead", "CON", std::string(300, 'x')};
    for (const std::string& name : bad) {
        EXPECT_FALSE(SaveProjectDialog::isValidProjectName(name)) << name;
        EXPECT_FALSE(SaveProjectDialog::nameProblem(name).empty()) << name;
    }
    open("a/b");
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    EXPECT_TRUE(saved.empty());
    EXPECT_FALSE(dialog.isBusy());
    EXPECT_EQ(dialog.getStatusMessage(), SaveProjectDialog::nameProblem("a/b"));
    EXPECT_NE(dialog.getStatusMessage().find('/'), std::string::npos);
    // Names of any script, emoji and inner punctuation are fine.
    for (const std::string& name : {std::string("Tür 2"), std::string("\xF0\x9F\x8E\xAE game"),
                                    std::string("v1.2 (final)")})
        EXPECT_TRUE(SaveProjectDialog::isValidProjectName(name)) << name;
}

TEST_F(SaveProjectDialogTest, EscapeCancelsWithoutSaving) {
    open("Stairs");
    pressKey(Lumenda3D::test::kKeyEscape, draw);
    EXPECT_FALSE(dialog.isOpen());
    EXPECT_TRUE(saved.empty());
    ui.frame(draw);
    EXPECT_FALSE(isPopupOpen((std::string("Save Project As") + SaveProjectDialog::kPopupId).c_str()));
}

} // namespace
