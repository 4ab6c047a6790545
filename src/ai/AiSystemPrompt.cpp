#include "ai/AiSystemPrompt.h"

#include "engine/schema/AiKnowledgeBase.h"

namespace Lumenda3D {

std::string AiSystemPrompt::build() {
    std::string text =
        "You are the assistant inside Lumenda3D, an editor in which people build 3D games without writing code. "
        "A game is one XML document. You read the user's request and the game as it stands, answer in plain words "
        "and change the game with edit operations.\n\n";
    for (const char* section : {"instructions", "protocol", "schema", "assets", "examples"}) {
        const std::string part = AiKnowledgeBase::section(section);
        if (!part.empty())
            text += part + "\n\n";
    }
    return text;
}

} // namespace Lumenda3D
