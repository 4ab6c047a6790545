#pragma once
// The Linux runtime template made from this installation (LinuxTemplateBuilder), kept in the
// cache folder "templates/linux" and made again only when the player, the schema, the Lua
// runtime or the version changed. A rebuild goes to a temporary folder beside it that replaces
// the old one only when complete.
#include <string>

#include "export/LinuxTemplateBuilder.h"
#include "export/TemplateSource.h"

namespace Lumenda3D {

class InstalledLinuxTemplate : public TemplateSource {
public:
    // Empty cacheFolder: LmdPaths::cacheDir()/templates/linux.
    explicit InstalledLinuxTemplate(LinuxTemplateBuilder::Inputs inputs = LinuxTemplateBuilder::fromThisInstallation(),
                                    std::string cacheFolder = "");

    std::string describe() const override { return "this installation"; }
    void fetch(ExportService::Platform platform, std::shared_ptr<MyHttpClient> client, ExportService::Progress progress,
               Delivered delivered) override;

    const std::string& folder() const { return folder_; }
    // How many times the template was built (not taken from the cache) by this object.
    int buildCount() const { return builds_; }
    // Whether the cached folder is complete and was built from the present inputs.
    bool isCurrent() const;

private:
    LinuxTemplateBuilder::Inputs inputs_;
    std::string folder_;
    int builds_ = 0;
};

} // namespace Lumenda3D
