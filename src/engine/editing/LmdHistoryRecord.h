#pragma once
// One reversible change of the game document, addressed by node paths so that it can be
// replayed on the document after it has been reloaded from text. A record knows both sides of
// the change: applying it forwards redoes it, applying it backwards undoes it.
#include <cstddef>
#include <functional>
#include <string>

#include <pugixml.hpp>

#include "engine/editing/LmdXmlTreeOps.h"

namespace Lumenda3D {

struct LmdHistoryRecord {
    enum class Kind { Attribute, Splice, Move };
    Kind kind = Kind::Attribute;

    // Attribute: the element. Splice: the parent. Move: the old parent, as it stands before.
    LmdNodePath path;

    // Attribute change; a missing side means the attribute is absent there.
    std::string name;
    bool hadOld = false, hasNew = false;
    std::string oldValue, newValue;
    int oldPosition = -1;  // where the old attribute stood, to put it back in place

    // Splice: at child `index`, `removedCount` children (text `removedXml`) were replaced by
    // `insertedCount` children (text `insertedXml`).
    uint32_t index = 0;
    uint32_t removedCount = 0, insertedCount = 0;
    std::string removedXml, insertedXml;

    // Move: the node went from (path, index) to child `toIndex` of the new parent. The parents'
    // paths are kept as they stand before and after the move.
    LmdNodePath toPathBefore, toPathAfter, fromPathAfter;
    uint32_t toIndex = 0;

    size_t memoryBytes() const;
};

// What applying a record did to nodes, so the document's id registry can follow.
struct LmdTreeHooks {
    std::function<void(const pugi::xml_node&)> removing;  // before a subtree is destroyed
    std::function<void(pugi::xml_node)> inserted;         // after a subtree was created
};

class LmdHistoryApplier {
public:
    // False when the record does not fit the document (it was changed outside the history).
    static bool apply(pugi::xml_document& doc, const LmdHistoryRecord& record, bool forward, const LmdTreeHooks& hooks);
};

} // namespace Lumenda3D
