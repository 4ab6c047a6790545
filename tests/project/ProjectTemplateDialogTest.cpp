// The New Project dialog: the server's list replaces the built-in one only when it is a usable
// list, a click on a card starts that template once and closes the dialog, and Escape starts
// nothing.
#include "PanelTestSupport.h"

#include "project/ProjectTemplateDialog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

TEST(ProjectTemplateListTest, OnlyAJsonArrayIsAListAndEntriesWithoutAnIdAreLeftOut) {
    std::vector<ProjectTemplate> list;
    EXPECT_FALSE(ProjectTemplateDialog::parseTemplates("<html>502 Bad Gateway</html>", list));
    EXPECT_FALSE(ProjectTemplateDialog::parseTemplates(R"({"id": "1"})", list));
    ASSERT_TRUE(ProjectTemplateDialog::parseTemplates(
        R"([{"id": "10401", "name": "Simple Project", "description": "d", "picture": "/p.jpg"},
            {"name": "no id"}, 7, {"id": "shooter", "name": 3}])",
        list));
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].id, "10401");
    EXPECT_EQ(list[0].picture, "/p.jpg");
    // A name of the wrong type is not taken; the card still has something to show.
    EXPECT_EQ(list[1].name, "shooter");
}

TEST(ProjectTemplateListTest, TheBuiltInListStartsWithTheEmptyAndTheSimpleProject) {
    const std::vector<ProjectTemplate> list = ProjectTemplateDialog::createDefaultTemplates();
    ASSERT_GE(list.size(), 2u);
    EXPECT_EQ(list[0].id, "empty");
    EXPECT_EQ(list[1].id, "simple");
}

class ProjectTemplateDialogTest : public PanelTest {
protected:
    ProjectTemplateDialogTest() {
        dialog.setFetcher([this](ProjectTemplateDialog::FetchDone done) { fetchDone = std::move(done); });
        dialog.setOnTemplateSelected([this](const ProjectTemplate& t) { chosen.push_back(t.id); });
    }
    ProjectTemplateDialog dialog;
    std::function<void()> draw = [this] { dialog.draw(); };
    ProjectTemplateDialog::FetchDone fetchDone;
    std::vector<std::string> chosen;
};

TEST_F(ProjectTemplateDialogTest, TheServersListReplacesTheBuiltInOneAndACardStartsItsTemplate) {
    dialog.show();
    ui.frame(draw);
    ASSERT_TRUE(fetchDone);
    const ProjectTemplate shooter{"shooter", "Shooter", "Aim and fire", "", "Starter"};
    fetchDone(true, {shooter}, "");
    ASSERT_EQ(dialog.getTemplates().size(), 1u);
    clickItem(dialog, ProjectTemplateDialog::cardLabel(shooter), draw);
    EXPECT_EQ(chosen, std::vector<std::string>{"shooter"});
    EXPECT_FALSE(dialog.isOpen());
    ui.frame(draw);
    EXPECT_FALSE(isPopupOpen(ProjectTemplateDialog::kTitle));
}

TEST_F(ProjectTemplateDialogTest, AFailedFetchKeepsTheBuiltInListAndSaysSo) {
    dialog.show();
    fetchDone(false, {}, "Failed to fetch templates. (Status: 500)");
    EXPECT_EQ(dialog.getTemplates().size(), ProjectTemplateDialog::createDefaultTemplates().size());
    EXPECT_EQ(dialog.getStatusMessage(), "Failed to fetch templates. (Status: 500)");
    // An empty list from the server leaves the built-in one too.
    dialog.show();
    fetchDone(true, {}, "");
    EXPECT_EQ(dialog.getTemplates().size(), ProjectTemplateDialog::createDefaultTemplates().size());
}

TEST_F(ProjectTemplateDialogTest, EscapeStartsNothingAndALateListIsIgnored) {
    dialog.show();
    ProjectTemplateDialog::FetchDone first = fetchDone;
    ui.frame(draw);
    ui.frame(draw);
    pressKey(Lumenda3D::test::kKeyEscape, draw);
    EXPECT_FALSE(dialog.isOpen());
    EXPECT_TRUE(chosen.empty());
    // The answer to an earlier opening does not replace the list of the current one.
    dialog.show();
    first(true, {{"old", "Old", "", "", ""}}, "");
    EXPECT_NE(dialog.getTemplates().front().id, "old");
}

} // namespace
