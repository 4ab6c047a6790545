#pragma once
// /api/resources/...: a user's projects. Create, load (with the metadata the editor reads when it
// opens a project), save (each save a new revision; a name renames), list, delete, thumbnails and
// past revisions. Another user's project answers exactly like one that does not exist, unless it
// is published and shares its source.
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "Authenticator.h"
#include "CloudServices.h"
#include "ProjectStore.h"

namespace Lumenda3D::Cloud {

class ProjectHandlers {
public:
    explicit ProjectHandlers(CloudServices& services) : services_(services), auth_(services) {}
    void install(httplib::Server& server);

    // The metadata object of a project, with the keys the editor reads when it opens one.
    static nlohmann::json metadata(const ResourceInfo& info);
    // The document, name, type and thumbnail fields of a save or publish body, checked.
    static ResourceChanges changesFrom(const nlohmann::json& body, const CloudConfig& config);

private:
    void list(const httplib::Request& req, httplib::Response& res);
    void create(const httplib::Request& req, httplib::Response& res);
    void load(const httplib::Request& req, httplib::Response& res);
    void save(const httplib::Request& req, httplib::Response& res);
    void remove(const httplib::Request& req, httplib::Response& res);
    void thumbnail(const httplib::Request& req, httplib::Response& res);
    void revisions(const httplib::Request& req, httplib::Response& res);
    void revision(const httplib::Request& req, httplib::Response& res);

    // The project if the user owns it; ApiError 404 otherwise.
    ResourceInfo owned(const httplib::Request& req, const User& user);

    CloudServices& services_;
    Authenticator auth_;
};

} // namespace Lumenda3D::Cloud
