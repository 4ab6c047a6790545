#pragma once
// The variable picker with "Add": when the variable the user wants does not exist yet, "Add"
// declares a new Var (named "Var1", "Var2", ... as the document service numbers new elements) and
// takes its name, without leaving the attribute.
#include "attributes/VarPicker.h"

namespace Lumenda3D {

class PickerPlus : public VarPicker {
public:
    PickerPlus();
};

} // namespace Lumenda3D
