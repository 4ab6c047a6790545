// The login session against the real server: logging in and out, what is stored and how, a stored
// session that the server no longer honours, and the quiet and asking forms of checkLogin.
#include "CloudClientTest.h"

#include <sys/stat.h>

#include <vector>

#include "base/LmdLog.h"
#include "services/CloudReply.h"
#include "services/DataPersist.h"
#include "services/FileManager.h"

namespace Lumenda3D::test {
namespace {

class AuthenticationTest : public CloudClientTest {
protected:
    AuthenticationManager::Done recorder(Outcome& out) {
        return [&out](bool ok, const std::string& error) {
            out.called = true;
            ++out.calls;
            out.ok = ok;
            out.error = error;
        };
    }
    std::string storedEntry() {
        std::string text;
        DataPersist::LoadPersistText(AuthenticationManager::kTokenKey, text);
        return text;
    }
};

TEST_F(AuthenticationTest, LoginIsStoredForTheOwnerAloneAndOutlivesARestart) {
    registerUser("ann");
    std::vector<std::string> logLines;
    LmdLog::setEchoToStderr(false);
    const int sink = LmdLog::addSink([&](const std::string& text, LogLevel) { logLines.push_back(text); });

    Outcome out;
    auth().login("ann", "correct horse", recorder(out));
    EXPECT_FALSE(out.called);   // the answer comes through the pump, never inside the call
    wait(out);
    EXPECT_TRUE(out.ok) << out.error;
    ASSERT_TRUE(auth().isAuthenticated());
    const std::string token = auth().getSessionToken();
    EXPECT_TRUE(AuthenticationManager::isWellFormedToken(token));
    EXPECT_EQ(auth().getUsername(), "ann");
    // The server honours it.
    EXPECT_EQ(api().get("/api/auth/me", token).status, 200);

    struct stat info {};
    ASSERT_EQ(::stat(DataPersist::entryPath(AuthenticationManager::kTokenKey).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_NE(storedEntry().find(serverUrl()), std::string::npos);

    // A restart reads it again.
    auth().reload();
    EXPECT_TRUE(auth().isAuthenticated());
    EXPECT_EQ(auth().getSessionToken(), token);

    Outcome bye;
    auth().logout(recorder(bye));
    EXPECT_FALSE(auth().isAuthenticated());   // at once, whatever the server says
    wait(bye);
    EXPECT_TRUE(bye.ok) << bye.error;
    EXPECT_EQ(api().get("/api/auth/me", token).status, 401);
    auth().reload();
    EXPECT_FALSE(auth().isAuthenticated());

    LmdLog::removeSink(sink);
    LmdLog::setEchoToStderr(true);
    for (const std::string& line : logLines)
        EXPECT_EQ(line.find(token), std::string::npos) << "the token was logged: " << line;
}

TEST_F(AuthenticationTest, AWrongPasswordIsNotAnEndedSession) {
    registerUser("ann");
    Outcome out;
    auth().login("ann", "wrong password", recorder(out));
    wait(out);
    EXPECT_FALSE(out.ok);
    EXPECT_FALSE(out.error.empty());
    // Only a lapsed session leads to a login and a retry; a wrong password must not.
    EXPECT_FALSE(AuthenticationFlowManager::isAuthenticationError(out.error));
    EXPECT_FALSE(auth().isAuthenticated());

    Outcome empty;
    auth().login("ann", "", recorder(empty));
    EXPECT_TRUE(empty.called);   // refused before anything is sent
    EXPECT_EQ(empty.error, "Enter your user name and password.");
}

TEST_F(AuthenticationTest, StoredSessionsThatCannotBeUsedAreIgnored) {
    const std::string token = registerUser("ann");
    const auto store = [](const std::string& text) {
        ASSERT_TRUE(DataPersist::SavePersistText(AuthenticationManager::kTokenKey, text));
        auth().reload();
    };
    store("not json");
    EXPECT_FALSE(auth().isAuthenticated());
    store(R"({"token":"short","username":"ann"})");
    EXPECT_FALSE(auth().isAuthenticated());
    // A session of another server is not sent to this one.
    store(R"({"token":")" + token + R"(","username":"ann","server":"http://elsewhere.example"})");
    EXPECT_FALSE(auth().isAuthenticated());
    store(R"({"token":")" + token + R"(","username":"ann","server":")" + serverUrl() + R"("})");
    EXPECT_TRUE(auth().isAuthenticated());
    EXPECT_FALSE(auth().storeSession("ABC", "ann"));   // nothing changed
    EXPECT_EQ(auth().getSessionToken(), token);
}

TEST_F(AuthenticationTest, VerifyingForgetsARevokedSessionButKeepsOneWhenOffline) {
    const std::string token = logInAs("ann");
    Outcome fine;
    auth().verifySession(recorder(fine));
    wait(fine);
    EXPECT_TRUE(fine.ok) << fine.error;

    // Expired on the server.
    {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(databaseFile().c_str(), &db), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(db, "UPDATE sessions SET expires_at = 0", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(db);
    }
    Outcome expired;
    auth().verifySession(recorder(expired));
    wait(expired);
    EXPECT_FALSE(expired.ok);
    EXPECT_TRUE(AuthenticationFlowManager::isAuthenticationError(expired.error));
    EXPECT_FALSE(auth().isAuthenticated());
    auth().reload();
    EXPECT_FALSE(auth().isAuthenticated());   // forgotten on disk too

    // A server that cannot be reached says nothing about the session: it is kept.
    const std::string other = registerUser("bob");
    ASSERT_TRUE(auth().storeSession(other, "bob"));
    setenv(ApiConfig::kServerVariable, ("http://127.0.0.1:" + std::to_string(Cloud::test::unusedPort())).c_str(), 1);
    ApiConfig::init("");
    Outcome offline;
    auth().verifySession(recorder(offline));
    wait(offline);
    EXPECT_FALSE(offline.ok);
    EXPECT_NE(offline.error.find("Could not reach the Lumenda3D server"), std::string::npos) << offline.error;
    EXPECT_TRUE(auth().isAuthenticated());
}

TEST_F(AuthenticationTest, CheckLoginRunsAtOnceAsksOnlyWhenAllowedAndNeverWithoutALogin) {
    int asked = 0, ran = 0;
    std::function<void()> pendingLogin;
    AuthenticationFlowManager& flow = AuthenticationFlowManager::getInstance();
    flow.setLoginPrompt([&](std::function<void()> onLoggedIn, std::function<void()>) {
        ++asked;
        pendingLogin = std::move(onLoggedIn);
    });
    flow.checkLogin([&] { ++ran; }, false);   // quiet: nobody is asked
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(ran, 0);

    flow.checkLogin([&] { ++ran; }, true);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(ran, 0);
    // A prompt that reports a login that did not happen runs nothing.
    pendingLogin();
    EXPECT_EQ(ran, 0);

    registerUser("ann");
    flow.checkLogin([&] { ++ran; }, true);
    Outcome out;
    auth().login("ann", "correct horse", recorder(out));
    wait(out);
    pendingLogin();
    EXPECT_EQ(ran, 1);
    flow.checkLogin([&] { ++ran; }, true);   // logged in: runs at once, asks nothing
    EXPECT_EQ(ran, 2);
    EXPECT_EQ(asked, 2);
}

TEST_F(AuthenticationTest, ALoginOvertakenByALogoutLeavesNoSession) {
    registerUser("ann");
    Outcome login, logout;
    auth().login("ann", "correct horse", recorder(login));
    auth().logout(recorder(logout));
    EXPECT_TRUE(pumpUntil([&] { return logout.called && idle(); }));
    EXPECT_FALSE(login.called);   // its answer belonged to a request given up
    EXPECT_FALSE(auth().isAuthenticated());
}

} // namespace
} // namespace Lumenda3D::test
