#pragma once
// The update feeds: /updates/<platform>/appcast.xml, an RSS 2.0 appcast of the releases an
// administrator registered for that platform, newest first.
#include <httplib.h>

#include <vector>

#include "CloudServices.h"
#include "ReleaseStore.h"

namespace Lumenda3D::Cloud {

class UpdateHandlers {
public:
    explicit UpdateHandlers(CloudServices& services) : services_(services) {}
    void install(httplib::Server& server);

    static std::string appcast(const std::string& platform, const std::vector<Release>& releases);
    static bool isValidPlatform(const std::string& platform);

private:
    CloudServices& services_;
};

} // namespace Lumenda3D::Cloud
