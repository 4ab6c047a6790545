#pragma once
// Computes the records that turn one document into another, so that replacing the whole
// document (an agent's or the assistant's edit) costs the history only what really changed.
// At each level, equal leading and trailing children are skipped; a single differing child
// of the same name on both sides is compared further down, anything else becomes one splice.
// The `id` attribute is not compared.
#include <vector>

#include <pugixml.hpp>

#include "engine/editing/LmdHistoryRecord.h"

namespace Lumenda3D {

class LmdTreeDiff {
public:
    static std::vector<LmdHistoryRecord> diff(const pugi::xml_document& before, const pugi::xml_document& after);
};

} // namespace Lumenda3D
