#include "ProjectHandlers.h"

#include <ctime>

#include "ApiError.h"
#include "Encoding.h"
#include "HttpReply.h"
#include "JsonBody.h"
#include "TextRules.h"

namespace Lumenda3D::Cloud {
namespace {

const char* kNoSuchProject = "No such project, or it is not yours.";

std::string megabytes(std::int64_t bytes) {
    const std::int64_t mb = bytes / (1 << 20);
    return mb >= 1 ? std::to_string(mb) + " MB" : std::to_string(bytes / 1024) + " KB";
}

} // namespace

void ProjectHandlers::install(httplib::Server& server) {
    auto bind = [this](void (ProjectHandlers::*member)(const httplib::Request&, httplib::Response&)) {
        return HttpReply::method(this, member);
    };
    server.Get("/api/resources", bind(&ProjectHandlers::list));
    server.Post("/api/resources", bind(&ProjectHandlers::create));
    server.Get(R"(/api/resources/([^/]+))", bind(&ProjectHandlers::load));
    server.Put(R"(/api/resources/([^/]+))", bind(&ProjectHandlers::save));
    server.Delete(R"(/api/resources/([^/]+))", bind(&ProjectHandlers::remove));
    server.Get(R"(/api/resources/([^/]+)/thumbnail)", bind(&ProjectHandlers::thumbnail));
    server.Get(R"(/api/resources/([^/]+)/revisions)", bind(&ProjectHandlers::revisions));
    server.Get(R"(/api/resources/([^/]+)/revisions/([^/]+))", bind(&ProjectHandlers::revision));
}

nlohmann::json ProjectHandlers::metadata(const ResourceInfo& r) {
    return {{"resource_id", std::to_string(r.id)},
            {"resource_name", r.name},
            {"resource_type", r.type},
            {"description", r.description},
            {"category_id", r.categoryId},
            {"view_source", r.viewSource},
            {"published", r.published},
            {"owner", r.ownerName},
            {"revision", r.revision},
            {"size", r.size},
            {"created_at", Encoding::isoTime(r.createdAt)},
            {"updated_at", Encoding::isoTime(r.updatedAt)}};
}

ResourceChanges ProjectHandlers::changesFrom(const nlohmann::json& body, const CloudConfig& config) {
    ResourceChanges c;
    c.xml = JsonBody::text(body, "xml");
    if (c.xml && static_cast<std::int64_t>(c.xml->size()) > config.maxDocumentBytes)
        throw ApiError(413, "document_too_large",
                       "The project is larger than this server's limit of " + megabytes(config.maxDocumentBytes) + ".");
    if (c.xml && c.xml->empty())
        throw ApiError::badRequest("'xml' is empty: a project needs a document.");
    c.name = JsonBody::text(body, "name");
    if (c.name && !TextRules::isValidResourceName(*c.name))
        throw ApiError(400, "invalid_name", "A project name has 1 to 64 characters and no control characters.");
    c.type = JsonBody::text(body, "resource_type");
    if (c.type && *c.type != "project" && *c.type != "plugin")
        throw ApiError::badRequest("'resource_type' must be \"project\" or \"plugin\".");
    if (auto thumb = JsonBody::text(body, "thumbnail"); thumb && !thumb->empty()) {
        c.thumbnail = Encoding::fromBase64(*thumb);
        if (!c.thumbnail)
            throw ApiError::badRequest("'thumbnail' is not base64.");
        if (static_cast<std::int64_t>(c.thumbnail->size()) > config.maxThumbnailBytes)
            throw ApiError(413, "thumbnail_too_large",
                           "The thumbnail is larger than " + megabytes(config.maxThumbnailBytes) + ".");
    }
    c.baseRevision = JsonBody::integer(body, "base_revision");
    return c;
}

ResourceInfo ProjectHandlers::owned(const httplib::Request& req, const User& user) {
    const std::int64_t id = HttpReply::pathNumber(req, 1, "project");
    auto info = services_.projects().info(id);
    if (!info || info->ownerId != user.id)
        throw ApiError::notFound(kNoSuchProject);
    return *info;
}

void ProjectHandlers::list(const httplib::Request& req, httplib::Response& res) {
    const User user = auth_.require(Authenticator::tokenOf(req));
    std::int64_t offset, limit, total = 0;
    HttpReply::page(req, offset, limit);
    nlohmann::json items = nlohmann::json::array();
    for (const ResourceInfo& r : services_.projects().listOwned(user.id, offset, limit, total))
        items.push_back(metadata(r));
    HttpReply::json(res, 200, {{"resources", items}, {"total", total}, {"offset", offset}, {"limit", limit}});
}

void ProjectHandlers::create(const httplib::Request& req, httplib::Response& res) {
    const User user = auth_.require(Authenticator::tokenOf(req));
    const nlohmann::json body = HttpReply::jsonBody(req);
    ResourceChanges c = changesFrom(body, services_.config());
    if (!c.name)
        throw ApiError::badRequest("'name' is missing.");
    if (!c.xml)
        throw ApiError::badRequest("'xml' is missing.");
    const std::int64_t id = services_.projects().create(user.id, *c.name, c.type.value_or("project"), *c.xml,
                                                        c.thumbnail, std::time(nullptr));
    HttpReply::json(res, 201, {{"resource_id", std::to_string(id)}, {"revision", 1}});
}

void ProjectHandlers::load(const httplib::Request& req, httplib::Response& res) {
    // A published game opens without a login (its page links to it); anything else needs one.
    const std::string token = Authenticator::tokenOf(req);
    std::optional<User> user;
    if (!token.empty())
        user = auth_.require(token);
    const std::int64_t id = HttpReply::pathNumber(req, 1, "project");
    auto info = services_.projects().info(id);
    const bool mine = user && info && info->ownerId == user->id;
    if (!info || (!mine && !info->published)) {
        if (!user)
            throw ApiError::unauthorized("Please log in first.");
        throw ApiError::notFound(kNoSuchProject);
    }
    if (!mine && !info->viewSource)
        throw ApiError(403, "source_hidden", "The author of this game does not share its source.");
    // Others get the published state of the game, the owner the latest save.
    const std::int64_t revision = mine ? info->revision : info->publishedRevision;
    auto xml = services_.projects().document(id, revision);
    if (!xml)
        throw ApiError::notFound(kNoSuchProject);
    nlohmann::json meta = metadata(*info);
    meta["is_owner"] = mine;
    meta["revision"] = revision;
    HttpReply::json(res, 200, {{"resource_id", std::to_string(id)}, {"revision", revision}, {"xml", *xml},
                               {"metadata", meta}});
}

void ProjectHandlers::save(const httplib::Request& req, httplib::Response& res) {
    const User user = auth_.require(Authenticator::tokenOf(req));
    const std::int64_t id = HttpReply::pathNumber(req, 1, "project");
    const nlohmann::json body = HttpReply::jsonBody(req);
    const ResourceChanges c = changesFrom(body, services_.config());
    const auto result = services_.projects().save(user.id, id, c, std::time(nullptr));
    if (result.outcome == ProjectStore::Outcome::NotFound)
        throw ApiError::notFound(kNoSuchProject);
    if (result.outcome == ProjectStore::Outcome::Conflict)
        throw ApiError(409, "revision_conflict",
                       "The project was saved elsewhere in the meantime (it is now at revision " +
                           std::to_string(result.revision) + "). Load it again before saving.");
    HttpReply::json(res, 200, {{"resource_id", std::to_string(id)}, {"revision", result.revision}});
}

void ProjectHandlers::remove(const httplib::Request& req, httplib::Response& res) {
    const User user = auth_.require(Authenticator::tokenOf(req));
    const std::int64_t id = HttpReply::pathNumber(req, 1, "project");
    if (!services_.projects().remove(user.id, id))
        throw ApiError::notFound(kNoSuchProject);
    HttpReply::json(res, 200, {{"success", true}});
}

void ProjectHandlers::thumbnail(const httplib::Request& req, httplib::Response& res) {
    const User user = auth_.require(Authenticator::tokenOf(req));
    const ResourceInfo info = owned(req, user);
    auto bytes = services_.projects().thumbnail(info.id);
    if (!bytes)
        throw ApiError::notFound("This project has no thumbnail.");
    HttpReply::bytes(res, *bytes, Encoding::imageType(*bytes), false);
}

void ProjectHandlers::revisions(const httplib::Request& req, httplib::Response& res) {
    const User user = auth_.require(Authenticator::tokenOf(req));
    const ResourceInfo info = owned(req, user);
    nlohmann::json items = nlohmann::json::array();
    for (const RevisionInfo& r : services_.projects().revisions(info.id))
        items.push_back({{"revision", r.revision}, {"size", r.size}, {"created_at", Encoding::isoTime(r.createdAt)}});
    HttpReply::json(res, 200, {{"resource_id", std::to_string(info.id)}, {"current", info.revision}, {"revisions", items}});
}

void ProjectHandlers::revision(const httplib::Request& req, httplib::Response& res) {
    const User user = auth_.require(Authenticator::tokenOf(req));
    const ResourceInfo info = owned(req, user);
    const std::int64_t number = HttpReply::pathNumber(req, 2, "revision");
    auto xml = services_.projects().document(info.id, number);
    if (!xml)
        throw ApiError::notFound("This project has no revision " + std::to_string(number) + " (old ones are not kept).");
    HttpReply::json(res, 200, {{"resource_id", std::to_string(info.id)}, {"revision", number}, {"xml", *xml}});
}

} // namespace Lumenda3D::Cloud
