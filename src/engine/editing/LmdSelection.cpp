#include "engine/editing/LmdSelection.h"

namespace Lumenda3D {

void LmdSelection::select(int xmlId, Kind kind) {
    if (xmlId <= 0 || kind == Kind::None) {
        clear();
        return;
    }
    if (xmlId == xmlId_ && kind == kind_)
        return;
    xmlId_ = xmlId;
    kind_ = kind;
    changed_.emit(xmlId_, kind_);
}

void LmdSelection::clear() {
    if (kind_ == Kind::None)
        return;
    xmlId_ = 0;
    kind_ = Kind::None;
    changed_.emit(0, Kind::None);
}

void LmdSelection::clearKind(Kind kind) {
    if (kind_ == kind)
        clear();
}

} // namespace Lumenda3D
