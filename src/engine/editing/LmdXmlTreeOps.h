#pragma once
// Tree helpers for the edit history: nodes addressed by their child-index path from the
// document node (stable across a reload of the same text, unlike node handles or ids),
// positional insertion and moves, fragments of sibling nodes as text, and comparison of
// subtrees that ignores the ephemeral `id` attribute.
#include <cstdint>
#include <string>
#include <vector>

#include <pugixml.hpp>

namespace Lumenda3D {

using LmdNodePath = std::vector<uint32_t>;

class LmdXmlTreeOps {
public:
    static uint32_t childIndex(const pugi::xml_node& node);
    static pugi::xml_node childAt(const pugi::xml_node& parent, uint32_t index);
    static LmdNodePath pathOf(const pugi::xml_node& node);
    // Empty handle when the path does not resolve.
    static pugi::xml_node resolve(const pugi::xml_document& doc, const LmdNodePath& path);

    // Moves `node` under `parent` so that it ends up as child number `index`.
    static bool moveTo(pugi::xml_node parent, pugi::xml_node node, uint32_t index);

    // `count` siblings from `first` as compact text without ids.
    static std::string fragmentOf(const pugi::xml_node& first, uint32_t count);
    // Inserts the nodes of a fragment under `parent` from child number `index` on; returns the
    // inserted nodes (empty on a parse failure or a bad index).
    static std::vector<pugi::xml_node> insertFragment(pugi::xml_node parent, uint32_t index, const std::string& fragment);

    // Same type, name, value, attributes (in order, `id` left out) and children.
    static bool subtreeEquals(const pugi::xml_node& a, const pugi::xml_node& b);

    // Position of the attribute among the node's attributes, or -1.
    static int attributeIndex(const pugi::xml_node& node, const char* name);
    // Sets an attribute, creating it at `position` (or last when out of range) if it is missing.
    static void setAttributeAt(pugi::xml_node node, const char* name, const std::string& value, int position);
};

} // namespace Lumenda3D
