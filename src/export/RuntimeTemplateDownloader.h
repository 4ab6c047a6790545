#pragma once
// Runtime templates from the cloud server, kept in a cache. ensure() asks the server for the
// platform's newest template; when the cache already holds that version (same SHA-256) it is
// used as it is, without a download. Otherwise the archive is downloaded with progress, its
// SHA-256 and size are checked against the list, and it is unpacked into a temporary folder that
// is renamed into place; only then does the cache name it as current. Without an answer from the
// server the cached template is used (offline export); without one either, ensure() fails with a
// sentence that says so.
//
// Cache layout, under cacheRoot: <platform>/<version>/ (the unpacked template) and
// <platform>/current.json ({"version", "sha256"}).
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "export/RuntimeTemplateManifest.h"

namespace Lumenda3D {

class MyHttpClient;

class RuntimeTemplateDownloader {
public:
    using Progress = std::function<void(float fraction, const std::string& text)>;
    using Done = std::function<void(bool ok, const std::string& text, const std::string& templateDir)>;

    struct Cached {
        std::string version;
        std::string sha256;
        std::string dir;
    };

    // `apiBaseUrl` is the server's "<server>/api"; `cacheRoot` the folder of the cache.
    RuntimeTemplateDownloader(std::string apiBaseUrl, std::string cacheRoot);

    // Main thread. The callbacks run on the main thread: in later pumps of the client, or at once
    // when there is no server to ask. They hold copies of what they need, so the downloader may
    // go before they run. `progress` may be empty; fractions run from 0 to 1.
    void ensure(const std::string& platform, const std::shared_ptr<MyHttpClient>& client, Progress progress,
                Done done);

    // The template the cache names as current for the platform, if its folder is there.
    std::optional<Cached> cached(const std::string& platform) const;

    // Checks the downloaded `archive` against `entry` and makes it the cached current template.
    bool install(const std::string& platform, const RuntimeTemplateEntry& entry, const std::string& archive,
                 std::string& error, std::string& dir) const;

    static std::string defaultCacheRoot();
    static std::string displayName(const std::string& platform);   // "Windows", "Linux"
    std::string listUrl(const std::string& platform) const;
    std::string archiveUrl(const std::string& platform, const std::string& version) const;

private:
    struct Run;
    void download(const std::shared_ptr<Run>& run, const RuntimeTemplateEntry& entry) const;
    void fallBackToCache(const std::shared_ptr<Run>& run, const std::string& why) const;

    std::string apiBaseUrl_;
    std::string cacheRoot_;
};

} // namespace Lumenda3D
