#pragma once
// How the handlers answer: JSON bodies, the error shape {"error": "...", "code": "..."}, and a
// guard around every handler that turns refusals and database failures into those answers, so
// that no exception ever reaches the HTTP library and the server keeps running.
#include <httplib.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <string>

#include "FormData.h"

namespace Lumenda3D::Cloud {

class HttpReply {
public:
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    // The asset calls add "success": false to their errors, as the asset catalog reads them.
    enum class Style { Api, Assets };

    static void json(httplib::Response& res, int status, const nlohmann::json& body);
    static void error(httplib::Response& res, int status, const std::string& code, const std::string& message,
                      Style style = Style::Api);
    static void bytes(httplib::Response& res, const std::string& data, const std::string& contentType,
                      bool cacheable);
    static void html(httplib::Response& res, int status, const std::string& page);

    static httplib::Server::Handler guard(Handler handler, Style style = Style::Api);
    // A guarded handler that calls a member function of a handler group.
    template <class T>
    static httplib::Server::Handler method(T* group, void (T::*member)(const httplib::Request&, httplib::Response&)) {
        return guard([group, member](const httplib::Request& q, httplib::Response& r) { (group->*member)(q, r); });
    }

    // The body as a JSON object; ApiError 400 "malformed_json" otherwise.
    static nlohmann::json jsonBody(const httplib::Request& req);
    // The query string's fields; ApiError 400 for a broken one.
    static FormData query(const httplib::Request& req);
    // An offset/limit pair from the query, limit at most 100 (default 50).
    static void page(const httplib::Request& req, std::int64_t& offset, std::int64_t& limit);
    // A numeric path part (the n-th regex group); ApiError 404 when it is not a number that fits.
    static std::int64_t pathNumber(const httplib::Request& req, int group, const std::string& what);
};

} // namespace Lumenda3D::Cloud
