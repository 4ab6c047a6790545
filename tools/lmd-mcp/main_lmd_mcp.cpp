// lmd-mcp: the stdio bridge to the Lumenda3D editor's agent server.
//
//   lmd-mcp --port N
//
// MCP clients that only speak stdio start this program. Each line on standard input is one
// JSON-RPC message; it is POSTed to http://127.0.0.1:N/mcp and the editor's reply is written to
// standard output as one line. Notifications get no reply. Messages are relayed concurrently, so
// a tool call that waits for the user (a permission prompt) doesn't hold up a ping; replies carry
// their request's id.
//
// When the editor can't be reached, every request (initialize included) is answered at once with
// a JSON-RPC error that tells the user what to do; the bridge never waits for an editor that
// isn't there. Diagnostics go to standard error only.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>

#include "mcp/LmdMcpBridgeRelay.h"

namespace {
using Lumenda3D::LmdMcpBridgeRelay;

// Loopback either answers or refuses at once; this only bounds a machine under heavy load.
constexpr int kConnectTimeoutSeconds = 2;
// A tool call may wait up to 120 s for the user and 10 s for the editor's main thread.
constexpr int kReadTimeoutSeconds = 300;

std::mutex outputMutex;

void writeLine(const std::string& line) {
    std::lock_guard<std::mutex> lock(outputMutex);
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

LmdMcpBridgeRelay::Reply post(const std::string& body, int port) {
    httplib::Client client("127.0.0.1", port);
    client.set_connection_timeout(kConnectTimeoutSeconds, 0);
    client.set_read_timeout(kReadTimeoutSeconds, 0);
    client.set_write_timeout(kReadTimeoutSeconds, 0);
    client.set_keep_alive(false);
    httplib::Result result = client.Post("/mcp", body, "application/json");
    LmdMcpBridgeRelay::Reply reply;
    if (!result) {
        reply.failure = httplib::to_string(result.error());
        return reply;
    }
    reply.reached = true;
    reply.status = result->status;
    reply.body = result->body;
    return reply;
}

// Relays one message and writes what comes of it (LmdMcpBridgeRelay decides what that is).
void relay(const std::string& line, int port) {
    std::string diagnostic;
    const std::string out = LmdMcpBridgeRelay::relay(
        line, port, [port](const std::string& body) { return post(body, port); }, &diagnostic);
    if (!diagnostic.empty())
        std::fprintf(stderr, "%s\n", diagnostic.c_str());
    if (!out.empty())
        writeLine(out);
}

bool parsePort(const char* text, int& port) {
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != 0 || value < 1 || value > 65535)
        return false;
    port = static_cast<int>(value);
    return true;
}

int usage() {
    std::fprintf(stderr, "Usage: lmd-mcp --port N\n"
                         "Relays MCP JSON-RPC messages between standard input/output and the Lumenda3D editor's\n"
                         "agent server at http://127.0.0.1:N/mcp (the editor's default port is 49222).\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    int port = 0;
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if (std::strcmp(arg, "--port") == 0 && i + 1 < argc) {
            if (!parsePort(argv[++i], port))
                return usage();
        } else if (std::strncmp(arg, "--port=", 7) == 0) {
            if (!parsePort(arg + 7, port))
                return usage();
        } else if (std::strcmp(arg, "--help") == 0 || std::strcmp(arg, "-h") == 0) {
            usage();
            return 0;
        } else {
            return usage();
        }
    }
    if (port == 0)
        return usage();

    struct Worker {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> finished;
    };
    std::vector<Worker> workers;
    std::string line;
    while (std::getline(std::cin, line)) {
        if (!LmdMcpBridgeRelay::normaliseLine(line))
            continue;
        // Join the relays that have ended, so a long session doesn't pile up finished threads.
        for (auto it = workers.begin(); it != workers.end();) {
            if (it->finished->load()) {
                it->thread.join();
                it = workers.erase(it);
            } else {
                ++it;
            }
        }
        auto finished = std::make_shared<std::atomic<bool>>(false);
        workers.push_back({std::thread([line, port, finished] {
                               relay(line, port);
                               finished->store(true);
                           }),
                           finished});
    }
    // Standard input closed: finish the replies still under way, then end.
    for (Worker& worker : workers)
        worker.thread.join();
    return 0;
}
