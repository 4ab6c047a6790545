#pragma once
// Anthropic Messages: POST <base>/v1/messages with the key in "x-api-key" and the API version
// header; the system text is its own member, the answer is the text blocks of "content". Anthropic
// has no JSON mode: the system text asks for the object. Deep thinking sends a thinking budget.
#include "services/AiProviderWire.h"

namespace Lumenda3D {

class AiAnthropicWire : public AiProviderWire {
public:
    static constexpr const char* kApiVersion = "2023-06-01";
    static constexpr int kThinkingBudget = 8000;

    HttpRequest buildRequest(const AiProviderConfig& config, const AiPrompt& prompt) const override;

protected:
    bool extractText(const nlohmann::json& body, std::string& text, std::string& why) const override;
    std::string stopProblem(const nlohmann::json& body) const override;
};

} // namespace Lumenda3D
