#include "export/TemplateManager.h"

#include "base/LmdLog.h"

namespace Lumenda3D {

TemplateManager& TemplateManager::getInstance() {
    static TemplateManager instance;
    return instance;
}

void TemplateManager::addSource(ExportService::Platform platform, std::shared_ptr<TemplateSource> source) {
    if (source)
        sources_[platform].push_back(std::move(source));
}

void TemplateManager::clearSources(ExportService::Platform platform) {
    sources_.erase(platform);
    folders_.erase(platform);
}

bool TemplateManager::hasSource(ExportService::Platform platform) const {
    auto it = sources_.find(platform);
    return it != sources_.end() && !it->second.empty();
}

std::string TemplateManager::templateDir(ExportService::Platform platform) const {
    auto it = folders_.find(platform);
    return it == folders_.end() ? std::string() : it->second;
}

std::string TemplateManager::noTemplateMessage(ExportService::Platform platform) {
    switch (platform) {
    case ExportService::Platform::Windows:
        return "No Windows runtime template is available: this editor builds the Linux runtime only, and no "
               "Lumenda3D server has offered a Windows one. Export for Linux, or sign in to a server that "
               "provides the Windows template.";
    case ExportService::Platform::Linux:
        return "No Linux runtime template is available: the player (lumenda3d-player) was not found beside the "
               "editor.";
    default:
        return std::string("No ") + ExportService::platformName(platform) +
               " runtime template is available in this build.";
    }
}

void TemplateManager::ensureUpToDate(ExportService::Platform platform, std::shared_ptr<MyHttpClient> client,
                                     ExportService::Progress progress, ExportService::Done done) {
    if (!hasSource(platform)) {
        if (done)
            done(false, noTemplateMessage(platform));
        return;
    }
    tryFrom(platform, 0, std::move(client), std::move(progress), std::move(done), {});
}

void TemplateManager::tryFrom(ExportService::Platform platform, std::size_t index, std::shared_ptr<MyHttpClient> client,
                              ExportService::Progress progress, ExportService::Done done,
                              std::vector<std::string> reasons) {
    // Copied: a source may be added or removed while an earlier one is still fetching.
    const std::vector<std::shared_ptr<TemplateSource>> sources = sources_[platform];
    if (index >= sources.size()) {
        std::string text = reasons.size() == 1 ? reasons.front() : "No runtime template could be had:";
        if (reasons.size() > 1)
            for (const std::string& reason : reasons)
                text += " " + reason;
        if (done)
            done(false, text);
        return;
    }
    const std::shared_ptr<TemplateSource>& source = sources[index];
    // The answer holds the source's description, not the source: a source that keeps its answer
    // until it is destroyed would otherwise hold itself (and the export's state) for ever.
    source->fetch(platform, client, progress,
                  [this, platform, index, client, progress, done, reasons,
                   name = source->describe()](bool ok, const std::string& text) mutable {
                      if (ok) {
                          folders_[platform] = text;
                          if (done)
                              done(true, text);
                          return;
                      }
                      LmdLog::message("TemplateManager: " + name + " has no " +
                                      ExportService::platformName(platform) + " template: " + text);
                      reasons.push_back(text);
                      tryFrom(platform, index + 1, client, progress, done, std::move(reasons));
                  });
}

} // namespace Lumenda3D
