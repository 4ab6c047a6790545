#pragma once
// The runtime templates of the export targets: a folder per platform holding the player and all
// it needs to run (see docs/export.md). Each platform has an ordered list of sources; the first
// that delivers wins, and the folder it delivered is the platform's template until the next
// ensureUpToDate. The editor adds this installation's Linux template at start; a platform with no
// source (Windows, until a server offers one) fails with a message that says so.
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "export/ExportService.h"
#include "export/TemplateSource.h"

namespace Lumenda3D {

class MyHttpClient;

class TemplateManager {
public:
    static TemplateManager& getInstance();

    // Appends a source for the platform: sources added first are asked first.
    void addSource(ExportService::Platform platform, std::shared_ptr<TemplateSource> source);
    void clearSources(ExportService::Platform platform);
    bool hasSource(ExportService::Platform platform) const;

    // Fetches or refreshes the platform's template. progress is (fraction, text); done is
    // (ok, text): the template folder on success, otherwise why no source could deliver.
    void ensureUpToDate(ExportService::Platform platform, std::shared_ptr<MyHttpClient> client,
                        ExportService::Progress progress, ExportService::Done done);

    // The folder the last successful ensureUpToDate delivered; "" before one.
    std::string templateDir(ExportService::Platform platform) const;

    // The text a platform without any source fails with.
    static std::string noTemplateMessage(ExportService::Platform platform);

private:
    void tryFrom(ExportService::Platform platform, std::size_t index, std::shared_ptr<MyHttpClient> client,
                 ExportService::Progress progress, ExportService::Done done, std::vector<std::string> reasons);

    std::map<ExportService::Platform, std::vector<std::shared_ptr<TemplateSource>>> sources_;
    std::map<ExportService::Platform, std::string> folders_;
};

} // namespace Lumenda3D
