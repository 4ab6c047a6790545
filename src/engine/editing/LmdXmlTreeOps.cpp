#include "engine/editing/LmdXmlTreeOps.h"

#include "base/LmdXmlWriter.h"
#include "engine/document/LmdGameDocument.h"

#include <algorithm>
#include <cstring>

namespace Lumenda3D {

uint32_t LmdXmlTreeOps::childIndex(const pugi::xml_node& node) {
    uint32_t index = 0;
    for (pugi::xml_node n = node.previous_sibling(); n; n = n.previous_sibling())
        ++index;
    return index;
}

pugi::xml_node LmdXmlTreeOps::childAt(const pugi::xml_node& parent, uint32_t index) {
    pugi::xml_node n = parent.first_child();
    for (uint32_t i = 0; n && i < index; ++i)
        n = n.next_sibling();
    return n;
}

LmdNodePath LmdXmlTreeOps::pathOf(const pugi::xml_node& node) {
    LmdNodePath path;
    for (pugi::xml_node n = node; n && n.type() != pugi::node_document; n = n.parent())
        path.push_back(childIndex(n));
    std::reverse(path.begin(), path.end());
    return path;
}

pugi::xml_node LmdXmlTreeOps::resolve(const pugi::xml_document& doc, const LmdNodePath& path) {
    pugi::xml_node n = doc;
    for (uint32_t index : path) {
        n = childAt(n, index);
        if (!n)
            return pugi::xml_node();
    }
    return n;
}

bool LmdXmlTreeOps::moveTo(pugi::xml_node parent, pugi::xml_node node, uint32_t index) {
    if (!parent || !node)
        return false;
    if (index == 0)
        return static_cast<bool>(parent.prepend_move(node));
    // The sibling that will stand before the node once it has left its old place.
    pugi::xml_node before;
    uint32_t seen = 0;
    for (pugi::xml_node n = parent.first_child(); n; n = n.next_sibling()) {
        if (n == node)
            continue;
        if (++seen == index) {
            before = n;
            break;
        }
    }
    if (!before)
        return false;
    return static_cast<bool>(parent.insert_move_after(node, before));
}

std::string LmdXmlTreeOps::fragmentOf(const pugi::xml_node& first, uint32_t count) {
    LmdXmlWriteOptions options;
    options.withIds = false;
    options.indent = false;
    std::string out;
    pugi::xml_node n = first;
    for (uint32_t i = 0; n && i < count; ++i, n = n.next_sibling())
        LmdXmlWriter::append(out, n, options);
    out.shrink_to_fit();  // history keeps these: no writer slack
    return out;
}

std::vector<pugi::xml_node> LmdXmlTreeOps::insertFragment(pugi::xml_node parent, uint32_t index,
                                                          const std::string& fragment) {
    std::vector<pugi::xml_node> inserted;
    pugi::xml_document scratch;
    if (!scratch.load_buffer(fragment.data(), fragment.size(), LmdGameDocument::kParseFlags | pugi::parse_fragment))
        return inserted;
    pugi::xml_node before = index == 0 ? pugi::xml_node() : childAt(parent, index - 1);
    if (index > 0 && !before)
        return inserted;
    for (pugi::xml_node n = scratch.first_child(); n; n = n.next_sibling()) {
        pugi::xml_node copy = before ? parent.insert_copy_after(n, before) : parent.prepend_copy(n);
        if (!copy)
            break;
        inserted.push_back(copy);
        before = copy;
    }
    return inserted;
}

namespace {
bool isIdAttribute(const pugi::xml_attribute& a) {
    const char* n = a.name();
    return n[0] == 'i' && n[1] == 'd' && n[2] == 0;
}
pugi::xml_attribute nextNonId(pugi::xml_attribute a) {
    while (a && isIdAttribute(a))
        a = a.next_attribute();
    return a;
}
} // namespace

bool LmdXmlTreeOps::subtreeEquals(const pugi::xml_node& a, const pugi::xml_node& b) {
    if (a.type() != b.type() || std::strcmp(a.name(), b.name()) != 0 || std::strcmp(a.value(), b.value()) != 0)
        return false;
    pugi::xml_attribute x = nextNonId(a.first_attribute());
    pugi::xml_attribute y = nextNonId(b.first_attribute());
    while (x && y) {
        if (std::strcmp(x.name(), y.name()) != 0 || std::strcmp(x.value(), y.value()) != 0)
            return false;
        x = nextNonId(x.next_attribute());
        y = nextNonId(y.next_attribute());
    }
    if (x || y)
        return false;
    pugi::xml_node c = a.first_child();
    pugi::xml_node d = b.first_child();
    for (; c && d; c = c.next_sibling(), d = d.next_sibling())
        if (!subtreeEquals(c, d))
            return false;
    return !c && !d;
}

int LmdXmlTreeOps::attributeIndex(const pugi::xml_node& node, const char* name) {
    int i = 0;
    for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute(), ++i)
        if (std::strcmp(a.name(), name) == 0)
            return i;
    return -1;
}

void LmdXmlTreeOps::setAttributeAt(pugi::xml_node node, const char* name, const std::string& value, int position) {
    pugi::xml_attribute attr = node.attribute(name);
    if (!attr) {
        pugi::xml_attribute before;
        if (position > 0) {
            int i = 0;
            for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute())
                if (++i == position) {
                    before = a;
                    break;
                }
        }
        if (position == 0)
            attr = node.prepend_attribute(name);
        else if (before)
            attr = node.insert_attribute_after(name, before);
        else
            attr = node.append_attribute(name);
    }
    attr.set_value(value.c_str());
}

} // namespace Lumenda3D
