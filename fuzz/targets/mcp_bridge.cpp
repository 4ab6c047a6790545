// The stdio bridge's handling of one line (LmdMcpBridgeRelay). Input: the line; then, after a NUL,
// one byte choosing what the editor does (answer through the real protocol, answer with the rest of
// the input as the body under a chosen status, or not be there).
//
// Properties: one line in gives at most one line out, and that line is one JSON value; a request
// (an id that isn't null) always gets an answer, and an answer the bridge makes itself carries the
// request's id; a notification gets nothing the bridge made up; the editor's own answers pass as
// JSON-RPC responses.
#include "AgentHarness.h"
#include "FuzzSupport.h"
#include "mcp/LmdMcpBridgeRelay.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;
using json = nlohmann::json;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    AgentHarness& harness = AgentHarness::instance();
    harness.reset();
    const std::vector<std::string> fields = splitFields(data, size, 2);
    std::string line = fields[0];
    if (line.find('\n') != std::string::npos || !LmdMcpBridgeRelay::normaliseLine(line))
        return 0;
    const std::string& editor = fields[1];
    const unsigned mode = editor.empty() ? 0 : static_cast<unsigned char>(editor[0]) % 4;
    const std::string editorBody = editor.size() > 2 ? editor.substr(2) : std::string();

    bool posted = false;
    LmdMcpBridgeRelay::Post post = [&](const std::string& body) {
        require(body == line, "the bridge posts the line as it came");
        posted = true;
        LmdMcpBridgeRelay::Reply reply;
        if (mode == 0) {
            const LmdMcpProtocol::HttpResult result = harness.server().protocol().handleMessage(body);
            reply.reached = true;
            reply.status = result.status;
            reply.body = result.body;
        } else if (mode == 3) {
            reply.failure = "Connection refused";
        } else {
            static const int statuses[] = {200, 202, 403, 404, 405, 500};
            reply.reached = true;
            reply.status = editor.size() > 1 ? statuses[static_cast<unsigned char>(editor[1]) % 6] : 200;
            reply.body = editorBody;
        }
        return reply;
    };

    std::string diagnostic;
    const std::string out = LmdMcpBridgeRelay::relay(line, 49222, post, &diagnostic);
    require(posted, "every line is posted");
    require(out.find_first_of("\r\n") == std::string::npos, "at most one line goes out", excerpt(out));

    const json message = json::parse(line, nullptr, false);
    const bool isRequest = !message.is_object() || (message.contains("id") && !message["id"].is_null());
    if (out.empty()) {
        require(!isRequest, "every request gets an answer", excerpt(line));
        return 0;
    }
    const json reply = json::parse(out, nullptr, false);
    require(!reply.is_discarded(), "what goes out is JSON", excerpt(out));
    if (mode == 0) {
        require(jsonRpcResponseProblem(out).empty(), "the editor's answers pass as JSON-RPC responses", excerpt(out));
    } else if (reply.is_object() && reply.contains("error") && reply["error"].is_object() &&
               (reply["error"].value("code", 0) == LmdMcpBridgeRelay::kNotReachableCode ||
                reply["error"].value("code", 0) == LmdMcpBridgeRelay::kBadAnswerCode) &&
               (mode == 3 || out != editorBody)) {
        require(isRequest, "a notification gets no answer the bridge made up");
        if (message.is_object())
            require(reply["id"] == message["id"], "the bridge's own answer carries the request's id", excerpt(out));
    }
    return 0;
}
