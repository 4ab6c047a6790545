#pragma once
// The agent server: the log buffer, the main-thread dispatcher, the protocol layer and the
// loopback HTTP listener, bound together. It decides for each HTTP request whether it reaches
// the protocol at all (origin, path, method) and routes each tools/call either straight to the
// tool (thread-safe tools) or through the dispatcher to the main thread.
//
// The editor-side pieces (tool catalogue, permissions, knowledge base) come in through an
// LmdMcpBackend; without one the server answers the protocol with an empty catalogue.
#include <string>

#include <nlohmann/json.hpp>

#include "mcp/LmdLogRingBuffer.h"
#include "mcp/LmdMainThreadDispatcher.h"
#include "mcp/LmdMcpBackend.h"
#include "mcp/LmdMcpProtocol.h"
#include "services/LmdLocalHttpServer.h"

namespace Lumenda3D {

class LmdMcpServer {
public:
    // How long a tools/call waits for the main thread before giving up.
    static constexpr int kDefaultJobTimeoutMs = 10000;
    static const char* const kFallbackInstructions;

    // The backend is not owned and must outlive the server. Starts no thread.
    explicit LmdMcpServer(LmdMcpBackend* backend, int jobTimeoutMs = kDefaultJobTimeoutMs);
    // Fails queued jobs (waking their posters) and stops the listener.
    ~LmdMcpServer();
    LmdMcpServer(const LmdMcpServer&) = delete;
    LmdMcpServer& operator=(const LmdMcpServer&) = delete;

    // Reopens the dispatcher, configures the protocol from the backend and opens the listener on
    // 127.0.0.1:port (0 picks a free port). Returns what the listener's start returns; false
    // without a change when the listener already runs.
    bool start(int port);
    // Stops the listener only; the controller fails waiting jobs first (dispatcher().shutdown()).
    void stop();

    // The request handler, run on a connection thread. Keeps no state of its own.
    LmdLocalHttpServer::Response handleHttp(const LmdLocalHttpServer::Request& request) const;

    // Null when the tool may run, otherwise the error result to answer with.
    nlohmann::json checkPermission(const std::string& name) const;

    // Whether an Origin header value may drive the editor: empty, or http(s) to 127.0.0.1 or
    // localhost on any port.
    static bool isLocalOrigin(const std::string& origin);

    LmdLogRingBuffer& logs() { return logs_; }
    LmdMainThreadDispatcher& dispatcher() { return dispatcher_; }
    const LmdMcpProtocol& protocol() const { return protocol_; }
    LmdLocalHttpServer& http() { return http_; }
    const LmdLocalHttpServer& http() const { return http_; }

private:
    nlohmann::json runTool(const std::string& name, const nlohmann::json& arguments) const;
    // Connection thread: while `result` is a wait, resumes the tool on the main thread every
    // kWaitPollMs until it answers or the wait's time runs out.
    nlohmann::json finishWait(nlohmann::json result) const;
    static constexpr int kWaitPollMs = 15;
    std::string readResource(const std::string& uri) const;

    LmdLogRingBuffer logs_;               // first: outlives everything that may log into it
    LmdMcpBackend* backend_;              // not owned
    const int jobTimeoutMs_;
    mutable LmdMainThreadDispatcher dispatcher_;
    LmdMcpProtocol protocol_;             // written in start before the listener opens, then only read
    LmdLocalHttpServer http_;             // last: destroyed first, so no handler outlives the rest
};

} // namespace Lumenda3D
