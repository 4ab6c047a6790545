// The document tools: get_game_xml, apply_edits and set_game_xml. All run on the main thread.
// The editor's state changes only after a candidate document has been built whole, validated
// against the schema and found well-formed.
#include "mcp/LmdMcpTools.h"

#include <algorithm>
#include <cstdlib>
#include <unordered_map>

#include <pugixml.hpp>

#include "engine/document/LmdGameDocument.h"
#include "engine/logic/LmdDocumentCheck.h"
#include "engine/logic/LmdLiteral.h"
#include "engine/schema/CodeSchema.h"
#include "engine/document/AiXmlEdit.h"
#include "mcp/LmdMcpArgs.h"
#include "services/XmlMerge.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

const char* const kBusyText = "The editor is busy loading a script — retry shortly.";

std::string violationsText(const std::vector<std::string>& violations) {
    std::string text = "Schema violations — nothing was applied. Fix these and retry:";
    for (const std::string& violation : violations)
        text += "\n- " + violation;
    return text;
}

// What the document check finds in the applied document, as the reply's closing lines; the ids
// are those of the new agent form.
std::string findingsText(const std::string& xml, const CodeSchema* schema) {
    pugi::xml_document doc;
    if (!schema || !schema->isLoaded() || !LmdGameDocument::parse(xml, doc))
        return "";
    const std::vector<LmdDocumentCheck::Finding> findings = LmdDocumentCheck::check(doc, *schema);
    if (findings.empty())
        return "";
    std::string text =
        "\nWarnings — the edit was applied, but these blocks will not work as written when the game runs; fix them:";
    const size_t shown = std::min<size_t>(findings.size(), AiXmlEdit::kMaxViolations);
    for (size_t i = 0; i < shown; ++i)
        text += "\n- " + findings[i].line();
    if (findings.size() > shown)
        text += "\n- ... and " + std::to_string(findings.size() - shown) + " more (get_logs lists them when the game runs)";
    return text;
}

// The elements of an agent-form document by their id.
std::unordered_map<int, pugi::xml_node> elementsById(pugi::xml_document& doc) {
    struct Walker : pugi::xml_tree_walker {
        std::unordered_map<int, pugi::xml_node> found;
        bool for_each(pugi::xml_node& node) override {
            if (node.type() == pugi::node_element && node.attribute("id"))
                found[node.attribute("id").as_int()] = node;
            return true;
        }
    } walker;
    doc.traverse(walker);
    return walker.found;
}

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

    if (LmdMcpArgs::getBool(arguments, "live", false))
        return applyLiveEdits(*ops, current);

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

json LmdMcpTools::applyLiveEdits(const json& ops, const std::string& current) {
    // Live mode changes values only: anything that adds, removes or moves elements needs the
    // game built again.
    for (size_t i = 0; i < ops.size(); ++i) {
        const std::string kind = ops[i].is_object() ? ops[i].value("op", std::string()) : std::string();
        if (kind != "update")
            return errorResult("Live mode changes attribute values only: operation " + std::to_string(i + 1) + " is '" +
                               kind + "', which changes the game's structure — send it without live (the game then "
                               "reloads and restarts). Nothing was applied.");
    }
    std::string error;
    const std::string result = AiXmlEdit::buildEditedXml(ops, current, error);
    if (result.empty() || !error.empty())
        return errorResult("Live edits apply all or nothing, and nothing was applied: " + error);
    const std::vector<std::string> violations = AiXmlEdit::introducedViolations(current, result, editor_->getSchema());
    if (!violations.empty())
        return errorResult(violationsText(violations));

    pugi::xml_document doc;
    if (!LmdGameDocument::parse(current, doc))
        return errorResult("No game is open in the editor.");
    const std::unordered_map<int, pugi::xml_node> elements = elementsById(doc);
    std::vector<LmdMcpEditorAccess::LiveEdit> edits;
    for (const json& op : ops) {
        LmdMcpEditorAccess::LiveEdit edit;
        edit.xmlId = std::atoi(XmlMerge::idText(op, "id").c_str());
        const auto found = elements.find(edit.xmlId);
        if (found == elements.end())
            return errorResult("Live edits apply all or nothing, and nothing was applied: no node with id " +
                               std::to_string(edit.xmlId) + ".");
        auto add = [&](const std::string& name, const std::string& value, bool remove) {
            if (name == "id" || name == XmlMerge::kChangeMark)
                return;
            edit.attribute = name;
            edit.value = value;
            edit.remove = remove;
            edits.push_back(edit);
        };
        if (const json* attrs = LmdMcpArgs::find(op, "attrs"))
            for (auto it = attrs->begin(); it != attrs->end(); ++it) {
                std::string value;
                XmlMerge::valueText(it.value(), value);
                add(it.key(), value, false);
            }
        if (const json* removals = LmdMcpArgs::find(op, "removeAttrs"))
            for (const json& name : *removals)
                add(name.get<std::string>(), "", true);
    }
    // A running variable takes a plain value; an expression would need the game translated again.
    for (const LmdMcpEditorAccess::LiveEdit& edit : edits) {
        const pugi::xml_node node = elements.at(edit.xmlId);
        LmdScriptValue value;
        if (std::string(node.name()) == "Var" && edit.attribute == "value" && !edit.remove &&
            !LmdLiteral::parse(edit.value, value))
            return errorResult("Live mode sets a variable to a plain value (a number, true or false, or a quoted text); \"" +
                               edit.value + "\" for Var '" + node.attribute("name").value() + "' (id " +
                               std::to_string(edit.xmlId) + ") is an expression — send it without live. Nothing was "
                               "applied.");
    }
    if (!editor_->applyLiveEdits(edits, error))
        return errorResult("The live edit was refused — nothing was applied: " + error);
    const int status = editor_->getPlayStatus();
    const bool running = status == LmdMcpEditorAccess::Playing || status == LmdMcpEditorAccess::Paused ||
                         status == LmdMcpEditorAccess::Running;
    return textResult("Applied live. New revision: " + revisionOf(currentXmlWithIds()) +
                      "\nNode ids are unchanged. " +
                      (running ? "The running game took the new values without a restart (status: " +
                                     std::string(playStatusText(status)) + "); check get_scene_info."
                               : std::string("The game is not running: the document and the editor's scene took the "
                                             "new values.")));
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
    if (!violations.empty())
        return errorResult(violationsText(violations));
    if (!LmdGameDocument::isValidText(xml))
        return errorResult("The resulting XML is not well-formed — nothing was applied.");
    const int status = editor_->getPlayStatus();
    const bool wasRunning = status == LmdMcpEditorAccess::Playing || status == LmdMcpEditorAccess::Paused ||
                            status == LmdMcpEditorAccess::Running;
    if (!editor_->applyAiEditedXml(xml))
        return errorResult("The edit was refused — nothing was applied.");
    const std::string applied = currentXmlWithIds();
    return textResult(prefix + "Applied. New revision: " + revisionOf(applied) +
                      "\nNode ids were reassigned — call get_game_xml before further edits. " +
                      (wasRunning ? "The game reloaded and restarted; check get_logs for script errors."
                                  : "The game is not running: the editor's scene was rebuilt from the new document "
                                    "(run_game plays it); check get_logs for script errors.") +
                      findingsText(applied, schema));
}

} // namespace Lumenda3D
