#include "HttpReply.h"

#include "ApiError.h"
#include "CloudLog.h"
#include "JsonBody.h"
#include "StorageError.h"

namespace Lumenda3D::Cloud {

void HttpReply::json(httplib::Response& res, int status, const nlohmann::json& body) {
    res.status = status;
    res.set_header("Cache-Control", "no-store");
    res.set_content(body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), "application/json");
}

void HttpReply::error(httplib::Response& res, int status, const std::string& code, const std::string& message,
                      Style style) {
    nlohmann::json body = {{"error", message}, {"code", code}};
    if (style == Style::Assets)
        body["success"] = false;
    json(res, status, body);
}

void HttpReply::bytes(httplib::Response& res, const std::string& data, const std::string& contentType,
                      bool cacheable) {
    res.status = 200;
    res.set_header("Cache-Control", cacheable ? "public, max-age=300" : "no-store");
    res.set_header("X-Content-Type-Options", "nosniff");
    res.set_content(data, contentType.c_str());
}

void HttpReply::html(httplib::Response& res, int status, const std::string& page) {
    res.status = status;
    res.set_header("Content-Security-Policy", "default-src 'self'; style-src 'unsafe-inline'");
    res.set_header("X-Content-Type-Options", "nosniff");
    res.set_content(page, "text/html; charset=utf-8");
}

httplib::Server::Handler HttpReply::guard(Handler handler, Style style) {
    return [handler = std::move(handler), style](const httplib::Request& req, httplib::Response& res) {
        try {
            handler(req, res);
        } catch (const ApiError& e) {
            if (e.retryAfter() > 0)
                res.set_header("Retry-After", std::to_string(e.retryAfter()));
            error(res, e.status(), e.code(), e.what(), style);
        } catch (const StorageError& e) {
            switch (e.kind()) {
            case StorageError::Kind::Busy:
                CloudLog::error(req.method + " " + req.path + ": database busy: " + e.what());
                res.set_header("Retry-After", "1");
                error(res, 503, "database_busy", "The server's database is busy. Nothing was changed; try again in a moment.", style);
                break;
            case StorageError::Kind::Unavailable:
                CloudLog::error(req.method + " " + req.path + ": database unavailable: " + e.what());
                res.set_header("Retry-After", "5");
                error(res, 503, "database_unavailable",
                      "The server cannot reach its database. Nothing was changed; try again later.", style);
                break;
            case StorageError::Kind::Constraint:
                error(res, 409, "conflict", "The change conflicts with data that exists already.", style);
                break;
            case StorageError::Kind::Failed:
                CloudLog::error(req.method + " " + req.path + ": database error: " + e.what());
                error(res, 500, "internal_error", "The server failed to do this. Nothing was changed.", style);
                break;
            }
        } catch (const std::exception& e) {
            CloudLog::error(req.method + " " + req.path + ": " + e.what());
            error(res, 500, "internal_error", "The server failed to do this. Nothing was changed.", style);
        }
    };
}

nlohmann::json HttpReply::jsonBody(const httplib::Request& req) {
    nlohmann::json body;
    std::string problem;
    if (!JsonBody::parseObject(req.body, body, problem))
        throw ApiError(400, "malformed_json", "The request could not be read: " + problem + ".");
    return body;
}

FormData HttpReply::query(const httplib::Request& req) {
    FormData out;
    std::string problem;
    const auto mark = req.target.find('?');
    if (mark != std::string::npos && !FormData::parse(std::string_view(req.target).substr(mark + 1), out, problem))
        throw ApiError::badRequest("The query string could not be read: " + problem + ".");
    return out;
}

namespace {
bool parseNumber(const std::string& text, std::int64_t& out) {
    if (text.empty() || text.size() > 18)
        return false;
    out = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        out = out * 10 + (c - '0');
    }
    return true;
}
} // namespace

void HttpReply::page(const httplib::Request& req, std::int64_t& offset, std::int64_t& limit) {
    const FormData q = query(req);
    offset = 0;
    limit = 50;
    if (q.has("offset") && !parseNumber(q.get("offset"), offset))
        throw ApiError::badRequest("'offset' must be a whole number of 0 or more.");
    if (q.has("limit") && (!parseNumber(q.get("limit"), limit) || limit < 1 || limit > 100))
        throw ApiError::badRequest("'limit' must be a whole number from 1 to 100.");
}

std::int64_t HttpReply::pathNumber(const httplib::Request& req, int group, const std::string& what) {
    std::int64_t value = 0;
    if (static_cast<int>(req.matches.size()) <= group || !parseNumber(req.matches[group].str(), value))
        throw ApiError::notFound("No such " + what + ".");
    return value;
}

} // namespace Lumenda3D::Cloud
