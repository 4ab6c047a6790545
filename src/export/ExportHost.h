#pragma once
// What the export dialog needs from the editor: the engine and the open game's document and name.
// The editor implements it in core/ (LmdEditorExportHost).
#include <string>

namespace Lumenda3D {

class Lumenda3DEngine;

class ExportHost {
public:
    virtual ~ExportHost() = default;
    virtual Lumenda3DEngine* exportEngine() = 0;
    // The document as it is saved (no ids, no session marks).
    virtual std::string exportDocumentXml() = 0;
    // The open project's name ("" for a game never saved): the dialog's first app name.
    virtual std::string exportProjectName() = 0;
};

} // namespace Lumenda3D
