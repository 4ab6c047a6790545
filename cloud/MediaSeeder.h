#pragma once
// Fills a new server with something to start from: the example games of the media folder as
// project templates, and its textures and sounds as the public asset catalogue. Only an empty
// table is filled, so an administrator's own templates and assets are never overwritten.
#include <string>

#include "CloudServices.h"

namespace Lumenda3D::Cloud {

class MediaSeeder {
public:
    struct Result {
        int templates = 0;
        int assets = 0;
    };
    // `mediaDir` holds examples/, textures/ and sounds/; a missing folder seeds nothing.
    static Result seed(CloudServices& services, const std::string& mediaDir);
};

} // namespace Lumenda3D::Cloud
