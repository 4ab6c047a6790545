// The editor's save, create and open paths without a window: the headless answers the agent tools
// get, what a save does to the session (identities, title, dirty state, backups), the Save dialog's
// hooks, and the rule that keeps projects with local assets out of the cloud.
#include "core/HeadlessEditor.h"

#include "FileSizeLimit.h"

#include "base/LmdPaths.h"
#include "services/ApiConfig.h"
#include "services/FileManager.h"
#include "services/LocalStorage.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

using namespace Lumenda3D;
using Lumenda3D::test::EditorTest;
using Lumenda3D::test::recorder;

namespace {

constexpr const char* kLocalAssetsRefusal =
    "Project uses local assets — it can only be saved locally, not to the cloud. Use save_project_as with a local "
    "target.";

class EditorSaveTest : public EditorTest {
protected:
    using Answer = test::HeadlessAnswer;
    Answer save() {
        Answer answer;
        editor->saveProjectHeadless(recorder(answer));
        EXPECT_TRUE(answer.called);
        return answer;
    }
    Answer create(const std::string& name, bool local) {
        Answer answer;
        editor->createProjectHeadless(name, local, recorder(answer));
        EXPECT_TRUE(answer.called);
        return answer;
    }
    std::string storedText() { return editor->getSourceXmlString(false, true); }
    std::string onDisk(const std::string& name) {
        std::string xml;
        EXPECT_TRUE(LocalStorage::readProjectXml(name, xml)) << name;
        return xml;
    }
    // The game with a texture from the local-assets sandbox.
    static std::string gameWithLocalAsset() {
        std::string xml = kGame;
        xml.replace(xml.find("<Sphere name=\"Ball\""), 7, "<Sphere texture=\"local:wood.png\"");
        return xml;
    }
};

TEST_F(EditorSaveTest, ANeverSavedProjectPointsToSaveAs) {
    editor->loadScript(kGame, false);
    const Answer answer = save();
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message, "The project has no save target yet — use save_project_as.");
    EXPECT_TRUE(LocalStorage::listProjects().empty());
}

TEST_F(EditorSaveTest, CreatingLocallyThenSavingKeepsDiskAndSessionInStep) {
    editor->loadScript(kGame, false);
    EXPECT_TRUE(editor->isProjectDirty());
    Answer answer = create("Kart", true);
    EXPECT_TRUE(answer.ok);
    EXPECT_EQ(answer.message, "saved locally as 'Kart'");
    EXPECT_EQ(editor->localProjectName, "Kart");
    EXPECT_EQ(editor->projectName, "Kart");
    EXPECT_EQ(editor->cloudResourceId, "");
    EXPECT_EQ(title(), "Kart [Local]");
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_EQ(onDisk("Kart"), storedText());
    EXPECT_EQ(toasts(), std::vector<std::string>{"Project saved!"});
    EXPECT_EQ(LocalStorage::listProjects(), std::vector<std::string>{"Kart"});

    // An edit, a backup of it, and a save: the backup goes, the disk has the edit.
    files().setAutoSaveEnabled(true);
    files().setAttribute(named("Ball"), "x", "8");
    files().flushAutoSave();
    files().setAutoSaveEnabled(false);
    ASSERT_TRUE(files().autoBackupExists());
    EXPECT_TRUE(editor->isProjectDirty());
    answer = save();
    EXPECT_TRUE(answer.ok);
    EXPECT_EQ(answer.message, "saved locally as 'Kart'");
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_FALSE(files().autoBackupExists());
    EXPECT_EQ(onDisk("Kart"), storedText());
    EXPECT_NE(onDisk("Kart").find("x=\"8\""), std::string::npos);
}

TEST_F(EditorSaveTest, ARefusedOrFailedCreateChangesNothing) {
    editor->onProjectOpened(kGame, "", "Start", "");
    files().setAttribute(named("Ball"), "x", "8");
    std::vector<std::string> status;
    int busyCleared = 0, hidden = 0;
    editor->setSaveDialogHooks({[&](const std::string& text) { status.push_back(text); }, [&] { ++busyCleared; },
                                [&] { ++hidden; }, nullptr});

    Answer answer = create("a/b", true);
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message, "Invalid project name: a/b");
    EXPECT_TRUE(status.empty());  // refused before anything started

    // The projects folder cannot be made: the write fails.
    ASSERT_TRUE(FileManager::writeFileAtomic(LmdPaths::projectsDir(), "not a folder"));
    answer = create("Kart", true);
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message.rfind("Local save failed. Cannot ", 0), 0u) << answer.message;
    EXPECT_EQ(status, (std::vector<std::string>{"Saving...", answer.message}));
    EXPECT_EQ(busyCleared, 1);
    EXPECT_EQ(hidden, 0);  // the dialog stays open for another try
    EXPECT_EQ(editor->projectName, "Start");
    EXPECT_EQ(editor->localProjectName, "");
    EXPECT_EQ(title(), "Start");
    EXPECT_TRUE(editor->isProjectDirty());

    // Once the folder can be made, the dialog is hidden on success.
    ASSERT_TRUE(FileManager::removeFile(LmdPaths::projectsDir()));
    status.clear();
    answer = create("Kart", true);
    EXPECT_TRUE(answer.ok);
    EXPECT_EQ(status, std::vector<std::string>{"Saving..."});
    EXPECT_EQ(hidden, 1);
    EXPECT_EQ(busyCleared, 1);
}

TEST_F(EditorSaveTest, AFailedLocalSaveIsReportedAndLeavesTheProjectDirty) {
    editor->loadScript(kGame, false);
    ASSERT_TRUE(create("Kart", true).ok);
    files().setAttribute(named("Ball"), "x", "8");
    // The project folder is replaced by a file: nothing can be written there.
    fs::remove_all(LocalStorage::projectDir("Kart"));
    std::ofstream(LocalStorage::projectDir("Kart")) << "in the way";
    const Answer answer = save();
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message.rfind("Local save failed. ", 0), 0u) << answer.message;
    EXPECT_EQ(takeError(), answer.message);
    EXPECT_TRUE(editor->isProjectDirty());
}

TEST_F(EditorSaveTest, AFullDiskKeepsTheOldFileAndTheMessageSaysWhy) {
    editor->loadScript(kGame, false);
    ASSERT_TRUE(create("Kart", true).ok);
    const std::string saved = onDisk("Kart");
    files().setAttribute(named("Ball"), "x", "8");
    Answer answer;
    {
        // Every file this process writes stops at 64 bytes, as on a full disk.
        test::FileSizeLimit full(64);
        answer = save();
    }
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message.rfind("Local save failed. Cannot write '", 0), 0u) << answer.message;
    EXPECT_NE(answer.message.find("src.xml"), std::string::npos) << "the message names the file";
    EXPECT_NE(answer.message.find(std::strerror(EFBIG)), std::string::npos) << "and the system's reason";
    EXPECT_NE(answer.message.find("Nothing on disk was changed."), std::string::npos);
    EXPECT_EQ(takeError(), answer.message);
    EXPECT_EQ(onDisk("Kart"), saved);
    EXPECT_TRUE(editor->isProjectDirty());
    // Room again: the same save goes through.
    EXPECT_TRUE(save().ok);
    EXPECT_NE(onDisk("Kart").find("x=\"8\""), std::string::npos);
}

TEST_F(EditorSaveTest, AProjectFolderDeletedUnderTheEditorIsMadeAgainByTheNextSave) {
    editor->loadScript(kGame, false);
    ASSERT_TRUE(create("Kart", true).ok);
    fs::remove_all(LocalStorage::projectDir("Kart"));
    files().setAttribute(named("Ball"), "x", "9");
    const Answer answer = save();
    EXPECT_TRUE(answer.ok) << answer.message;
    EXPECT_NE(onDisk("Kart").find("x=\"9\""), std::string::npos);
    EXPECT_FALSE(editor->isProjectDirty());
    // Opening a project whose folder has gone names it and keeps the open document.
    fs::remove_all(LocalStorage::projectDir("Kart"));
    std::string error;
    EXPECT_FALSE(editor->openLocalProjectHeadless("Kart", error));
    EXPECT_NE(error.find("Kart"), std::string::npos) << error;
    EXPECT_EQ(std::string(named("Ball").attribute("x").value()), "9");
}

TEST_F(EditorSaveTest, NamesWithEmojiDotsAndQuotesRoundTripAndUnsafeOnesAreRefused) {
    editor->loadScript(kGame, false);
    for (const std::string& name : {std::string("\xF0\x9F\x8E\xAE Stairs"), std::string("v1.2 (final)"),
                                    std::string("Ann's game")}) {
        ASSERT_TRUE(create(name, true).ok) << name;
        std::string error;
        ASSERT_TRUE(editor->openLocalProjectHeadless(name, error)) << name << ": " << error;
        EXPECT_EQ(editor->localProjectName, name);
    }
    for (const std::string& name : {std::string("a/b"), std::string(".."), std::string(300, 'x')}) {
        const Answer answer = create(name, true);
        EXPECT_FALSE(answer.ok) << name;
        EXPECT_EQ(answer.message, "Invalid project name: " + name);
    }
    EXPECT_EQ(LocalStorage::listProjects().size(), 3u);
}

TEST_F(EditorSaveTest, OpeningALocalProjectByName) {
    ASSERT_TRUE(LocalStorage::writeProjectXml("Trip", kGame));
    editor->onProjectOpened("<KiteBench3D/>", "5", "Cloudy", R"({"description":"old"})");
    std::string error;
    ASSERT_TRUE(editor->openLocalProjectHeadless("Trip", error)) << error;
    EXPECT_EQ(editor->localProjectName, "Trip");
    EXPECT_EQ(editor->projectName, "Trip");
    EXPECT_EQ(editor->cloudResourceId, "");
    EXPECT_EQ(editor->projectDescription, "");
    EXPECT_EQ(title(), "Trip [Local]");
    EXPECT_TRUE(named("Crate"));
    EXPECT_FALSE(editor->isProjectDirty());
    // A save goes back to the same project.
    files().setAttribute(named("Crate"), "x", "9");
    EXPECT_TRUE(save().ok);
    EXPECT_EQ(onDisk("Trip"), storedText());
}

TEST_F(EditorSaveTest, AProjectThatCannotBeOpenedChangesNothing) {
    editor->onProjectOpened(kGame, "", "Start", "");
    std::string error;
    EXPECT_FALSE(editor->openLocalProjectHeadless("Nope", error));
    EXPECT_EQ(error, "Local project not found: Nope");
    EXPECT_FALSE(editor->openLocalProjectHeadless("../data", error));
    EXPECT_EQ(error, "Local project not found: ../data");

    ASSERT_TRUE(LocalStorage::writeProjectXml("Broken", "<KiteBench3D><Level>"));
    EXPECT_FALSE(editor->openLocalProjectHeadless("Broken", error));
    EXPECT_EQ(error.rfind("Local project 'Broken' cannot be opened: its document is not valid XML (", 0), 0u)
        << error;
    EXPECT_EQ(editor->projectName, "Start");
    EXPECT_EQ(editor->localProjectName, "");
    EXPECT_TRUE(named("Crate"));
    EXPECT_EQ(errorText(), "");
}

TEST_F(EditorSaveTest, ANewProjectIsEmptyUnnamedAndClean) {
    ASSERT_TRUE(LocalStorage::writeProjectXml("Trip", kGame));
    std::string error;
    ASSERT_TRUE(editor->openLocalProjectHeadless("Trip", error));
    editor->cloudResourceId = "12";
    editor->projectResourceType = "plugin";
    files().setAttribute(named("Crate"), "x", "9");

    editor->newProjectHeadless();
    EXPECT_EQ(editor->localProjectName, "");
    EXPECT_EQ(editor->cloudResourceId, "");
    EXPECT_EQ(editor->projectName, "");
    EXPECT_EQ(editor->projectResourceType, "project");
    EXPECT_EQ(title(), "");
    ASSERT_TRUE(root());
    EXPECT_STREQ(root().name(), "KiteBench3D");
    EXPECT_FALSE(root().first_child());
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_EQ(save().message, "The project has no save target yet — use save_project_as.");
    EXPECT_EQ(onDisk("Trip").find("x=\"9\""), std::string::npos);  // the discarded edit was never saved
}

TEST_F(EditorSaveTest, LocalAssetsKeepAProjectOutOfTheCloud) {
    // A cloud project that uses local assets can be neither saved nor created in the cloud.
    editor->onProjectOpened(gameWithLocalAsset(), "77", "Kart", "");
    ASSERT_TRUE(editor->projectHasLocalAssets());
    Answer answer = save();
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message, kLocalAssetsRefusal);
    answer = create("Kart 2", false);
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message, kLocalAssetsRefusal);
    EXPECT_TRUE(LocalStorage::listProjects().empty());

    // Saved as a local project too, it is in both places, and a save skips the cloud copy.
    ASSERT_TRUE(create("Kart", true).ok);
    EXPECT_EQ(editor->cloudResourceId, "77");
    EXPECT_EQ(title(), "Kart [Local+Cloud]");
    files().setAttribute(named("Crate"), "x", "5");
    answer = save();
    EXPECT_TRUE(answer.ok);
    EXPECT_EQ(answer.message, "saved locally as 'Kart'; cloud copy skipped because the project uses local assets");
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_EQ(onDisk("Kart"), storedText());
}

TEST_F(EditorSaveTest, WithoutALoginTheCloudIsOutOfReach) {
    editor->onProjectOpened(kGame, "77", "Kart", "");
    ASSERT_TRUE(create("Kart", true).ok);
    files().setAttribute(named("Crate"), "x", "5");
    // The local copy is written; the cloud copy is not.
    Answer answer = save();
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message, "Not logged in — the cloud project cannot be saved. Ask the user to log in.");
    EXPECT_EQ(onDisk("Kart"), storedText());

    answer = create("Kart 2", false);
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message, "Not logged in — cannot save to the cloud. Ask the user to log in.");
    EXPECT_EQ(editor->projectName, "Kart");
}

TEST_F(EditorSaveTest, ACloudCreateMakesTheProjectACloudOne) {
    editor->loadScript(kGame, false);
    ASSERT_TRUE(create("Kart", true).ok);
    files().setAttribute(named("Crate"), "x", "5");
    editor->applyCloudCreateSuccess(R"({"resource_id":"991"})", "Kart online");
    EXPECT_EQ(editor->cloudResourceId, "991");
    EXPECT_EQ(editor->localProjectName, "Kart");
    EXPECT_EQ(title(), "Kart online [Local+Cloud]");
    EXPECT_FALSE(editor->isProjectDirty());

    // An answer without a usable id leaves the project without one.
    editor->applyCloudCreateSuccess(R"({"resource_id":991})", "X");
    EXPECT_EQ(editor->cloudResourceId, "");
    editor->applyCloudCreateSuccess("not json", "Y");
    EXPECT_EQ(title(), "Y [Local]");
}

TEST_F(EditorSaveTest, TheActionWaitingForASaveRunsOnce) {
    int runs = 0;
    editor->afterSaveCallback = [&] {
        ++runs;
        // It may wait for the next save itself.
        editor->afterSaveCallback = [&] { runs += 10; };
    };
    editor->fireAfterSuccessfulSave();
    EXPECT_EQ(runs, 1);
    ASSERT_TRUE(editor->afterSaveCallback);
    editor->fireAfterSuccessfulSave();
    EXPECT_EQ(runs, 11);
    EXPECT_FALSE(editor->afterSaveCallback);
    editor->fireAfterSuccessfulSave();
    EXPECT_EQ(runs, 11);
}

TEST_F(EditorSaveTest, OpeningACloudProjectForAnAgent) {
    editor->onProjectOpened(kGame, "", "Start", "");
    unsetenv(ApiConfig::kServerVariable);
    ApiConfig::init("");
    Answer answer;
    editor->openCloudProjectHeadless("42", recorder(answer));
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message,
              "No Lumenda3D server is configured, so cloud projects are out of reach (set LUMENDA3D_SERVER).");

    editor->setCloudResourceLoader([](const std::string& id, Lumenda3DEditor::ResourceLoadedCallback done) {
        if (id == "42")
            done(true, "<KiteBench3D><Level name=\"Cloud\"/></KiteBench3D>", R"({"resource_name":"Remote"})");
        else if (id == "43")
            done(true, "<KiteBench3D><Level>", "{}");
        else
            done(false, "", "Resource not found");
    });
    editor->openCloudProjectHeadless("44", recorder(answer));
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message, "Resource not found");
    editor->openCloudProjectHeadless("43", recorder(answer));
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message.rfind("Cloud project 43 cannot be opened: its document is not valid XML (", 0), 0u);
    EXPECT_EQ(editor->projectName, "Start");

    editor->openCloudProjectHeadless("42", recorder(answer));
    EXPECT_TRUE(answer.ok);
    EXPECT_EQ(answer.message, "opened 'Remote'");
    EXPECT_EQ(editor->cloudResourceId, "42");
    EXPECT_EQ(title(), "Remote [Cloud]");
    EXPECT_FALSE(editor->isProjectDirty());
}

TEST_F(EditorSaveTest, LocalReferencesResolveInTheSandbox) {
    EXPECT_EQ(editor->getAssetResolver().getLocalAssetsDir(), LocalStorage::localAssetsDir());
    fs::create_directories(fs::path(LocalStorage::localAssetsDir()) / "textures");
    std::ofstream(fs::path(LocalStorage::localAssetsDir()) / "textures" / "wood.png") << "png";
    EXPECT_NE(editor->getAssetResolver().resolve("local:wood.png", LmdAssetResolver::Kind::Texture), "");
}

} // namespace
