// Accounts against the real server, on both backends: registering, logging in and out, changing
// the password, the rate limit on failed logins, and tokens that are forged, revoked or expired.
#include <ctime>

#include "CloudBackendTest.h"
#include "SessionToken.h"

namespace Lumenda3D::Cloud::test {
namespace {

using Accounts = CloudBackendTest;

TEST_P(Accounts, RegisterLoginLogoutAndPasswordChange) {
    startServer();
    const std::string token = api().registerUser("Ann");
    ASSERT_EQ(token.size(), 64u);
    Reply me = api().get("/api/auth/me", token);
    ASSERT_EQ(me.status, 200) << me.body;
    EXPECT_EQ(me.json["username"], "Ann");
    EXPECT_EQ(me.json["storage"]["quota_mb"], 1.0);

    // The name is taken in any case; bad names and short passwords are refused.
    EXPECT_EQ(api().send("POST", "/api/auth/register", {{"username", "ann"}, {"password", "whatever1"}}).json["code"],
              "username_taken");
    EXPECT_EQ(api().send("POST", "/api/auth/register", {{"username", "a/b"}, {"password", "whatever1"}}).json["code"],
              "invalid_username");
    EXPECT_EQ(api().send("POST", "/api/auth/register", {{"username", "bob"}, {"password", "short"}}).json["code"],
              "weak_password");

    Reply wrong = api().send("POST", "/api/auth/login", {{"username", "ann"}, {"password", "wrong password"}});
    EXPECT_EQ(wrong.status, 401);
    EXPECT_EQ(wrong.json["code"], "invalid_credentials");
    Reply nobody = api().send("POST", "/api/auth/login", {{"username", "nobody"}, {"password", "wrong password"}});
    EXPECT_EQ(nobody.status, 401);
    EXPECT_EQ(nobody.json, wrong.json);   // no hint whether the name exists

    Reply login = api().send("POST", "/api/auth/login", {{"username", "ANN"}, {"password", "correct horse"}});
    ASSERT_EQ(login.status, 200) << login.body;
    const std::string second = login.json["token"];
    EXPECT_NE(second, token);

    // Changing the password ends every other session, keeps this one.
    EXPECT_EQ(api().send("POST", "/api/auth/password", {{"old_password", "nope nope"}, {"new_password", "new secret"}},
                         second).status, 403);
    Reply changed = api().send("POST", "/api/auth/password",
                               {{"old_password", "correct horse"}, {"new_password", "new secret"}}, second);
    ASSERT_EQ(changed.status, 200) << changed.body;
    EXPECT_EQ(api().get("/api/auth/me", token).status, 401);
    EXPECT_EQ(api().get("/api/auth/me", second).status, 200);
    EXPECT_EQ(api().send("POST", "/api/auth/login", {{"username", "ann"}, {"password", "correct horse"}}).status, 401);
    EXPECT_EQ(api().send("POST", "/api/auth/login", {{"username", "ann"}, {"password", "new secret"}}).status, 200);

    // Logging out ends exactly this session.
    EXPECT_EQ(api().send("POST", "/api/auth/logout", nlohmann::json::object(), second).status, 200);
    Reply after = api().get("/api/auth/me", second);
    EXPECT_EQ(after.status, 401);
    EXPECT_EQ(after.json["code"], "unauthorized");
}

TEST_P(Accounts, RepeatedFailedLoginsAreRateLimited) {
    startServer([](CloudConfig& c) { c.loginAttemptsPerUser = 3; });
    api().registerUser("carol");
    api().registerUser("dave");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(api().send("POST", "/api/auth/login", {{"username", "carol"}, {"password", "guess " + std::to_string(i)}})
                      .status,
                  401);
    // Now even the right password waits, and the answer says for how long.
    Reply locked = api().send("POST", "/api/auth/login", {{"username", "Carol"}, {"password", "correct horse"}});
    EXPECT_EQ(locked.status, 429);
    EXPECT_EQ(locked.json["code"], "too_many_attempts");
    EXPECT_GT(std::stoi(locked.header("Retry-After")), 0);
    EXPECT_NE(locked.json["error"].get<std::string>().find("minute"), std::string::npos);
    // Another user is not affected.
    EXPECT_EQ(api().send("POST", "/api/auth/login", {{"username", "dave"}, {"password", "correct horse"}}).status, 200);
}

TEST_P(Accounts, ForgedRevokedAndExpiredTokensAreRefused) {
    startServer();
    const std::string token = api().registerUser("erin");
    std::string forged = token;
    forged[0] = forged[0] == 'a' ? 'b' : 'a';
    for (const std::string& bad : {forged, std::string(64, '0'), std::string("not a token"), std::string(5000, 'f'),
                                   std::string("' OR '1'='1")}) {
        Reply r = api().get("/api/resources", bad);
        EXPECT_EQ(r.status, 401) << bad;
        EXPECT_EQ(r.json["code"], "unauthorized");
    }
    EXPECT_EQ(api().get("/api/resources").json["code"], "unauthorized");

    // A session whose time is up.
    const std::string expired = SessionToken::generate();
    const auto user = services().accounts().findByName("erin");
    ASSERT_TRUE(user);
    const std::int64_t now = std::time(nullptr);
    services().accounts().createSession(SessionToken::hashOf(expired), user->id, now - 100, now - 1);
    EXPECT_EQ(api().get("/api/resources", expired).status, 401);
    EXPECT_EQ(api().get("/api/resources", token).status, 200);
}

TEST_P(Accounts, RegistrationCanBeClosed) {
    startServer([](CloudConfig& c) { c.allowRegistration = false; });
    Reply r = api().send("POST", "/api/auth/register", {{"username", "frank"}, {"password", "whatever1"}});
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.json["code"], "registration_closed");
}

INSTANTIATE_TEST_SUITE_P(Backends, Accounts, ::testing::Values("sqlite", "postgresql"), backendName);

} // namespace
} // namespace Lumenda3D::Cloud::test
