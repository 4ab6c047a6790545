#include "services/AiAnthropicWire.h"

namespace Lumenda3D {

using json = nlohmann::json;

HttpRequest AiAnthropicWire::buildRequest(const AiProviderConfig& config, const AiPrompt& prompt) const {
    json messages = json::array();
    for (const AiPrompt::Turn& turn : prompt.turns)
        messages.push_back({{"role", turn.role == "assistant" ? "assistant" : "user"}, {"content", turn.text}});
    json body = {{"model", config.model}, {"max_tokens", config.maxOutputTokens}, {"messages", messages}};
    if (!prompt.system.empty())
        body["system"] = prompt.system;
    if (config.deepThink) {
        body["thinking"] = {{"type", "enabled"}, {"budget_tokens", kThinkingBudget}};
        body["max_tokens"] = config.maxOutputTokens + kThinkingBudget;
    }
    HttpRequest request = jsonPost(config.baseUrl + "/v1/messages", body, config.timeoutMs);
    request.headers.emplace_back("x-api-key", config.apiKey);
    request.headers.emplace_back("anthropic-version", kApiVersion);
    return request;
}

bool AiAnthropicWire::extractText(const json& body, std::string& text, std::string& why) const {
    const auto content = body.find("content");
    if (content == body.end() || !content->is_array()) {
        why = "the answer has no content.";
        return false;
    }
    bool found = false;
    for (const json& block : *content) {
        if (!block.is_object() || !block.contains("type") || block["type"] != "text")
            continue;
        const auto part = block.find("text");
        if (part != block.end() && part->is_string()) {
            text += part->get<std::string>();
            found = true;
        }
    }
    if (!found)
        why = "the answer has no text.";
    return found;
}

std::string AiAnthropicWire::stopProblem(const json& body) const {
    const auto reason = body.find("stop_reason");
    if (reason != body.end() && reason->is_string() && *reason == "refusal")
        return "the model refused the request.";
    return "";
}

} // namespace Lumenda3D
