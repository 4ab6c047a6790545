#pragma once
// A refusal of a request, with the HTTP status, a stable machine-readable code and a sentence
// for the person in front of the editor. Handlers throw it; the HTTP wiring turns it into
// {"error": message, "code": code}.
#include <stdexcept>
#include <string>

namespace Lumenda3D::Cloud {

class ApiError : public std::runtime_error {
public:
    ApiError(int status, std::string code, const std::string& message)
        : std::runtime_error(message), status_(status), code_(std::move(code)) {}
    int status() const { return status_; }
    const std::string& code() const { return code_; }
    // Seconds for a Retry-After header; 0 for none.
    long retryAfter() const { return retryAfter_; }
    ApiError& withRetryAfter(long seconds) {
        retryAfter_ = seconds;
        return *this;
    }

    static ApiError badRequest(const std::string& message) { return ApiError(400, "bad_request", message); }
    static ApiError notFound(const std::string& message) { return ApiError(404, "not_found", message); }
    static ApiError unauthorized(const std::string& message) { return ApiError(401, "unauthorized", message); }

private:
    int status_;
    std::string code_;
    long retryAfter_ = 0;
};

} // namespace Lumenda3D::Cloud
