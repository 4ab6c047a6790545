#pragma once
// The editor as the export dialog sees it (ExportHost): the engine, the document as it is saved,
// and the session's project name.
#include "export/ExportHost.h"

namespace Lumenda3D {

class Lumenda3DEditor;

class LmdEditorExportHost : public ExportHost {
public:
    explicit LmdEditorExportHost(Lumenda3DEditor* editor) : editor_(editor) {}

    Lumenda3DEngine* exportEngine() override;
    std::string exportDocumentXml() override;
    std::string exportProjectName() override;

private:
    Lumenda3DEditor* editor_;
};

} // namespace Lumenda3D
