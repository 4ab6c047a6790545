#pragma once
// OpenAI Chat Completions: POST <base>/chat/completions with a bearer key, the system text as the
// first message, the answer in choices[0].message.content. The same wire serves any
// OpenAI-compatible server (provider "compatible"), where the key is optional and the JSON mode is
// not asked for, since not every such server accepts it.
#include "services/AiProviderWire.h"

namespace Lumenda3D {

class AiOpenAiWire : public AiProviderWire {
public:
    HttpRequest buildRequest(const AiProviderConfig& config, const AiPrompt& prompt) const override;

protected:
    bool extractText(const nlohmann::json& body, std::string& text, std::string& why) const override;
    std::string stopProblem(const nlohmann::json& body) const override;
};

} // namespace Lumenda3D
