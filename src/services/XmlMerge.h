#pragma once
// Applies edit operations (the JSON array that agents send to apply_edits and that the in-editor
// assistant answers with) to a parsed game document. Nodes are addressed by the `id` attributes
// of the agent form of the document (LmdGameDocument::getSourceXmlString(true, false)).
//
// The operations, applied in order; a failing one is reported and skipped, the others go on:
//   {"op":"update","id":"42","attrs":{"name":"value",...},"removeAttrs":["name",...]}
//   {"op":"replace","id":"17","xml":"<Element .../>"}
//   {"op":"insert","parentId":"3","after":"16","xml":"<Element .../>"}
//   {"op":"delete","id":"88"}
//   {"op":"createDocument","xml":"..."} is not applied here: the whole-document replacement is
//   the caller's (AiXmlEdit::buildEditedXml) and is refused as an edit.
//
// Decisions that agents rely on (documented in media/knowledge/protocol.md):
// - An insert without `after` (or with an empty one) appends the element as the parent's last
//   child. An `after` that is not a child of the parent fails the operation.
// - Ids inside `xml` are dropped: new elements get fresh ids when the editor reloads the
//   document, and an id in the same batch always means a node of the document as it was read.
//   The `id` attribute can't be set or removed through `update` either.
// - Ids may be written as strings ("42") or as JSON integers (42).
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <pugixml.hpp>

namespace Lumenda3D {

class XmlMerge {
public:
    // The session mark on nodes that an edit touched; the block tree highlights them.
    static constexpr const char* kChangeMark = "_aiChange";

    // Applies `ops` to the tree whose top element is `root` (the document's first child).
    // Returns how many operations were applied. `error` gets one sentence per failed operation,
    // joined by "; " (empty when all succeeded). With `markChanges`, inserted elements get
    // _aiChange="added", replacing elements and updated nodes get _aiChange="updated" (a node
    // already marked "added" keeps that mark).
    static int applyAiOps(pugi::xml_node root, const nlohmann::json& ops, std::string& error, bool markChanges);

    // How the assistant's changes meet the edits the user made while the assistant was thinking.
    // Both sides address nodes by the `id` attributes of the document as it was when the request
    // left (the base); the user's edits are found by comparing the base with the document as it
    // is when the reply arrives.
    enum Winner : std::int32_t { NoConflict = 0, AssistantWins = 1, UserWins = 2, DiscardAssistant = 3 };

    // One edit of the user. `id` is the node's id; an insert carries the new element's text in
    // `xml` (its ids kept) and its place in `parentId` and `afterId` ("" for the first child); a
    // move carries its new place the same way.
    struct UserOp {
        enum Kind : std::int32_t { SetAttr = 1, RemoveAttr = 2, Delete = 3, Insert = 4, Move = 5 };
        std::int32_t kind = SetAttr;
        std::string id;
        std::string parentId;
        std::string afterId;
        std::string name;    // the attribute of SetAttr and RemoveAttr
        std::string value;   // the new value of SetAttr
        std::string xml;     // the inserted element of Insert
    };

    // The user's edits that turn `baseRoot` into `currentRoot`, in document order. Session marks
    // (_aiChange) are not edits. Elements without an id in the current document count as added.
    static std::vector<UserOp> computeUserDiff(const pugi::xml_node& baseRoot, const pugi::xml_node& currentRoot);

    // Whether some of the user's edits and some of the assistant's changes touch the same things:
    // the same attribute of a node, a node that one side changes and the other deletes or replaces
    // (or whose ancestor it does), a place the user added to or moved to that the assistant takes
    // away. `labels` gets one line per conflict, for the person to read.
    static bool detectConflicts(const std::vector<UserOp>& ops, const nlohmann::json& changes,
                                const pugi::xml_node& baseRoot, std::vector<std::string>& labels);

    // Both sides applied to `baseXml`: the assistant's changes (marked) and the user's edits. With
    // AssistantWins the user's conflicting edits are left out; with UserWins the assistant's
    // conflicting changes are. Without conflicts the winner doesn't matter. DiscardAssistant gives
    // the base with the user's edits alone. Returns the document without indentation, or "" with
    // `error` when the base doesn't parse or none of the assistant's changes could be applied.
    static std::string merge(const std::string& baseXml, const nlohmann::json& changes, const std::vector<UserOp>& ops,
                             Winner winner, std::string& error);

    // `editedXml` (a whole new document from the assistant) with the elements the user added
    // carried over: under their parent when the new document still has it, else at the end of the
    // top element. "" with `error` when the text doesn't parse.
    static std::string appendUserAdds(const std::string& editedXml, const std::vector<UserOp>& ops, std::string& error);

    // How an operation names a node: its `member` as text (a string as it stands, a whole
    // number in decimal); empty when absent or of another type.
    static std::string idText(const nlohmann::json& op, const char* member);
    // An attribute value of an "update" as the document writes it: a string as it stands,
    // true/false, a number as JSON writes it. False for any other JSON.
    static bool valueText(const nlohmann::json& value, std::string& out);
};

} // namespace Lumenda3D
