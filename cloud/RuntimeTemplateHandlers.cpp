#include "RuntimeTemplateHandlers.h"

#include "ApiError.h"
#include "Encoding.h"
#include "HttpReply.h"

namespace Lumenda3D::Cloud {
namespace {

std::string platformOf(const httplib::Request& req) {
    const std::string platform = req.matches[1].str();
    if (!RuntimeTemplateStore::isValidPlatform(platform))
        throw ApiError::notFound("There are no runtime templates for '" + platform + "' (windows, linux).");
    return platform;
}

} // namespace

std::string RuntimeTemplateHandlers::archivePath(const std::string& platform, const std::string& version) {
    return "/api/runtime-templates/" + platform + "/" + version + "/archive.zip";
}

std::string RuntimeTemplateHandlers::baseUrl(const httplib::Request& req) const {
    if (!services_.config().publicUrl.empty())
        return services_.config().publicUrl;
    const std::string host = req.get_header_value("Host");
    return host.empty() ? std::string() : "http://" + host;
}

void RuntimeTemplateHandlers::install(httplib::Server& server) {
    server.Get(R"(/api/runtime-templates/([a-z]{1,16}))", HttpReply::method(this, &RuntimeTemplateHandlers::list));
    server.Get(R"(/api/runtime-templates/([a-z]{1,16})/([^/]{1,64})/archive\.zip)",
               HttpReply::method(this, &RuntimeTemplateHandlers::download));
}

void RuntimeTemplateHandlers::list(const httplib::Request& req, httplib::Response& res) {
    const std::string platform = platformOf(req);
    const std::string base = baseUrl(req);
    nlohmann::json items = nlohmann::json::array();
    for (const RuntimeTemplate& t : services_.runtimeTemplates().list(platform)) {
        const std::string path = archivePath(platform, t.version);
        items.push_back({{"version", t.version},
                         {"sha256", t.sha256},
                         {"size", t.size},
                         {"uploaded_at", Encoding::isoTime(t.uploadedAt)},
                         {"path", path},
                         {"url", base + path}});
    }
    HttpReply::json(res, 200, {{"platform", platform}, {"templates", items}});
}

void RuntimeTemplateHandlers::download(const httplib::Request& req, httplib::Response& res) {
    const std::string platform = platformOf(req);
    const std::string version = req.matches[2].str();
    std::optional<std::string> archive;
    if (RuntimeTemplateStore::isValidVersion(version))
        archive = services_.runtimeTemplates().archive(platform, version);
    if (!archive)
        throw ApiError::notFound("There is no " + platform + " runtime template of version '" + version + "'.");
    res.set_header("X-Content-SHA256", RuntimeTemplateStore::sha256Hex(*archive));
    HttpReply::bytes(res, *archive, "application/zip", true);
}

} // namespace Lumenda3D::Cloud
