#pragma once
// The shared pipeline that builds an edited game document from edit operations and checks it
// against the command schema. Used by the agent tools (apply_edits, set_game_xml) and by the
// in-editor assistant. It keeps no state and touches nothing of the editor. The validation takes
// the schema to check against (null: nothing to check); the overloads without one use the
// schema of the engine's ScriptParser.
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace Lumenda3D {

class CodeSchema;

class AiXmlEdit {
public:
    // At most this many findings are reported at a time.
    static constexpr int kMaxViolations = 12;

    // The schema violations of a whole document as readable sentences. Empty without a schema
    // (or an unloaded one). A text that doesn't parse gives one finding saying so.
    static std::vector<std::string> validateAgainstSchema(const std::string& xml, const CodeSchema* schema);
    static std::vector<std::string> validateAgainstSchema(const std::string& xml);

    // The findings of `after` that `before` doesn't have (byte-for-byte comparison), in the order
    // of `after`'s list. Each list is cut at kMaxViolations, so an old finding that fell off
    // `before`'s list can count as new.
    static std::vector<std::string> introducedViolations(const std::string& before, const std::string& after,
                                                         const CodeSchema* schema);
    static std::vector<std::string> introducedViolations(const std::string& before, const std::string& after);

    // The schema of ScriptParser::getInstance(); null when there is no parser or no loaded schema.
    static const CodeSchema* engineSchema();

    // Applies `ops` to `currentXml`. A "createDocument" op anywhere decides alone: its xml is the
    // result. Otherwise the operations go through XmlMerge::applyAiOps (marking what they touch)
    // and the document is written back without indentation. Returns "" when nothing could be
    // applied, with the reason in `error`; a partial success returns the document with the failed
    // operations' sentences in `error`. Members of the wrong type (an `op` that isn't a string,
    // say) fail their operation with a sentence; nothing here throws for any JSON.
    static std::string buildEditedXml(const nlohmann::json& ops, const std::string& currentXml, std::string& error);

    // Whether one operation is a {"op":"createDocument", ...}.
    static bool isCreateDocument(const nlohmann::json& op);
};

} // namespace Lumenda3D
