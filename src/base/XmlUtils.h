#pragma once
// Text forms of parts of a game document, for copying nodes between documents: a node and its
// subtree (or a whole document) as well-formed XML that pugixml's default parser reads back to
// the same tree. Ids and session marks are kept: a copy is exact.
#include <string>

#include <pugixml.hpp>

namespace Lumenda3D {

class XmlUtils {
public:
    // The node and its subtree; "" for a null node.
    static std::string getXmlNodeString(const pugi::xml_node& node);
    // Every child of the document.
    static std::string getXmlString(const pugi::xml_document& document);

    // An attribute that an element of the tree under `node` (the node included) carries twice:
    // XML forbids it, pugixml reads it. False when there is none; otherwise true, with
    // `description` saying which, as in "<Move> has the attribute 'id' twice".
    static bool findRepeatedAttribute(const pugi::xml_node& node, std::string& description);
};

} // namespace Lumenda3D
