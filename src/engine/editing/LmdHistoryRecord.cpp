#include "engine/editing/LmdHistoryRecord.h"

namespace Lumenda3D {

size_t LmdHistoryRecord::memoryBytes() const {
    return sizeof(*this) + (path.capacity() + toPathBefore.capacity() + toPathAfter.capacity() + fromPathAfter.capacity()) *
                               sizeof(uint32_t) +
           name.capacity() + oldValue.capacity() + newValue.capacity() + removedXml.capacity() + insertedXml.capacity();
}

namespace {

bool applyAttribute(pugi::xml_document& doc, const LmdHistoryRecord& r, bool forward) {
    pugi::xml_node node = LmdXmlTreeOps::resolve(doc, r.path);
    if (!node || node.type() != pugi::node_element)
        return false;
    const bool present = forward ? r.hasNew : r.hadOld;
    const std::string& value = forward ? r.newValue : r.oldValue;
    if (present)
        LmdXmlTreeOps::setAttributeAt(node, r.name.c_str(), value, forward ? -1 : r.oldPosition);
    else
        node.remove_attribute(r.name.c_str());
    return true;
}

bool applySplice(pugi::xml_document& doc, const LmdHistoryRecord& r, bool forward, const LmdTreeHooks& hooks) {
    pugi::xml_node parent = LmdXmlTreeOps::resolve(doc, r.path);
    if (!parent)
        return false;
    const uint32_t removeCount = forward ? r.removedCount : r.insertedCount;
    const std::string& insertXml = forward ? r.insertedXml : r.removedXml;
    const uint32_t insertCount = forward ? r.insertedCount : r.removedCount;
    pugi::xml_node n = LmdXmlTreeOps::childAt(parent, r.index);
    for (uint32_t i = 0; i < removeCount; ++i) {
        if (!n)
            return false;
        pugi::xml_node next = n.next_sibling();
        if (hooks.removing)
            hooks.removing(n);
        parent.remove_child(n);
        n = next;
    }
    if (insertCount == 0)
        return true;
    std::vector<pugi::xml_node> added = LmdXmlTreeOps::insertFragment(parent, r.index, insertXml);
    if (added.size() != insertCount)
        return false;
    if (hooks.inserted)
        for (pugi::xml_node& node : added)
            hooks.inserted(node);
    return true;
}

bool applyMove(pugi::xml_document& doc, const LmdHistoryRecord& r, bool forward) {
    // Both parents are resolved before anything moves, in the coordinates of the current state.
    pugi::xml_node from = LmdXmlTreeOps::resolve(doc, forward ? r.path : r.toPathAfter);
    pugi::xml_node to = LmdXmlTreeOps::resolve(doc, forward ? r.toPathBefore : r.fromPathAfter);
    if (!from || !to)
        return false;
    pugi::xml_node node = LmdXmlTreeOps::childAt(from, forward ? r.index : r.toIndex);
    if (!node)
        return false;
    return LmdXmlTreeOps::moveTo(to, node, forward ? r.toIndex : r.index);
}

} // namespace

bool LmdHistoryApplier::apply(pugi::xml_document& doc, const LmdHistoryRecord& record, bool forward,
                              const LmdTreeHooks& hooks) {
    switch (record.kind) {
    case LmdHistoryRecord::Kind::Attribute: return applyAttribute(doc, record, forward);
    case LmdHistoryRecord::Kind::Splice: return applySplice(doc, record, forward, hooks);
    case LmdHistoryRecord::Kind::Move: return applyMove(doc, record, forward);
    }
    return false;
}

} // namespace Lumenda3D
