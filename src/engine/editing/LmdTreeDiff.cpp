#include "engine/editing/LmdTreeDiff.h"

#include <cstring>
#include <vector>

namespace Lumenda3D {
namespace {

bool isId(const char* name) { return name[0] == 'i' && name[1] == 'd' && name[2] == 0; }

void diffAttributes(const pugi::xml_node& a, const pugi::xml_node& b, const LmdNodePath& path,
                    std::vector<LmdHistoryRecord>& out) {
    int position = 0;
    for (pugi::xml_attribute x = a.first_attribute(); x; x = x.next_attribute(), ++position) {
        if (isId(x.name()))
            continue;
        pugi::xml_attribute y = b.attribute(x.name());
        if (y && std::strcmp(x.value(), y.value()) == 0)
            continue;
        LmdHistoryRecord r;
        r.kind = LmdHistoryRecord::Kind::Attribute;
        r.path = path;
        r.name = x.name();
        r.hadOld = true;
        r.oldValue = x.value();
        r.oldPosition = position;
        r.hasNew = static_cast<bool>(y);
        if (y)
            r.newValue = y.value();
        out.push_back(std::move(r));
    }
    for (pugi::xml_attribute y = b.first_attribute(); y; y = y.next_attribute()) {
        if (isId(y.name()) || a.attribute(y.name()))
            continue;
        LmdHistoryRecord r;
        r.kind = LmdHistoryRecord::Kind::Attribute;
        r.path = path;
        r.name = y.name();
        r.hasNew = true;
        r.newValue = y.value();
        out.push_back(std::move(r));
    }
}

void diffNode(const pugi::xml_node& a, const pugi::xml_node& b, LmdNodePath& path, std::vector<LmdHistoryRecord>& out) {
    if (a.type() == pugi::node_element)
        diffAttributes(a, b, path, out);

    std::vector<pugi::xml_node> ca, cb;
    for (pugi::xml_node n = a.first_child(); n; n = n.next_sibling())
        ca.push_back(n);
    for (pugi::xml_node n = b.first_child(); n; n = n.next_sibling())
        cb.push_back(n);

    size_t prefix = 0;
    while (prefix < ca.size() && prefix < cb.size() && LmdXmlTreeOps::subtreeEquals(ca[prefix], cb[prefix]))
        ++prefix;
    size_t suffix = 0;
    while (suffix < ca.size() - prefix && suffix < cb.size() - prefix &&
           LmdXmlTreeOps::subtreeEquals(ca[ca.size() - 1 - suffix], cb[cb.size() - 1 - suffix]))
        ++suffix;
    const size_t removed = ca.size() - prefix - suffix;
    const size_t inserted = cb.size() - prefix - suffix;
    if (removed == 0 && inserted == 0)
        return;
    const pugi::xml_node x = removed ? ca[prefix] : pugi::xml_node();
    const pugi::xml_node y = inserted ? cb[prefix] : pugi::xml_node();
    if (removed == 1 && inserted == 1 && x.type() == pugi::node_element && y.type() == pugi::node_element &&
        std::strcmp(x.name(), y.name()) == 0) {
        path.push_back(static_cast<uint32_t>(prefix));
        diffNode(x, y, path, out);
        path.pop_back();
        return;
    }
    LmdHistoryRecord r;
    r.kind = LmdHistoryRecord::Kind::Splice;
    r.path = path;
    r.index = static_cast<uint32_t>(prefix);
    r.removedCount = static_cast<uint32_t>(removed);
    r.insertedCount = static_cast<uint32_t>(inserted);
    if (removed)
        r.removedXml = LmdXmlTreeOps::fragmentOf(x, r.removedCount);
    if (inserted)
        r.insertedXml = LmdXmlTreeOps::fragmentOf(y, r.insertedCount);
    out.push_back(std::move(r));
}

} // namespace

std::vector<LmdHistoryRecord> LmdTreeDiff::diff(const pugi::xml_document& before, const pugi::xml_document& after) {
    std::vector<LmdHistoryRecord> out;
    LmdNodePath path;
    diffNode(before, after, path, out);
    return out;
}

} // namespace Lumenda3D
