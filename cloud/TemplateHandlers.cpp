#include "TemplateHandlers.h"

#include "ApiError.h"
#include "Encoding.h"
#include "HttpReply.h"

namespace Lumenda3D::Cloud {

void TemplateHandlers::install(httplib::Server& server) {
    auto bind = [this](void (TemplateHandlers::*member)(const httplib::Request&, httplib::Response&)) {
        return HttpReply::method(this, member);
    };
    server.Get("/api/templates.php", bind(&TemplateHandlers::list));
    server.Get(R"(/editor/data/6/([A-Za-z0-9_-]{1,64})/src\.xml)", bind(&TemplateHandlers::document));
    server.Get(R"(/editor/data/6/([A-Za-z0-9_-]{1,64})/pic\.jpg)", bind(&TemplateHandlers::picture));
    server.Get(R"(/files/([A-Za-z0-9_.-]{1,128}))", bind(&TemplateHandlers::file));
}

void TemplateHandlers::list(const httplib::Request& req, httplib::Response& res) {
    std::string base = services_.config().publicUrl;
    if (base.empty() && req.has_header("Host"))
        base = "http://" + req.get_header_value("Host");
    nlohmann::json items = nlohmann::json::array();
    for (const TemplateInfo& t : services_.templates().list()) {
        const std::string picture = !t.hasPicture         ? std::string()
                                    : t.picturePath.empty() ? picturePath(t.id)
                                                            : t.picturePath;
        items.push_back({{"id", t.id},
                         {"name", t.name},
                         {"description", t.description},
                         {"category", t.category},
                         {"picture", picture},
                         {"image_url", picture.empty() ? std::string() : base + picture},
                         {"src", documentPath(t.id)},
                         {"updated_at", Encoding::isoTime(t.updatedAt)}});
    }
    HttpReply::json(res, 200, items);
}

void TemplateHandlers::document(const httplib::Request& req, httplib::Response& res) {
    auto xml = services_.templates().document(req.matches[1].str());
    if (!xml)
        throw ApiError::notFound("No such template.");
    HttpReply::bytes(res, *xml, "application/xml; charset=utf-8", true);
}

void TemplateHandlers::picture(const httplib::Request& req, httplib::Response& res) {
    auto file = services_.templates().picture(req.matches[1].str());
    if (!file)
        throw ApiError::notFound("This template has no picture.");
    HttpReply::bytes(res, file->bytes, file->contentType, true);
}

void TemplateHandlers::file(const httplib::Request& req, httplib::Response& res) {
    auto file = services_.templates().pictureAt("/files/" + req.matches[1].str());
    if (!file)
        throw ApiError::notFound("No such file.");
    HttpReply::bytes(res, file->bytes, file->contentType, true);
}

} // namespace Lumenda3D::Cloud
