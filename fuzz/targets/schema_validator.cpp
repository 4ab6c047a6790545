// Schema validation (SchemaValidator::validate) of any document against the real command schema.
// Input: the document text.
//
// Properties: at most the asked number of findings, and those are the first ones of the full list
// (document order, so the cut of twelve agents see is stable); the same answer for the root
// element and for the document holding it, and on every run; no empty finding; a document
// introduces no violation against itself.
#include <pugixml.hpp>

#include "FuzzSupport.h"
#include "engine/schema/SchemaValidator.h"
#include "engine/document/AiXmlEdit.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const CodeSchema& codeSchema = schema();
    pugi::xml_document doc;
    if (!doc.load_buffer(data, size, pugi::parse_default))
        return 0;

    const std::vector<std::string> all = SchemaValidator::validate(doc.first_child(), codeSchema, 100000);
    const std::vector<std::string> cut = SchemaValidator::validate(doc.first_child(), codeSchema, 12);
    require(cut.size() <= 12, "at most the asked number of findings");
    require(cut.size() == std::min<size_t>(all.size(), 12) && std::equal(cut.begin(), cut.end(), all.begin()),
            "the findings asked for are the first ones of the full list");
    require(SchemaValidator::validate(doc, codeSchema, 100000) == all,
            "the document and its root element validate alike");
    require(SchemaValidator::validate(doc.first_child(), codeSchema, 100000) == all, "validation is deterministic");
    for (const std::string& finding : all)
        require(!finding.empty(), "no finding is empty");

    const std::string text(reinterpret_cast<const char*>(data), size);
    require(AiXmlEdit::introducedViolations(text, text, &codeSchema).empty(),
            "a document introduces no violation against itself");
    return 0;
}
