#include "engine/document/AiXmlEdit.h"

#include <algorithm>
#include <sstream>

#include <pugixml.hpp>

#include "engine/schema/CodeSchema.h"
#include "engine/schema/SchemaValidator.h"
#include "services/XmlMerge.h"

namespace Lumenda3D {

std::vector<std::string> AiXmlEdit::validateAgainstSchema(const std::string& xml, const CodeSchema* schema) {
    if (!schema || !schema->isLoaded())
        return {};
    pugi::xml_document doc;
    pugi::xml_parse_result parsed = doc.load_buffer(xml.data(), xml.size(), pugi::parse_default);
    if (!parsed)
        return {std::string("XML is not well-formed: ") + parsed.description() +
                ". Every tag must be closed correctly (use </If>, never </If var>)."};
    return SchemaValidator::validate(doc.first_child(), *schema, kMaxViolations);
}

std::vector<std::string> AiXmlEdit::introducedViolations(const std::string& before, const std::string& after,
                                                         const CodeSchema* schema) {
    std::vector<std::string> found = validateAgainstSchema(after, schema);
    const std::vector<std::string> old = validateAgainstSchema(before, schema);
    found.erase(std::remove_if(found.begin(), found.end(),
                               [&old](const std::string& v) { return std::find(old.begin(), old.end(), v) != old.end(); }),
                found.end());
    return found;
}

bool AiXmlEdit::isCreateDocument(const nlohmann::json& op) {
    if (!op.is_object())
        return false;
    auto kind = op.find("op");
    return kind != op.end() && kind->is_string() && kind->get_ref<const std::string&>() == "createDocument";
}

std::string AiXmlEdit::buildEditedXml(const nlohmann::json& ops, const std::string& currentXml, std::string& error) {
    error.clear();
    if (ops.is_array()) {
        for (const nlohmann::json& op : ops) {
            if (!isCreateDocument(op))
                continue;
            auto member = op.find("xml");
            std::string xml = member != op.end() && member->is_string() ? member->get<std::string>() : std::string();
            if (xml.empty())
                error = "createDocument had no xml.";
            return xml;
        }
    }
    if (currentXml.empty()) {
        error = "No game XML to edit.";
        return "";
    }
    pugi::xml_document doc;
    if (!doc.load_buffer(currentXml.data(), currentXml.size(), pugi::parse_default)) {
        error = "Failed to parse current game XML.";
        return "";
    }
    std::string complaints;
    const int applied = XmlMerge::applyAiOps(doc.first_child(), ops, complaints, true);
    if (applied == 0) {
        error = complaints.empty() ? "No changes could be applied." : complaints;
        return "";
    }
    error = complaints;
    std::ostringstream out;
    doc.save(out, "", pugi::format_raw | pugi::format_no_declaration);
    return out.str();
}

} // namespace Lumenda3D
