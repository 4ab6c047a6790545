// The document tools: get_game_xml, apply_edits and set_game_xml. All run on the main thread.
// The editor's state changes only after a candidate document has been built whole, validated
// against the schema and found well-formed.
#include "mcp/LmdMcpTools.h"

#include "engine/document/LmdGameDocument.h"
#include "mcp/AiXmlEdit.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

const char* const kBusyText = "The editor is busy loading a script — retry shortly.";
} // namespace

json LmdMcpTools::getGameXml() {
    const std::string xml = currentXmlWithIds();
    if (xml.empty())
        return errorResult("No game is open in the editor.");
    return textResult("revision: " + revisionOf(xml) +
                      "  (pass as baseRevision to apply_edits; node ids are ephemeral)\n\n" + xml);
}

json LmdMcpTools::applyEdits(const json& arguments) {
    auto ops = arguments.is_object() ? arguments.find("ops") : arguments.end();
    if (!arguments.is_object() || ops == arguments.end() || !ops->is_array() || ops->empty())
        return errorResult("apply_edits requires a non-empty 'ops' array.");
    if (!editor_)
        return noEditor();
    if (editor_->getPlayStatus() == LmdMcpEditorAccess::Loading)
        return errorResult(kBusyText);

    const std::string current = currentXmlWithIds();
    auto base = arguments.find("baseRevision");
    const std::string baseRevision = base != arguments.end() && base->is_string() ? base->get<std::string>() : "";
    if (!baseRevision.empty() && baseRevision != revisionOf(current))
        return errorResult(
            "Stale revision: the document changed since you read it. Call get_game_xml and re-derive your edits.");

    std::string error;
    const std::string result = AiXmlEdit::buildEditedXml(*ops, current, error);
    if (result.empty())
        return errorResult("No changes could be applied: " + error);
    const std::string prefix =
        error.empty() ? std::string() : "Warning: some operations failed (" + error + ") — verify with get_game_xml.\n";

    // A whole new document has to be clean; an edit is only held to what it adds.
    bool replacesDocument = false;
    for (const json& op : *ops)
        replacesDocument = replacesDocument || AiXmlEdit::isCreateDocument(op);
    return applyFullXml(replacesDocument ? std::string() : current, result, prefix);
}

json LmdMcpTools::setGameXml(const json& arguments) {
    auto member = arguments.is_object() ? arguments.find("xml") : arguments.end();
    const std::string xml =
        arguments.is_object() && member != arguments.end() && member->is_string() ? member->get<std::string>() : "";
    if (xml.empty())
        return errorResult("set_game_xml requires a non-empty 'xml' string.");
    if (!editor_)
        return noEditor();
    if (editor_->getPlayStatus() == LmdMcpEditorAccess::Loading)
        return errorResult(kBusyText);
    return applyFullXml("", xml, "");
}

json LmdMcpTools::applyFullXml(const std::string& baseline, const std::string& xml, const std::string& prefix) {
    if (!editor_)
        return noEditor();
    const CodeSchema* schema = editor_->getSchema();
    const std::vector<std::string> violations = baseline.empty()
                                                    ? AiXmlEdit::validateAgainstSchema(xml, schema)
                                                    : AiXmlEdit::introducedViolations(baseline, xml, schema);
    if (!violations.empty()) {
        std::string text = "Schema violations — nothing was applied. Fix these and retry:";
        for (const std::string& violation : violations)
            text += "\n- " + violation;
        return errorResult(text);
    }
    if (!LmdGameDocument::isValidText(xml))
        return errorResult("The resulting XML is not well-formed — nothing was applied.");
    if (!editor_->applyAiEditedXml(xml))
        return errorResult("The edit was refused — nothing was applied.");
    return textResult(prefix + "Applied. New revision: " + revisionOf(currentXmlWithIds()) +
                      "\nNode ids were reassigned — call get_game_xml before further edits. The game reloaded and "
                      "restarted; check get_logs for script errors.");
}

} // namespace Lumenda3D
