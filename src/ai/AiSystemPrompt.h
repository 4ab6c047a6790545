#pragma once
// The system text of the in-editor assistant: the knowledge base that AI agents read through the
// agent server (rules, edit operations, command reference, assets, examples), so that both learn
// the same language from one source.
#include <string>

namespace Lumenda3D {

class AiSystemPrompt {
public:
    static std::string build();
};

} // namespace Lumenda3D
