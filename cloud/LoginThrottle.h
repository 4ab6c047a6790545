#pragma once
// Slows down password guessing: after a number of failed logins for one user name, or from one
// client address, within a time window, further logins are refused until the oldest failure
// leaves the window. The failures are kept in the database, so every server process on it
// counts the same.
#include <cstdint>
#include <string>

#include "CloudServices.h"

namespace Lumenda3D::Cloud {

class LoginThrottle {
public:
    explicit LoginThrottle(CloudServices& services) : services_(services) {}

    // Seconds to wait before the next attempt; 0 when an attempt may be made now.
    std::int64_t retryAfter(const std::string& username, const std::string& address);
    void failed(const std::string& username, const std::string& address);
    void succeeded(const std::string& username);

private:
    std::int64_t waitFor(const std::string& subject, int allowed, std::int64_t now);
    CloudServices& services_;
};

} // namespace Lumenda3D::Cloud
