#pragma once
// The login session with the product's web server: the session token, the user's name, and the
// calls that make and end a session (register, login, logout, a check of the stored session).
//
// The token is kept in memory and persisted under the key "lumenda3d_token" of DataPersist (a
// file readable by its owner only, which clearing the saved data keeps), so that a login holds
// across starts. The entry is a JSON object {"token", "username", "server"}; a stored session
// belongs to the server it was made with and is not sent to another one. The token is never
// written to the log.
//
// The cloud services call sessionEnded() when the server answers a call with 401 "unauthorized":
// the session is forgotten (in memory and on disk), so that the next checkLogin asks for a login
// instead of sending the dead token again.
//
// Main thread only, like the HTTP callbacks that drive it. Answers arrive through the HTTP
// client's pump, never inside the call that started them; a call that cannot start (no server
// configured, no HTTP client) answers at once.
#include <functional>
#include <memory>
#include <string>

#include "base/LmdSignal.h"
#include "services/LmdRequestGeneration.h"

namespace Lumenda3D {

class MyHttpClient;

class AuthenticationManager {
public:
    // (ok, error): the sentence for the person when ok is false.
    using Done = std::function<void(bool ok, const std::string& error)>;

    static constexpr const char* kTokenKey = "lumenda3d_token";

    static AuthenticationManager& getInstance();

    // The client every cloud call goes through (the engine's). Without one, calls fail at once.
    void setHttpClient(std::shared_ptr<MyHttpClient> client);
    std::shared_ptr<MyHttpClient> getHttpClient() const { return client_; }

    // A session exists (restored from storage at the first question).
    bool isAuthenticated();
    std::string getSessionToken();
    std::string getUsername();

    // POST /api/auth/login. On success the session is stored and listeners are told.
    void login(const std::string& username, const std::string& password, Done done);
    // POST /api/auth/register: a new account, logged in at once.
    void registerAccount(const std::string& username, const std::string& password, Done done);
    // Ends the session here at once and tells the server (POST /api/auth/logout); an answer that
    // does not come changes nothing here: the session is gone locally either way.
    void logout(Done done);
    // Asks the server whether the stored session still holds (GET /api/auth/me). A 401 forgets
    // it; an unreachable server keeps it (the user may be offline). ok is true when it holds.
    void verifySession(Done done);

    // Takes a session made elsewhere and persists it. False (nothing changed) for a token that is
    // not 64 lower-case hex digits.
    bool storeSession(const std::string& token, const std::string& username);
    // Forgets the session in memory and on disk.
    void forgetSession();
    // A call made with `tokenUsed` was answered 401 "unauthorized": forgets the session if it is
    // still that one (a login in the meantime is kept).
    void sessionEnded(const std::string& tokenUsed);

    // Called after every change of the session (login, logout, a session that ended).
    LmdSubscription subscribeChanges(std::function<void()> listener) { return changed_.subscribe(std::move(listener)); }

    // Drops what is in memory; the next question reads the stored entry again. For tests, and
    // for a change of the data root or the server.
    void reload();

    static bool isWellFormedToken(const std::string& token);

private:
    AuthenticationManager() = default;
    void restoreOnce();
    void setSession(const std::string& token, const std::string& username, bool persist);
    void startSession(const std::string& path, const std::string& username, const std::string& password,
                      Done done);

    std::shared_ptr<MyHttpClient> client_;
    bool restored_ = false;
    std::string token_;
    std::string username_;
    LmdSignal<> changed_{"authentication changes"};
    // Bumped by logout and by every new login: answers of abandoned requests are dropped.
    LmdRequestGeneration generation_;
};

} // namespace Lumenda3D
