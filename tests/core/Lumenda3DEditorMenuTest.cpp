// The person's project operations from the menu and the keys, against the real editor object and
// local storage: Ctrl+S on a new project asks for a name and saves it locally, a failed write
// keeps the dialog, the document and the dirty state; closing and leaving ask about unsaved work;
// the Open dialog opens a local project and refuses a broken one without touching the open one;
// the auto-save switch discards the backup; a link to a cloud project without a server says so;
// Clear Cache asks twice and keeps the login; About names the version.
#include "core/HeadlessEditor.h"

#include "base/LmdPaths.h"
#include "base/LmdVersion.h"
#include "blocks/BlocksHelper.h"
#include "chrome/AboutDialog.h"
#include "ui/ConfirmDialog.h"
#include "engine/events/LmdEvent.h"
#include "project/ClearCacheDialog.h"
#include "project/LoginDialog.h"
#include "project/OpenResourceDialog.h"
#include "project/ProjectTemplateDialog.h"
#include "project/SaveProjectDialog.h"
#include "services/DataPersist.h"
#include "services/EditorSettings.h"
#include "services/LocalStorage.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

using namespace Lumenda3D;
using Lumenda3D::test::EditorTest;

namespace {

class EditorMenuTest : public EditorTest {
protected:
    EditorMenuTest() {
        editor->setupDialogCallbacks();
        editor->loadScript(kGame, false);
        // The editor's panels have been on screen before any menu command runs.
        drawFrame();
        drawFrame();
    }
    SaveProjectDialog& saveDialog() { return *editor->allUI->getPanel<SaveProjectDialog>(); }
    ConfirmDialog& question() { return *editor->allUI->getPanel<ConfirmDialog>(); }
    bool key(char letter, bool shift = false) { return editor->commands.handleKey(letter, true, shift, false); }
    std::function<void()> draw = [this] { editor->allUI->draw(); };
    // Types a name into the Save dialog that is on screen, chooses the target, and confirms.
    void answerSaveDialog(const std::string& name, bool local) {
        for (int i = 0; i < 3; ++i)
            drawFrame();
        for (size_t i = 0; i < saveDialog().getNameText().size() + 2; ++i)
            pressKey(Lumenda3D::test::kKeyBackspace, draw);
        ui.type(name);
        drawFrame();
        clickItem(saveDialog(), local ? SaveProjectDialog::kLocalChoice : SaveProjectDialog::kCloudChoice, draw);
        clickItem(saveDialog(), saveDialog().confirmButtonLabel(), draw);
    }
    std::string guidOf() {
        pugi::xml_document doc;
        doc.load_string(editor->getSourceXmlString(false, true).c_str());
        return doc.first_child().attribute("guidId").as_string();
    }
    std::string onDisk(const std::string& name) {
        std::string xml;
        LocalStorage::readProjectXml(name, xml);
        return xml;
    }
};

TEST_F(EditorMenuTest, CtrlSOnANewProjectAsksForANameThenSavesLocallyAndCtrlSSavesAgain) {
    const std::string before = editor->getSourceXmlString(false, true);
    const std::string oldGuid = guidOf();
    ASSERT_TRUE(key('S'));
    ASSERT_TRUE(saveDialog().isOpen());
    EXPECT_EQ(saveDialog().getTitle(), "Save Project As");
    answerSaveDialog("Stairs", true);
    EXPECT_FALSE(saveDialog().isOpen());
    EXPECT_EQ(editor->localProjectName, "Stairs");
    EXPECT_EQ(title(), "Stairs [Local]");
    EXPECT_FALSE(editor->isProjectDirty());
    // The copy has an identity of its own from now on; the file written by Save As holds the text
    // as it was when the person confirmed, and the next save writes the new identity.
    EXPECT_EQ(onDisk("Stairs"), before);
    EXPECT_FALSE(guidOf().empty());
    EXPECT_NE(guidOf(), oldGuid);

    files().setAttribute(named("Crate"), "x", "42");
    EXPECT_TRUE(editor->isProjectDirty());
    ASSERT_TRUE(key('S'));
    EXPECT_FALSE(saveDialog().isOpen());
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_NE(onDisk("Stairs").find("x=\"42\""), std::string::npos);
    EXPECT_EQ(onDisk("Stairs"), editor->getSourceXmlString(false, true));
    EXPECT_NE(onDisk("Stairs").find(guidOf()), std::string::npos);
}

TEST_F(EditorMenuTest, EachEmptyProjectFromTheTemplatesHasItsOwnIdentityAndIsClean) {
    ProjectTemplate empty;
    empty.id = "empty";
    empty.name = "Empty";
    editor->onTemplateSelected(empty);
    const std::string first = guidOf();
    EXPECT_FALSE(first.empty());
    EXPECT_FALSE(editor->isProjectDirty());
    editor->onTemplateSelected(empty);
    EXPECT_FALSE(guidOf().empty());
    EXPECT_NE(guidOf(), first);
    EXPECT_FALSE(editor->isProjectDirty());
}

TEST_F(EditorMenuTest, AFailedLocalWriteKeepsTheDialogTheDocumentAndTheDirtyState) {
    // The projects folder cannot be made: a file stands where it should be.
    const fs::path projects = LmdPaths::projectsDir();
    fs::remove_all(projects);
    fs::create_directories(projects.parent_path());
    std::ofstream(projects.string()) << "not a folder";
    const std::string before = editor->getSourceXmlString(false, true);

    // Twice: a second try after a failure changes nothing either (the identity Save As gives a
    // copy is taken back with the failed write).
    ASSERT_TRUE(key('S', true));
    answerSaveDialog("Stairs", true);
    EXPECT_EQ(editor->getSourceXmlString(false, true), before);
    clickItem(saveDialog(), saveDialog().confirmButtonLabel(), draw);
    EXPECT_TRUE(saveDialog().isOpen());
    EXPECT_FALSE(saveDialog().isBusy());
    EXPECT_EQ(saveDialog().getStatusMessage().rfind("Local save failed. Cannot ", 0), 0u)
        << saveDialog().getStatusMessage();
    EXPECT_TRUE(editor->localProjectName.empty());
    EXPECT_TRUE(editor->isProjectDirty());
    EXPECT_EQ(editor->getSourceXmlString(false, true), before);
}

TEST_F(EditorMenuTest, ClosingAndLeavingAskOnlyWithUnsavedWork) {
    files().setAttribute(named("Crate"), "x", "8");
    ASSERT_TRUE(editor->isProjectDirty());
    ASSERT_TRUE(editor->commands.execute("file.close"));
    ASSERT_TRUE(question().isOpen());
    EXPECT_EQ(question().getCurrentTitle(), "Close Project");
    clickItem(question(), question().secondButtonLabel(), draw);  // "Don't Save"
    EXPECT_EQ(countNamed("Crate"), 0);
    EXPECT_FALSE(editor->isProjectDirty());

    // Clean: Exit ends at once.
    ASSERT_TRUE(editor->commands.execute("file.exit"));
    EXPECT_FALSE(question().isOpen());
    EXPECT_TRUE(editor->isStopRequested());
}

TEST_F(EditorMenuTest, ExitWithUnsavedWorkWaitsForTheAnswer) {
    files().setAttribute(named("Crate"), "x", "7");
    ASSERT_TRUE(editor->commands.execute("file.exit"));
    ASSERT_TRUE(question().isOpen());
    EXPECT_EQ(question().getCurrentTitle(), "Unsaved changes");
    EXPECT_FALSE(editor->isStopRequested());
    clickItem(question(), ConfirmDialog::kCancelLabel, draw);
    EXPECT_FALSE(editor->isStopRequested());
    ASSERT_TRUE(editor->commands.execute("file.exit"));
    clickItem(question(), question().confirmButtonLabel(), draw);
    EXPECT_TRUE(editor->isStopRequested());
}

TEST_F(EditorMenuTest, TheOpenDialogOpensALocalProjectAndRefusesABrokenOne) {
    ASSERT_TRUE(LocalStorage::writeProjectXml("Castle", kGame));
    ASSERT_TRUE(LocalStorage::writeProjectXml("Broken", "<KiteBench3D><Box"));
    editor->loadScript("<KiteBench3D>\n  <Sphere name=\"Only\"/>\n</KiteBench3D>", false);
    auto& open = *editor->allUI->getPanel<OpenResourceDialog>();
    ASSERT_TRUE(key('O'));
    ASSERT_TRUE(open.isOpen());
    EXPECT_EQ(open.getLocalNames(), (std::vector<std::string>{"Broken", "Castle"}));

    clickItem(open, OpenResourceDialog::localEntryLabel("Broken"), draw);
    clickItem(open, OpenResourceDialog::kOpenLabel, draw);
    EXPECT_TRUE(open.isOpen());
    EXPECT_NE(open.getStatusMessage().find("Broken"), std::string::npos);
    EXPECT_EQ(countNamed("Only"), 1);

    clickItem(open, OpenResourceDialog::localEntryLabel("Castle"), draw);
    clickItem(open, OpenResourceDialog::kOpenLabel, draw);
    EXPECT_FALSE(open.isOpen());
    EXPECT_EQ(countNamed("Crate"), 1);
    EXPECT_EQ(title(), "Castle [Local]");
    EXPECT_FALSE(editor->isProjectDirty());
}

TEST_F(EditorMenuTest, TurningAutoSaveOffDiscardsTheBackupAndGreysOutRecovery) {
    files().setAutoSaveEnabled(true);
    ASSERT_TRUE(editor->commands.isChecked("settings.autoSave"));
    files().setAttribute(named("Crate"), "x", "9");
    files().flushAutoSave();
    files().dismissAutoBackup();
    editor->refreshHasDismissedSnapshot();
    ASSERT_TRUE(editor->commands.isEnabled("file.recoverLastAutoSave"));

    ASSERT_TRUE(editor->commands.execute("settings.autoSave"));
    EXPECT_FALSE(editor->commands.isChecked("settings.autoSave"));
    EXPECT_FALSE(editor->commands.isEnabled("file.recoverLastAutoSave"));
    EXPECT_FALSE(files().autoBackupExists());
}

TEST_F(EditorMenuTest, SmartCopyAutoScaleIsASettingThatTheCopiesFollow) {
    ASSERT_TRUE(editor->commands.isEnabled("settings.smartCopyAutoScale"));
    EXPECT_FALSE(editor->commands.isChecked("settings.smartCopyAutoScale"));
    ASSERT_TRUE(editor->commands.execute("settings.smartCopyAutoScale"));
    EXPECT_TRUE(editor->commands.isChecked("settings.smartCopyAutoScale"));
    EXPECT_TRUE(editor->blocksHelper->getSmartCopyAutoScale());
    EXPECT_TRUE(EditorSettings::getInstance().getBool("smartCopyAutoScale", false)) << "kept for the next start";
    ASSERT_TRUE(editor->commands.execute("settings.smartCopyAutoScale"));
    EXPECT_FALSE(editor->blocksHelper->getSmartCopyAutoScale());
    EXPECT_FALSE(EditorSettings::getInstance().getBool("smartCopyAutoScale", true));
}

TEST_F(EditorMenuTest, ALinkWithoutAServerSaysSoInsteadOfAskingForALogin) {
    editor->setupAuthentication();
    editor->onInstanceReactivated(std::make_shared<LmdTextEvent>(LmdEventInstanceReactivated, "resId=7"));
    editor->step();
    drawFrame();
    EXPECT_FALSE(editor->allUI->getPanel<LoginDialog>()->isOpen());
    EXPECT_EQ(errorText().rfind("Could not open project 7: No Lumenda3D server is configured", 0), 0u) << errorText();
    EXPECT_EQ(countNamed("Crate"), 1);
}

TEST_F(EditorMenuTest, ClearCacheAsksWhatAndAgainThenKeepsTheLoginAndTheProjects) {
    ASSERT_TRUE(DataPersist::SavePersistText("lumenda3d_token", "login"));
    ASSERT_TRUE(DataPersist::SavePersistText("lmdEditor/settings", "{}"));
    ASSERT_TRUE(LocalStorage::writeProjectXml("Castle", kGame));
    ASSERT_TRUE(editor->commands.execute("settings.clearCache"));
    ClearCacheDialog& dialog = *editor->allUI->getPanel<ClearCacheDialog>();
    ASSERT_TRUE(dialog.isOpen());
    clickItem(dialog, ClearCacheDialog::kSavedLabel, draw);
    clickItem(dialog, ClearCacheDialog::kAssetsLabel, draw);  // off: only saved data
    clickItem(dialog, ClearCacheDialog::kClearLabel, draw);
    EXPECT_FALSE(dialog.isOpen());
    // Nothing is gone before the second answer.
    std::string text;
    EXPECT_TRUE(DataPersist::LoadPersistText("lmdEditor/settings", text));
    ASSERT_TRUE(question().isOpen());
    EXPECT_EQ(question().getCurrentTitle(), "Warning");
    EXPECT_EQ(question().getCurrentMessage(),
              "Saved games, editor settings and auto-saves will be deleted. You will stay logged in.\n"
              "\nThis cannot be undone. Continue?");
    clickItem(question(), question().confirmButtonLabel(), draw);
    EXPECT_FALSE(DataPersist::LoadPersistText("lmdEditor/settings", text));
    EXPECT_TRUE(DataPersist::LoadPersistText("lumenda3d_token", text));
    EXPECT_FALSE(onDisk("Castle").empty());
    EXPECT_EQ(toasts().back(), "Cache cleared");

    // With nothing chosen, the question is the last line alone and the toast still comes.
    editor->confirmAndClearCache(false, false);
    drawFrame();
    EXPECT_EQ(question().getCurrentMessage(), "\nThis cannot be undone. Continue?");
}

TEST_F(EditorMenuTest, AboutShowsTheProductAndItsVersion) {
    ASSERT_TRUE(editor->commands.execute("help.about"));
    AboutDialog& about = *editor->allUI->getPanel<AboutDialog>();
    ASSERT_TRUE(about.isOpen());
    EXPECT_EQ(AboutDialog::heading(), std::string("Lumenda3D ") + LmdVersion::text());
    pressKey(Lumenda3D::test::kKeyEscape, draw);
    drawFrame();
    EXPECT_FALSE(about.isOpen());
}

} // namespace
