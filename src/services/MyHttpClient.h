#pragma once
// The HTTP client that the engine hands to every network service (cloud projects, templates,
// assets, the AI assistant, the updater). Requests run with libcurl on a small pool of worker
// threads; each result is queued and its callback runs on the main thread when the frame loop
// calls pump() at the start of a frame. So a callback never runs inside send(), never on a
// worker thread, and never while the caller is in the middle of something.
//
// Nothing is thrown to callers. A dead server, a name that does not resolve, a timeout or a bad
// URL all arrive as a callback with success false and a plain-words error text.
//
// GET responses can be kept in a cache on disk (the "http" folder under LmdPaths::cacheDir())
// when the request asks for it; clearCache() empties it.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Lumenda3D {

// One part of a multipart/form-data body: a text field, or a file given by its bytes or by a
// path on disk (read when the request runs).
struct HttpFormPart {
    std::string name;
    std::string data;          // the value, or the file's bytes
    std::string fileName;      // set for a file part: the name the server sees
    std::string filePath;      // instead of data: send this file from disk
    std::string contentType;   // empty: text/plain for fields, application/octet-stream for files

    static HttpFormPart field(std::string name, std::string value);
    static HttpFormPart file(std::string name, std::string fileName, std::string bytes,
                             std::string contentType = "application/octet-stream");
    static HttpFormPart fileFromDisk(std::string name, std::string path,
                                     std::string contentType = "application/octet-stream");
};

struct HttpRequest {
    std::string method = "GET";   // "GET", "POST", or any other verb passed as it is
    std::string url;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;             // sent as it is for POST and other verbs
    std::string contentType;      // Content-Type of body; ignored for multipart
    std::vector<HttpFormPart> multipart;   // when not empty: a multipart/form-data body
    int timeoutMs = 0;            // whole transfer; 0 takes the client's default
    int connectTimeoutMs = 0;     // connecting only; 0 takes the client's default
    bool useCache = false;        // GET only: answer from the cache when possible, store 2xx answers
    // Download progress: bytes of the body received so far and the size the server announced
    // (0 when it did not). Runs on the main thread in pump(), with the newest figures only, before
    // the request's callback; may be empty.
    std::function<void(std::int64_t received, std::int64_t total)> onProgress;
};

struct HttpResponse {
    bool success = false;   // the transfer completed and the status is 2xx
    int status = 0;         // HTTP status; 0 when no answer came
    std::string body;
    std::string error;      // why success is false; empty on success
    std::map<std::string, std::string> headers;   // names in lower case; last value wins
    bool fromCache = false;

    bool isOk() const { return success; }
};

class MyHttpClient {
public:
    using RequestId = std::uint64_t;
    using Callback = std::function<void(const HttpResponse&)>;

    struct Options {
        int workerThreads = 3;
        int defaultTimeoutMs = 60000;
        int defaultConnectTimeoutMs = 10000;
        // Folder of the response cache; empty: LmdPaths::cacheDir() + "/http" at construction.
        std::string cacheDir;
        std::string userAgent;    // empty: "Lumenda3D/<version>"
    };

    MyHttpClient();
    explicit MyHttpClient(Options options);
    // Stops the workers: transfers in flight are aborted and no queued callback runs.
    virtual ~MyHttpClient();
    MyHttpClient(const MyHttpClient&) = delete;
    MyHttpClient& operator=(const MyHttpClient&) = delete;

    // Queues the request and returns at once. The callback (may be empty) runs in a later pump().
    virtual RequestId send(HttpRequest request, Callback callback);

    RequestId get(const std::string& url, Callback callback, bool useCache = false);
    RequestId post(const std::string& url, const std::string& body, const std::string& contentType,
                   Callback callback);
    // An application/x-www-form-urlencoded body, fields in the given order, names and values encoded.
    RequestId postForm(const std::string& url, const std::vector<std::pair<std::string, std::string>>& fields,
                       Callback callback);
    RequestId postJson(const std::string& url, const std::string& json, Callback callback);
    RequestId postMultipart(const std::string& url, std::vector<HttpFormPart> parts, Callback callback);

    // Main thread, once a frame: runs the callbacks of every request finished so far, oldest
    // first. A callback that throws is logged and the others still run. Returns how many ran.
    virtual int pump();

    // The request's callback will not run; a transfer in flight is aborted. Harmless for an id
    // that has already been delivered or is unknown.
    virtual void cancel(RequestId id);

    // Deletes every cached response. Answers of requests in flight are not stored afterwards.
    virtual void clearCache();

    // Requests queued or running, plus finished ones waiting for pump().
    std::size_t outstanding() const;

    // Aborts everything and stops the workers; later sends fail at the next pump. Idempotent.
    void shutdown();

    const Options& options() const { return options_; }

private:
    // The figures a worker writes while a body arrives, read by pump().
    struct ProgressSlot {
        std::atomic<std::int64_t> received{0};
        std::atomic<std::int64_t> total{0};
        std::atomic<bool> changed{false};
    };
    struct Job {
        RequestId id = 0;
        std::shared_ptr<ProgressSlot> progress;
        HttpRequest request;
        Callback callback;
        std::uint64_t cacheEpoch = 0;
    };
    struct Done {
        RequestId id = 0;
        Callback callback;
        HttpResponse response;
    };

    void startWorkersLocked();
    void workerLoop();
    HttpResponse perform(const Job& job, void* curlHandle, void* multiHandle);
    int runTransfer(RequestId id, void* easyHandle, void* multiHandle);
    void wakeWorkersLocked();
    bool isAborted(RequestId id) const;
    void finish(Job&& job, HttpResponse&& response);
    void deliverProgress();

    std::string cacheFileFor(const std::string& url) const;
    bool readCache(const std::string& url, HttpResponse& response) const;
    void writeCache(const std::string& url, const HttpResponse& response, std::uint64_t epoch) const;

    Options options_;

    mutable std::mutex mutex_;           // guards everything below except the atomics
    std::condition_variable jobReady_;
    std::deque<Job> jobs_;
    std::deque<Done> done_;
    std::unordered_set<RequestId> cancelled_;
    std::unordered_set<RequestId> running_;
    // Requests with a progress callback: the slot their worker fills and the callback.
    std::map<RequestId, std::pair<std::shared_ptr<ProgressSlot>, std::function<void(std::int64_t, std::int64_t)>>>
        progress_;
    std::vector<std::thread> workers_;
    std::vector<void*> multis_;          // each worker's curl multi handle, for waking it
    RequestId nextId_ = 1;
    bool stopping_ = false;

    std::atomic<bool> aborting_{false};   // set by shutdown(); workers abort their transfers
    std::atomic<std::uint64_t> cacheEpoch_{0};
    mutable std::mutex cacheMutex_;       // one cache file operation at a time
};

} // namespace Lumenda3D
