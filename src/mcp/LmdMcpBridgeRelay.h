#pragma once
// What the stdio bridge lmd-mcp does with one line of its standard input: it posts the line to
// the editor's agent server and decides what, if anything, goes back on standard output.
//
// One line in gives at most one line out, and a line out is always one JSON value on one line:
// the editor's reply when it is a JSON-RPC message, or a JSON-RPC error of the bridge's own that
// carries the request's id. Notifications (no id, or a null id) get nothing back.
#include <functional>
#include <string>

namespace Lumenda3D {

class LmdMcpBridgeRelay {
public:
    // The outcome of one POST to the editor.
    struct Reply {
        bool reached = false;  // false: no HTTP answer at all (refused, timed out, ...)
        int status = 0;        // HTTP status when reached
        std::string body;      // response body when reached
        std::string failure;   // why it was not reached, for the diagnostic line
    };
    using Post = std::function<Reply(const std::string& body)>;

    // JSON-RPC error codes of the bridge's own answers.
    static constexpr int kNotReachableCode = -32000;
    static constexpr int kBadAnswerCode = -32603;

    // Drops a trailing carriage return. False when nothing but blanks is left: such a line is
    // skipped, not relayed.
    static bool normaliseLine(std::string& line);

    // Relays one message with `post` and returns the line to write to standard output ("" when
    // nothing is to be written). `diagnostic`, when given, gets a line for standard error (or "").
    static std::string relay(const std::string& line, int port, const Post& post, std::string* diagnostic = nullptr);

    // The answer to every request while the editor can't be reached.
    static std::string notReachableText(int port);
};

} // namespace Lumenda3D
