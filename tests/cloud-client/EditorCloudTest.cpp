// The editor's cloud paths against the real server: an agent's Save As to the cloud, its save and
// the open by id in a fresh editor; the one login and one retry of a person's open when the
// session has lapsed (and no second login when the retry is refused too); and the agent's answers
// when the session has ended, the project is another user's, or the database is busy, with the
// work left unsaved in the editor each time.
#include "CloudClientTest.h"

#include "core/HeadlessEditor.h"

#include <nlohmann/json.hpp>

namespace Lumenda3D::test {
namespace {

using json = nlohmann::json;

class EditorCloudTest : public CloudTestServer, public EditorTest {
protected:
    using Answer = HeadlessAnswer;
    Answer finish(Answer& answer) {
        EXPECT_TRUE(pumpUntil([&] { return answer.called; })) << "no answer came";
        return answer;
    }
    Answer createInCloud(const std::string& name) {
        Answer answer;
        editor->createProjectHeadless(name, false, recorder(answer));
        return finish(answer);
    }
    Answer save() {
        Answer answer;
        editor->saveProjectHeadless(recorder(answer));
        return finish(answer);
    }
    Answer open(const std::string& id) {
        Answer answer;
        editor->openCloudProjectHeadless(id, recorder(answer));
        return finish(answer);
    }
    std::string storedText() { return editor->getSourceXmlString(false, true); }
    std::string onServer(const std::string& id) {
        return api().get("/api/resources/" + id, auth().getSessionToken()).json.value("xml", "");
    }
    // A new editor in place of the old one, as at the next start.
    void restartEditor() {
        editor.reset();
        editor = std::make_unique<HeadlessEditor>();
        editor->setupEditorCore();
        editor->setupEditorUI();
        editor->setupMenuCallbacks();
        editor->sourceFiles->setAutoSaveEnabled(false);
    }
    void expireAllSessions() {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(databaseFile().c_str(), &db), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(db, "UPDATE sessions SET expires_at = 0", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);
    }
};

TEST_F(EditorCloudTest, AnAgentSavesToTheCloudAndOpensItAgainInAFreshEditor) {
    logInAs("ann");
    editor->loadScript(kGame, false);
    Answer created = createInCloud("Kart");
    ASSERT_TRUE(created.ok) << created.message;
    const std::string id = editor->cloudResourceId;
    ASSERT_TRUE(ResourceLoader::isValidResourceId(id)) << id;
    EXPECT_EQ(created.message, "created cloud project 'Kart' (resource " + id + ")");
    EXPECT_EQ(title(), "Kart [Cloud]");
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_EQ(onServer(id), storedText());

    files().setAttribute(named("Crate"), "x", "42");
    EXPECT_TRUE(editor->isProjectDirty());
    Answer saved = save();
    ASSERT_TRUE(saved.ok) << saved.message;
    EXPECT_EQ(saved.message, "saved to the cloud (resource " + id + ")");
    EXPECT_FALSE(editor->isProjectDirty());
    const std::string savedText = storedText();
    EXPECT_EQ(onServer(id), savedText);

    restartEditor();
    EXPECT_TRUE(auth().isAuthenticated());   // the stored login came back
    Answer opened = open(id);
    ASSERT_TRUE(opened.ok) << opened.message;
    EXPECT_EQ(opened.message, "opened 'Kart'");
    EXPECT_EQ(storedText(), savedText);
    EXPECT_STREQ(named("Crate").attribute("x").value(), "42");
    EXPECT_EQ(editor->cloudResourceId, id);
    EXPECT_EQ(title(), "Kart [Cloud]");
    EXPECT_FALSE(editor->isProjectDirty());
}

TEST_F(EditorCloudTest, APluginOpensThroughOpenProjectAndTurnsThePluginItemsOn) {
    logInAs("ann");
    auto upload = [&](const std::string& name, const std::string& type) {
        std::string id;
        bool called = false;
        ResourceLoader::getInstance().createResource(
            name, kGame,
            [&](bool ok, const std::string& data, const std::string& error) {
                called = true;
                EXPECT_TRUE(ok) << error;
                id = json::parse(data, nullptr, false).value("resource_id", "");
            },
            {}, type);
        EXPECT_TRUE(pumpUntil([&] { return called; }));
        return id;
    };
    const std::string plugin = upload("Kart physics", "plugin");
    const std::string project = upload("Kart", "project");

    // (The Save As and Rename items join with their dialog, which this editor has not.)
    ASSERT_TRUE(open(plugin).ok);
    EXPECT_EQ(editor->projectResourceType, "plugin");
    EXPECT_TRUE(editor->commands.isEnabled("file.savePlugin"));
    EXPECT_FALSE(editor->commands.isEnabled("file.saveProject"));
    // A plugin's save keeps it a plugin on the server.
    files().setAttribute(named("Crate"), "x", "3");
    Answer saved = save();
    ASSERT_TRUE(saved.ok) << saved.message;
    EXPECT_EQ(api().get("/api/resources/" + plugin, auth().getSessionToken()).json["metadata"]["resource_type"], "plugin");

    ASSERT_TRUE(open(project).ok);
    EXPECT_EQ(editor->projectResourceType, "project");
    EXPECT_TRUE(editor->commands.isEnabled("file.saveProject"));
    EXPECT_FALSE(editor->commands.isEnabled("file.savePlugin"));
}

TEST_F(EditorCloudTest, EditsMadeWhileASaveTravelsStayUnsaved) {
    logInAs("ann");
    editor->loadScript(kGame, false);
    ASSERT_TRUE(createInCloud("Kart").ok);
    files().setAttribute(named("Crate"), "x", "7");
    Answer answer;
    editor->saveProjectHeadless(recorder(answer));
    files().setAttribute(named("Crate"), "y", "8");   // before the answer
    finish(answer);
    ASSERT_TRUE(answer.ok) << answer.message;
    EXPECT_TRUE(editor->isProjectDirty());
    EXPECT_EQ(onServer(editor->cloudResourceId).find("y=\"8\""), std::string::npos);
}

TEST_F(EditorCloudTest, ALapsedSessionCostsOneLoginAndOneMoreTry) {
    const std::string token = logInAs("ann");
    const std::string id = api().createProject(token, "Remote", kGame);
    expireAllSessions();
    int prompts = 0;
    AuthenticationFlowManager::getInstance().setLoginPrompt([&](std::function<void()> onLoggedIn, std::function<void()>) {
        ++prompts;
        auth().login("ann", "correct horse", [onLoggedIn](bool ok, const std::string&) {
            if (ok)
                onLoggedIn();
        });
    });
    editor->loadResourceById(id, false);
    ASSERT_TRUE(pumpUntil([&] { return editor->cloudResourceId == id && idle(); }));
    EXPECT_EQ(prompts, 1);
    EXPECT_EQ(title(), "Remote [Cloud]");
    EXPECT_EQ(errorText(), "");
    EXPECT_NE(auth().getSessionToken(), token);
}

TEST_F(EditorCloudTest, ARetryRefusedAgainIsReportedWithoutAnotherLogin) {
    const std::string token = logInAs("ann");
    const std::string id = api().createProject(token, "Remote", kGame);
    expireAllSessions();
    int prompts = 0;
    // A "login" that gives a token the server does not know: the retry is refused too.
    AuthenticationFlowManager::getInstance().setLoginPrompt([&](std::function<void()> onLoggedIn, std::function<void()>) {
        ++prompts;
        ASSERT_TRUE(auth().storeSession(std::string(64, 'e'), "ann"));
        onLoggedIn();
    });
    editor->loadScript(kGame, false);
    editor->onProjectOpened(kGame, "", "Local work", "");
    editor->loadResourceById(id, false);
    ASSERT_TRUE(pumpUntil([&] { return !errorText().empty() && idle(); }));
    EXPECT_EQ(prompts, 1);
    EXPECT_EQ(errorText(), "Could not open project " + id + ": " + CloudReply::kSessionEndedText);
    EXPECT_EQ(editor->projectName, "Local work");
    EXPECT_EQ(editor->cloudResourceId, "");
}

TEST_F(EditorCloudTest, AnAgentIsToldToAskForALoginAndNothingIsLost) {
    const std::string token = logInAs("ann");
    editor->loadScript(kGame, false);
    ASSERT_TRUE(createInCloud("Kart").ok);
    const std::string id = editor->cloudResourceId;
    int prompts = 0;
    AuthenticationFlowManager::getInstance().setLoginPrompt([&](std::function<void()>, std::function<void()>) { ++prompts; });
    api().send("POST", "/api/auth/logout", json::object(), token);

    files().setAttribute(named("Crate"), "x", "9");
    const Answer answer = save();
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message,
              "Not logged in, or the login has ended — the cloud project was not saved; the changes are still in the "
              "editor, unsaved. Ask the user to log in to the Lumenda3D server, then call this tool again.");
    EXPECT_EQ(prompts, 0);   // nobody is asked on an agent's path
    EXPECT_TRUE(editor->isProjectDirty());
    EXPECT_STREQ(named("Crate").attribute("x").value(), "9");
    EXPECT_FALSE(auth().isAuthenticated());
    // Without a session the next call says so at once.
    EXPECT_EQ(save().message, "Not logged in — the cloud project cannot be saved. Ask the user to log in.");
    EXPECT_EQ(createInCloud("Other").message, "Not logged in — cannot save to the cloud. Ask the user to log in.");
    EXPECT_EQ(editor->cloudResourceId, id);
}

TEST_F(EditorCloudTest, AnotherUsersProjectOpensNothing) {
    const std::string annsId = api().createProject(registerUser("ann"), "Ann's", kGame);
    logInAs("bob");
    editor->onProjectOpened("<KiteBench3D><Level name=\"Bob\"/></KiteBench3D>", "", "Bob's", "");
    const Answer answer = open(annsId);
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.message, "No such project, or it is not yours.");
    EXPECT_EQ(editor->projectName, "Bob's");
    EXPECT_TRUE(named("Bob"));
    EXPECT_TRUE(auth().isAuthenticated());
}

TEST_F(EditorCloudTest, ABusyDatabaseLeavesTheWorkUnsavedUntilTheNextSave) {
    logInAs("ann");
    editor->loadScript(kGame, false);
    ASSERT_TRUE(createInCloud("Kart").ok);
    const std::string id = editor->cloudResourceId;
    files().setAttribute(named("Crate"), "x", "11");
    {
        WriteLock lock(databaseFile());
        ASSERT_TRUE(lock.locked());
        const Answer busy = save();
        EXPECT_FALSE(busy.ok);
        EXPECT_EQ(busy.message, "The server's database is busy. Nothing was changed; try again in a moment.");
        EXPECT_TRUE(editor->isProjectDirty());
    }
    EXPECT_EQ(onServer(id).find("x=\"11\""), std::string::npos);
    const Answer later = save();
    EXPECT_TRUE(later.ok) << later.message;
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_NE(onServer(id).find("x=\"11\""), std::string::npos);
}

// --- The person's paths -------------------------------------------------------------------------

class PersonCloudTest : public EditorCloudTest {
protected:
    bool toastShown(const std::string& text) {
        for (const std::string& t : toasts())
            if (t == text)
                return true;
        return false;
    }
    // A login prompt that logs the person in for real, counting how often it was shown.
    void promptLogsIn(int& prompts) {
        AuthenticationFlowManager::getInstance().setLoginPrompt([&prompts](std::function<void()> onLoggedIn, std::function<void()>) {
            ++prompts;
            auth().login("ann", "correct horse", [onLoggedIn](bool ok, const std::string&) {
                if (ok)
                    onLoggedIn();
            });
        });
    }
    std::string cloudProject() {
        logInAs("ann");
        editor->loadScript(kGame, false);
        EXPECT_TRUE(createInCloud("Kart").ok);
        return editor->cloudResourceId;
    }
};

TEST_F(PersonCloudTest, ASaveWithALapsedSessionLogsInOnceAndSavesOnce) {
    const std::string id = cloudProject();
    files().setAttribute(named("Crate"), "x", "21");
    expireAllSessions();
    int prompts = 0, afterSave = 0;
    promptLogsIn(prompts);
    editor->afterSaveCallback = [&] { ++afterSave; };
    editor->performSave(id, storedText(), "project", "", false);
    ASSERT_TRUE(pumpUntil([&] { return toastShown("Project saved!") && idle(); }));
    EXPECT_EQ(prompts, 1);
    EXPECT_EQ(afterSave, 1);
    EXPECT_FALSE(editor->isProjectDirty());
    EXPECT_EQ(errorText(), "");
    const Cloud::test::Reply onServer = api().get("/api/resources/" + id, auth().getSessionToken());
    EXPECT_EQ(onServer.json["revision"], 2);   // one save, not two
    EXPECT_NE(onServer.json.value("xml", "").find("x=\"21\""), std::string::npos);
}

TEST_F(PersonCloudTest, ASaveRefusedAgainAfterTheLoginIsReportedAndDropsTheWaitingAction) {
    const std::string id = cloudProject();
    files().setAttribute(named("Crate"), "x", "22");
    expireAllSessions();
    int prompts = 0, afterSave = 0;
    AuthenticationFlowManager::getInstance().setLoginPrompt([&](std::function<void()> onLoggedIn, std::function<void()>) {
        ++prompts;
        ASSERT_TRUE(auth().storeSession(std::string(64, 'd'), "ann"));
        onLoggedIn();
    });
    editor->afterSaveCallback = [&] { ++afterSave; };
    editor->performSave(id, storedText(), "project", "", false);
    ASSERT_TRUE(pumpUntil([&] { return !errorText().empty() && idle(); }));
    EXPECT_EQ(errorText(), std::string("Save failed: ") + CloudReply::kSessionEndedText);
    EXPECT_EQ(prompts, 1);
    EXPECT_EQ(afterSave, 0);
    EXPECT_FALSE(editor->afterSaveCallback);
    EXPECT_TRUE(editor->isProjectDirty());
}

TEST_F(PersonCloudTest, ARenameSaysRenamedAndAFailedOneKeepsTheName) {
    const std::string id = cloudProject();
    editor->performSave(id, storedText(), "plugin", "Kart Deluxe", false);
    ASSERT_TRUE(pumpUntil([&] { return toastShown("Renamed!") && idle(); }));
    EXPECT_FALSE(toastShown("Plugin saved!"));
    EXPECT_EQ(title(), "Kart Deluxe [Cloud]");
    EXPECT_EQ(api().get("/api/resources/" + id, auth().getSessionToken()).json["metadata"]["resource_name"],
              "Kart Deluxe");

    const std::string othersId = api().createProject(registerUser("bob"), "Bob's", kGame);
    editor->performSave(othersId, storedText(), "project", "Stolen", false);
    ASSERT_TRUE(pumpUntil([&] { return !errorText().empty() && idle(); }));
    EXPECT_EQ(errorText(), "Rename failed: No such project, or it is not yours.");
    EXPECT_EQ(editor->projectName, "Kart Deluxe");
}

TEST_F(PersonCloudTest, ACreateRefusedByABusyDatabaseKeepsTheDialogOpen) {
    logInAs("ann");
    editor->loadScript(kGame, false);
    std::string status;
    int cleared = 0, hidden = 0;
    editor->setSaveDialogHooks({[&](const std::string& text) { status = text; }, [&] { ++cleared; }, [&] { ++hidden; },
                                nullptr});
    {
        WriteLock lock(databaseFile());
        ASSERT_TRUE(lock.locked());
        editor->performCreate("Kart", storedText(), "project", false);
        EXPECT_EQ(status, "Saving...");
        ASSERT_TRUE(pumpUntil([&] { return cleared > 0 && idle(); }));
    }
    EXPECT_EQ(status, "Save failed: The server's database is busy. Nothing was changed; try again in a moment.");
    EXPECT_EQ(hidden, 0);
    EXPECT_EQ(editor->cloudResourceId, "");
    EXPECT_TRUE(editor->isProjectDirty());

    editor->performCreate("Kart", storedText(), "plugin", false);
    ASSERT_TRUE(pumpUntil([&] { return hidden > 0 && idle(); }));
    EXPECT_TRUE(toastShown("Plugin saved!"));
    EXPECT_EQ(editor->projectResourceType, "plugin");
    EXPECT_EQ(title(), "Kart [Cloud]");
}

TEST_F(PersonCloudTest, PublishingPutsTheGameOnTheSiteAndUnpublishingTakesItDown) {
    const std::string id = cloudProject();
    std::string status;
    int hidden = 0;
    editor->setPublishDialogHooks({[&](const std::string& text) { status = text; }, [&] { ++hidden; }});
    editor->performPublish("A kart game", "racing", true, true, false);
    ASSERT_TRUE(pumpUntil([&] { return hidden > 0 && idle(); }));
    EXPECT_TRUE(toastShown("Game published!"));
    EXPECT_EQ(api().get("/games/" + id).status, 200);
    EXPECT_EQ(api().get("/api/resources/" + id).json["metadata"]["description"], "A kart game");

    editor->performUnpublish(false);
    ASSERT_TRUE(pumpUntil([&] { return toastShown("Project unpublished.") && idle(); }));
    EXPECT_EQ(api().get("/games/" + id).status, 404);

    // A project that is not the user's cannot be published.
    editor->cloudResourceId = api().createProject(registerUser("bob"), "Bob's", kGame);
    editor->performPublish("", "", true, true, false);
    ASSERT_TRUE(pumpUntil([&] { return !status.empty() && idle(); }));
    EXPECT_EQ(status, "Publish failed: No such project, or it is not yours.");
}

} // namespace
} // namespace Lumenda3D::test
