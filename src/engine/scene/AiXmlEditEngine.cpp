// The edit pipeline's overloads that validate against the engine's own schema. They live apart
// from AiXmlEdit.cpp so that the pipeline itself needs nothing of the engine (the scene reader,
// the scene) and can be built and checked on its own.
#include "engine/document/AiXmlEdit.h"

#include "engine/scene/ScriptParser.h"

namespace Lumenda3D {

const CodeSchema* AiXmlEdit::engineSchema() {
    const ScriptParser* parser = ScriptParser::getInstance();
    return parser && parser->hasSchema() ? parser->getCodeSchema() : nullptr;
}

std::vector<std::string> AiXmlEdit::validateAgainstSchema(const std::string& xml) {
    return validateAgainstSchema(xml, engineSchema());
}

std::vector<std::string> AiXmlEdit::introducedViolations(const std::string& before, const std::string& after) {
    return introducedViolations(before, after, engineSchema());
}

} // namespace Lumenda3D
