#pragma once
// Google Gemini generateContent: POST <base>/v1beta/models/<model>:generateContent with the key
// in "x-goog-api-key" (never in the address, so that it can't reach a log); the system text is
// systemInstruction, turns are "user" and "model", a JSON answer is asked for with
// responseMimeType, and the answer is the text parts of the first candidate.
#include "services/AiProviderWire.h"

namespace Lumenda3D {

class AiGeminiWire : public AiProviderWire {
public:
    HttpRequest buildRequest(const AiProviderConfig& config, const AiPrompt& prompt) const override;

protected:
    bool extractText(const nlohmann::json& body, std::string& text, std::string& why) const override;
    std::string stopProblem(const nlohmann::json& body) const override;
};

} // namespace Lumenda3D
