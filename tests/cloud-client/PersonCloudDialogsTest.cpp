// A person's cloud work through the menu and the dialogs, against the real server: Ctrl+S on a new
// project with "Cloud" chosen asks for a login in the login dialog and then creates the project;
// after a login from the top bar, the Open dialog's cloud page lists it and opens it in a fresh
// editor with its own data root; Publish puts the game on the server's gallery and Unpublish
// takes it off; a link that opens a cloud project asks for the login first; a cancelled login
// sends nothing and brings the Save dialog back as it was. Everything is typed and clicked in the dialogs.
#include "CloudClientTest.h"

#include "ui/ConfirmDialog.h"
#include "chrome/TopBar.h"
#include "core/HeadlessEditor.h"
#include "project/LoginDialog.h"
#include "project/OpenResourceDialog.h"
#include "project/PublishDialog.h"
#include "project/SaveProjectDialog.h"
#include "engine/events/LmdEvent.h"

namespace Lumenda3D::test {
namespace {

class PersonCloudDialogsTest : public CloudTestServer, public EditorTest {
protected:
    PersonCloudDialogsTest() { prepare(); }

    // The editor as it starts for a person: dialogs wired, the login dialog as the login prompt,
    // a game loaded and drawn.
    void prepare() {
        editor->setupDialogCallbacks();
        editor->setupAuthentication();
        editor->loadScript(kGame, false);
        drawFrame();
        drawFrame();
    }
    template <class Panel>
    Panel& panel() {
        return *editor->allUI->getPanel<Panel>();
    }
    std::function<void()> draw = [this] { editor->allUI->draw(); };

    // Frames (with the cloud client pumped and the editor's deferred actions run) until `done`.
    bool framesUntil(const std::function<bool()>& done) {
        return pumpUntil([&] {
            editor->step();
            drawFrame();
            return done();
        });
    }
    void typeInto(BaseUI& dialog, const std::string& label, const std::string& text) {
        clickItem(dialog, label, draw);
        ui.type(text);
        drawFrame();
    }
    void logInThroughTheDialog(const std::string& user) {
        ASSERT_TRUE(framesUntil([&] { return panel<LoginDialog>().isOpen(); })) << "no login dialog";
        typeInto(panel<LoginDialog>(), LoginDialog::kUserField, user);
        typeInto(panel<LoginDialog>(), LoginDialog::kPasswordField, "correct horse");
        clickItem(panel<LoginDialog>(), panel<LoginDialog>().confirmButtonLabel(), draw);
        ASSERT_TRUE(framesUntil([&] { return !panel<LoginDialog>().isOpen(); }))
            << panel<LoginDialog>().getStatusMessage();
    }
    // Ctrl+O, the cloud page, the project's entry, "Open".
    void openFromTheCloudPage(const std::string& id, const std::string& name) {
        ASSERT_TRUE(editor->commands.handleKey('O', true, false, false));
        OpenResourceDialog& open = panel<OpenResourceDialog>();
        ASSERT_TRUE(open.isOpen());
        clickItem(open, OpenResourceDialog::kCloudTab, draw);
        const std::string entry = OpenResourceDialog::cloudEntryLabel({id, name, ""});
        ASSERT_TRUE(framesUntil([&] { return isDrawn(open, entry) && idle(); })) << open.getStatusMessage();
        clickItem(open, entry, draw);
        clickItem(open, OpenResourceDialog::kOpenLabel, draw);
        ASSERT_TRUE(framesUntil([&] { return !open.isOpen() && idle(); })) << open.getStatusMessage();
    }
    bool toastShown(const std::string& text) {
        for (const std::string& t : toasts())
            if (t == text)
                return true;
        return false;
    }
    // Ctrl+S on the unsaved game, "Cloud" chosen, a login in between: the cloud project's id.
    std::string saveToTheCloudAs(const std::string& name) {
        EXPECT_TRUE(editor->commands.handleKey('S', true, false, false));
        SaveProjectDialog& save = panel<SaveProjectDialog>();
        EXPECT_TRUE(save.isOpen());
        typeInto(save, SaveProjectDialog::kNameField, name);
        clickItem(save, SaveProjectDialog::kCloudChoice, draw);
        clickItem(save, save.confirmButtonLabel(), draw);
        if (!auth().isAuthenticated())
            logInThroughTheDialog("ann");
        EXPECT_TRUE(framesUntil([&] { return !save.isOpen() && idle(); })) << save.getStatusMessage();
        return editor->cloudResourceId;
    }
};

TEST_F(PersonCloudDialogsTest, CtrlSToTheCloudLogsInSavesAndTheOpenDialogBringsItBackElsewhere) {
    registerUser("ann");
    files().setAttribute(named("Crate"), "x", "31");
    const std::string id = saveToTheCloudAs("Kart");
    ASSERT_FALSE(id.empty());
    EXPECT_TRUE(auth().isAuthenticated());
    EXPECT_EQ(title(), "Kart [Cloud]");
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_NE(api().get("/api/resources/" + id, auth().getSessionToken()).json.value("xml", "").find("x=\"31\""),
              std::string::npos);

    // The next start, in another data root with no stored login: the Open dialog's cloud page
    // asks for the login, lists the project, and opens it.
    editor.reset();
    auth().setHttpClient(nullptr);
    TestDataRoot secondRoot;
    auth().reload();
    ASSERT_FALSE(auth().isAuthenticated());
    editor = std::make_unique<HeadlessEditor>();
    editor->setupEditorCore();
    editor->setupEditorUI();
    editor->setupMenuCallbacks();
    editor->sourceFiles->setAutoSaveEnabled(false);
    prepare();
    clickItem(panel<TopBar>(), TopBar::kLoginLabel, draw);
    logInThroughTheDialog("ann");
    openFromTheCloudPage(id, "Kart");
    EXPECT_EQ(editor->cloudResourceId, id);
    EXPECT_EQ(title(), "Kart [Cloud]");
    EXPECT_EQ(std::string(named("Crate").attribute("x").value()), "31");
    EXPECT_FALSE(editor->isProjectDirty());
}

TEST_F(PersonCloudDialogsTest, CancellingTheLoginSendsNothingAndBringsBackTheSaveDialogAsTyped) {
    const std::string token = registerUser("ann");
    files().setAttribute(named("Crate"), "x", "32");
    ASSERT_TRUE(editor->commands.handleKey('S', true, false, false));
    SaveProjectDialog& save = panel<SaveProjectDialog>();
    typeInto(save, SaveProjectDialog::kNameField, "Kart");
    clickItem(save, SaveProjectDialog::kCloudChoice, draw);
    clickItem(save, save.confirmButtonLabel(), draw);
    ASSERT_TRUE(framesUntil([&] { return panel<LoginDialog>().isOpen(); }));
    clickItem(panel<LoginDialog>(), LoginDialog::kCancelLabel, draw);
    for (int i = 0; i < 5; ++i)
        drawFrame();
    EXPECT_FALSE(panel<LoginDialog>().isOpen());
    EXPECT_EQ(editor->cloudResourceId, "");
    EXPECT_TRUE(editor->isProjectDirty());
    EXPECT_EQ(api().get("/api/resources", token).json["total"], 0);
    // The dialog that asked for the login is back with what was typed and says why.
    ASSERT_TRUE(save.isOpen());
    EXPECT_FALSE(save.isBusy());
    EXPECT_EQ(save.getNameText(), "Kart");
    EXPECT_EQ(save.getTarget(), SaveProjectDialog::Target::Cloud);
    EXPECT_EQ(save.getStatusMessage(), Lumenda3DEditor::kSaveNeedsLogin);
    // Another target from there saves without a login.
    clickItem(save, SaveProjectDialog::kLocalChoice, draw);
    clickItem(save, save.confirmButtonLabel(), draw);
    ASSERT_TRUE(framesUntil([&] { return !save.isOpen(); })) << save.getStatusMessage();
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_EQ(editor->localProjectName, "Kart");
}

TEST_F(PersonCloudDialogsTest, PublishFromTheMenuPutsTheGameInTheGalleryAndUnpublishTakesItOut) {
    registerUser("ann");
    const std::string id = saveToTheCloudAs("Kart");
    ASSERT_FALSE(id.empty());
    ASSERT_TRUE(editor->commands.execute("project.publish"));
    PublishDialog& publish = panel<PublishDialog>();
    ASSERT_TRUE(publish.isOpen());
    typeInto(publish, PublishDialog::kDescriptionField, "Race the crates");
    clickItem(publish, PublishDialog::kPublishLabel, draw);
    ASSERT_TRUE(framesUntil([&] { return !publish.isOpen() && idle(); })) << publish.getStatusMessage();
    EXPECT_TRUE(toastShown("Game published!"));
    const Cloud::test::Reply gallery = api().get("/gallery");
    EXPECT_EQ(gallery.status, 200);
    EXPECT_NE(gallery.body.find("Kart"), std::string::npos);
    const Cloud::test::Reply page = api().get("/games/" + id);
    EXPECT_EQ(page.status, 200);
    EXPECT_NE(page.body.find("Race the crates"), std::string::npos);

    // The published state comes with the project's metadata: until it is opened again, Unpublish
    // says the project is not published.
    ASSERT_TRUE(editor->commands.execute("project.unpublish"));
    EXPECT_TRUE(toastShown("Project is not published."));
    openFromTheCloudPage(id, "Kart");
    ASSERT_TRUE(editor->commands.execute("project.unpublish"));
    ConfirmDialog& question = panel<ConfirmDialog>();
    clickItem(question, question.confirmButtonLabel(), draw);
    ASSERT_TRUE(framesUntil([&] { return toastShown("Project unpublished.") && idle(); }));
    EXPECT_EQ(api().get("/games/" + id).status, 404);
    EXPECT_EQ(api().get("/gallery").body.find("Kart"), std::string::npos);
}

TEST_F(PersonCloudDialogsTest, ALinkToACloudProjectAsksForTheLoginFirstThenOpensIt) {
    const std::string token = registerUser("ann");
    const std::string id = api().createProject(token, "Shared", kGame);
    // What a second start hands over for "Lumenda3DApp://open?resId=<id>".
    editor->onInstanceReactivated(std::make_shared<LmdTextEvent>(LmdEventInstanceReactivated, "resId=" + id));
    logInThroughTheDialog("ann");
    ASSERT_TRUE(framesUntil([&] { return editor->cloudResourceId == id && idle(); })) << errorText();
    EXPECT_EQ(title(), "Shared [Cloud]");
    EXPECT_EQ(errorText(), "");
}

} // namespace
} // namespace Lumenda3D::test
