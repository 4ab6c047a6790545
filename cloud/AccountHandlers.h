#pragma once
// /api/auth/...: create an account, log in and out, change the password, tell who is logged in.
#include <httplib.h>

#include "Authenticator.h"
#include "CloudServices.h"
#include "LoginThrottle.h"

namespace Lumenda3D::Cloud {

class AccountHandlers {
public:
    explicit AccountHandlers(CloudServices& services)
        : services_(services), auth_(services), throttle_(services) {}
    void install(httplib::Server& server);

    // The client's address for the login throttle (X-Forwarded-For only behind a trusted proxy).
    static std::string clientAddress(const httplib::Request& req, bool trustProxy);

private:
    void registerUser(const httplib::Request& req, httplib::Response& res);
    void login(const httplib::Request& req, httplib::Response& res);
    void logout(const httplib::Request& req, httplib::Response& res);
    void changePassword(const httplib::Request& req, httplib::Response& res);
    void me(const httplib::Request& req, httplib::Response& res);

    void answerSession(httplib::Response& res, int status, const User& user);
    void refuseWhileThrottled(const httplib::Request& req, const std::string& username);

    CloudServices& services_;
    Authenticator auth_;
    LoginThrottle throttle_;
};

} // namespace Lumenda3D::Cloud
