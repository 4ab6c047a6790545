#pragma once
// The editor chrome's panels, put into their slots of AllUI: the top bar, the tabs with the
// source editor, the error dialog, the toasts and the confirmation dialog. The editor's setup
// calls this before AllUI initialises the panels.
namespace Lumenda3D {

class AllUI;

void registerChromePanels(AllUI& ui);

} // namespace Lumenda3D
