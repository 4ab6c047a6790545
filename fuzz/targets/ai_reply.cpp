// The assistant's replies: a model's text read by AiReplyParser, its changes built into a new
// document, checked against the schema and merged with a concurrent edit of the user, the way the
// chat panel takes them. Input: the model's text. The game is the starter example.
//
// Properties: nothing throws; a refused reply has a reason and no changes; an accepted one has a
// UTF-8 "reply" and an array of changes that each name a known op; a reply refused at any stage
// leaves the game document's canonical text exactly as it was; an accepted one loads as a game
// and introduces no schema finding; merging with the user's edit gives a document that parses, or
// nothing with a reason, for every winner.
#include <pugixml.hpp>

#include "FuzzSupport.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/document/AiXmlEdit.h"
#include "services/AiReplyParser.h"
#include "services/XmlMerge.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;
using json = nlohmann::json;

namespace {

LmdGameDocument& game() {
    static LmdGameDocument* document = [] {
        auto* d = new LmdGameDocument();
        require(d->setXmlSourceString(mediaFile("examples/starter.xml")), "the starter game loads");
        return d;
    }();
    return *document;
}

pugi::xml_node top(const pugi::xml_document& doc) { return doc.document_element(); }

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = (quietPrivateProcess(), true);
    (void)quiet;
    const std::string text(reinterpret_cast<const char*>(data), size);
    LmdGameDocument& document = game();
    const std::string canonical = document.getSourceXmlString(true, true);
    const std::string base = document.getSourceXmlString(true, true);

    AiReplyParser::Result reply;
    try {
        reply = AiReplyParser::parse(text);
    } catch (const std::exception& e) {
        fail("the reply reader never throws", e.what());
    }
    require(reply.changes.is_array(), "changes are always an array");
    if (!reply.ok) {
        require(!reply.reason.empty(), "a refused reply says why");
        require(reply.changes.empty(), "a refused reply carries no changes");
        require(document.getSourceXmlString(true, true) == canonical, "a refused reply leaves the game as it was");
        return 0;
    }
    require(AiReplyParser::isValidUtf8(reply.reply), "the reply text is UTF-8", reply.reply.substr(0, 80));
    for (const json& change : reply.changes)
        require(change.is_object() && change.contains("op") && change["op"].is_string(), "every change names its op",
                change.dump().substr(0, 200));

    std::string error;
    std::string edited;
    std::vector<std::string> findings;
    try {
        edited = AiXmlEdit::buildEditedXml(reply.changes, base, error);
        if (!edited.empty() && error.empty())
            findings = AiXmlEdit::introducedViolations(base, edited, &schema());
    } catch (const std::exception& e) {
        fail("building and checking the changes never throws", e.what());
    }
    const bool accepted = !reply.changes.empty() && !edited.empty() && error.empty() && findings.empty();
    require(document.getSourceXmlString(true, true) == canonical, "checking a reply leaves the game as it was");
    if (!accepted)
        return 0;

    LmdGameDocument scratch;
    require(scratch.setXmlSourceString(edited), "accepted changes load as a game", edited.substr(0, 200));

    // The user moved the first element and renamed the second while the assistant thought.
    pugi::xml_document baseDoc, userDoc;
    require(baseDoc.load_string(base.c_str()) && userDoc.load_string(base.c_str()), "the game's text parses");
    pugi::xml_node first = top(userDoc).first_child();
    if (first && first.next_sibling()) {
        first.next_sibling().remove_attribute("name");
        first.next_sibling().append_attribute("name").set_value("renamed");
        top(userDoc).append_move(first);
    }
    const std::vector<XmlMerge::UserOp> ops = XmlMerge::computeUserDiff(top(baseDoc), top(userDoc));
    std::vector<std::string> labels;
    try {
        XmlMerge::detectConflicts(ops, reply.changes, top(baseDoc), labels);
        for (XmlMerge::Winner winner : {XmlMerge::NoConflict, XmlMerge::AssistantWins, XmlMerge::UserWins, XmlMerge::DiscardAssistant}) {
            std::string why;
            const std::string merged = XmlMerge::merge(base, reply.changes, ops, winner, why);
            pugi::xml_document check;
            require(merged.empty() ? !why.empty() : static_cast<bool>(check.load_string(merged.c_str())),
                    "a merge gives a document that parses, or nothing with a reason", why);
        }
    } catch (const std::exception& e) {
        fail("merging never throws", e.what());
    }
    return 0;
}
