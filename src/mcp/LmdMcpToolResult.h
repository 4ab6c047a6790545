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
};

} // namespace Lumenda3D
