#include "mcp/LmdMcpToolResult.h"

#include "base/LmdBase64.h"

namespace Lumenda3D {

using json = nlohmann::json;

json LmdMcpToolResult::textResult(const std::string& text) {
    json item = {{"type", "text"}, {"text", text}};
    return json{{"content", json::array({std::move(item)})}};
}

json LmdMcpToolResult::errorResult(const std::string& text) {
    json result = textResult(text);
    result["isError"] = true;
    return result;
}

json LmdMcpToolResult::imageResult(const std::vector<unsigned char>& jpegBytes) {
    json item = {{"type", "image"}, {"data", base64(jpegBytes.data(), jpegBytes.size())}, {"mimeType", "image/jpeg"}};
    return json{{"content", json::array({std::move(item)})}};
}

namespace {
const char* const kWaitKey = "lmdWait";
}

json LmdMcpToolResult::waitResult(const json& check, double maxSeconds) {
    return json{{kWaitKey, {{"check", check}, {"maxSeconds", maxSeconds}}}};
}

bool LmdMcpToolResult::isWait(const json& result) {
    return result.is_object() && result.contains(kWaitKey) && result[kWaitKey].is_object();
}

const json& LmdMcpToolResult::waitCheck(const json& result) {
    static const json none;
    if (!isWait(result))
        return none;
    auto it = result[kWaitKey].find("check");
    return it == result[kWaitKey].end() ? none : *it;
}

double LmdMcpToolResult::waitSeconds(const json& result) {
    return isWait(result) ? result[kWaitKey].value("maxSeconds", 0.0) : 0.0;
}

std::string LmdMcpToolResult::base64(const unsigned char* data, std::size_t size) {
    return lmdBase64Encode(data, size);
}

} // namespace Lumenda3D
