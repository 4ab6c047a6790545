#include "CloudTestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "CloudLog.h"
#include "UnusedPort.h"

namespace Lumenda3D::Cloud::test {

int unusedPort() { return Lumenda3D::test::unusedPort(); }

TempDir::TempDir() {
    char pattern[] = "/tmp/lmd-cloud-test-XXXXXX";
    if (::mkdtemp(pattern))
        path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ec;
    if (!path_.empty())
        std::filesystem::remove_all(path_, ec);
}

CloudConfig testConfig(const std::string& database) {
    CloudConfig c;
    c.database = database;
    c.host = "127.0.0.1";
    c.port = 0;
    c.threads = 16;
    c.databaseConnections = 8;
    c.maxDocumentBytes = 256 * 1024;
    c.maxAssetBytes = 512 * 1024;
    c.maxThumbnailBytes = 64 * 1024;
    c.defaultQuotaBytes = 1 << 20;
    c.keepRevisions = 3;
    c.passwordCost = {1, 8 * 1024 * 1024};
    c.busyTimeoutMs = 300;
    CloudLog::setQuiet(true);
    return c;
}

std::vector<std::string> testArguments(const std::string& database) {
    return {"--db", database, "--listen", "127.0.0.1:0", "--no-seed", "--threads", "16", "--db-connections", "4",
            "--argon2-ops", "1", "--argon2-mem-kib", "8192", "--max-document-mb", "4"};
}

RunningServer::RunningServer(const CloudConfig& config) : server_(std::make_unique<CloudServer>(config)) {
    port_ = server_->bind();
    if (port_ > 0)
        thread_ = std::thread([this] { server_->serve(); });
}

RunningServer::~RunningServer() {
    server_->stop();
    if (thread_.joinable())
        thread_.join();
}

ServerProcess::ServerProcess(const std::vector<std::string>& arguments, const std::string& workDir) {
    const std::string portFile = workDir + "/port-" + std::to_string(::getpid()) + "-" +
                                 std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
    logPath_ = portFile + ".log";
    std::vector<std::string> args = {LMD_CLOUD_EXE};
    args.insert(args.end(), arguments.begin(), arguments.end());
    args.push_back("--port-file");
    args.push_back(portFile);
    pid_ = ::fork();
    if (pid_ == 0) {
        const int fd = ::open(logPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) {
            ::dup2(fd, 1);
            ::dup2(fd, 2);
        }
        std::vector<char*> argv;
        for (std::string& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < deadline) {
        std::ifstream in(portFile);
        int port = 0;
        if (in >> port && port > 0) {
            port_ = port;
            return;
        }
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

ServerProcess::~ServerProcess() { kill(SIGTERM); }

void ServerProcess::kill(int signal) {
    if (pid_ <= 0)
        return;
    ::kill(pid_, signal);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
}

std::string ServerProcess::log() const {
    std::ifstream in(logPath_);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string Reply::header(const std::string& name) const {
    auto it = headers.find(name);
    return it == headers.end() ? std::string() : it->second;
}

ApiClient::ApiClient(int port) : client_("127.0.0.1", port) {
    client_.set_read_timeout(60, 0);
    client_.set_keep_alive(false);
}

Reply ApiClient::toReply(const httplib::Result& result) {
    Reply r;
    if (!result)
        return r;
    r.status = result->status;
    r.body = result->body;
    r.headers = result->headers;
    r.json = nlohmann::json::parse(r.body, nullptr, false);
    if (r.json.is_discarded())
        r.json = nullptr;
    return r;
}

Reply ApiClient::get(const std::string& path, const std::string& token) {
    httplib::Headers headers;
    if (!token.empty())
        headers.emplace("Authorization", "Bearer " + token);
    return toReply(client_.Get(path.c_str(), headers));
}

Reply ApiClient::send(const std::string& method, const std::string& path, const nlohmann::json& body,
                      const std::string& token) {
    return sendRaw(method, path, body.dump(), "application/json", token);
}

Reply ApiClient::sendRaw(const std::string& method, const std::string& path, const std::string& body,
                         const std::string& contentType, const std::string& token) {
    httplib::Headers headers;
    if (!token.empty())
        headers.emplace("Authorization", "Bearer " + token);
    if (method == "POST")
        return toReply(client_.Post(path.c_str(), headers, body, contentType.c_str()));
    if (method == "PUT")
        return toReply(client_.Put(path.c_str(), headers, body, contentType.c_str()));
    if (method == "DELETE")
        return toReply(client_.Delete(path.c_str(), headers, body, contentType.c_str()));
    return toReply(client_.Get(path.c_str(), headers));
}

Reply ApiClient::assetForm(const std::string& formBody) {
    return toReply(client_.Post("/api/assets", formBody, "application/x-www-form-urlencoded"));
}

Reply ApiClient::assetMultipart(const httplib::MultipartFormDataItems& items) {
    return toReply(client_.Post("/api/assets", items));
}

std::string ApiClient::registerUser(const std::string& name, const std::string& password) {
    const Reply r = send("POST", "/api/auth/register", {{"username", name}, {"password", password}});
    EXPECT_EQ(r.status, 201) << r.body;
    return r.json.is_object() ? r.json.value("token", "") : "";
}

std::string ApiClient::createProject(const std::string& token, const std::string& name, const std::string& xml) {
    const Reply r = send("POST", "/api/resources", {{"name", name}, {"xml", xml}}, token);
    EXPECT_EQ(r.status, 201) << r.body;
    return r.json.is_object() ? r.json.value("resource_id", "") : "";
}

std::string fakeJpeg(std::size_t size) {
    std::string bytes = "\xFF\xD8\xFF\xE0";
    while (bytes.size() < size)
        bytes += static_cast<char>('a' + bytes.size() % 26);
    return bytes;
}

} // namespace Lumenda3D::Cloud::test
