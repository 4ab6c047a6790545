#include "Authenticator.h"

#include <ctime>

#include "ApiError.h"
#include "SessionToken.h"

namespace Lumenda3D::Cloud {

std::string Authenticator::tokenOf(const httplib::Request& req, const std::string& formToken) {
    const std::string header = req.get_header_value("Authorization");
    const std::string scheme = "Bearer ";
    if (header.size() > scheme.size() && header.compare(0, scheme.size(), scheme) == 0)
        return header.substr(scheme.size());
    return formToken;
}

std::optional<User> Authenticator::user(const std::string& token) {
    const std::string hash = SessionToken::hashOf(token);
    if (hash.empty())
        return std::nullopt;
    return services_.accounts().userForSession(hash, std::time(nullptr));
}

User Authenticator::require(const std::string& token) {
    if (token.empty())
        throw ApiError::unauthorized("Please log in first.");
    auto found = user(token);
    if (!found)
        throw ApiError::unauthorized("Your session has ended. Please log in again.");
    return *found;
}

std::string Authenticator::startSession(std::int64_t userId, std::int64_t& expiresAt) {
    const std::int64_t now = std::time(nullptr);
    expiresAt = now + std::int64_t(services_.config().sessionDays) * 24 * 3600;
    const std::string token = SessionToken::generate();
    services_.accounts().createSession(SessionToken::hashOf(token), userId, now, expiresAt);
    return token;
}

} // namespace Lumenda3D::Cloud
