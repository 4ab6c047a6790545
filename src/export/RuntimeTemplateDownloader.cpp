#include "export/RuntimeTemplateDownloader.h"

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "export/Sha256.h"
#include "export/TemplateArchive.h"
#include "services/FileManager.h"
#include "services/MyHttpClient.h"

namespace Lumenda3D {
namespace fs = std::filesystem;

struct RuntimeTemplateDownloader::Run {
    std::string platform;
    std::shared_ptr<MyHttpClient> client;
    Progress progress;
    Done done;

    void report(float fraction, const std::string& text) const {
        if (progress)
            progress(fraction, text);
    }
    void finish(bool ok, const std::string& text, const std::string& dir) const {
        if (done)
            done(ok, text, dir);
    }
};

namespace {

// "12.5 MB", or "340 KB" below a megabyte.
std::string sizeText(std::int64_t bytes) {
    char text[32];
    if (bytes < (1 << 20))
        std::snprintf(text, sizeof text, "%lld KB", static_cast<long long>((bytes + 1023) / 1024));
    else
        std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / (1024.0 * 1024.0));
    return text;
}

std::string uniqueSuffix() { return std::to_string(std::random_device{}() % 100000000); }

} // namespace

RuntimeTemplateDownloader::RuntimeTemplateDownloader(std::string apiBaseUrl, std::string cacheRoot)
    : apiBaseUrl_(std::move(apiBaseUrl)), cacheRoot_(std::move(cacheRoot)) {
    while (!apiBaseUrl_.empty() && apiBaseUrl_.back() == '/')
        apiBaseUrl_.pop_back();
}

std::string RuntimeTemplateDownloader::defaultCacheRoot() {
    return (fs::path(LmdPaths::cacheDir()) / "runtime-templates").string();
}

std::string RuntimeTemplateDownloader::displayName(const std::string& platform) {
    if (platform == "windows")
        return "Windows";
    if (platform == "linux")
        return "Linux";
    return platform;
}

std::string RuntimeTemplateDownloader::listUrl(const std::string& platform) const {
    return apiBaseUrl_ + "/runtime-templates/" + platform;
}

std::string RuntimeTemplateDownloader::archiveUrl(const std::string& platform, const std::string& version) const {
    return apiBaseUrl_ + "/runtime-templates/" + platform + "/" + version + "/archive.zip";
}

std::optional<RuntimeTemplateDownloader::Cached> RuntimeTemplateDownloader::cached(const std::string& platform) const {
    std::string text;
    const fs::path base = fs::path(cacheRoot_) / platform;
    if (!FileManager::readFile((base / "current.json").string(), text))
        return std::nullopt;
    const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object() || !json.value("version", nlohmann::json()).is_string() ||
        !json.value("sha256", nlohmann::json()).is_string())
        return std::nullopt;
    Cached c{json["version"].get<std::string>(), json["sha256"].get<std::string>(), ""};
    if (!RuntimeTemplateManifest::isValidVersion(c.version))
        return std::nullopt;
    c.dir = (base / c.version).string();
    std::error_code ec;
    if (!fs::is_directory(c.dir, ec))
        return std::nullopt;
    return c;
}

bool RuntimeTemplateDownloader::install(const std::string& platform, const RuntimeTemplateEntry& entry,
                                        const std::string& archive, std::string& error, std::string& dir) const {
    if (static_cast<std::int64_t>(archive.size()) != entry.size || Sha256::hexOf(archive) != entry.sha256) {
        error = "the downloaded " + displayName(platform) + " runtime template is damaged (its SHA-256 or size "
                "does not match the server's list)";
        return false;
    }
    const fs::path base = fs::path(cacheRoot_) / platform;
    std::error_code ec;
    fs::create_directories(base, ec);
    const fs::path unpacking = base / (".unpack-" + uniqueSuffix());
    if (!TemplateArchive::unpackBytes(archive, unpacking.string(), error))
        return false;
    const fs::path target = base / entry.version;
    // A template re-uploaded under the same version replaces the cached one.
    const fs::path old = base / (".old-" + uniqueSuffix());
    if (fs::exists(target, ec))
        fs::rename(target, old, ec);
    fs::rename(unpacking, target, ec);
    if (ec) {
        fs::remove_all(unpacking, ec);
        error = "cannot move the runtime template into the cache at " + target.string() + ": " + ec.message();
        return false;
    }
    const nlohmann::json current = {{"version", entry.version}, {"sha256", entry.sha256}};
    std::string writeError;
    if (!FileManager::writeFileAtomic((base / "current.json").string(), current.dump(2), &writeError)) {
        error = "cannot record the cached runtime template: " + writeError;
        return false;
    }
    // Keep only the current version (and nothing half-done of earlier runs).
    for (auto it = fs::directory_iterator(base, ec); !ec && it != fs::directory_iterator(); it.increment(ec))
        if (it->is_directory() && it->path().filename() != entry.version)
            fs::remove_all(it->path(), ec);
    dir = target.string();
    return true;
}

void RuntimeTemplateDownloader::fallBackToCache(const std::shared_ptr<Run>& run, const std::string& why) const {
    const std::string name = displayName(run->platform);
    if (auto c = cached(run->platform)) {
        LmdLog::message("RuntimeTemplateDownloader: using the cached " + name + " runtime " + c->version + " (" +
                        why + ")");
        run->report(1.0f, "Using the cached " + name + " runtime " + c->version);
        run->finish(true, "Using the cached " + name + " runtime " + c->version + " (" + why + ").", c->dir);
        return;
    }
    run->finish(false, "No " + name + " runtime template is available: " + why + ".", "");
}

void RuntimeTemplateDownloader::ensure(const std::string& platform, const std::shared_ptr<MyHttpClient>& client,
                                       Progress progress, Done done) {
    auto run = std::make_shared<Run>(Run{platform, client, std::move(progress), std::move(done)});
    const std::string name = displayName(platform);
    run->report(0.0f, "Checking for the newest " + name + " runtime...");
    if (apiBaseUrl_.empty()) {
        fallBackToCache(run, "no Lumenda3D server is configured (LUMENDA3D_SERVER)");
        return;
    }
    if (!client) {
        fallBackToCache(run, "there is no connection to the server");
        return;
    }
    HttpRequest request;
    request.url = listUrl(platform);
    request.timeoutMs = 15000;
    request.connectTimeoutMs = 5000;
    client->send(std::move(request), [self = *this, run, name](const HttpResponse& response) {
        if (!response.success) {
            const std::string why = response.status == 0 ? "the server could not be reached (" + response.error + ")"
                                                         : "the server answered " + std::to_string(response.status);
            self.fallBackToCache(run, why);
            return;
        }
        std::string error;
        auto manifest = RuntimeTemplateManifest::parse(response.body, run->platform, error);
        if (!manifest) {
            self.fallBackToCache(run, error);
            return;
        }
        if (manifest->templates.empty()) {
            self.fallBackToCache(run, "the server has no " + name +
                                     " runtime template (an administrator adds one with 'lumenda3d-cloud admin "
                                     "add-runtime-template')");
            return;
        }
        const RuntimeTemplateEntry& newest = manifest->templates.front();
        if (auto c = self.cached(run->platform); c && c->version == newest.version && c->sha256 == newest.sha256) {
            run->report(1.0f, name + " runtime " + c->version + " is up to date");
            run->finish(true, name + " runtime " + c->version + " (cached)", c->dir);
            return;
        }
        self.download(run, newest);
    });
}

void RuntimeTemplateDownloader::download(const std::shared_ptr<Run>& run, const RuntimeTemplateEntry& entry) const {
    const std::string name = displayName(run->platform);
    const std::string what = "Downloading the " + name + " runtime " + entry.version;
    run->report(0.05f, what + "...");
    HttpRequest request;
    request.url = archiveUrl(run->platform, entry.version);
    request.timeoutMs = 30 * 60 * 1000;
    request.connectTimeoutMs = 10000;
    const std::int64_t expected = entry.size;
    request.onProgress = [run, what, expected](std::int64_t received, std::int64_t total) {
        const std::int64_t size = total > 0 ? total : expected;
        const float part = size > 0 ? std::min(1.0f, static_cast<float>(received) / static_cast<float>(size)) : 0.0f;
        run->report(0.05f + 0.85f * part, what + " (" + sizeText(received) + " of " + sizeText(size) + ")...");
    };
    run->client->send(std::move(request), [self = *this, run, entry, name](const HttpResponse& response) {
        if (!response.success) {
            self.fallBackToCache(run, "the " + name + " runtime " + entry.version + " could not be downloaded (" +
                                     (response.error.empty() ? "status " + std::to_string(response.status)
                                                             : response.error) +
                                     ")");
            return;
        }
        run->report(0.92f, "Unpacking the " + name + " runtime...");
        std::string error, dir;
        if (!self.install(run->platform, entry, response.body, error, dir)) {
            self.fallBackToCache(run, error);
            return;
        }
        LmdLog::message("RuntimeTemplateDownloader: " + name + " runtime " + entry.version + " cached at " + dir);
        run->report(1.0f, name + " runtime " + entry.version + " ready");
        run->finish(true, name + " runtime " + entry.version + " downloaded", dir);
    });
}

} // namespace Lumenda3D
