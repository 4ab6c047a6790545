#include "export/ExportDefaults.h"

#include <memory>

#include "export/CloudTemplateSource.h"
#include "export/InstalledLinuxTemplate.h"
#include "export/TemplateManager.h"

namespace Lumenda3D {

void addInstalledTemplateSources(TemplateManager& templates) {
    templates.addSource(ExportService::Platform::Linux, std::make_shared<InstalledLinuxTemplate>());
}

void addServerTemplateSources(TemplateManager& templates) {
    CloudTemplateSource::addTo(templates);
}

} // namespace Lumenda3D
