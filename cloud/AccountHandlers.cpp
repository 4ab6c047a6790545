#include "AccountHandlers.h"

#include <ctime>

#include "ApiError.h"
#include "CloudLog.h"
#include "Encoding.h"
#include "HttpReply.h"
#include "JsonBody.h"
#include "SessionToken.h"
#include "TextRules.h"

namespace Lumenda3D::Cloud {

void AccountHandlers::install(httplib::Server& server) {
    auto bind = [this](void (AccountHandlers::*member)(const httplib::Request&, httplib::Response&)) {
        return HttpReply::method(this, member);
    };
    server.Post("/api/auth/register", bind(&AccountHandlers::registerUser));
    server.Post("/api/auth/login", bind(&AccountHandlers::login));
    server.Post("/api/auth/logout", bind(&AccountHandlers::logout));
    server.Post("/api/auth/password", bind(&AccountHandlers::changePassword));
    server.Get("/api/auth/me", bind(&AccountHandlers::me));
}

std::string AccountHandlers::clientAddress(const httplib::Request& req, bool trustProxy) {
    if (trustProxy) {
        const std::string forwarded = req.get_header_value("X-Forwarded-For");
        if (!forwarded.empty()) {
            // The proxy appends the address it saw: the last entry is the one to trust.
            const auto comma = forwarded.rfind(',');
            std::string last = comma == std::string::npos ? forwarded : forwarded.substr(comma + 1);
            while (!last.empty() && last.front() == ' ')
                last.erase(0, 1);
            if (!last.empty() && last.size() <= 64)
                return last;
        }
    }
    return req.remote_addr;
}

void AccountHandlers::answerSession(httplib::Response& res, int status, const User& user) {
    std::int64_t expiresAt = 0;
    const std::string token = auth_.startSession(user.id, expiresAt);
    HttpReply::json(res, status,
                    {{"token", token}, {"username", user.username}, {"expires_at", Encoding::isoTime(expiresAt)}});
}

void AccountHandlers::refuseWhileThrottled(const httplib::Request& req, const std::string& username) {
    const std::int64_t wait = throttle_.retryAfter(username, clientAddress(req, services_.config().trustProxy));
    if (wait > 0) {
        throw ApiError(429, "too_many_attempts",
                       "Too many failed logins. Try again in " + std::to_string((wait + 59) / 60) + " minute" +
                           (wait > 60 ? "s." : "."))
            .withRetryAfter(static_cast<long>(wait));
    }
}

void AccountHandlers::registerUser(const httplib::Request& req, httplib::Response& res) {
    if (!services_.config().allowRegistration)
        throw ApiError(403, "registration_closed",
                       "This server does not let people create accounts. Ask its administrator for one.");
    const nlohmann::json body = HttpReply::jsonBody(req);
    const std::string username = JsonBody::requiredText(body, "username");
    const std::string password = JsonBody::requiredText(body, "password");
    if (!TextRules::isValidUsername(username))
        throw ApiError(400, "invalid_username",
                       "A user name has 3 to 32 letters, digits, dots, dashes or underscores and begins with a "
                       "letter or digit.");
    if (!TextRules::isValidPassword(password))
        throw ApiError(400, "weak_password", "A password needs at least 8 characters.");
    const std::string hash = services_.hasher().hash(password);
    auto id = services_.accounts().createUser(username, hash, std::time(nullptr));
    if (!id)
        throw ApiError(409, "username_taken", "The user name '" + username + "' is taken. Choose another one.");
    CloudLog::info("account created: " + username);
    User user;
    user.id = *id;
    user.username = username;
    answerSession(res, 201, user);
}

void AccountHandlers::login(const httplib::Request& req, httplib::Response& res) {
    const nlohmann::json body = HttpReply::jsonBody(req);
    const std::string username = JsonBody::requiredText(body, "username");
    const std::string password = JsonBody::requiredText(body, "password");
    if (username.size() > 64 || password.size() > 1024)
        throw ApiError(401, "invalid_credentials", "The user name or the password is wrong.");
    refuseWhileThrottled(req, username);
    auto user = services_.accounts().findByName(username);
    // A missing user costs the same hashing time as a wrong password, so that the answer's delay
    // does not tell which names exist.
    static const std::string decoy = services_.hasher().hash("decoy password for missing users");
    const bool ok = services_.hasher().verify(user ? user->passwordHash : decoy, password) && user.has_value();
    if (!ok) {
        throttle_.failed(username, clientAddress(req, services_.config().trustProxy));
        throw ApiError(401, "invalid_credentials", "The user name or the password is wrong.");
    }
    throttle_.succeeded(username);
    if (services_.hasher().needsRehash(user->passwordHash))
        services_.accounts().setPasswordHash(user->id, services_.hasher().hash(password), false);
    answerSession(res, 200, *user);
}

void AccountHandlers::logout(const httplib::Request& req, httplib::Response& res) {
    const std::string token = Authenticator::tokenOf(req);
    auth_.require(token);
    services_.accounts().endSession(SessionToken::hashOf(token));
    HttpReply::json(res, 200, {{"success", true}});
}

void AccountHandlers::changePassword(const httplib::Request& req, httplib::Response& res) {
    const std::string token = Authenticator::tokenOf(req);
    const User user = auth_.require(token);
    const nlohmann::json body = HttpReply::jsonBody(req);
    const std::string oldPassword = JsonBody::requiredText(body, "old_password");
    const std::string newPassword = JsonBody::requiredText(body, "new_password");
    refuseWhileThrottled(req, user.username);
    if (!services_.hasher().verify(user.passwordHash, oldPassword)) {
        throttle_.failed(user.username, clientAddress(req, services_.config().trustProxy));
        throw ApiError(403, "invalid_credentials", "The current password is wrong.");
    }
    if (!TextRules::isValidPassword(newPassword))
        throw ApiError(400, "weak_password", "A password needs at least 8 characters.");
    // Every other session ends: whoever knew the old password is logged out.
    services_.accounts().setPasswordHash(user.id, services_.hasher().hash(newPassword), true,
                                         SessionToken::hashOf(token));
    HttpReply::json(res, 200, {{"success", true}});
}

void AccountHandlers::me(const httplib::Request& req, httplib::Response& res) {
    const User user = auth_.require(Authenticator::tokenOf(req));
    const std::int64_t quota = services_.quotaOf(user);
    HttpReply::json(res, 200,
                    {{"username", user.username},
                     {"created_at", Encoding::isoTime(user.createdAt)},
                     {"storage",
                      {{"unlimited", quota < 0},
                       {"used_mb", double(user.storageUsed) / (1 << 20)},
                       {"quota_mb", quota < 0 ? 0.0 : double(quota) / (1 << 20)}}}});
}

} // namespace Lumenda3D::Cloud
