#pragma once
// The attribute panel put into its slot of AllUI. The editor's setup calls this before AllUI
// initialises the panels.
#include <memory>

namespace Lumenda3D {

class AllUI;
class AttributesEditor;

std::shared_ptr<AttributesEditor> registerAttributesPanels(AllUI& ui);

} // namespace Lumenda3D
