#pragma once
// OpenAI Chat Completions: POST <base>/chat/completions with a bearer key, the system text as the
// first message, the answer in choices[0].message.content. The same wire serves any
// OpenAI-compatible server (provider "compatible"), where the key is optional and the JSON mode is
// not asked for, since not every such server accepts it.
//
// Queued jobs: a server that queues long requests answers the POST with 202 Accepted (or 200)
// and {"id": "<job>", "status": "queued" | "in_progress"} instead of a completion. The job is
// asked for with GET <base>/chat/completions/<job>, which answers the same way while it runs, a
// chat completion when it is done, or {"status": "cancelled" | "failed" | "expired", "error": ...}
// when it ended without one; DELETE <base>/chat/completions/<job> cancels it.
#include "services/AiProviderWire.h"

namespace Lumenda3D {

class AiOpenAiWire : public AiProviderWire {
public:
    HttpRequest buildRequest(const AiProviderConfig& config, const AiPrompt& prompt) const override;
    bool pollRequest(const AiProviderConfig& config, const std::string& jobId, HttpRequest& request) const override;
    bool cancelRequest(const AiProviderConfig& config, const std::string& jobId, HttpRequest& request) const override;

protected:
    bool extractText(const nlohmann::json& body, std::string& text, std::string& why) const override;
    std::string stopProblem(const nlohmann::json& body) const override;
    std::string runningJob(int status, const nlohmann::json& body) const override;
    std::string jobEnd(const nlohmann::json& body) const override;
};

} // namespace Lumenda3D
