#pragma once
// The HTTP server: binds, installs every group of handlers on one cpp-httplib server with a
// thread pool, and serves until stopped. Unknown paths, oversized bodies and compressed bodies
// get the same JSON error shape as the handlers' own refusals.
#include <httplib.h>

#include <memory>

#include "AccountHandlers.h"
#include "AssetHandlers.h"
#include "CloudServices.h"
#include "ProjectHandlers.h"
#include "PublishingHandlers.h"
#include "RuntimeTemplateHandlers.h"
#include "TemplateHandlers.h"
#include "UpdateHandlers.h"

namespace Lumenda3D::Cloud {

class CloudServer {
public:
    // Opens and migrates the database (throws StorageError or std::runtime_error).
    explicit CloudServer(CloudConfig config);
    ~CloudServer();

    // Binds config.host:config.port (0: a free port). Returns the port, or -1 when it cannot bind.
    int bind();
    // Serves until stop(); returns false when the listener failed.
    bool serve();
    void stop();
    int port() const { return port_; }

    CloudServices& services() { return *services_; }

private:
    void installCommon();

    std::unique_ptr<CloudServices> services_;
    httplib::Server http_;
    AccountHandlers accounts_;
    ProjectHandlers projects_;
    PublishingHandlers publishing_;
    TemplateHandlers templates_;
    AssetHandlers assets_;
    UpdateHandlers updates_;
    RuntimeTemplateHandlers runtimeTemplates_;
    int port_ = -1;
};

} // namespace Lumenda3D::Cloud
