// The logic translator (LmdLuaTranslator::translate): any document, loaded as the engine loads it,
// against the real command schema. Input: the document text.
//
// Properties: the chunk always compiles (a block Lua would refuse is left out with a problem, never
// shipped); the chunk reaches no Lua global but math, whatever the document holds (names, texts,
// levels and sounds all stay inside the game's tables); every problem names an element of the
// document; translation is deterministic.
#include <set>

#include "FuzzSupport.h"
#include "LuaChunkCheck.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/logic/LmdLuaTranslator.h"
#include "engine/document/Lumenda3DUtils.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;

namespace {
void collectIds(const pugi::xml_node& node, std::set<int>& ids) {
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element)
            continue;
        ids.insert(child.attribute("id").as_int());
        collectIds(child, ids);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = (quietPrivateProcess(), true);
    (void)quiet;
    Lumenda3DUtils::restartIdsForTesting();
    LmdGameDocument doc;
    if (!doc.setXmlSourceString(std::string(reinterpret_cast<const char*>(data), size)))
        return 0;

    const LmdLuaTranslation translation = LmdLuaTranslator::translate(doc.root(), schema());
    LuaGlobalUse use;
    std::string error;
    require(luaGlobalUse(translation.chunk, use, error), "the game chunk always compiles", error);
    require(use.writes.empty() && !use.usesEnvDirectly, "the game chunk writes no Lua global",
            use.writes.empty() ? "_ENV" : use.writes.front());
    for (const std::string& name : use.reads)
        require(name == "math", "the game chunk reads no Lua global but math", name);

    std::set<int> ids;
    collectIds(*doc.getSourceXml(), ids);
    for (const LmdLuaTranslation::Problem& problem : translation.problems) {
        require(!problem.text.empty() && !problem.element.empty(), "a problem says what and where");
        require(problem.nodeId == 0 || ids.count(problem.nodeId) == 1, "a problem names an element of the document",
                problem.message());
    }
    const LmdLuaTranslation again = LmdLuaTranslator::translate(doc.root(), schema());
    require(again.chunk == translation.chunk && again.problems.size() == translation.problems.size(),
            "translation is deterministic");
    return 0;
}
