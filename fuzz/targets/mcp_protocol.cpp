// The JSON-RPC layer (LmdMcpProtocol::handleMessage) with the real catalogue and tools, fed up to
// four request bodies in a row, as one client session sends them. Input: bodies separated by NUL.
//
// Properties: every answer is a JSON-RPC response (or an empty 202), carries the request's id and
// no library text; no handler throws (-32603); a mistyped member is a protocol error of the
// documented code; every tool call answers a tool result, and one that fails, or a request that is
// refused, leaves the game as it was.
#include "AgentHarness.h"
#include "FuzzSupport.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;
using json = nlohmann::json;

namespace {

bool present(const json& object, const char* key) { return object.contains(key) && !object[key].is_null(); }

// The code a request must be refused with for its member types, 0 when the types are right.
int expectedTypeError(const json& message) {
    if (present(message, "id") && !message["id"].is_string() && !message["id"].is_number())
        return -32600;
    if (present(message, "method") && !message["method"].is_string())
        return -32600;
    if (!present(message, "id") || !present(message, "method") || message["method"] == "")
        return 0;
    if (present(message, "params") && !message["params"].is_object())
        return -32602;
    if (message["method"] == "tools/call" && present(message, "params")) {
        const json& params = message["params"];
        if ((present(params, "name") && !params["name"].is_string()) ||
            (present(params, "arguments") && !params["arguments"].is_object()))
            return -32602;
    }
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    AgentHarness& harness = AgentHarness::instance();
    harness.reset();
    for (const std::string& body : splitFields(data, size, 4)) {
        if (body.empty())
            continue;
        const std::string before = harness.savedForm();
        const LmdMcpProtocol::HttpResult result = harness.server().protocol().handleMessage(body);
        harness.checkProtocolAnswer(body, result.status, result.body, before);

        const json message = json::parse(body, nullptr, false);
        if (!message.is_object())
            continue;
        if (const int code = expectedTypeError(message)) {
            const json reply = json::parse(result.body, nullptr, false);
            require(!reply.is_discarded() && reply.contains("error") && reply["error"]["code"] == code,
                    "a member of the wrong type gets its documented protocol error", excerpt(result.body));
        }
    }
    return 0;
}
