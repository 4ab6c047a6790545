#pragma once
// Who is calling: the session token of a request, from "Authorization: Bearer <token>" or, for
// the asset calls' forms, from their "token" field. An absent, unknown, expired or revoked token
// is the same 401 "unauthorized" answer, which the editor takes as "log in again".
#include <httplib.h>

#include <optional>
#include <string>

#include "AccountStore.h"
#include "CloudServices.h"

namespace Lumenda3D::Cloud {

class Authenticator {
public:
    explicit Authenticator(CloudServices& services) : services_(services) {}

    // The token that came with the request ("" when none). `formToken` is the form's field.
    static std::string tokenOf(const httplib::Request& req, const std::string& formToken = "");

    std::optional<User> user(const std::string& token);
    // Throws ApiError 401 "unauthorized" when there is no valid session.
    User require(const std::string& token);

    // Starts a session; returns the token and sets `expiresAt`.
    std::string startSession(std::int64_t userId, std::int64_t& expiresAt);

private:
    CloudServices& services_;
};

} // namespace Lumenda3D::Cloud
