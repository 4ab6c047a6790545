#include "export/CloudTemplateSource.h"

#include "export/TemplateManager.h"
#include "services/ApiConfig.h"

namespace Lumenda3D {

CloudTemplateSource::CloudTemplateSource(std::string apiBaseUrl, std::string cacheRoot)
    : apiBaseUrl_(std::move(apiBaseUrl)), cacheRoot_(std::move(cacheRoot)) {}

void CloudTemplateSource::fetch(ExportService::Platform platform, std::shared_ptr<MyHttpClient> client,
                                ExportService::Progress progress, Delivered delivered) {
    RuntimeTemplateDownloader downloader(apiBaseUrl_.empty() ? ApiConfig::getApiBaseUrl() : apiBaseUrl_,
                                         cacheRoot_.empty() ? RuntimeTemplateDownloader::defaultCacheRoot() : cacheRoot_);
    downloader.ensure(ExportService::platformName(platform), client, std::move(progress),
                      [delivered](bool ok, const std::string& text, const std::string& dir) {
                          if (delivered)
                              delivered(ok, ok ? dir : text);
                      });
}

void CloudTemplateSource::addTo(TemplateManager& templates) {
    auto source = std::make_shared<CloudTemplateSource>();
    templates.addSource(ExportService::Platform::Windows, source);
    templates.addSource(ExportService::Platform::Linux, source);
}

} // namespace Lumenda3D
