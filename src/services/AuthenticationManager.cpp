#include "services/AuthenticationManager.h"

#include <nlohmann/json.hpp>

#include "base/LmdLog.h"
#include "services/ApiConfig.h"
#include "services/CloudReply.h"
#include "services/DataPersist.h"
#include "services/MyHttpClient.h"

namespace Lumenda3D {
namespace {

using json = nlohmann::json;

const char* const kNoServerText =
    "No Lumenda3D server is configured, so there is nothing to log in to (set LUMENDA3D_SERVER).";

std::string stringField(const json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

} // namespace

AuthenticationManager& AuthenticationManager::getInstance() {
    static AuthenticationManager instance;
    return instance;
}

void AuthenticationManager::setHttpClient(std::shared_ptr<MyHttpClient> client) { client_ = std::move(client); }

bool AuthenticationManager::isWellFormedToken(const std::string& token) {
    if (token.size() != 64)
        return false;
    for (char c : token)
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')))
            return false;
    return true;
}

void AuthenticationManager::restoreOnce() {
    if (restored_)
        return;
    restored_ = true;
    token_.clear();
    username_.clear();
    std::string text;
    if (!DataPersist::LoadPersistText(kTokenKey, text) || text.empty())
        return;
    const json stored = json::parse(text, nullptr, false);
    if (!stored.is_object()) {
        LmdLog::message("The stored login could not be read; log in again.");
        return;
    }
    const std::string token = stringField(stored, "token");
    const std::string server = stringField(stored, "server");
    if (!isWellFormedToken(token)) {
        LmdLog::message("The stored login is not a valid session; log in again.");
        return;
    }
    // A session of another server would only be refused there, and would tell that server a
    // token it never issued.
    if (!server.empty() && server != ApiConfig::getServerUrl()) {
        LmdLog::message("The stored login belongs to another server (" + server + "); log in again.");
        return;
    }
    token_ = token;
    username_ = stringField(stored, "username");
}

void AuthenticationManager::reload() {
    restored_ = false;
    generation_.bump();
}

bool AuthenticationManager::isAuthenticated() {
    restoreOnce();
    return !token_.empty();
}

std::string AuthenticationManager::getSessionToken() {
    restoreOnce();
    return token_;
}

std::string AuthenticationManager::getUsername() {
    restoreOnce();
    return username_;
}

void AuthenticationManager::setSession(const std::string& token, const std::string& username, bool persist) {
    restored_ = true;
    token_ = token;
    username_ = username;
    if (persist) {
        if (token.empty()) {
            // Empty text is "no session"; SavePersistText keeps the entry's file mode.
            DataPersist::SavePersistText(kTokenKey, "");
        } else {
            const json stored = {{"token", token}, {"username", username}, {"server", ApiConfig::getServerUrl()}};
            if (!DataPersist::SavePersistText(kTokenKey, stored.dump()))
                LmdLog::message("The login could not be stored; it holds until the editor closes.");
        }
    }
    changed_.emit();
}

bool AuthenticationManager::storeSession(const std::string& token, const std::string& username) {
    if (!isWellFormedToken(token))
        return false;
    generation_.bump();
    setSession(token, username, true);
    return true;
}

void AuthenticationManager::forgetSession() {
    generation_.bump();
    setSession("", "", true);
}

void AuthenticationManager::sessionEnded(const std::string& tokenUsed) {
    restoreOnce();
    if (tokenUsed.empty() || tokenUsed != token_)
        return;
    LmdLog::message("The server ended the login session of " + (username_.empty() ? "this user" : username_) + ".");
    setSession("", "", true);
}

void AuthenticationManager::startSession(const std::string& path, const std::string& username,
                                         const std::string& password, Done done) {
    const auto refuse = [&done](const char* text) {
        if (done)
            done(false, text);
    };
    const std::string api = ApiConfig::getApiBaseUrl();
    if (api.empty())
        return refuse(kNoServerText);
    if (!client_)
        return refuse(CloudReply::kNoClientText);
    if (username.empty() || password.empty())
        return refuse("Enter your user name and password.");
    // A newer login or a logout makes this one's answer stale.
    const LmdRequestGeneration::Ticket ticket = generation_.bump();
    const json body = {{"username", username}, {"password", password}};
    const std::string server = ApiConfig::getServerUrl();
    client_->postJson(api + path, body.dump(), [this, ticket, server, done](const HttpResponse& response) {
        if (!generation_.isCurrent(ticket))
            return;
        const CloudReply reply = CloudReply::read(response, server);
        // 401 here is a wrong password (invalid_credentials): the server's own sentence says so.
        if (!reply.ok) {
            if (done)
                done(false, reply.error);
            return;
        }
        const std::string token = stringField(reply.body, "token");
        if (!isWellFormedToken(token)) {
            if (done)
                done(false, "The Lumenda3D server sent a login the editor cannot use. Try again later.");
            return;
        }
        setSession(token, stringField(reply.body, "username"), true);
        LmdLog::message("Logged in as " + username_ + ".");
        if (done)
            done(true, "");
    });
}

void AuthenticationManager::login(const std::string& username, const std::string& password, Done done) {
    startSession("/auth/login", username, password, std::move(done));
}

void AuthenticationManager::registerAccount(const std::string& username, const std::string& password, Done done) {
    startSession("/auth/register", username, password, std::move(done));
}

void AuthenticationManager::logout(Done done) {
    const std::string token = getSessionToken();
    forgetSession();
    const std::string api = ApiConfig::getApiBaseUrl();
    if (token.empty() || api.empty() || !client_) {
        if (done)
            done(true, "");
        return;
    }
    HttpRequest request;
    request.method = "POST";
    request.url = api + "/auth/logout";
    request.headers.push_back({"Authorization", "Bearer " + token});
    request.contentType = "application/json";
    const std::string server = ApiConfig::getServerUrl();
    client_->send(std::move(request), [server, done](const HttpResponse& response) {
        const CloudReply reply = CloudReply::read(response, server);
        // A session the server had already ended is logged out all the same.
        const bool ok = reply.ok || reply.sessionEnded();
        if (done)
            done(ok, ok ? std::string() : reply.error);
    });
}

void AuthenticationManager::verifySession(Done done) {
    const auto refuse = [&done](const char* text) {
        if (done)
            done(false, text);
    };
    const std::string token = getSessionToken();
    if (token.empty())
        return refuse(CloudReply::kSessionEndedText);
    const std::string api = ApiConfig::getApiBaseUrl();
    if (api.empty())
        return refuse(kNoServerText);
    if (!client_)
        return refuse(CloudReply::kNoClientText);
    HttpRequest request;
    request.url = api + "/auth/me";
    request.headers.push_back({"Authorization", "Bearer " + token});
    const LmdRequestGeneration::Ticket ticket = generation_.ticket();
    const std::string server = ApiConfig::getServerUrl();
    client_->send(std::move(request), [this, ticket, token, server, done](const HttpResponse& response) {
        if (!generation_.isCurrent(ticket))
            return;
        const CloudReply reply = CloudReply::read(response, server);
        if (reply.sessionEnded())
            sessionEnded(token);
        if (done)
            done(reply.ok, reply.error);
    });
}

} // namespace Lumenda3D
