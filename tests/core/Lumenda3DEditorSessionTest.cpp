// The editor's project session without a window: opening a project (identities, title, dirty
// state, auto-save name), the first document at start, a second process's hand-over, and the
// offer to recover a crash backup with both of its answers.
#include "services/EditorSettings.h"
#include "UnusedPort.h"
#include "core/HeadlessEditor.h"
#include "services/ApiConfig.h"

#include "engine/editing/LmdAutoSaver.h"
#include "chrome/ErrorDialog.h"
#include "project/RecoverFromCrashDialog.h"
#include "services/FileManager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>

using namespace Lumenda3D;
using Lumenda3D::test::EditorTest;
using Lumenda3D::test::LogCapture;

namespace {

class EditorSessionTest : public EditorTest {
protected:
    // A backup as a crashed session leaves it.
    void leaveBackup(const std::string& xml, const std::string& name) {
        AutoSaveSnapshot snapshot;
        snapshot.xml = xml;
        snapshot.projectName = name;
        snapshot.timestamp = static_cast<int64_t>(std::time(nullptr)) - 120;
        ASSERT_TRUE(FileManager::writeFileAtomic(LmdAutoSaver::pendingPath(), LmdAutoSaver::encode(snapshot)));
    }
    void answerRecovery(const char* label) {
        auto dialog = editor->allUI->getPanel<RecoverFromCrashDialog>();
        clickItem(*dialog, label, [this] { editor->allUI->draw(); });
        drawFrame();
    }
};

TEST_F(EditorSessionTest, OpeningACloudProjectSetsTitleAndIsClean) {
    editor->onProjectOpened(kGame, "42", "Kart", R"({"description":"Fast","published":true})");
    EXPECT_EQ(editor->cloudResourceId, "42");
    EXPECT_EQ(editor->projectDescription, "Fast");
    EXPECT_TRUE(editor->projectPublished);
    EXPECT_EQ(title(), "Kart [Cloud]");
    EXPECT_TRUE(named("Crate"));
    EXPECT_TRUE(editor->isEditMode);
    EXPECT_EQ(editor->allUI->getPanel<Tabs>()->getCurrentTab(), Tabs::kScene);
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_FALSE(files().canUndo());  // undo never reaches into the previous project

    // The auto-save carries the project's name.
    files().setAutoSaveEnabled(true);
    files().setAttribute(named("Ball"), "x", "8");
    files().flushAutoSave();
    const auto backup = files().loadAutoBackup();
    ASSERT_TRUE(backup);
    EXPECT_EQ(backup->projectName, "Kart");
    files().setAutoSaveEnabled(false);
}

TEST_F(EditorSessionTest, ALocalEntryDropsTheCloudIdAndBadMetadataStillOpens) {
    editor->onProjectOpened(kGame, "9", "Trip", R"({"local":true})");
    EXPECT_EQ(editor->cloudResourceId, "");
    EXPECT_EQ(editor->localProjectName, "Trip");
    EXPECT_EQ(title(), "Trip [Local]");

    LogCapture log;
    editor->onProjectOpened(kGame, "", "Odd", "[1, 2]");
    EXPECT_TRUE(log.contains("Failed to parse resource metadata: "));
    EXPECT_EQ(title(), "Odd");
    EXPECT_TRUE(named("Crate"));

    // A text that does not load leaves the title to the new name, but the old document and no
    // claim that it was saved.
    editor->onProjectOpened("<KiteBench3D>", "5", "", "");
    EXPECT_EQ(takeError(), "Invalid XML");
    EXPECT_EQ(title(), " [Cloud]");
}

TEST_F(EditorSessionTest, DirtyMeansTheTextDiffersFromTheLastLoadOrSave) {
    editor->onProjectOpened(kGame, "", "Box world", "");
    EXPECT_FALSE(editor->isProjectDirty());
    files().setAttribute(named("Crate"), "x", "6");
    EXPECT_TRUE(editor->isProjectDirty());
    files().setAttribute(named("Crate"), "x", "1");
    EXPECT_FALSE(editor->isProjectDirty());  // an edit and its reversal are clean
    editor->projectDescription = "A new text";
    EXPECT_FALSE(editor->isProjectDirty());  // metadata alone is no change of the game
    files().setAttribute(named("Crate"), "x", "6");
    editor->markXmlPersisted();
    EXPECT_FALSE(editor->isProjectDirty());
}

TEST_F(EditorSessionTest, AGameFileOnTheCommandLineIsTheFirstDocument) {
    const std::filesystem::path file = dataRoot.path() / "Marble run.xml";
    std::ofstream(file) << kGame;
    editor->pendingGameFile = file.string();
    editor->loadInitialProject();
    EXPECT_TRUE(named("Crate"));
    EXPECT_EQ(title(), "Marble run");
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_FALSE(editor->allUI->getPanel<RecoverFromCrashDialog>()->isOpen());
    // The tabs ask the editor now.
    editor->allUI->getPanel<Tabs>()->selectTab(Tabs::kSource);
    EXPECT_FALSE(editor->isEditMode);
}

TEST_F(EditorSessionTest, WithoutAStartingProjectTheDocumentIsEmpty) {
    editor->pendingGameFile = (dataRoot.path() / "missing.xml").string();
    editor->loadInitialProject();
    EXPECT_EQ(takeError(), "Cannot read the game file " + editor->pendingGameFile);
    ASSERT_TRUE(root());
    EXPECT_STREQ(root().name(), "KiteBench3D");
    EXPECT_FALSE(root().first_child());
}

TEST_F(EditorSessionTest, ASecondProcessesHandOverActsInTheNextFrame) {
    editor->loadScript(kGame, false);
    editor->initEvents();
    editor->addEventListener(LmdEventInstanceReactivated,
                             [this](std::shared_ptr<LmdEvent> event) { editor->onInstanceReactivated(event); });
    std::string requested;
    editor->setCloudResourceLoader([&](const std::string& id, Lumenda3DEditor::ResourceLoadedCallback done) {
        requested = id;
        done(true, "<KiteBench3D><Level name=\"Cloud\"/></KiteBench3D>", R"({"resource_name":"Remote"})");
    });
    const int port = test::unusedPort();
    ASSERT_NE(port, 0);
    const std::string payload = "resId=77&mcp=on&mcpPort=" + std::to_string(port);
    editor->fireEvents(LmdEventInstanceReactivated, std::make_shared<LmdTextEvent>(LmdEventInstanceReactivated, payload));
    // Not inside the event.
    EXPECT_EQ(requested, "");
    EXPECT_FALSE(editor->mcpController.isRunning());
    editor->step();
    EXPECT_EQ(requested, "77");
    EXPECT_EQ(title(), "Remote [Cloud]");
    // The port was applied before the command that starts the server on it.
    EXPECT_TRUE(editor->mcpController.isRunning());
    EXPECT_EQ(editor->mcpController.port(), port);
    EXPECT_EQ(EditorSettings::getInstance().getInt("mcpPort", 0), port);
    editor->mcpController.stop();

    // Three empty values: nothing to do.
    requested.clear();
    editor->fireEvents(LmdEventInstanceReactivated,
                       std::make_shared<LmdTextEvent>(LmdEventInstanceReactivated, "resId=&mcp=&mcpPort="));
    editor->step();
    EXPECT_EQ(requested, "");
    EXPECT_EQ(title(), "Remote [Cloud]");
}

TEST_F(EditorSessionTest, ACloudProjectThatCannotBeLoadedIsReported) {
    editor->loadScript(kGame, false);
    // Without a server there is nowhere to load from.
    unsetenv(ApiConfig::kServerVariable);
    ApiConfig::init("");
    editor->loadResourceById("31", false);
    EXPECT_EQ(takeError(), "Could not open project 31: No Lumenda3D server is configured, so cloud projects are out "
                           "of reach (set LUMENDA3D_SERVER).");
    editor->setCloudResourceLoader([](const std::string&, Lumenda3DEditor::ResourceLoadedCallback done) {
        done(true, "", "");  // an empty project is no project
    });
    editor->loadResourceById("32", false);
    EXPECT_EQ(takeError(), "Could not open project 32: ");
    EXPECT_TRUE(named("Crate"));
}

TEST_F(EditorSessionTest, RecoveringABackupLoadsItAsUnsavedWork) {
    editor->onProjectOpened(kGame, "", "Start", "");
    leaveBackup("<KiteBench3D><Level name=\"Main\"><Box name=\"Saved\"/></Level></KiteBench3D>", "Lost work");
    editor->offerCrashRecoveryIfNeeded(false);
    auto dialog = editor->allUI->getPanel<RecoverFromCrashDialog>();
    ASSERT_TRUE(dialog->isOpen());
    EXPECT_NE(dialog->getMessage().find("\"Lost work\""), std::string::npos);
    EXPECT_NE(dialog->getMessage().find("2 minutes ago"), std::string::npos);

    answerRecovery(RecoverFromCrashDialog::kRecoverLabel);
    EXPECT_FALSE(dialog->isOpen());
    EXPECT_TRUE(named("Saved"));
    EXPECT_EQ(editor->projectName, "Lost work");
    EXPECT_EQ(title(), "Lost work");
    EXPECT_TRUE(editor->isProjectDirty());  // it has to be saved to count as saved
}

TEST_F(EditorSessionTest, ADiscardedBackupStaysReachable) {
    editor->onProjectOpened(kGame, "", "Start", "");
    leaveBackup("<KiteBench3D><Level name=\"Main\"><Box name=\"Saved\"/></Level></KiteBench3D>", "");
    editor->offerCrashRecoveryIfNeeded(true);
    EXPECT_FALSE(editor->hasDismissedSnapshot);
    answerRecovery(RecoverFromCrashDialog::kDiscardLabel);
    EXPECT_TRUE(named("Crate"));
    EXPECT_TRUE(editor->hasDismissedSnapshot);  // the menu item turns active at once
    EXPECT_FALSE(files().autoBackupExists());

    editor->recoverLastAutoSave();
    EXPECT_TRUE(named("Saved"));
    EXPECT_EQ(editor->projectName, "Start");  // the backup had no name of its own
}

TEST_F(EditorSessionTest, ABackupThatCannotBeReadIsKeptAsideAndTheUserIsTold) {
    LogCapture log;
    const std::string damaged = "Lumenda3D auto-save backup 1\n{\"xmlBytes\": 9999}\n<KiteBench3D><Level";
    ASSERT_TRUE(FileManager::writeFileAtomic(LmdAutoSaver::pendingPath(), damaged));
    editor->offerCrashRecoveryIfNeeded(false);
    EXPECT_FALSE(editor->allUI->getPanel<RecoverFromCrashDialog>()->isOpen());
    const std::string prefix = "The auto-save backup could not be read. It was kept as ";
    std::string message = takeError();
    ASSERT_EQ(message.compare(0, prefix.size(), prefix), 0) << message;
    const std::filesystem::path keptAs = message.substr(prefix.size());
    EXPECT_EQ(keptAs.parent_path(), std::filesystem::path(LmdAutoSaver::backupFolder()));
    std::string kept;
    ASSERT_TRUE(FileManager::readFile(keptAs.string(), kept));
    EXPECT_EQ(kept, damaged);
    EXPECT_FALSE(files().autoBackupExists());
    // Nothing more is offered at the next start.
    editor->offerCrashRecoveryIfNeeded(false);
    EXPECT_FALSE(editor->allUI->getPanel<ErrorDialog>()->isOpen());

    // The same for the set-aside backup that File > Recover Last Auto Save would load, which
    // leaves the document as it was.
    ASSERT_TRUE(FileManager::writeFileAtomic(LmdAutoSaver::dismissedPath(), "garbage"));
    ASSERT_TRUE(editor->loadScript(kGame, false));
    editor->recoverLastAutoSave();
    message = takeError();
    ASSERT_EQ(message.compare(0, prefix.size(), prefix), 0) << message;
    EXPECT_NE(message.substr(prefix.size()), keptAs.string()) << "an earlier damaged backup is not overwritten";
    EXPECT_TRUE(named("Crate"));
    EXPECT_FALSE(editor->hasDismissedSnapshot);
}

// --- Closing normally ----------------------------------------------------------------------------

TEST_F(EditorSessionTest, ANormalCloseWithNothingUnsavedLeavesNothingToRecover) {
    editor->onProjectOpened(kGame, "", "Kart", "");
    files().setAutoSaveEnabled(true);
    files().autoSaver().setDelays(std::chrono::seconds(0), std::chrono::seconds(0));
    // The Source tab and back without an edit is no change: no backup.
    ASSERT_TRUE(editor->onTabChange(Tabs::kSource));
    ASSERT_TRUE(editor->onTabChange(Tabs::kScene));
    files().update();
    files().flushAutoSave();
    EXPECT_FALSE(files().autoBackupExists());

    // An edit and its undo: a backup was written on the way, but nothing is unsaved at the close.
    files().setAttribute(named("Ball"), "x", "8");
    files().update();
    files().flushAutoSave();
    ASSERT_TRUE(files().autoBackupExists());
    editor->doUndo();
    ASSERT_FALSE(editor->isProjectDirty());
    editor->onClose();
    EXPECT_FALSE(files().autoBackupExists());
    editor->offerCrashRecoveryIfNeeded(false);
    EXPECT_FALSE(editor->allUI->getPanel<RecoverFromCrashDialog>()->isOpen());
}

TEST_F(EditorSessionTest, ANormalCloseKeepsUnsavedWorkAndSaysSoAtTheNextStart) {
    editor->onProjectOpened(kGame, "", "Kart", "");
    files().setAutoSaveEnabled(true);  // the default delays: nothing is written before the close
    files().setAttribute(named("Ball"), "x", "8");
    files().update();
    ASSERT_FALSE(files().autoBackupExists());
    editor->onClose();
    const auto backup = files().loadAutoBackup();
    ASSERT_TRUE(backup);
    EXPECT_TRUE(backup->closedNormally);
    EXPECT_NE(backup->xml.find("x=\"8\""), std::string::npos);

    editor->offerCrashRecoveryIfNeeded(false);
    auto dialog = editor->allUI->getPanel<RecoverFromCrashDialog>();
    ASSERT_TRUE(dialog->isOpen());
    EXPECT_NE(dialog->getMessage().find("was closed while \"Kart\" had changes that were not saved"), std::string::npos)
        << dialog->getMessage();
}

TEST_F(EditorSessionTest, ANormalCloseLeavesTheBackupOfACrashedSessionAsItWas) {
    leaveBackup("<KiteBench3D><Level name=\"Main\"><Box name=\"Saved\"/></Level></KiteBench3D>", "Lost work");
    std::string before;
    ASSERT_TRUE(FileManager::readFile(LmdAutoSaver::pendingPath(), before));
    editor->onProjectOpened(kGame, "", "Kart", "");
    files().setAutoSaveEnabled(true);
    editor->onClose();  // the offer was not answered
    std::string after;
    ASSERT_TRUE(FileManager::readFile(LmdAutoSaver::pendingPath(), after));
    EXPECT_EQ(after, before);
    editor->offerCrashRecoveryIfNeeded(false);
    EXPECT_NE(editor->allUI->getPanel<RecoverFromCrashDialog>()->getMessage().find("did not close normally"),
              std::string::npos);
}

TEST_F(EditorSessionTest, ABackupWithoutTextIsClearedWithoutAsking) {
    leaveBackup("", "Nothing");
    ASSERT_TRUE(files().autoBackupExists());
    editor->offerCrashRecoveryIfNeeded(true);
    EXPECT_FALSE(editor->allUI->getPanel<RecoverFromCrashDialog>()->isOpen());
    EXPECT_FALSE(files().autoBackupExists());
    EXPECT_FALSE(editor->hasDismissedSnapshot);
}

} // namespace
