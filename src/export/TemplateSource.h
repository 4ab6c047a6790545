#pragma once
// Where a runtime template comes from. TemplateManager asks its sources of a platform in turn
// (a server first, this installation last, say) until one delivers; a new source (a download from
// the cloud) is one class deriving from this and one TemplateManager::addSource call.
#include <functional>
#include <memory>
#include <string>

#include "export/ExportService.h"

namespace Lumenda3D {

class MyHttpClient;

class TemplateSource {
public:
    // (ok, text): on success the template folder, otherwise why this source has none.
    using Delivered = std::function<void(bool ok, const std::string& folderOrReason)>;

    virtual ~TemplateSource() = default;
    // A few words for messages: "this installation", "the Lumenda3D server".
    virtual std::string describe() const = 0;
    // Makes the platform's template ready (fetching or building it when it is not cached and
    // current) and calls `delivered` exactly once, on the main thread. progress is (0..1, text).
    virtual void fetch(ExportService::Platform platform, std::shared_ptr<MyHttpClient> client,
                       ExportService::Progress progress, Delivered delivered) = 0;
};

} // namespace Lumenda3D
