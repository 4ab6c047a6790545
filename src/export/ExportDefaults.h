#pragma once
// What every export front end (the editor, the command-line exporter) sets up the same way: this
// installation's runtime templates as the last source of each platform, so that a template from
// a server, added before, wins when there is one.
namespace Lumenda3D {

class TemplateManager;

void addInstalledTemplateSources(TemplateManager& templates);

} // namespace Lumenda3D
