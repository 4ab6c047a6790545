#pragma once
// Runtime templates from the Lumenda3D server as a source of TemplateManager: the platform's
// newest template, downloaded once and cached (RuntimeTemplateDownloader), the cached one when the
// server cannot be reached. Added before this installation's own templates, so that a server's
// template wins and the installation's is the offline fallback.
#include <memory>
#include <string>

#include "export/RuntimeTemplateDownloader.h"
#include "export/TemplateSource.h"

namespace Lumenda3D {

class TemplateManager;

class CloudTemplateSource : public TemplateSource {
public:
    // Empty apiBaseUrl: ApiConfig::getApiBaseUrl() at each fetch; empty cacheRoot: the default.
    explicit CloudTemplateSource(std::string apiBaseUrl = "", std::string cacheRoot = "");

    std::string describe() const override { return "the Lumenda3D server"; }
    void fetch(ExportService::Platform platform, std::shared_ptr<MyHttpClient> client, ExportService::Progress progress,
               Delivered delivered) override;

    // Adds a cloud source for Windows and Linux to `templates`.
    static void addTo(TemplateManager& templates);

private:
    std::string apiBaseUrl_;
    std::string cacheRoot_;
};

} // namespace Lumenda3D
