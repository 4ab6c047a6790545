// The edit operations: XmlMerge::applyAiOps and AiXmlEdit::buildEditedXml with any operations on
// any document. Input: the operations as JSON text, NUL, the document (without a NUL the starter
// example game is edited). The document is numbered as agents see it: an id on every element, 1
// upwards in document order.
//
// Properties: nothing throws; the count applied is between 0 and the number of operations; an
// operation that fails leaves the document exactly as it was; applying the operations one at a
// time gives the same document as applying them together; no edit brings in an id that was not
// there or a duplicate one, and every element an edit brought in is marked; the edited text is a
// well-formed game document; buildEditedXml answers as applyAiOps does (and createDocument
// decides alone); validation reports no violation a document "introduces" against itself.
#include <set>
#include <sstream>

#include <pugixml.hpp>

#include "FuzzSupport.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/document/AiXmlEdit.h"
#include "services/XmlMerge.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;
using json = nlohmann::json;

namespace {

void numberElements(pugi::xml_node node, int& next) {
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element)
            continue;
        child.remove_attribute("id");
        child.prepend_attribute("id").set_value(next++);
        numberElements(child, next);
    }
}

std::string raw(const pugi::xml_document& doc) {
    std::ostringstream out;
    doc.save(out, "", pugi::format_raw | pugi::format_no_declaration);
    return out.str();
}

bool parse(const std::string& text, pugi::xml_document& doc) {
    return static_cast<bool>(doc.load_buffer(text.data(), text.size(), pugi::parse_default));
}

void checkIdsAndMarks(const pugi::xml_node& node, const std::set<std::string>& before, std::set<std::string>& seen,
                      bool insideNew) {
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element)
            continue;
        const pugi::xml_attribute id = child.attribute("id");
        if (id) {
            require(!insideNew, "elements an edit brought in carry no id", child.name());
            require(before.count(id.value()) == 1, "no edit brings in an id that was not there", id.value());
            require(seen.insert(id.value()).second, "no edit duplicates an id", id.value());
        } else if (!insideNew) {
            const std::string mark = child.attribute(XmlMerge::kChangeMark).value();
            require(mark == "added" || mark == "updated", "every element an edit brought in is marked",
                    std::string(child.name()) + " marked '" + mark + "'");
        }
        checkIdsAndMarks(child, before, seen, insideNew || !id);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = (quietPrivateProcess(), true);
    (void)quiet;
    const std::vector<std::string> fields = splitFields(data, size, 2);
    const bool hasDocument = std::find(data, data + size, 0) != data + size;
    const json ops = json::parse(fields[0], nullptr, false);
    if (ops.is_discarded())
        return 0;

    pugi::xml_document original;
    if (!parse(hasDocument ? fields[1] : mediaFile("examples/starter.xml"), original) || !original.document_element())
        return 0;
    int next = 1;
    numberElements(original, next);
    // The text the operations start from, in the form that reading and writing it keeps: a
    // whitespace-only text such as "&#10;" is written as a bare newline, which the next reading
    // drops, so the first round trip may change it and later ones do not.
    std::string current = raw(original);
    for (int round = 0; round < 4; ++round) {
        pugi::xml_document again;
        if (!parse(current, again) || !again.document_element())
            return 0;
        std::string settled = raw(again);
        if (settled == current)
            break;
        current = std::move(settled);
    }
    std::set<std::string> ids;
    for (int i = 1; i < next; ++i)
        ids.insert(std::to_string(i));

    // All operations at once.
    pugi::xml_document together;
    parse(current, together);
    std::string error;
    int applied = 0;
    try {
        applied = XmlMerge::applyAiOps(together.first_child(), ops, error, true);
    } catch (const std::exception& e) {
        fail("applyAiOps never throws", e.what());
    }
    const size_t count = ops.is_array() ? ops.size() : 0;
    require(applied >= 0 && static_cast<size_t>(applied) <= count, "the count applied is one of the operations'");
    if (applied == 0)
        require(raw(together) == current, "operations that all fail leave the document as it was", error);
    require((static_cast<size_t>(applied) == count) == error.empty() || count == 0,
            "every failed operation, and only those, is reported", error);

    // One at a time: each failure leaves the document untouched, and the end is the same.
    if (ops.is_array()) {
        pugi::xml_document stepwise;
        parse(current, stepwise);
        int successes = 0;
        for (const json& op : ops) {
            const std::string before = raw(stepwise);
            std::string why;
            const int one = XmlMerge::applyAiOps(stepwise.first_child(), json::array({op}), why, true);
            successes += one;
            if (one == 0)
                require(raw(stepwise) == before, "a failed operation leaves the document exactly as it was",
                        why + "\n" + excerpt(op.dump()));
        }
        require(successes == applied, "one at a time applies as many operations as all together");
        require(raw(stepwise) == raw(together), "one at a time gives the same document as all together");
    }

    std::set<std::string> seen;
    checkIdsAndMarks(together, ids, seen, false);

    // The pipeline the tools and the assistant use.
    std::string buildError;
    std::string built;
    try {
        built = AiXmlEdit::buildEditedXml(ops, current, buildError);
    } catch (const std::exception& e) {
        fail("buildEditedXml never throws", e.what());
    }
    const json* create = nullptr;
    if (ops.is_array()) {
        for (const json& op : ops) {
            if (AiXmlEdit::isCreateDocument(op)) {
                create = &op;
                break;
            }
        }
    }
    if (create) {
        const json* xml = create->contains("xml") ? &(*create)["xml"] : nullptr;
        require(built == (xml && xml->is_string() ? xml->get<std::string>() : std::string()),
                "createDocument decides alone");
        require(built.empty() != buildError.empty(), "createDocument without xml says so");
    } else if (applied == 0) {
        require(built.empty() && !buildError.empty(), "an edit of which nothing applied is refused with a reason");
    } else {
        require(built == raw(together) && buildError == error, "buildEditedXml answers as applyAiOps does");
        pugi::xml_document scratch;
        require(LmdGameDocument::parse(built, scratch), "an edited document is a well-formed game document");
        require(AiXmlEdit::introducedViolations(built, built, &schema()).empty(),
                "a document introduces no violations against itself");
    }
    return 0;
}
