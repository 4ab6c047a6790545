#include "engine/logic/LmdDocumentCheck.h"

#include "engine/logic/LmdLuaTranslator.h"

namespace Lumenda3D {

std::string LmdDocumentCheck::Finding::line() const {
    return (nodeId > 0 ? "n" + std::to_string(nodeId) + " " : std::string()) + element + ": " + text;
}

std::vector<LmdDocumentCheck::Finding> LmdDocumentCheck::check(const pugi::xml_node& root, const CodeSchema& schema) {
    // The translator is the one judge of what the logic can run: its problems (blocks left out)
    // and notes (names of objects nothing has) are the findings, problems first.
    const LmdLuaTranslation translation = LmdLuaTranslator::translate(root, schema);
    std::vector<Finding> findings;
    findings.reserve(translation.problems.size() + translation.notes.size());
    for (const auto* list : {&translation.problems, &translation.notes})
        for (const LmdLuaTranslation::Problem& problem : *list)
            findings.push_back({problem.nodeId, problem.element, problem.text, problem.attributes});
    return findings;
}

} // namespace Lumenda3D
