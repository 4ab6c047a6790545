#include "base/XmlUtils.h"

#include "base/LmdXmlWriter.h"

#include <cstring>
#include <string_view>
#include <unordered_set>

namespace Lumenda3D {
namespace {

LmdXmlWriteOptions exactCopy() {
    LmdXmlWriteOptions options;
    options.withIds = true;
    options.withSessionMarks = true;
    options.indent = false;
    return options;
}

} // namespace

std::string XmlUtils::getXmlNodeString(const pugi::xml_node& node) {
    if (!node)
        return std::string();
    return LmdXmlWriter::toString(node, exactCopy());
}

std::string XmlUtils::getXmlString(const pugi::xml_document& document) {
    return LmdXmlWriter::toString(document, exactCopy());
}

bool XmlUtils::findRepeatedAttribute(const pugi::xml_node& node, std::string& description) {
    // Walks the tree without recursion: a document may nest deeper than the stack allows.
    pugi::xml_node n = node;
    std::unordered_set<std::string_view> names;
    while (n) {
        if (n.type() == pugi::node_element) {
            names.clear();
            for (pugi::xml_attribute a = n.first_attribute(); a; a = a.next_attribute()) {
                if (!names.insert(a.name()).second) {
                    description = std::string("<") + n.name() + "> has the attribute '" + a.name() + "' twice";
                    return true;
                }
            }
        }
        if (n.first_child()) {
            n = n.first_child();
            continue;
        }
        while (n && n != node && !n.next_sibling())
            n = n.parent();
        if (!n || n == node)
            break;
        n = n.next_sibling();
    }
    return false;
}

} // namespace Lumenda3D
