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
#include <nlohmann/json.hpp>

namespace {
using json = nlohmann::json;

// Loopback either answers or refuses at once; this only bounds a machine under heavy load.
constexpr int kConnectTimeoutSeconds = 2;
// A tool call may wait up to 120 s for the user and 10 s for the editor's main thread.
constexpr int kReadTimeoutSeconds = 300;
constexpr int kNotReachableCode = -32000;
constexpr int kBadAnswerCode = -32603;

std::mutex outputMutex;

void writeLine(const std::string& line) {
    std::lock_guard<std::mutex> lock(outputMutex);
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void writeError(const json& id, int code, const std::string& message) {
    json error = {{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}};
    writeLine(error.dump());
}

std::string notReachableText(int port) {
    return "The Lumenda3D editor is not reachable at http://127.0.0.1:" + std::to_string(port) +
           "/mcp. Start the Lumenda3D editor and enable its MCP server (Settings > MCP Server, port " +
           std::to_string(port) + "; or start it with --mcp on --mcp-port " + std::to_string(port) +
           "), then retry.";
}

// Relays one message. A request is a message with a non-null id; a line that isn't JSON is
// passed on too, so that the editor answers it with its own parse error.
void relay(const std::string& line, int port) {
    const json message = json::parse(line, nullptr, false);
    bool isRequest = true;
    json id = nullptr;
    if (!message.is_discarded() && message.is_object()) {
        auto it = message.find("id");
        isRequest = it != message.end() && !it->is_null();
        if (isRequest)
            id = *it;
    }

    httplib::Client client("127.0.0.1", port);
    client.set_connection_timeout(kConnectTimeoutSeconds, 0);
    client.set_read_timeout(kReadTimeoutSeconds, 0);
    client.set_write_timeout(kReadTimeoutSeconds, 0);
    client.set_keep_alive(false);
    httplib::Result result = client.Post("/mcp", line, "application/json");
    if (!result) {
        std::fprintf(stderr, "lmd-mcp: %s (%s)\n", notReachableText(port).c_str(),
                     httplib::to_string(result.error()).c_str());
        if (isRequest)
            writeError(id, kNotReachableCode, notReachableText(port));
        return;
    }
    if (result->status == 200 && !result->body.empty()) {
        // The editor answers with compact JSON; re-serialise anything else so that one reply
        // stays one line.
        if (result->body.find('\n') == std::string::npos) {
            writeLine(result->body);
        } else {
            const json reply = json::parse(result->body, nullptr, false);
            if (!reply.is_discarded())
                writeLine(reply.dump());
            else if (isRequest)
                writeError(id, kBadAnswerCode, "The editor's answer was not valid JSON.");
        }
        return;
    }
    if (result->status == 202 || (result->status == 200 && result->body.empty())) {
        if (isRequest)
            writeError(id, kBadAnswerCode, "The editor accepted the message but sent no reply.");
        return;
    }
    std::fprintf(stderr, "lmd-mcp: HTTP %d: %s\n", result->status, result->body.c_str());
    if (isRequest)
        writeError(id, kBadAnswerCode,
                   "The editor refused the message (HTTP " + std::to_string(result->status) + "): " + result->body);
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
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.find_first_not_of(" \t") == std::string::npos)
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
