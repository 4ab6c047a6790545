// The Open Project dialog as a person uses it: a local project chosen from the list, a cloud
// project by id with the answer arriving later, failures written in the dialog while it stays
// open, and answers that arrive after the dialog was cancelled.
#include "PanelTestSupport.h"

#include "project/OpenResourceDialog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class OpenResourceDialogTest : public PanelTest {
protected:
    OpenResourceDialogTest() {
        dialog.setLocalProjects([this] { return localNames; });
        dialog.setCloudLister([this](OpenResourceDialog::CloudListDone done) { listDone = std::move(done); });
        dialog.setOnOpenLocal([this](const std::string& name, OpenResourceDialog::Done done) {
            opened.push_back("local:" + name);
            done(localError);
        });
        dialog.setOnOpenCloud([this](const std::string& id, OpenResourceDialog::Done done) {
            opened.push_back("cloud:" + id);
            cloudDone = std::move(done);
        });
    }
    void showAndSettle() {
        dialog.show();
        for (int i = 0; i < 3; ++i)
            ui.frame(draw);
    }

    OpenResourceDialog dialog;
    std::function<void()> draw = [this] { dialog.draw(); };
    std::vector<std::string> localNames = {"Castle", "Stairs"};
    std::string localError;
    std::vector<std::string> opened;
    OpenResourceDialog::CloudListDone listDone;
    OpenResourceDialog::Done cloudDone;
};

TEST_F(OpenResourceDialogTest, ALocalProjectChosenFromTheListOpensAndTheDialogCloses) {
    showAndSettle();
    EXPECT_FALSE(dialog.isCloudPage());
    // Open with nothing chosen says what to do and opens nothing.
    clickItem(dialog, OpenResourceDialog::kOpenLabel, draw);
    EXPECT_TRUE(opened.empty());
    EXPECT_FALSE(dialog.getStatusMessage().empty());
    clickItem(dialog, OpenResourceDialog::localEntryLabel("Stairs"), draw);
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    EXPECT_EQ(opened, std::vector<std::string>{"local:Stairs"});
    EXPECT_FALSE(dialog.isOpen());
}

TEST_F(OpenResourceDialogTest, ALocalProjectThatCannotOpenKeepsTheDialogWithTheReason) {
    localError = "Local project 'Castle' cannot be opened: its document is not valid XML (line 3).";
    showAndSettle();
    clickItem(dialog, OpenResourceDialog::localEntryLabel("Castle"), draw);
    clickItem(dialog, OpenResourceDialog::kOpenLabel, draw);
    EXPECT_TRUE(dialog.isOpen());
    EXPECT_FALSE(dialog.isBusy());
    EXPECT_EQ(dialog.getStatusMessage(), localError);
}

TEST_F(OpenResourceDialogTest, ACloudProjectOpensByIdWhenTheAnswerComes) {
    localNames.clear();
    showAndSettle();
    // Without local projects the dialog starts on the cloud page, and the list is on its way.
    EXPECT_TRUE(dialog.isCloudPage());
    ASSERT_TRUE(listDone);
    listDone(true, {{"12", "Castle", ""}, {"40", "Maze", ""}}, "");
    ui.frame(draw);
    ASSERT_EQ(dialog.getCloudProjects().size(), 2u);

    clickItem(dialog, OpenResourceDialog::cloudEntryLabel({"40", "Maze", ""}), draw);
    clickItem(dialog, OpenResourceDialog::kOpenLabel, draw);
    EXPECT_EQ(opened, std::vector<std::string>{"cloud:40"});
    EXPECT_TRUE(dialog.isBusy());
    // Busy: a second Open does not start a second load.
    clickItem(dialog, OpenResourceDialog::kOpenLabel, draw);
    EXPECT_EQ(opened.size(), 1u);
    ASSERT_TRUE(cloudDone);
    cloudDone("Could not open project 40: the server could not be reached");
    ui.frame(draw);
    EXPECT_TRUE(dialog.isOpen());
    EXPECT_NE(dialog.getStatusMessage().find("could not be reached"), std::string::npos);

    clickItem(dialog, OpenResourceDialog::kOpenLabel, draw);
    cloudDone("");
    ui.frame(draw);
    ui.frame(draw);
    EXPECT_FALSE(dialog.isOpen());
    EXPECT_FALSE(isPopupOpen(OpenResourceDialog::kTitle));
}

TEST_F(OpenResourceDialogTest, TypedIdsMustBeNumbersAndLateAnswersOfACancelledDialogAreIgnored) {
    localNames.clear();
    showAndSettle();
    clickItem(dialog, OpenResourceDialog::kIdField, draw);
    ui.type("7");
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    ASSERT_EQ(opened, std::vector<std::string>{"cloud:7"});
    pressKey(Lumenda3D::test::kKeyEscape, draw);
    EXPECT_FALSE(dialog.isOpen());
    // The load finishes after the person gave up: the dialog neither reopens nor shows it.
    cloudDone("Could not open project 7: timeout");
    listDone(false, {}, "Your cloud projects could not be listed: timeout");
    EXPECT_FALSE(dialog.isOpen());
    EXPECT_EQ(dialog.getStatusMessage().find("timeout"), std::string::npos);
}

} // namespace
