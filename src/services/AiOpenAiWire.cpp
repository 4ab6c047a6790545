#include "services/AiOpenAiWire.h"

#include "services/UrlUtils.h"

namespace Lumenda3D {

using json = nlohmann::json;

namespace {

// A job's request: <base>/chat/completions/<job> with the key, the job id escaped as a path part.
HttpRequest jobRequest(const char* method, const AiProviderConfig& config, const std::string& jobId) {
    HttpRequest request;
    request.method = method;
    request.url = config.baseUrl + "/chat/completions/" + UrlUtils::urlEncode(jobId);
    request.timeoutMs = 30000;
    if (!config.apiKey.empty())
        request.headers.emplace_back("Authorization", "Bearer " + config.apiKey);
    return request;
}

std::string stringField(const json& body, const char* name) {
    const auto it = body.find(name);
    return it != body.end() && it->is_string() ? it->get<std::string>() : std::string();
}

} // namespace

HttpRequest AiOpenAiWire::buildRequest(const AiProviderConfig& config, const AiPrompt& prompt) const {
    json messages = json::array();
    if (!prompt.system.empty())
        messages.push_back({{"role", "system"}, {"content", prompt.system}});
    for (const AiPrompt::Turn& turn : prompt.turns)
        messages.push_back({{"role", turn.role == "assistant" ? "assistant" : "user"}, {"content", turn.text}});
    json body = {{"model", config.model}, {"messages", messages}};
    if (config.providerId == "openai") {
        if (config.structuredOutput)
            body["response_format"] = {{"type", "json_object"}};
        body["max_completion_tokens"] = config.maxOutputTokens;
        if (!config.effort.empty())
            body["reasoning_effort"] = config.effort;
    } else {
        body["max_tokens"] = config.maxOutputTokens;
    }
    HttpRequest request = jsonPost(config.baseUrl + "/chat/completions", body, config.timeoutMs);
    if (!config.apiKey.empty())
        request.headers.emplace_back("Authorization", "Bearer " + config.apiKey);
    return request;
}

bool AiOpenAiWire::pollRequest(const AiProviderConfig& config, const std::string& jobId, HttpRequest& request) const {
    request = jobRequest("GET", config, jobId);
    return true;
}

bool AiOpenAiWire::cancelRequest(const AiProviderConfig& config, const std::string& jobId, HttpRequest& request) const {
    request = jobRequest("DELETE", config, jobId);
    return true;
}

std::string AiOpenAiWire::runningJob(int status, const json& body) const {
    if (body.contains("choices"))
        return "";
    const std::string state = stringField(body, "status");
    if (status != 202 && state != "queued" && state != "in_progress")
        return "";
    return stringField(body, "id");
}

std::string AiOpenAiWire::jobEnd(const json& body) const {
    if (body.contains("choices"))
        return "";
    const std::string state = stringField(body, "status");
    if (state == "cancelled")
        return "cancelled";
    if (state == "failed" || state == "expired")
        return "failed";
    return "";
}

bool AiOpenAiWire::extractText(const json& body, std::string& text, std::string& why) const {
    const auto choices = body.find("choices");
    if (choices == body.end() || !choices->is_array() || choices->empty() || !(*choices)[0].is_object()) {
        why = "the answer has no choices.";
        return false;
    }
    const json& choice = (*choices)[0];
    const auto message = choice.find("message");
    if (message == choice.end() || !message->is_object()) {
        why = "the answer has no message.";
        return false;
    }
    const auto content = message->find("content");
    if (content == message->end() || !content->is_string()) {
        const auto refusal = message->find("refusal");
        why = refusal != message->end() && refusal->is_string() ? "the model refused: " + refusal->get<std::string>()
                                                                 : "the answer's message has no text.";
        return false;
    }
    text = content->get<std::string>();
    return true;
}

std::string AiOpenAiWire::stopProblem(const json& body) const {
    const auto choices = body.find("choices");
    if (choices != body.end() && choices->is_array() && !choices->empty() && (*choices)[0].is_object()) {
        const auto reason = (*choices)[0].find("finish_reason");
        if (reason != (*choices)[0].end() && reason->is_string() && *reason == "content_filter")
            return "the provider's content filter stopped the answer.";
    }
    return "";
}

} // namespace Lumenda3D
