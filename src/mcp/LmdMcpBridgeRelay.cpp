#include "mcp/LmdMcpBridgeRelay.h"

#include <nlohmann/json.hpp>

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

// Bytes that are not UTF-8 (an editor's refusal text, say) are replaced rather than throwing.
std::string dumpLine(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

std::string errorLine(const json& id, int code, const std::string& message) {
    return dumpLine(json{{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}});
}
} // namespace

bool LmdMcpBridgeRelay::normaliseLine(std::string& line) {
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line.find_first_not_of(" \t") != std::string::npos;
}

std::string LmdMcpBridgeRelay::notReachableText(int port) {
    return "The Lumenda3D editor is not reachable at http://127.0.0.1:" + std::to_string(port) +
           "/mcp. Start the Lumenda3D editor and enable its MCP server (Settings > MCP Server, port " +
           std::to_string(port) + "; or start it with --mcp on --mcp-port " + std::to_string(port) +
           "), then retry.";
}

std::string LmdMcpBridgeRelay::relay(const std::string& line, int port, const Post& post, std::string* diagnostic) {
    if (diagnostic)
        diagnostic->clear();
    // A request is a message with a non-null id. A line that isn't JSON is passed on too, so that
    // the editor answers it with its own parse error.
    const json message = json::parse(line, nullptr, false);
    bool isRequest = true;
    json id = nullptr;
    if (!message.is_discarded() && message.is_object()) {
        auto it = message.find("id");
        isRequest = it != message.end() && !it->is_null();
        if (isRequest)
            id = *it;
    }

    const Reply reply = post(line);
    if (!reply.reached) {
        if (diagnostic)
            *diagnostic = "lmd-mcp: " + notReachableText(port) + " (" + reply.failure + ")";
        return isRequest ? errorLine(id, kNotReachableCode, notReachableText(port)) : std::string();
    }
    if (reply.status == 200 && !reply.body.empty()) {
        // The editor answers with compact JSON on one line: that goes out as it came. Anything
        // else that is JSON is written again on one line; what isn't JSON never reaches the client.
        if (reply.body.find_first_of("\r\n") == std::string::npos && json::accept(reply.body))
            return reply.body;
        const json parsed = json::parse(reply.body, nullptr, false);
        if (!parsed.is_discarded())
            return dumpLine(parsed);
        if (diagnostic)
            *diagnostic = "lmd-mcp: the editor's answer was not valid JSON";
        return isRequest ? errorLine(id, kBadAnswerCode, "The editor's answer was not valid JSON.") : std::string();
    }
    if (reply.status == 202 || reply.status == 200)
        return isRequest ? errorLine(id, kBadAnswerCode, "The editor accepted the message but sent no reply.")
                         : std::string();
    if (diagnostic)
        *diagnostic = "lmd-mcp: HTTP " + std::to_string(reply.status) + ": " + reply.body;
    return isRequest ? errorLine(id, kBadAnswerCode,
                                 "The editor refused the message (HTTP " + std::to_string(reply.status) +
                                     "): " + reply.body)
                     : std::string();
}

} // namespace Lumenda3D
