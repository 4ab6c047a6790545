#include "services/AiGeminiWire.h"

#include "services/UrlUtils.h"

namespace Lumenda3D {

using json = nlohmann::json;

HttpRequest AiGeminiWire::buildRequest(const AiProviderConfig& config, const AiPrompt& prompt) const {
    json contents = json::array();
    for (const AiPrompt::Turn& turn : prompt.turns)
        contents.push_back({{"role", turn.role == "assistant" ? "model" : "user"}, {"parts", {{{"text", turn.text}}}}});
    json generation = {{"maxOutputTokens", config.maxOutputTokens}};
    if (config.structuredOutput)
        generation["responseMimeType"] = "application/json";
    if (config.deepThink)
        generation["thinkingConfig"] = {{"thinkingBudget", -1}};
    json body = {{"contents", contents}, {"generationConfig", generation}};
    if (!prompt.system.empty())
        body["systemInstruction"] = {{"parts", {{{"text", prompt.system}}}}};
    HttpRequest request = jsonPost(config.baseUrl + "/v1beta/models/" + UrlUtils::urlEncode(config.model) + ":generateContent", body,
                                   config.timeoutMs);
    request.headers.emplace_back("x-goog-api-key", config.apiKey);
    return request;
}

bool AiGeminiWire::extractText(const json& body, std::string& text, std::string& why) const {
    const auto candidates = body.find("candidates");
    if (candidates == body.end() || !candidates->is_array() || candidates->empty() || !(*candidates)[0].is_object()) {
        why = "the answer has no candidates.";
        return false;
    }
    const json& candidate = (*candidates)[0];
    const auto content = candidate.find("content");
    const json* parts = nullptr;
    if (content != candidate.end() && content->is_object()) {
        const auto found = content->find("parts");
        if (found != content->end() && found->is_array())
            parts = &*found;
    }
    bool any = false;
    if (parts) {
        for (const json& part : *parts) {
            if (!part.is_object() || (part.contains("thought") && part["thought"] == true))
                continue;
            const auto piece = part.find("text");
            if (piece != part.end() && piece->is_string()) {
                text += piece->get<std::string>();
                any = true;
            }
        }
    }
    if (!any)
        why = "the answer has no text.";
    return any;
}

std::string AiGeminiWire::stopProblem(const json& body) const {
    const auto feedback = body.find("promptFeedback");
    if (feedback != body.end() && feedback->is_object()) {
        const auto reason = feedback->find("blockReason");
        if (reason != feedback->end() && reason->is_string())
            return "the provider blocked the request (" + reason->get<std::string>() + ").";
    }
    return "";
}

} // namespace Lumenda3D
