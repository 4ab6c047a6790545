#include "services/AiProviderWire.h"

#include "services/AiAnthropicWire.h"
#include "services/AiGeminiWire.h"
#include "services/AiOpenAiWire.h"

namespace Lumenda3D {

using json = nlohmann::json;

std::unique_ptr<AiProviderWire> AiProviderWire::forProvider(const std::string& providerId) {
    if (providerId == "openai" || providerId == "compatible")
        return std::make_unique<AiOpenAiWire>();
    if (providerId == "anthropic")
        return std::make_unique<AiAnthropicWire>();
    if (providerId == "gemini")
        return std::make_unique<AiGeminiWire>();
    return nullptr;
}

HttpRequest AiProviderWire::jsonPost(const std::string& url, const json& body, int timeoutMs) {
    HttpRequest request;
    request.method = "POST";
    request.url = url;
    request.contentType = "application/json";
    request.body = body.dump(-1, ' ', false, json::error_handler_t::replace);
    request.timeoutMs = timeoutMs;
    return request;
}

std::string AiProviderWire::errorMessage(const json& body) const {
    if (body.is_object()) {
        const auto error = body.find("error");
        if (error != body.end()) {
            if (error->is_string())
                return error->get<std::string>();
            if (error->is_object()) {
                const auto message = error->find("message");
                if (message != error->end() && message->is_string())
                    return message->get<std::string>();
            }
        }
        const auto message = body.find("message");
        if (message != body.end() && message->is_string())
            return message->get<std::string>();
    }
    return "";
}

bool AiProviderWire::pollRequest(const AiProviderConfig&, const std::string&, HttpRequest&) const { return false; }

bool AiProviderWire::cancelRequest(const AiProviderConfig&, const std::string&, HttpRequest&) const { return false; }

std::string AiProviderWire::runningJob(int, const json&) const { return ""; }

std::string AiProviderWire::jobEnd(const json&) const { return ""; }

AiProviderOutcome AiProviderWire::read(const HttpResponse& response) const {
    AiProviderOutcome outcome;
    if (response.status == 0) {
        outcome.error = "No response from the AI service: " + response.error;
        outcome.detail = response.error;
        return outcome;
    }
    const json body = json::parse(response.body, nullptr, false);
    if (response.status < 200 || response.status >= 300) {
        const std::string words = body.is_discarded() ? "" : errorMessage(body);
        outcome.detail = words.empty() ? "The provider answered with status " + std::to_string(response.status) + "."
                                       : words;
        if (response.status == 429)
            outcome.error = "rate_limited";
        else if (response.status == 503 || response.status == 529)
            outcome.error = "ai_busy";
        else if (response.status == 401 || response.status == 403)
            outcome.error = "api_key_invalid";
        else
            outcome.error = "provider_error";
        return outcome;
    }
    if (body.is_discarded() || !body.is_object()) {
        outcome.error = "Invalid JSON from the AI provider: the answer is not a JSON object.";
        return outcome;
    }
    const std::string job = runningJob(response.status, body);
    if (!job.empty()) {
        outcome.ok = true;
        outcome.pending = true;
        outcome.jobId = job;
        return outcome;
    }
    const std::string end = jobEnd(body);
    if (end == "cancelled") {
        outcome.error = "cancelled";
        return outcome;
    }
    if (end == "failed") {
        const std::string words = errorMessage(body);
        outcome.error = "provider_error";
        outcome.detail = words.empty() ? "The provider's job failed." : words;
        return outcome;
    }
    std::string why;
    if (!extractText(body, outcome.text, why)) {
        const std::string stop = stopProblem(body);
        outcome.error = "Invalid JSON from the AI provider: " + (stop.empty() ? why : stop);
        outcome.text.clear();
        return outcome;
    }
    outcome.ok = true;
    return outcome;
}

} // namespace Lumenda3D
