#pragma once
// Looks for a newer release of the editor. init() sends one request for the update feed (an
// appcast, see LmdAppcast) through an HTTP client in the background and returns at once, so the
// start is never held up; when the answer names a newer version than the running one, the
// result handler is told on the main thread (in pump()). A failed check writes one log line and
// bothers nobody. Without a configured update server, init() does nothing but say so in one
// line of the log.
//
// The entry calls init(feedUrlFor(server), "Lumenda3D", version) at start and cleanup() at the
// end; the frame loop calls pump(); the Help menu's "Check for Updates..." calls
// checkForUpdatesManual(), whose result is always reported, also "up to date" and failures.
#include <functional>
#include <memory>
#include <string>

#include "services/LmdAppcast.h"
#include "services/LmdRequestGeneration.h"
#include "services/MyHttpClient.h"

namespace Lumenda3D {

class LmdAutoUpdater {
public:
    enum class Outcome { UpdateAvailable, UpToDate, Failed, NotConfigured };

    struct Result {
        Outcome outcome = Outcome::Failed;
        bool manual = false;            // asked for by the user
        std::string productName;
        std::string currentVersion;
        LmdAppcast::Item update;        // the newest release, when outcome is UpdateAvailable
        std::string error;              // in plain words, when Failed or NotConfigured
    };
    using ResultHandler = std::function<void(const Result&)>;

    // Where the feed lies on the product's web server.
    static constexpr const char* kFeedPath = "/updates/win/appcast.xml";
    // The environment variable that names the update server (its base URL) when the product's
    // configuration names none.
    static constexpr const char* kServerVariable = "LUMENDA3D_UPDATE_SERVER";
    // A check gives up after this long; it never holds anything else up meanwhile.
    static constexpr int kCheckTimeoutMs = 20000;

    static LmdAutoUpdater& getInstance();

    // Without a client, the updater makes a small one of its own at the first check.
    LmdAutoUpdater() : LmdAutoUpdater(nullptr) {}
    explicit LmdAutoUpdater(std::shared_ptr<MyHttpClient> client);
    ~LmdAutoUpdater();
    LmdAutoUpdater(const LmdAutoUpdater&) = delete;
    LmdAutoUpdater& operator=(const LmdAutoUpdater&) = delete;

    // serverBase + kFeedPath (one '/' between them); "" when serverBase is empty.
    static std::string feedUrlFor(const std::string& serverBase);
    // The update server named by kServerVariable; "" when it is not set.
    static std::string configuredServer();

    // Remembers the feed and the running version and starts one background check. An empty
    // feedUrl: no check, one log line. Main thread.
    void init(const std::string& feedUrl, const std::string& productName, const std::string& version);
    // A check the user asked for; its result reaches the handler whatever it is.
    void checkForUpdatesManual();
    // Abandons a check in flight (its answer is never reported) and forgets the feed.
    void cleanup();

    // Main thread, once a frame: delivers the answer of a finished check.
    void pump();

    // Main thread: who is told (may be empty: then only the log says it).
    void setResultHandler(ResultHandler handler) { handler_ = std::move(handler); }

    bool isConfigured() const { return !feedUrl_.empty(); }
    bool isChecking() const { return checking_; }
    // The result of the last finished check; outcome NotConfigured before any.
    const Result& lastResult() const { return lastResult_; }

private:
    void startCheck(bool manual);
    void onFeed(const HttpResponse& response, bool manual);
    void report(Result result);

    std::shared_ptr<MyHttpClient> client_;
    std::string feedUrl_;
    std::string productName_;
    std::string version_;
    ResultHandler handler_;
    LmdRequestGeneration generation_;
    MyHttpClient::RequestId requestId_ = 0;
    bool checking_ = false;
    bool manualPending_ = false;   // the user asked while an automatic check was under way
    Result lastResult_;
};

} // namespace Lumenda3D
