#pragma once
// Project templates as the editor's new-project dialog reads them: the list at
// /api/templates.php, each document at /editor/data/6/<id>/src.xml, its picture at
// /editor/data/6/<id>/pic.jpg (and at the template's own picture path, such as /files/x.jpg).
#include <httplib.h>

#include "CloudServices.h"

namespace Lumenda3D::Cloud {

class TemplateHandlers {
public:
    explicit TemplateHandlers(CloudServices& services) : services_(services) {}
    void install(httplib::Server& server);

    static std::string documentPath(const std::string& id) { return "/editor/data/6/" + id + "/src.xml"; }
    static std::string picturePath(const std::string& id) { return "/editor/data/6/" + id + "/pic.jpg"; }

private:
    void list(const httplib::Request& req, httplib::Response& res);
    void document(const httplib::Request& req, httplib::Response& res);
    void picture(const httplib::Request& req, httplib::Response& res);
    void file(const httplib::Request& req, httplib::Response& res);

    CloudServices& services_;
};

} // namespace Lumenda3D::Cloud
