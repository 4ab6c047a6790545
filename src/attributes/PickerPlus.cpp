#include "attributes/PickerPlus.h"

namespace Lumenda3D {

PickerPlus::PickerPlus() {
    blockName_ = "Var";
    addCaption_ = "Add";
}

} // namespace Lumenda3D
