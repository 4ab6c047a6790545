#pragma once
// What is selected, as one model by element id: a 3D object under the gizmo, a 2D element under
// the 2D gizmo, or a block alone (an element without a scene object, selected in the tree). The
// gizmos write it, the editor writes it for blocks; the block tree, the attribute panel and the
// agent tools read it and subscribe to its changes instead of asking each other.
//
// Listeners hear of every change, once, after it happened; selecting what is selected already is
// no change. Moving from one object to another may pass through "nothing selected" (the gizmo
// lets go before it takes the next). Main thread only.
#include <functional>

#include "base/LmdSignal.h"

namespace Lumenda3D {

class LmdSelection {
public:
    enum class Kind { None, Object3D, Element2D, Block };
    using Listener = std::function<void(int xmlId, Kind kind)>;

    // The selected element's xml id; 0 with nothing selected.
    int getXmlId() const { return xmlId_; }
    Kind getKind() const { return kind_; }
    bool isEmpty() const { return kind_ == Kind::None; }

    // Selects element `xmlId` as `kind`; an id of 0 or less, or Kind::None, clears.
    void select(int xmlId, Kind kind);
    void clear();
    // Clears only a selection of this kind: a gizmo letting go leaves a selection made elsewhere.
    void clearKind(Kind kind);

    LmdSubscription subscribe(Listener listener) { return changed_.subscribe(std::move(listener)); }

private:
    int xmlId_ = 0;
    Kind kind_ = Kind::None;
    LmdSignal<int, Kind> changed_{"selection changed"};
};

} // namespace Lumenda3D
