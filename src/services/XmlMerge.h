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
#include <string>

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

    // How an operation names a node: its `member` as text (a string as it stands, a whole
    // number in decimal); empty when absent or of another type.
    static std::string idText(const nlohmann::json& op, const char* member);
    // An attribute value of an "update" as the document writes it: a string as it stands,
    // true/false, a number as JSON writes it. False for any other JSON.
    static bool valueText(const nlohmann::json& value, std::string& out);
};

} // namespace Lumenda3D
