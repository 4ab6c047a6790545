#pragma once
// What the cloud server's tests share: temporary folders, the server run in this process or as
// its own process, and a small client for its API.
#include <httplib.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "CloudConfig.h"
#include "CloudServer.h"

namespace Lumenda3D::Cloud::test {

int unusedPort();

class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// Settings for tests: cheap password hashing, small limits, quiet log, no seeding.
CloudConfig testConfig(const std::string& database);
// Arguments of the lumenda3d-cloud program with the same settings.
std::vector<std::string> testArguments(const std::string& database);

// The server on a thread of this process, on a free loopback port.
class RunningServer {
public:
    explicit RunningServer(const CloudConfig& config);
    ~RunningServer();
    int port() const { return port_; }
    CloudServer& server() { return *server_; }

private:
    std::unique_ptr<CloudServer> server_;
    std::thread thread_;
    int port_ = -1;
};

// The lumenda3d-cloud executable as a child process.
class ServerProcess {
public:
    // Starts it and waits until it listens; port() is -1 when it did not come up.
    ServerProcess(const std::vector<std::string>& arguments, const std::string& workDir);
    ~ServerProcess();
    int port() const { return port_; }
    void kill(int signal);   // and wait for it
    std::string log() const;

private:
    int pid_ = -1;
    int port_ = -1;
    std::string logPath_;
};

struct Reply {
    int status = 0;
    nlohmann::json json;   // null when the body is not JSON
    std::string body;
    std::string header(const std::string& name) const;
    httplib::Headers headers;
};

class ApiClient {
public:
    explicit ApiClient(int port);
    Reply get(const std::string& path, const std::string& token = "");
    Reply send(const std::string& method, const std::string& path, const nlohmann::json& body,
               const std::string& token = "");
    Reply sendRaw(const std::string& method, const std::string& path, const std::string& body,
                  const std::string& contentType, const std::string& token = "");
    // POST /api/assets as a form, or as multipart parts.
    Reply assetForm(const std::string& formBody);
    Reply assetMultipart(const httplib::MultipartFormDataItems& items);

    // Creates an account; returns its token (fails the test when refused).
    std::string registerUser(const std::string& name, const std::string& password = "correct horse");
    // Creates a project; returns its id.
    std::string createProject(const std::string& token, const std::string& name, const std::string& xml);

private:
    Reply toReply(const httplib::Result& result);
    httplib::Client client_;
};

// Bytes that look like a JPEG (its signature, then filler).
std::string fakeJpeg(std::size_t size);

} // namespace Lumenda3D::Cloud::test
