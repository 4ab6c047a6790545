#include "PublishingHandlers.h"

#include <ctime>

#include "ApiError.h"
#include "Encoding.h"
#include "HttpReply.h"
#include "JsonBody.h"
#include "ProjectHandlers.h"
#include "TextRules.h"

namespace Lumenda3D::Cloud {
namespace {

constexpr std::int64_t kGamesPerPage = 24;

const char* kStyle =
    "<style>body{font-family:sans-serif;margin:0;background:#1e2129;color:#e8e8ec}"
    "header{padding:16px 24px;background:#2a2e39}a{color:#8fc1ff}"
    "main{padding:24px}.grid{display:flex;flex-wrap:wrap;gap:16px}"
    ".card{width:220px;background:#2a2e39;border-radius:8px;overflow:hidden;text-decoration:none;color:inherit}"
    ".card img,.card .none{width:220px;height:143px;object-fit:cover;background:#3a3f4d;display:block}"
    ".card p{margin:8px 10px}.muted{color:#9aa0ad}.open{display:inline-block;margin-top:16px;padding:10px 18px;"
    "background:#3d7be0;color:#fff;border-radius:6px;text-decoration:none}</style>";

std::string pageStart(const std::string& title) {
    return "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><meta name=\"viewport\" "
           "content=\"width=device-width\"><title>" +
           Encoding::html(title) + "</title>" + kStyle +
           "</head><body><header><a href=\"/gallery\">Lumenda3D games</a></header><main>";
}

const char* kPageEnd = "</main></body></html>";

} // namespace

std::string PublishingHandlers::openLink(std::int64_t id) { return "Lumenda3DApp://open?resId=" + std::to_string(id); }

void PublishingHandlers::install(httplib::Server& server) {
    auto bind = [this](void (PublishingHandlers::*member)(const httplib::Request&, httplib::Response&)) {
        return HttpReply::method(this, member);
    };
    server.Post(R"(/api/resources/([^/]+)/publish)", bind(&PublishingHandlers::publish));
    server.Post(R"(/api/resources/([^/]+)/unpublish)", bind(&PublishingHandlers::unpublish));
    server.Get("/api/gallery", bind(&PublishingHandlers::galleryJson));
    server.Get("/", [](const httplib::Request&, httplib::Response& res) { res.set_redirect("/gallery"); });
    server.Get("/gallery", bind(&PublishingHandlers::galleryPage));
    server.Get(R"(/games/([^/]+))", bind(&PublishingHandlers::gamePage));
    server.Get(R"(/games/([^/]+)/thumbnail\.jpg)", bind(&PublishingHandlers::gameThumbnail));
}

std::string PublishingHandlers::baseUrl(const httplib::Request& req) const {
    if (!services_.config().publicUrl.empty())
        return services_.config().publicUrl;
    const std::string host = req.get_header_value("Host");
    return host.empty() ? std::string() : "http://" + host;
}

void PublishingHandlers::publish(const httplib::Request& req, httplib::Response& res) {
    const User user = auth_.require(Authenticator::tokenOf(req));
    const std::int64_t id = HttpReply::pathNumber(req, 1, "project");
    const nlohmann::json body = HttpReply::jsonBody(req);
    const std::int64_t now = std::time(nullptr);
    if (!JsonBody::boolean(body, "published").value_or(true)) {
        if (!services_.projects().unpublish(user.id, id, now))
            throw ApiError::notFound("No such project, or it is not yours.");
        HttpReply::json(res, 200, {{"resource_id", std::to_string(id)}, {"published", false}});
        return;
    }
    PublishChanges p;
    p.save = ProjectHandlers::changesFrom(body, services_.config());
    p.description = JsonBody::text(body, "description").value_or("");
    p.categoryId = JsonBody::text(body, "category_id").value_or("");
    p.viewSource = JsonBody::boolean(body, "view_source").value_or(true);
    p.assets = JsonBody::text(body, "assets").value_or("");
    if (TextRules::codePoints(p.description) > 5000)
        throw ApiError::badRequest("The description is longer than 5000 characters.");
    if (p.categoryId.size() > 64 || p.assets.size() > static_cast<std::size_t>(services_.config().maxDocumentBytes))
        throw ApiError::badRequest("'category_id' or 'assets' is too long.");
    const auto result = services_.projects().publish(user.id, id, p, now);
    if (result.outcome == ProjectStore::Outcome::NotFound)
        throw ApiError::notFound("No such project, or it is not yours.");
    if (result.outcome == ProjectStore::Outcome::Conflict)
        throw ApiError(409, "revision_conflict", "The project was saved elsewhere in the meantime. Load it again.");
    HttpReply::json(res, 200,
                    {{"resource_id", std::to_string(id)},
                     {"revision", result.revision},
                     {"published", true},
                     {"url", baseUrl(req) + "/games/" + std::to_string(id)}});
}

void PublishingHandlers::unpublish(const httplib::Request& req, httplib::Response& res) {
    const User user = auth_.require(Authenticator::tokenOf(req));
    const std::int64_t id = HttpReply::pathNumber(req, 1, "project");
    if (!services_.projects().unpublish(user.id, id, std::time(nullptr)))
        throw ApiError::notFound("No such project, or it is not yours.");
    HttpReply::json(res, 200, {{"resource_id", std::to_string(id)}, {"published", false}});
}

void PublishingHandlers::galleryJson(const httplib::Request& req, httplib::Response& res) {
    std::int64_t offset, limit, total = 0;
    HttpReply::page(req, offset, limit);
    nlohmann::json items = nlohmann::json::array();
    for (const ResourceInfo& r : services_.projects().listPublished(offset, limit, total)) {
        nlohmann::json item = ProjectHandlers::metadata(r);
        item["url"] = baseUrl(req) + "/games/" + std::to_string(r.id);
        item["open_link"] = openLink(r.id);
        items.push_back(std::move(item));
    }
    HttpReply::json(res, 200, {{"games", items}, {"total", total}, {"offset", offset}, {"limit", limit}});
}

void PublishingHandlers::galleryPage(const httplib::Request& req, httplib::Response& res) {
    const FormData q = HttpReply::query(req);
    std::int64_t page = 1;
    try {
        page = std::max<std::int64_t>(1, std::stoll(q.get("page", "1")));
    } catch (const std::exception&) {
        page = 1;
    }
    page = std::min<std::int64_t>(page, 1000000);
    std::int64_t total = 0;
    const auto games = services_.projects().listPublished((page - 1) * kGamesPerPage, kGamesPerPage, total);
    std::string html = pageStart("Lumenda3D games") + "<h1>Published games</h1>";
    if (games.empty())
        html += "<p class=\"muted\">No games are published yet.</p>";
    html += "<div class=\"grid\">";
    for (const ResourceInfo& g : games) {
        const std::string id = std::to_string(g.id);
        html += "<a class=\"card\" href=\"/games/" + id + "\"><img src=\"/games/" + id +
                "/thumbnail.jpg\" alt=\"\"><p><b>" + Encoding::html(g.name) + "</b></p><p class=\"muted\">by " +
                Encoding::html(g.ownerName) + "</p></a>";
    }
    html += "</div><p>";
    if (page > 1)
        html += "<a href=\"/gallery?page=" + std::to_string(page - 1) + "\">Newer</a> ";
    if (page * kGamesPerPage < total)
        html += "<a href=\"/gallery?page=" + std::to_string(page + 1) + "\">Older</a>";
    html += "</p>";
    HttpReply::html(res, 200, html + kPageEnd);
}

ResourceInfo PublishingHandlers::publishedGame(const httplib::Request& req) {
    const std::int64_t id = HttpReply::pathNumber(req, 1, "game");
    auto info = services_.projects().info(id);
    if (!info || !info->published)
        throw ApiError::notFound("No such game.");
    return *info;
}

void PublishingHandlers::gamePage(const httplib::Request& req, httplib::Response& res) {
    ResourceInfo g;
    try {
        g = publishedGame(req);
    } catch (const ApiError&) {
        HttpReply::html(res, 404, pageStart("Not found") + "<h1>No such game</h1><p>It may have been taken down.</p>" +
                                      kPageEnd);
        return;
    }
    const std::string id = std::to_string(g.id);
    std::string description = Encoding::html(g.description);
    for (std::size_t at = description.find('\n'); at != std::string::npos; at = description.find('\n', at + 4))
        description.replace(at, 1, "<br>");
    std::string html = pageStart(g.name + " - Lumenda3D") + "<h1>" + Encoding::html(g.name) +
                       "</h1><p class=\"muted\">by " + Encoding::html(g.ownerName) + ", published " +
                       Encoding::isoTime(g.publishedAt).substr(0, 10) + "</p><img src=\"/games/" + id +
                       "/thumbnail.jpg\" alt=\"\" width=\"400\" style=\"max-width:100%;border-radius:8px\"><p>" +
                       (description.empty() ? "<span class=\"muted\">No description.</span>" : description) +
                       "</p><a class=\"open\" href=\"" + Encoding::html(openLink(g.id)) + "\">Open in Lumenda3D</a>";
    if (!g.viewSource)
        html += "<p class=\"muted\">The author does not share this game's source.</p>";
    HttpReply::html(res, 200, html + kPageEnd);
}

void PublishingHandlers::gameThumbnail(const httplib::Request& req, httplib::Response& res) {
    const ResourceInfo g = publishedGame(req);
    auto bytes = services_.projects().thumbnail(g.id);
    if (!bytes)
        throw ApiError::notFound("This game has no thumbnail.");
    HttpReply::bytes(res, *bytes, Encoding::imageType(*bytes), true);
}

} // namespace Lumenda3D::Cloud
