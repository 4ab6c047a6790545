#include "export/ExportDefaults.h"

#include <memory>

#include "export/InstalledLinuxTemplate.h"
#include "export/TemplateManager.h"

namespace Lumenda3D {

void addInstalledTemplateSources(TemplateManager& templates) {
    templates.addSource(ExportService::Platform::Linux, std::make_shared<InstalledLinuxTemplate>());
}

} // namespace Lumenda3D
