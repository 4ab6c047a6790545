#pragma once
// One AI provider's wire format: how a conversation becomes an HTTP request, and how the HTTP
// answer becomes the model's text or one of the assistant's error words:
//   "rate_limited"     429 (quota or rate limit)
//   "ai_busy"          503 or Anthropic's 529 (the provider is overloaded)
//   "api_key_invalid"  401 or 403 (the key is wrong, revoked or lacks the model)
//   "provider_error"   any other refusal; the provider's own words go to the detail
//   "No response from the AI service: ..."   no answer at all (refused, timed out, dropped)
//   "Invalid JSON from the AI provider: ..."  a 2xx answer that isn't the provider's reply shape
//   "cancelled"        a queued job that the provider reports as cancelled
// A wire may also take a request as a queued job (see AiOpenAiWire): the answer then carries the
// job's id and is pending, and the job is asked again with pollRequest until it ends.
// Subclasses: AiOpenAiWire (also any OpenAI-compatible server), AiAnthropicWire, AiGeminiWire.
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "services/MyHttpClient.h"

namespace Lumenda3D {

// Where and how to ask one provider.
struct AiProviderConfig {
    std::string providerId;
    std::string baseUrl;       // without a trailing "/"
    std::string apiKey;        // may be empty for an OpenAI-compatible server
    std::string model;
    std::string effort;        // "low", "medium", "high" or "" (effort_levels models)
    bool deepThink = false;    // thinking on (deep_think models)
    bool structuredOutput = true;   // ask for a JSON object where the provider offers it
    int maxOutputTokens = 16000;
    int timeoutMs = 180000;
};

// The conversation as the providers see it: a system text and alternating turns.
struct AiPrompt {
    struct Turn {
        std::string role;   // "user" or "assistant"
        std::string text;
    };
    std::string system;
    std::vector<Turn> turns;
};

struct AiProviderOutcome {
    bool ok = false;
    bool pending = false; // a queued job that hasn't ended: ask again with pollRequest
    std::string jobId;    // the queued job's id (set with pending)
    std::string text;     // the model's text when ok
    std::string error;    // one of the words above when not ok
    std::string detail;   // the provider's own words about a failure, for the user
};

class AiProviderWire {
public:
    virtual ~AiProviderWire() = default;

    virtual HttpRequest buildRequest(const AiProviderConfig& config, const AiPrompt& prompt) const = 0;

    // Reads an HTTP answer of this provider (to a message or to a poll of a queued job).
    AiProviderOutcome read(const HttpResponse& response) const;

    // The request that asks for a queued job's state, and the one that cancels it; false when
    // this wire has no queued jobs.
    virtual bool pollRequest(const AiProviderConfig& config, const std::string& jobId, HttpRequest& request) const;
    virtual bool cancelRequest(const AiProviderConfig& config, const std::string& jobId, HttpRequest& request) const;

    // The wire of a provider id ("openai", "compatible", "anthropic", "gemini"); null for others.
    static std::unique_ptr<AiProviderWire> forProvider(const std::string& providerId);

protected:
    // A POST of `body` as JSON to `url` (characters that aren't UTF-8 replaced) with the timeout.
    static HttpRequest jsonPost(const std::string& url, const nlohmann::json& body, int timeoutMs);
    // The model's text from a 2xx body; false with `why` when the body isn't the reply shape.
    virtual bool extractText(const nlohmann::json& body, std::string& text, std::string& why) const = 0;
    // The provider's words from an error body ({"error":{"message":...}} by default).
    virtual std::string errorMessage(const nlohmann::json& body) const;
    // The text of a 2xx body that says the answer was cut short or refused, or "".
    virtual std::string stopProblem(const nlohmann::json& body) const { (void)body; return ""; }
    // The id of the job a 2xx answer says is queued or running, or "" when it isn't one.
    virtual std::string runningJob(int status, const nlohmann::json& body) const;
    // How a 2xx answer says its job ended without a reply: "cancelled", "failed" or "".
    virtual std::string jobEnd(const nlohmann::json& body) const;
};

} // namespace Lumenda3D
