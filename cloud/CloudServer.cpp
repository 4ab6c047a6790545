#include "CloudServer.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstdlib>

#include "CloudLog.h"
#include "HttpReply.h"

namespace Lumenda3D::Cloud {

CloudServer::CloudServer(CloudConfig config)
    : services_(std::make_unique<CloudServices>(std::move(config))),
      accounts_(*services_),
      projects_(*services_),
      publishing_(*services_),
      templates_(*services_),
      assets_(*services_),
      updates_(*services_),
      runtimeTemplates_(*services_) {
    const CloudConfig& c = services_->config();
    const std::size_t threads = c.threads == 0 ? 1 : c.threads;
    http_.new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
    http_.set_payload_max_length(c.payloadLimit());
    // Answers go out at once: with Nagle's algorithm a small answer waits for the client's
    // delayed acknowledgement, some 40 ms. A client keeps its connection as long as it is busy.
    http_.set_tcp_nodelay(true);
    http_.set_keep_alive_max_count(1000000);
    http_.set_keep_alive_timeout(5);
    http_.set_read_timeout(30);
    http_.set_write_timeout(30);
    installCommon();
    accounts_.install(http_);
    projects_.install(http_);
    publishing_.install(http_);
    templates_.install(http_);
    assets_.install(http_);
    updates_.install(http_);
    runtimeTemplates_.install(http_);
}

CloudServer::~CloudServer() { stop(); }

void CloudServer::installCommon() {
    // Compressed bodies would be inflated by the HTTP library past the body limit; nothing the
    // editor sends is compressed.
    http_.set_pre_routing_handler([](const httplib::Request& req, httplib::Response& res) {
        const std::string encoding = req.get_header_value("Content-Encoding");
        if (!encoding.empty() && encoding != "identity") {
            HttpReply::error(res, 415, "unsupported_encoding", "Compressed request bodies are not accepted.");
            return httplib::Server::HandlerResponse::Handled;
        }
        AssetHandlers::takeRawBody(req);
        return httplib::Server::HandlerResponse::Unhandled;
    });
    http_.set_error_handler([](const httplib::Request&, httplib::Response& res) {
        if (!res.body.empty())
            return;
        switch (res.status) {
        case 404:
            HttpReply::error(res, 404, "not_found", "There is nothing at this address.");
            break;
        case 413:
            HttpReply::error(res, 413, "payload_too_large", "The request body is larger than this server accepts.");
            break;
        case 400:
            HttpReply::error(res, 400, "bad_request", "The request could not be read.");
            break;
        default:
            HttpReply::error(res, res.status, "http_error", "The request failed with status " + std::to_string(res.status) + ".");
        }
    });
    http_.set_exception_handler([](const httplib::Request& req, httplib::Response& res, std::exception_ptr ep) {
        std::string what = "unknown exception";
        try {
            if (ep)
                std::rethrow_exception(ep);
        } catch (const std::exception& e) {
            what = e.what();
        } catch (...) {
        }
        CloudLog::error(req.method + " " + req.path + ": " + what);
        HttpReply::error(res, 500, "internal_error", "The server failed to do this. Nothing was changed.");
    });
    http_.Get("/api/health", HttpReply::guard([this](const httplib::Request&, httplib::Response& res) {
        const std::int64_t version = services_->database().read([](Transaction& tx) {
            return tx.one("SELECT MAX(version) FROM schema_migrations")->integer(0);
        });
        HttpReply::json(res, 200, {{"status", "ok"},
                                   {"database", services_->database().backend().name()},
                                   {"schema_version", version},
                                   {"registration", services_->config().allowRegistration}});
    }));
}

namespace {

// Debian's cpp-httplib listens with a backlog of 5 connections, compiled into the library. Under
// load, clients that (re)connect together then lose their handshakes and see their connection
// dropped after a second. Listening again on the same socket raises the backlog (Linux allows
// it); the socket is the one of this process that listens on the port.
void raiseListenBacklog(int port) {
    DIR* fds = ::opendir("/proc/self/fd");
    if (!fds)
        return;
    while (dirent* entry = ::readdir(fds)) {
        const int fd = std::atoi(entry->d_name);
        struct stat st {};
        if (fd <= 2 || ::fstat(fd, &st) != 0 || !S_ISSOCK(st.st_mode))
            continue;
        int listening = 0;
        socklen_t size = sizeof listening;
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        if (::getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) != 0 || !listening ||
            ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            continue;
        int bound = 0;
        if (address.ss_family == AF_INET)
            bound = ntohs(reinterpret_cast<sockaddr_in*>(&address)->sin_port);
        else if (address.ss_family == AF_INET6)
            bound = ntohs(reinterpret_cast<sockaddr_in6*>(&address)->sin6_port);
        if (bound == port)
            ::listen(fd, SOMAXCONN);
    }
    ::closedir(fds);
}

} // namespace

int CloudServer::bind() {
    const CloudConfig& c = services_->config();
    if (c.port == 0)
        port_ = http_.bind_to_any_port(c.host);
    else
        port_ = http_.bind_to_port(c.host, c.port) ? c.port : -1;
    if (port_ > 0)
        raiseListenBacklog(port_);
    return port_;
}

bool CloudServer::serve() { return http_.listen_after_bind(); }

void CloudServer::stop() { http_.stop(); }

} // namespace Lumenda3D::Cloud
