#include "services/LmdAutoUpdater.h"

#include <cstdlib>
#include <exception>
#include <vector>

#include "base/LmdLog.h"

namespace Lumenda3D {

LmdAutoUpdater& LmdAutoUpdater::getInstance() {
    static LmdAutoUpdater instance;
    return instance;
}

LmdAutoUpdater::LmdAutoUpdater(std::shared_ptr<MyHttpClient> client) : client_(std::move(client)) {
    lastResult_.outcome = Outcome::NotConfigured;
}

LmdAutoUpdater::~LmdAutoUpdater() { cleanup(); }

std::string LmdAutoUpdater::feedUrlFor(const std::string& serverBase) {
    if (serverBase.empty())
        return "";
    std::string base = serverBase;
    while (!base.empty() && base.back() == '/')
        base.pop_back();
    return base + kFeedPath;
}

std::string LmdAutoUpdater::configuredServer() {
    const char* value = std::getenv(kServerVariable);
    return value ? std::string(value) : std::string();
}

void LmdAutoUpdater::init(const std::string& feedUrl, const std::string& productName, const std::string& version) {
    feedUrl_ = feedUrl;
    productName_ = productName;
    version_ = version;
    if (feedUrl_.empty()) {
        LmdLog::message("Update check: no update server is configured", LogLevel::Trivial);
        return;
    }
    startCheck(false);
}

void LmdAutoUpdater::checkForUpdatesManual() {
    if (feedUrl_.empty()) {
        Result result;
        result.outcome = Outcome::NotConfigured;
        result.manual = true;
        result.productName = productName_;
        result.currentVersion = version_;
        result.error = "No update server is configured.";
        report(std::move(result));
        return;
    }
    if (checking_) {
        manualPending_ = true;   // the check under way reports to the user when it ends
        return;
    }
    startCheck(true);
}

void LmdAutoUpdater::cleanup() {
    generation_.bump();
    if (client_ && requestId_)
        client_->cancel(requestId_);
    requestId_ = 0;
    checking_ = false;
    manualPending_ = false;
    feedUrl_.clear();
}

void LmdAutoUpdater::pump() {
    if (client_)
        client_->pump();
}

void LmdAutoUpdater::startCheck(bool manual) {
    if (!client_) {
        MyHttpClient::Options options;
        options.workerThreads = 1;
        options.defaultTimeoutMs = kCheckTimeoutMs;
        client_ = std::make_shared<MyHttpClient>(options);
    }
    checking_ = true;
    manualPending_ = manual;
    HttpRequest request;
    request.url = feedUrl_;
    request.timeoutMs = client_->options().defaultTimeoutMs;
    request.headers.emplace_back("Accept", "application/rss+xml, application/xml, text/xml");
    const auto ticket = generation_.ticket();
    requestId_ = client_->send(std::move(request), [this, ticket](const HttpResponse& response) {
        if (!generation_.isCurrent(ticket))
            return;   // abandoned by cleanup()
        onFeed(response, manualPending_);
    });
}

void LmdAutoUpdater::onFeed(const HttpResponse& response, bool manual) {
    checking_ = false;
    manualPending_ = false;
    requestId_ = 0;

    Result result;
    result.manual = manual;
    result.productName = productName_;
    result.currentVersion = version_;
    std::vector<LmdAppcast::Item> items;
    std::string error;
    if (!response.success) {
        result.outcome = Outcome::Failed;
        result.error = "Could not read the update feed: " + response.error;
    } else if (!LmdAppcast::parse(response.body, items, error)) {
        result.outcome = Outcome::Failed;
        result.error = "Could not read the update feed: " + error;
    } else {
        const LmdAppcast::Item* newest = LmdAppcast::newest(items);
        if (newest && LmdAppcast::compareVersions(newest->version, version_) > 0) {
            result.outcome = Outcome::UpdateAvailable;
            result.update = *newest;
        } else {
            result.outcome = Outcome::UpToDate;
        }
    }
    report(std::move(result));
}

void LmdAutoUpdater::report(Result result) {
    switch (result.outcome) {
    case Outcome::UpdateAvailable:
        LmdLog::message("Update check: " + result.productName + " " + result.update.displayVersion +
                        " is available (this is " + result.currentVersion + ")" +
                        (result.update.downloadUrl.empty() ? std::string() : ": " + result.update.downloadUrl));
        break;
    case Outcome::UpToDate:
        LmdLog::message("Update check: " + result.productName + " " + result.currentVersion + " is up to date",
                        LogLevel::Trivial);
        break;
    case Outcome::Failed:
        LmdLog::message("Update check: " + result.error);
        break;
    case Outcome::NotConfigured:
        break;
    }
    lastResult_ = result;
    // Automatic checks only speak up for a newer version; the user's own check always answers.
    if (!handler_ || (!result.manual && result.outcome != Outcome::UpdateAvailable))
        return;
    runGuarded("update check handler", [&] { handler_(result); });
}

} // namespace Lumenda3D
