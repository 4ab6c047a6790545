#pragma once
// Serialises game documents. The editor needs forms of the same tree that pugixml's own
// writer cannot produce without copying the document: without the ephemeral `id` attributes
// (the saved game), or without session-only marks. Output is well-formed XML that pugixml's
// default parser reads back to the same tree.
#include <string>

#include <pugixml.hpp>

namespace Lumenda3D {

struct LmdXmlWriteOptions {
    bool withIds = true;            // write the `id` attribute of elements
    bool withSessionMarks = true;   // write `_aiChange` marks
    bool indent = true;             // one element per line, two spaces per level; false: no added white space
};

class LmdXmlWriter {
public:
    // The node and its subtree; for a document node, all of its children.
    static std::string toString(const pugi::xml_node& node, const LmdXmlWriteOptions& options);
    static void append(std::string& out, const pugi::xml_node& node, const LmdXmlWriteOptions& options);

    // Whether the attribute is written under the options.
    static bool isWritten(const pugi::xml_attribute& attribute, const LmdXmlWriteOptions& options);
};

} // namespace Lumenda3D
