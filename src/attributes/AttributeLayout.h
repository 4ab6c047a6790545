#pragma once
// What the attribute panel shows for a node, decided without drawing: which definitions are
// visible ("hidden", "showWhen" against the node's live values), which match the search, how
// they fall into groups and in which order the groups stand, which attributes of the position,
// rotation and scale groups share one row, and which renderer draws each attribute.
#include <string>
#include <utility>
#include <vector>

#include <pugixml.hpp>

namespace Lumenda3D {

class CodeSchema;

struct AttributeGroup {
    std::string name;
    std::vector<pugi::xml_node> definitions; // schema order
};

namespace AttributeLayout {

// False for "hidden" true; otherwise a "showWhen" of "key=value" must equal the node's attribute
// `key` (missing counts as empty), both sides read with "1"/"true" as one and ""/"0"/"false" as
// another. A "showWhen" without "=" shows the attribute.
bool isAttributeVisible(const pugi::xml_node& definition, const pugi::xml_node& node);

// `search` in lower case: empty, or contained in the lowered group, name or caption.
bool matchesSearch(const pugi::xml_node& definition, const std::string& group, const std::string& search);

// The rest of `text` after `prefix` (ignoring case) when it begins with it and is longer;
// otherwise `fallback`.
std::string stripPrefixIgnoreCase(const std::string& text, const std::string& prefix, const std::string& fallback);

// The visible definitions of the node's element that match `search`, grouped by "group" ("Other"
// when it has none), groups ordered by the schema's priority with unknown groups right before
// "Other", equal ranks in schema order.
std::vector<AttributeGroup> groupAttributes(const CodeSchema& schema, const pugi::xml_node& node,
                                            const std::string& search);

// Splits a group's definitions into those drawn side by side on one row (the "position",
// "rotation" and "scale" groups: names starting with the group's name, without "newLine") and
// the rest, each in schema order.
std::pair<std::vector<pugi::xml_node>, std::vector<pugi::xml_node>> splitPrefixMatched(
    const std::string& group, const std::vector<pugi::xml_node>& definitions);

// The key of the renderer for a definition: a type that names a file picker beats the name; a
// picker registered for the attribute's name beats the type; a fixed list of "values" gives
// "optionsPicker" (12 items or fewer) or "valuesDialogPicker". `hasType` and `hasNamed` say which
// renderers exist. The result is either a type key or "name:" + the attribute's name.
template <typename HasType, typename HasNamed>
std::string chooseRenderer(const pugi::xml_node& definition, HasType hasType, HasNamed hasNamed);

std::string label(const pugi::xml_node& definition);

} // namespace AttributeLayout

} // namespace Lumenda3D

#include "attributes/AttributeLayout.inl"
