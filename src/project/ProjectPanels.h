#pragma once
// The project lifecycle's panels, put into their slots of AllUI: the offer to recover a crash
// backup. The editor's setup calls this before AllUI initialises the panels.
namespace Lumenda3D {

class AllUI;

void registerProjectPanels(AllUI& ui);

} // namespace Lumenda3D
