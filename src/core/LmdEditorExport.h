#pragma once
// The editor's side of the export (Lumenda3DEditorExport.cpp): the export service's HTTP client,
// job service and templates, the export dialog with the editor as its host, and the Project
// menu's export commands.
namespace Lumenda3D {

class AllUI;
class Lumenda3DEditor;

void setupEditorExport(Lumenda3DEditor& editor);
void registerEditorExportPanels(Lumenda3DEditor& editor, AllUI& ui);
void registerEditorExportCommands(Lumenda3DEditor& editor);

} // namespace Lumenda3D
