#include "UpdateHandlers.h"

#include "ApiError.h"
#include "Encoding.h"
#include "HttpReply.h"

namespace Lumenda3D::Cloud {

bool UpdateHandlers::isValidPlatform(const std::string& p) { return p == "win" || p == "linux" || p == "mac"; }

std::string UpdateHandlers::appcast(const std::string& platform, const std::vector<Release>& releases) {
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">\n"
        "  <channel>\n    <title>Lumenda3D</title>\n    <language>en</language>\n";
    for (const Release& r : releases) {
        const std::string shortVersion = r.shortVersion.empty() ? r.version : r.shortVersion;
        xml += "    <item>\n      <title>Lumenda3D " + Encoding::html(shortVersion) + "</title>\n      <pubDate>" +
               Encoding::rfc822Time(r.publishedAt) + "</pubDate>\n";
        if (!r.notesUrl.empty())
            xml += "      <sparkle:releaseNotesLink>" + Encoding::html(r.notesUrl) + "</sparkle:releaseNotesLink>\n";
        xml += "      <enclosure url=\"" + Encoding::html(r.url) + "\" length=\"" + std::to_string(r.length) +
               "\" type=\"application/octet-stream\" sparkle:os=\"" + Encoding::html(platform) +
               "\" sparkle:version=\"" + Encoding::html(r.version) + "\" sparkle:shortVersionString=\"" +
               Encoding::html(shortVersion) + "\"/>\n    </item>\n";
    }
    return xml + "  </channel>\n</rss>\n";
}

void UpdateHandlers::install(httplib::Server& server) {
    server.Get(R"(/updates/([a-z]{1,16})/appcast\.xml)",
               HttpReply::guard([this](const httplib::Request& req, httplib::Response& res) {
                   const std::string platform = req.matches[1].str();
                   if (!isValidPlatform(platform))
                       throw ApiError::notFound("There is no update feed for '" + platform + "'.");
                   res.set_header("Cache-Control", "public, max-age=300");
                   res.set_content(appcast(platform, services_.releases().list(platform)),
                                   "application/rss+xml; charset=utf-8");
               }));
}

} // namespace Lumenda3D::Cloud
