#include "services/MyHttpClient.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <system_error>

#include <curl/curl.h>

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "base/LmdValueParser.h"
#include "base/LmdVersion.h"
#include "services/FileManager.h"
#include "services/UrlUtils.h"

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

// Answers larger than this are refused rather than filling the memory.
constexpr std::size_t kMaxBodyBytes = 512u * 1024u * 1024u;
// First line of every cache file, so a file of another format (or version) is never served.
constexpr const char* kCacheMagic = "LMDHTTPCACHE1";

std::once_flag g_curlInitOnce;
bool g_curlReady = false;

void ensureCurl() {
    std::call_once(g_curlInitOnce, [] { g_curlReady = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::string trim(const std::string& text) {
    return std::string(LmdValueParser::trim(text));
}

std::uint64_t fnv1a64(const std::string& text) {
    std::uint64_t hash = 1469598103934665603ull;
    for (unsigned char c : text) {
        hash ^= c;
        hash *= 1099511628211ull;
    }
    return hash;
}

// A failure in words a user can act on, with curl's own detail in brackets.
std::string describeFailure(CURLcode code, const char* errorBuffer) {
    const std::string detail = (errorBuffer && *errorBuffer) ? errorBuffer : curl_easy_strerror(code);
    switch (code) {
    case CURLE_COULDNT_CONNECT:
        return "Could not connect to the server (" + detail + ")";
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return "Could not find the server (" + detail + ")";
    case CURLE_OPERATION_TIMEDOUT:
        return "The request timed out (" + detail + ")";
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
        return "Not a valid http or https address (" + detail + ")";
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
        return "The secure connection failed (" + detail + ")";
    case CURLE_ABORTED_BY_CALLBACK:
        return "The request was cancelled";
    case CURLE_READ_ERROR:
        return "A file to upload could not be read (" + detail + ")";
    case CURLE_FILESIZE_EXCEEDED:
        return "The answer is too large (" + detail + ")";
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
        return "The connection to the server broke off (" + detail + ")";
    default:
        return "Network error (" + detail + ")";
    }
}

HttpResponse failure(const std::string& error) {
    HttpResponse response;
    response.error = error;
    return response;
}

// libcurl's callbacks for one transfer.
struct MyHttpClientTransfer {
    HttpResponse* response = nullptr;
    bool tooLarge = false;
    std::atomic<std::int64_t>* received = nullptr;   // progress figures, when asked for
    std::atomic<std::int64_t>* total = nullptr;
    std::atomic<bool>* changed = nullptr;

    static size_t onBody(char* data, size_t size, size_t count, void* user) {
        auto* self = static_cast<MyHttpClientTransfer*>(user);
        const size_t bytes = size * count;
        if (self->response->body.size() + bytes > kMaxBodyBytes) {
            self->tooLarge = true;
            return 0;
        }
        self->response->body.append(data, bytes);
        if (self->received) {
            self->received->store(static_cast<std::int64_t>(self->response->body.size()));
            self->changed->store(true);
        }
        return bytes;
    }

    static size_t onHeader(char* data, size_t size, size_t count, void* user) {
        auto* self = static_cast<MyHttpClientTransfer*>(user);
        const size_t bytes = size * count;
        const std::string line(data, bytes);
        if (line.compare(0, 5, "HTTP/") == 0) {
            self->response->headers.clear();   // a new response (after a redirect or a 100)
        } else {
            const std::size_t colon = line.find(':');
            if (colon != std::string::npos && colon > 0) {
                const std::string name = LmdValueParser::toLower(trim(line.substr(0, colon)));
                self->response->headers[name] = trim(line.substr(colon + 1));
                if (self->total && name == "content-length") {
                    char* end = nullptr;
                    const long long length = std::strtoll(self->response->headers[name].c_str(), &end, 10);
                    self->total->store(length > 0 ? length : 0);
                    self->changed->store(true);
                }
            }
        }
        return bytes;
    }
};

} // namespace

HttpFormPart HttpFormPart::field(std::string name, std::string value) {
    HttpFormPart part;
    part.name = std::move(name);
    part.data = std::move(value);
    return part;
}

HttpFormPart HttpFormPart::file(std::string name, std::string fileName, std::string bytes, std::string contentType) {
    HttpFormPart part;
    part.name = std::move(name);
    part.fileName = std::move(fileName);
    part.data = std::move(bytes);
    part.contentType = std::move(contentType);
    return part;
}

HttpFormPart HttpFormPart::fileFromDisk(std::string name, std::string path, std::string contentType) {
    HttpFormPart part;
    part.name = std::move(name);
    part.fileName = fs::path(path).filename().string();
    part.filePath = std::move(path);
    part.contentType = std::move(contentType);
    return part;
}

MyHttpClient::MyHttpClient() : MyHttpClient(Options()) {}

MyHttpClient::MyHttpClient(Options options) : options_(std::move(options)) {
    if (options_.workerThreads < 1)
        options_.workerThreads = 1;
    if (options_.defaultTimeoutMs <= 0)
        options_.defaultTimeoutMs = 60000;
    if (options_.defaultConnectTimeoutMs <= 0)
        options_.defaultConnectTimeoutMs = 10000;
    if (options_.cacheDir.empty())
        options_.cacheDir = (fs::path(LmdPaths::cacheDir()) / "http").string();
    if (options_.userAgent.empty())
        options_.userAgent = std::string(LmdVersion::productName()) + "/" + LmdVersion::text();
}

MyHttpClient::~MyHttpClient() { shutdown(); }

void MyHttpClient::shutdown() {
    std::vector<std::thread> workers;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        aborting_ = true;
        jobs_.clear();
        done_.clear();
        cancelled_.clear();
        progress_.clear();
        wakeWorkersLocked();
        workers.swap(workers_);
    }
    jobReady_.notify_all();
    for (std::thread& worker : workers)
        if (worker.joinable())
            worker.join();
}

MyHttpClient::RequestId MyHttpClient::send(HttpRequest request, Callback callback) {
    std::lock_guard<std::mutex> lock(mutex_);
    const RequestId id = nextId_++;
    if (stopping_) {
        done_.push_back(Done{id, std::move(callback), failure("The HTTP client has been shut down")});
        return id;
    }
    try {
        startWorkersLocked();
    } catch (const std::exception& e) {
        done_.push_back(Done{id, std::move(callback), failure(std::string("Could not start a network thread: ") + e.what())});
        return id;
    }
    Job job;
    job.id = id;
    job.request = std::move(request);
    job.callback = std::move(callback);
    job.cacheEpoch = cacheEpoch_.load();
    if (job.request.onProgress) {
        job.progress = std::make_shared<ProgressSlot>();
        progress_[id] = {job.progress, job.request.onProgress};
        job.request.onProgress = nullptr;   // the worker never calls it
    }
    jobs_.push_back(std::move(job));
    jobReady_.notify_one();
    return id;
}

MyHttpClient::RequestId MyHttpClient::get(const std::string& url, Callback callback, bool useCache) {
    HttpRequest request;
    request.url = url;
    request.useCache = useCache;
    return send(std::move(request), std::move(callback));
}

MyHttpClient::RequestId MyHttpClient::post(const std::string& url, const std::string& body,
                                           const std::string& contentType, Callback callback) {
    HttpRequest request;
    request.method = "POST";
    request.url = url;
    request.body = body;
    request.contentType = contentType;
    return send(std::move(request), std::move(callback));
}

MyHttpClient::RequestId MyHttpClient::postForm(const std::string& url,
                                               const std::vector<std::pair<std::string, std::string>>& fields,
                                               Callback callback) {
    std::string body;
    for (const auto& field : fields) {
        if (!body.empty())
            body += '&';
        body += UrlUtils::urlEncode(field.first) + "=" + UrlUtils::urlEncode(field.second);
    }
    return post(url, body, "application/x-www-form-urlencoded", std::move(callback));
}

MyHttpClient::RequestId MyHttpClient::postJson(const std::string& url, const std::string& json, Callback callback) {
    return post(url, json, "application/json", std::move(callback));
}

MyHttpClient::RequestId MyHttpClient::postMultipart(const std::string& url, std::vector<HttpFormPart> parts,
                                                    Callback callback) {
    HttpRequest request;
    request.method = "POST";
    request.url = url;
    request.multipart = std::move(parts);
    return send(std::move(request), std::move(callback));
}

void MyHttpClient::startWorkersLocked() {
    while (static_cast<int>(workers_.size()) < options_.workerThreads)
        workers_.emplace_back([this] { workerLoop(); });
}

void MyHttpClient::deliverProgress() {
    std::vector<std::pair<RequestId, std::function<void(std::int64_t, std::int64_t)>>> calls;
    std::vector<std::pair<std::int64_t, std::int64_t>> figures;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto& [id, entry] : progress_) {
            if (!entry.first->changed.exchange(false))
                continue;
            calls.emplace_back(id, entry.second);
            figures.emplace_back(entry.first->received.load(), entry.first->total.load());
        }
    }
    for (std::size_t i = 0; i < calls.size(); ++i) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (!progress_.count(calls[i].first))
                continue;   // cancelled by an earlier callback
        }
        runGuarded("HTTP progress", [&] { calls[i].second(figures[i].first, figures[i].second); });
    }
}

int MyHttpClient::pump() {
    deliverProgress();
    std::size_t ready;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ready = done_.size();
    }
    int ran = 0;
    // One at a time, so a callback that cancels another request still ready here stops it.
    for (std::size_t i = 0; i < ready; ++i) {
        Done done;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (done_.empty())
                break;
            done = std::move(done_.front());
            done_.pop_front();
            progress_.erase(done.id);
        }
        if (!done.callback)
            continue;
        runGuarded("HTTP callback", [&] { done.callback(done.response); });
        ++ran;
    }
    return ran;
}

void MyHttpClient::cancel(RequestId id) {
    std::lock_guard<std::mutex> lock(mutex_);
    progress_.erase(id);
    auto queued = std::find_if(jobs_.begin(), jobs_.end(), [id](const Job& job) { return job.id == id; });
    if (queued != jobs_.end()) {
        jobs_.erase(queued);
        return;
    }
    auto ready = std::find_if(done_.begin(), done_.end(), [id](const Done& done) { return done.id == id; });
    if (ready != done_.end()) {
        done_.erase(ready);
        return;
    }
    if (running_.count(id)) {
        cancelled_.insert(id);   // the worker aborts the transfer and drops the result
        wakeWorkersLocked();
    }
}

bool MyHttpClient::isAborted(RequestId id) const {
    if (aborting_.load())
        return true;
    std::lock_guard<std::mutex> lock(mutex_);
    return cancelled_.count(id) != 0;
}

std::size_t MyHttpClient::outstanding() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return jobs_.size() + running_.size() + done_.size();
}

void MyHttpClient::workerLoop() {
    ensureCurl();
    CURL* curl = g_curlReady ? curl_easy_init() : nullptr;
    CURLM* multi = g_curlReady ? curl_multi_init() : nullptr;
    if (multi) {
        std::lock_guard<std::mutex> lock(mutex_);
        multis_.push_back(multi);
    }
    for (;;) {
        Job job;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            jobReady_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
            if (stopping_)
                break;
            job = std::move(jobs_.front());
            jobs_.pop_front();
            running_.insert(job.id);
        }
        HttpResponse response;
        try {
            response = (curl && multi) ? perform(job, curl, multi) : failure("The network library could not be started");
        } catch (const std::exception& e) {
            response = failure(std::string("The request failed: ") + e.what());
        } catch (...) {
            response = failure("The request failed");
        }
        finish(std::move(job), std::move(response));
    }
    if (multi) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            multis_.erase(std::remove(multis_.begin(), multis_.end(), multi), multis_.end());
        }
        curl_multi_cleanup(multi);
    }
    if (curl)
        curl_easy_cleanup(curl);
}

// Runs one transfer on the worker's multi handle, so that cancel() and shutdown() can wake the
// wait at once (curl_multi_wakeup) instead of waiting for curl's next progress report.
int MyHttpClient::runTransfer(RequestId id, void* easyHandle, void* multiHandle) {
    CURL* easy = static_cast<CURL*>(easyHandle);
    CURLM* multi = static_cast<CURLM*>(multiHandle);
    if (curl_multi_add_handle(multi, easy) != CURLM_OK)
        return static_cast<int>(CURLE_FAILED_INIT);
    CURLcode result = CURLE_FAILED_INIT;
    bool finished = false;
    for (;;) {
        if (isAborted(id)) {
            result = CURLE_ABORTED_BY_CALLBACK;
            break;
        }
        int running = 0;
        if (curl_multi_perform(multi, &running) != CURLM_OK)
            break;
        int queued = 0;
        while (CURLMsg* message = curl_multi_info_read(multi, &queued)) {
            if (message->msg == CURLMSG_DONE && message->easy_handle == easy) {
                result = message->data.result;
                finished = true;
            }
        }
        if (finished || running == 0)
            break;
        if (curl_multi_poll(multi, nullptr, 0, 1000, nullptr) != CURLM_OK)
            break;
    }
    curl_multi_remove_handle(multi, easy);
    return static_cast<int>(result);
}

void MyHttpClient::wakeWorkersLocked() {
    for (void* multi : multis_)
        curl_multi_wakeup(static_cast<CURLM*>(multi));
}

void MyHttpClient::finish(Job&& job, HttpResponse&& response) {
    std::lock_guard<std::mutex> lock(mutex_);
    running_.erase(job.id);
    if (cancelled_.erase(job.id) || stopping_)
        return;
    done_.push_back(Done{job.id, std::move(job.callback), std::move(response)});
}

HttpResponse MyHttpClient::perform(const Job& job, void* curlHandle, void* multiHandle) {
    const HttpRequest& request = job.request;
    if (request.url.empty())
        return failure("No address was given for the request");

    const std::string method = upper(request.method.empty() ? std::string("GET") : request.method);
    const bool cacheable = method == "GET" && request.useCache && request.multipart.empty();
    HttpResponse response;
    if (cacheable && readCache(request.url, response))
        return response;
    response = HttpResponse();

    CURL* curl = static_cast<CURL*>(curlHandle);
    curl_easy_reset(curl);
    char errorBuffer[CURL_ERROR_SIZE] = {0};
    MyHttpClientTransfer transfer;
    transfer.response = &response;
    if (job.progress) {
        transfer.received = &job.progress->received;
        transfer.total = &job.progress->total;
        transfer.changed = &job.progress->changed;
    }

    curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorBuffer);
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(curl, CURLOPT_USERAGENT, options_.userAgent.c_str());
    curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS,
                     static_cast<long>(request.timeoutMs > 0 ? request.timeoutMs : options_.defaultTimeoutMs));
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(request.connectTimeoutMs > 0 ? request.connectTimeoutMs
                                                                    : options_.defaultConnectTimeoutMs));
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &MyHttpClientTransfer::onBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &MyHttpClientTransfer::onHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &transfer);

    struct curl_slist* headers = nullptr;
    for (const auto& header : request.headers)
        headers = curl_slist_append(headers, (header.first + ": " + header.second).c_str());
    // Without this curl waits up to a second for "100 Continue" before sending a larger body.
    headers = curl_slist_append(headers, "Expect:");

    curl_mime* mime = nullptr;
    if (!request.multipart.empty()) {
        mime = curl_mime_init(curl);
        for (const HttpFormPart& part : request.multipart) {
            curl_mimepart* mimePart = curl_mime_addpart(mime);
            curl_mime_name(mimePart, part.name.c_str());
            if (!part.filePath.empty())
                curl_mime_filedata(mimePart, part.filePath.c_str());
            else
                curl_mime_data(mimePart, part.data.data(), part.data.size());
            const bool isFile = !part.fileName.empty() || !part.filePath.empty();
            if (isFile)
                curl_mime_filename(mimePart, part.fileName.c_str());
            if (!part.contentType.empty())
                curl_mime_type(mimePart, part.contentType.c_str());
            else if (isFile)
                curl_mime_type(mimePart, "application/octet-stream");
        }
        curl_easy_setopt(curl, CURLOPT_MIMEPOST, mime);
        if (method != "POST")
            curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    } else if (method == "GET") {
        curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
    } else if (method == "HEAD") {
        curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
    } else {
        if (!request.contentType.empty())
            headers = curl_slist_append(headers, ("Content-Type: " + request.contentType).c_str());
        if (method == "POST" || !request.body.empty()) {
            curl_easy_setopt(curl, CURLOPT_POST, 1L);
            curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
            curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.data());
        }
        if (method != "POST")
            curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    }
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);

    const CURLcode code = static_cast<CURLcode>(runTransfer(job.id, curl, multiHandle));
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);

    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, nullptr);
    curl_easy_setopt(curl, CURLOPT_MIMEPOST, nullptr);
    curl_slist_free_all(headers);
    if (mime)
        curl_mime_free(mime);

    if (code != CURLE_OK) {
        response.success = false;
        response.status = static_cast<int>(status);
        response.error = transfer.tooLarge ? "The answer is larger than the client accepts"
                                           : describeFailure(code, errorBuffer);
        return response;
    }
    response.status = static_cast<int>(status);
    response.success = status >= 200 && status < 300;
    if (!response.success)
        response.error = "The server answered with status " + std::to_string(status);
    else if (cacheable)
        writeCache(request.url, response, job.cacheEpoch);
    return response;
}

std::string MyHttpClient::cacheFileFor(const std::string& url) const {
    char name[32];
    std::snprintf(name, sizeof name, "%016llx.bin", static_cast<unsigned long long>(fnv1a64(url)));
    return (fs::path(options_.cacheDir) / name).string();
}

// A cache file holds the magic line, the URL, the status and the content type, one a line,
// then the body. The URL is compared, so two URLs with the same hash never share an answer.
bool MyHttpClient::readCache(const std::string& url, HttpResponse& response) const {
    std::string data;
    {
        std::lock_guard<std::mutex> lock(cacheMutex_);
        if (!FileManager::readFile(cacheFileFor(url), data))
            return false;
    }
    std::size_t pos = 0;
    std::string lines[4];
    for (std::string& line : lines) {
        const std::size_t end = data.find('\n', pos);
        if (end == std::string::npos)
            return false;
        line = data.substr(pos, end - pos);
        pos = end + 1;
    }
    if (lines[0] != kCacheMagic || lines[1] != url)
        return false;
    response = HttpResponse();
    response.success = true;
    response.status = std::atoi(lines[2].c_str());
    if (!lines[3].empty())
        response.headers["content-type"] = lines[3];
    response.body = data.substr(pos);
    response.fromCache = true;
    return true;
}

void MyHttpClient::writeCache(const std::string& url, const HttpResponse& response, std::uint64_t epoch) const {
    if (url.find('\n') != std::string::npos)
        return;
    std::string contentType;
    auto it = response.headers.find("content-type");
    if (it != response.headers.end() && it->second.find('\n') == std::string::npos)
        contentType = it->second;
    std::string data = std::string(kCacheMagic) + "\n" + url + "\n" + std::to_string(response.status) + "\n" +
                       contentType + "\n" + response.body;
    std::lock_guard<std::mutex> lock(cacheMutex_);
    if (epoch != cacheEpoch_.load())
        return;   // the cache was cleared while this request ran
    std::string error;
    if (!FileManager::writeFileAtomic(cacheFileFor(url), data, &error))
        LmdLog::message("HTTP cache: could not store an answer: " + error);
}

void MyHttpClient::clearCache() {
    std::lock_guard<std::mutex> lock(cacheMutex_);
    ++cacheEpoch_;
    std::error_code ec;
    fs::remove_all(options_.cacheDir, ec);
    if (ec)
        LmdLog::message("HTTP cache: could not clear " + options_.cacheDir + ": " + ec.message());
}

} // namespace Lumenda3D
