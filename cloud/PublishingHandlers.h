#pragma once
// Publishing a project and the public face of published games: the gallery page, one page per
// game with its thumbnail, description and an "Open in Lumenda3D" link, and the same list as
// JSON for programs.
#include <httplib.h>

#include "Authenticator.h"
#include "CloudServices.h"
#include "ProjectStore.h"

namespace Lumenda3D::Cloud {

class PublishingHandlers {
public:
    explicit PublishingHandlers(CloudServices& services) : services_(services), auth_(services) {}
    void install(httplib::Server& server);

    // The link that opens a published game in the editor.
    static std::string openLink(std::int64_t id);

private:
    void publish(const httplib::Request& req, httplib::Response& res);
    void unpublish(const httplib::Request& req, httplib::Response& res);
    void galleryJson(const httplib::Request& req, httplib::Response& res);
    void galleryPage(const httplib::Request& req, httplib::Response& res);
    void gamePage(const httplib::Request& req, httplib::Response& res);
    void gameThumbnail(const httplib::Request& req, httplib::Response& res);

    ResourceInfo publishedGame(const httplib::Request& req);
    std::string baseUrl(const httplib::Request& req) const;

    CloudServices& services_;
    Authenticator auth_;
};

} // namespace Lumenda3D::Cloud
