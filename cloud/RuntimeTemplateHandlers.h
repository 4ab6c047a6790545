#pragma once
// The runtime templates for export: GET /api/runtime-templates/<platform> lists them (newest
// first, with version, size and SHA-256), GET /api/runtime-templates/<platform>/<version>/archive.zip
// downloads one. No login: a runtime is no secret, and an editor that is not logged in exports too.
#include <httplib.h>

#include "CloudServices.h"

namespace Lumenda3D::Cloud {

class RuntimeTemplateHandlers {
public:
    explicit RuntimeTemplateHandlers(CloudServices& services) : services_(services) {}
    void install(httplib::Server& server);

    static std::string archivePath(const std::string& platform, const std::string& version);

private:
    void list(const httplib::Request& req, httplib::Response& res);
    void download(const httplib::Request& req, httplib::Response& res);
    std::string baseUrl(const httplib::Request& req) const;

    CloudServices& services_;
};

} // namespace Lumenda3D::Cloud
