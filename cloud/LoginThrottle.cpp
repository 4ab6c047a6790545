#include "LoginThrottle.h"

#include <algorithm>
#include <ctime>

namespace Lumenda3D::Cloud {
namespace {
std::string userSubject(const std::string& username) { return "user:" + AccountStore::keyOf(username); }
std::string addressSubject(const std::string& address) { return "ip:" + address; }
} // namespace

std::int64_t LoginThrottle::waitFor(const std::string& subject, int allowed, std::int64_t now) {
    const int window = services_.config().loginWindowSeconds;
    const std::int64_t since = now - window;
    if (services_.accounts().failuresSince(subject, since) < allowed)
        return 0;
    const std::int64_t oldest = services_.accounts().oldestFailureSince(subject, since);
    return std::max<std::int64_t>(1, oldest + window - now);
}

std::int64_t LoginThrottle::retryAfter(const std::string& username, const std::string& address) {
    const std::int64_t now = std::time(nullptr);
    const CloudConfig& c = services_.config();
    return std::max(waitFor(userSubject(username), c.loginAttemptsPerUser, now),
                    waitFor(addressSubject(address), c.loginAttemptsPerAddress, now));
}

void LoginThrottle::failed(const std::string& username, const std::string& address) {
    const std::int64_t now = std::time(nullptr);
    const std::int64_t forget = now - services_.config().loginWindowSeconds;
    services_.accounts().recordFailure(userSubject(username), now, forget);
    services_.accounts().recordFailure(addressSubject(address), now, forget);
}

void LoginThrottle::succeeded(const std::string& username) {
    services_.accounts().clearFailures(userSubject(username));
}

} // namespace Lumenda3D::Cloud
