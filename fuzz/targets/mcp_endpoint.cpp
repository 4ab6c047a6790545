// The agent endpoint's request handling (LmdMcpServer::handleHttp) with any method, path, Origin
// header and body. Input: method NUL path NUL origin NUL body.
//
// Properties: the origin, path and method are judged exactly as documented (403, then 404, then
// 405, each with its fixed body); everything that passes is a JSON-RPC answer or a 202, never a
// library's text; every answer is JSON; a refused or failed request leaves the game as it was.
#include "AgentHarness.h"
#include "FuzzSupport.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;

namespace {

// The documented rule, written out on its own: no Origin, or http(s):// and then exactly
// 127.0.0.1 or localhost up to the first '/' or ':' or the end.
bool originIsLocal(const std::string& origin) {
    if (origin.empty())
        return true;
    std::string rest;
    if (origin.rfind("http://", 0) == 0)
        rest = origin.substr(7);
    else if (origin.rfind("https://", 0) == 0)
        rest = origin.substr(8);
    else
        return false;
    const size_t end = rest.find_first_of("/:");
    const std::string host = end == std::string::npos ? rest : rest.substr(0, end);
    return host == "127.0.0.1" || host == "localhost";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    AgentHarness& harness = AgentHarness::instance();
    harness.reset();
    const std::vector<std::string> fields = splitFields(data, size, 4);
    LmdLocalHttpServer::Request request;
    request.method = fields[0];
    request.path = fields[1];
    request.origin = fields[2];
    request.body = fields[3];

    const std::string before = harness.savedForm();
    const LmdLocalHttpServer::Response response = harness.server().handleHttp(request);
    require(response.contentType == "application/json", "every answer is application/json");

    if (!originIsLocal(request.origin)) {
        require(response.status == 403 && response.body == R"({"error":"forbidden origin"})",
                "a foreign origin gets 403 before anything else", excerpt(request.origin));
    } else if (request.path != "/mcp") {
        require(response.status == 404 && response.body == R"({"error":"not found — the MCP endpoint is /mcp"})",
                "a path other than /mcp gets 404", excerpt(request.path));
    } else if (request.method != "POST") {
        require(response.status == 405 &&
                    response.body == R"({"error":"method not allowed — MCP messages are POSTed to /mcp"})",
                "a method other than POST gets 405", excerpt(request.method));
    } else {
        harness.checkProtocolAnswer(request.body, response.status, response.body, before);
        return 0;
    }
    require(harness.savedForm() == before, "a refused request changes nothing");
    return 0;
}
