// The pictures of the project dialogs' lists: each list entry asks for its picture once, by the
// address its list gives (a template's picture, a cloud project's thumbnail), while the lists stay
// clickable; answers that come after the list was cleared or the pictures were gone change nothing.
// The pictures themselves (decoding, textures) are seen under Xvfb (tests/core, projects-local).
#include "PanelTestSupport.h"

#include "project/OpenResourceDialog.h"
#include "project/ProjectPictures.h"
#include "project/ProjectTemplateDialog.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class ProjectPicturesTest : public PanelTest {
protected:
    ProjectPicturesTest() {
        pictures->setFetch([this](const std::string& address, std::function<void(const std::string&)> done) {
            asked.push_back(address);
            answers[address] = std::move(done);
        });
    }
    std::shared_ptr<ProjectPictures> pictures = std::make_shared<ProjectPictures>();
    std::vector<std::string> asked;
    std::map<std::string, std::function<void(const std::string&)>> answers;
};

TEST_F(ProjectPicturesTest, EachTemplateCardAsksForItsPictureOnceAndStaysClickable) {
    ProjectTemplateDialog dialog;
    dialog.setPictures(pictures);
    std::vector<std::string> chosen;
    dialog.setOnTemplateSelected([&](const ProjectTemplate& t) { chosen.push_back(t.id); });
    auto draw = [&] { dialog.draw(); };
    dialog.show();
    for (int i = 0; i < 5; ++i)
        ui.frame(draw);

    std::vector<std::string> expected;
    for (const ProjectTemplate& t : ProjectTemplateDialog::createDefaultTemplates())
        expected.push_back(t.picture);
    EXPECT_EQ(asked, expected);
    EXPECT_EQ(pictures->pendingCount(), expected.size());

    // A missing picture and a picture that isn't one: the card keeps its frame, nothing is asked again.
    answers.at(expected[0])("");
    answers.at(expected[1])("<html>not found</html>");
    ui.frame(draw);
    EXPECT_EQ(pictures->remote(expected[0]).id, nullptr);
    EXPECT_EQ(pictures->remote(expected[1]).id, nullptr);

    clickItem(dialog, ProjectTemplateDialog::cardLabel(dialog.getTemplates()[1]), draw);
    EXPECT_EQ(chosen, std::vector<std::string>{"simple"});
    EXPECT_EQ(asked.size(), expected.size());
}

TEST_F(ProjectPicturesTest, TheOpenDialogAsksForCloudThumbnailsAndForgetsThemWhenShownAgain) {
    OpenResourceDialog dialog;
    dialog.setPictures(pictures);
    OpenResourceDialog::CloudListDone listDone;
    dialog.setLocalProjects([] { return std::vector<std::string>(); });
    dialog.setCloudLister([&](OpenResourceDialog::CloudListDone done) { listDone = std::move(done); });
    std::vector<std::string> opened;
    dialog.setOnOpenCloud([&](const std::string& id, OpenResourceDialog::Done) { opened.push_back(id); });
    auto draw = [&] { dialog.draw(); };
    dialog.show();
    ui.frame(draw);
    ASSERT_TRUE(listDone);
    listDone(true, {{"12", "Castle", "/api/resources/12/thumbnail"}, {"13", "No picture", ""}}, "");
    for (int i = 0; i < 3; ++i)
        ui.frame(draw);
    // An entry without an address asks nothing.
    EXPECT_EQ(asked, std::vector<std::string>{"/api/resources/12/thumbnail"});

    // The entry beside its picture is still the one a click chooses.
    clickItem(dialog, OpenResourceDialog::cloudEntryLabel({"12", "Castle", ""}), draw);
    clickItem(dialog, OpenResourceDialog::kOpenLabel, draw);
    EXPECT_EQ(opened, std::vector<std::string>{"12"});

    // Shown again, the list asks afresh; the first round's late answer is dropped.
    auto late = answers.at("/api/resources/12/thumbnail");
    dialog.show();
    ui.frame(draw);
    listDone(true, {{"12", "Castle", "/api/resources/12/thumbnail"}}, "");
    ui.frame(draw);
    EXPECT_EQ(asked.size(), 2u);
    late("\x89PNG not really");
    EXPECT_EQ(pictures->pendingCount(), 1u);  // only the second round's fetch
    answers.at("/api/resources/12/thumbnail")("");
    EXPECT_EQ(asked.size(), 2u);
}

TEST_F(ProjectPicturesTest, AnswersAfterThePicturesAreGoneAreDropped) {
    std::function<void(const std::string&)> done;
    {
        ProjectPictures gone;
        gone.setFetch([&](const std::string&, std::function<void(const std::string&)> d) { done = std::move(d); });
        EXPECT_EQ(gone.remote("/files/a.jpg").id, nullptr);
        EXPECT_EQ(gone.remote("").id, nullptr);
        EXPECT_EQ(gone.pendingCount(), 1u);
    }
    ASSERT_TRUE(done);
    done("bytes");  // nothing to reach, nothing happens

    // Without a fetcher a picture is given up at once.
    ProjectPictures alone;
    EXPECT_EQ(alone.remote("/files/b.jpg").id, nullptr);
    EXPECT_EQ(alone.pendingCount(), 1u);  // its empty bytes wait for the cache's next batch
}

} // namespace
