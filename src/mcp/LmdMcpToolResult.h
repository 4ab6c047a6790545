#pragma once
// The shapes of a tool's result as MCP clients read them. A tool that fails at its own level
// (bad arguments, a refusal, a timeout) answers with errorResult, so the model reads the reason
// as tool output and can correct itself; JSON-RPC errors are only for malformed requests.
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace Lumenda3D {

class LmdMcpToolResult {
public:
    // {"content":[{"type":"text","text":text}]}
    static nlohmann::json textResult(const std::string& text);
    // The same plus "isError":true.
    static nlohmann::json errorResult(const std::string& text);
    // {"content":[{"type":"image","data":<base64>,"mimeType":"image/jpeg"}]}
    static nlohmann::json imageResult(const std::vector<unsigned char>& jpegBytes);

    static std::string base64(const unsigned char* data, std::size_t size);

    // A tool that waits for something that plays out over frames (input, a span of game time)
    // answers with a wait: the server then calls LmdMcpBackend::resumeTool with `check` on the
    // main thread, a frame or so apart, until it answers with a result that is no wait, or
    // `maxSeconds` have passed. The client only ever sees the final result.
    static nlohmann::json waitResult(const nlohmann::json& check, double maxSeconds);
    static bool isWait(const nlohmann::json& result);
    static const nlohmann::json& waitCheck(const nlohmann::json& result);
    static double waitSeconds(const nlohmann::json& result);
};

} // namespace Lumenda3D
