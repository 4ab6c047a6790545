// Loading a game document (LmdGameDocument::setXmlSourceString) and its three text forms: the
// agent form with ids (true, false), the saved form (false, true) and the form with session marks
// but no ids (false, false). Input: the document text.
//
// Properties: text that doesn't load leaves the loaded game and its ids as they were and says
// why, and the document service's check agrees; text that loads gives forms that all load again
// to the same saved form (the saved form is a fixed point); every element has a distinct id under
// which the document finds it; the agent form's ids are those ids; the asset list is a document.
#include <set>

#include <pugixml.hpp>

#include "FuzzSupport.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/document/Lumenda3DUtils.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;

namespace {

void checkIds(const LmdGameDocument& doc, const pugi::xml_node& node, std::set<int>& seen, size_t& elements) {
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element)
            continue;
        ++elements;
        const int id = child.attribute("id").as_int();
        require(seen.insert(id).second, "every element has its own id", std::to_string(id));
        require(doc.getXmlNodeById(id) == child, "the document finds every element by its id", std::to_string(id));
        checkIds(doc, child, seen, elements);
    }
}

pugi::xml_node nextElement(pugi::xml_node n) {
    while (n && n.type() != pugi::node_element)
        n = n.next_sibling();
    return n;
}

// Element by element: text nodes may merge on the way (a skipped processing instruction leaves
// two side by side), elements may not.
void checkAgentIds(const pugi::xml_node& agent, const pugi::xml_node& live) {
    pugi::xml_node a = nextElement(agent.first_child()), l = nextElement(live.first_child());
    for (; a && l; a = nextElement(a.next_sibling()), l = nextElement(l.next_sibling())) {
        require(std::string(a.name()) == l.name() && std::string(a.attribute("id").value()) == l.attribute("id").value(),
                "the agent form carries the document's elements and ids", l.name());
        checkAgentIds(a, l);
    }
    require(!a && !l, "the agent form has the document's elements, no more and no fewer");
}

std::string savedFormOf(const std::string& text, const char* form) {
    LmdGameDocument again;
    std::string error;
    require(again.setXmlSourceString(text, &error), "every text form loads again", std::string(form) + ": " + error);
    return again.getSourceXmlString(false, true);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = (quietPrivateProcess(), true);
    (void)quiet;
    Lumenda3DUtils::restartIdsForTesting();
    const std::string input(reinterpret_cast<const char*>(data), size);

    LmdGameDocument doc;
    if (!doc.setXmlSourceString(mediaFile("examples/starter.xml")))
        fail("the starter game loads");
    const std::string startSaved = doc.getSourceXmlString(false, true);
    const std::string startAgent = doc.getSourceXmlString(true, false);

    std::string error;
    const bool loaded = doc.setXmlSourceString(input, &error);
    pugi::xml_document scratch;
    require(loaded == LmdGameDocument::parse(input, scratch) &&
                loaded == LmdSourceFiles::getInstance().isXmlSourceStringValid(input),
            "loading and the well-formedness checks agree");
    if (!loaded) {
        require(!error.empty(), "a text that doesn't load says why");
        require(doc.getSourceXmlString(false, true) == startSaved && doc.getSourceXmlString(true, false) == startAgent,
                "a text that doesn't load leaves the game and its ids as they were");
        return 0;
    }

    const std::string agent = doc.getSourceXmlString(true, false);
    const std::string saved = doc.getSourceXmlString(false, true);
    const std::string marked = doc.getSourceXmlString(false, false);
    require(savedFormOf(saved, "saved") == saved, "the saved form is a fixed point", excerpt(saved));
    require(savedFormOf(agent, "agent") == saved, "the agent form loads to the same game", excerpt(agent));
    require(savedFormOf(marked, "marked") == saved, "the marked form loads to the same game", excerpt(marked));

    std::set<int> seen;
    size_t elements = 0;
    checkIds(doc, *doc.getSourceXml(), seen, elements);
    require(elements == doc.registeredNodeCount(), "every element, and only those, is registered");
    pugi::xml_document agentDoc;
    require(LmdGameDocument::parse(agent, agentDoc), "the agent form parses");
    checkAgentIds(agentDoc, *doc.getSourceXml());

    pugi::xml_document assets;
    const std::string assetText = doc.getAssetsXmlString(&schema());
    require(LmdGameDocument::parse(assetText, assets), "the asset list is a document", excerpt(assetText));
    return 0;
}
