#pragma once
// What every export front end (the editor, the command-line exporter) sets up the same way: this
// installation's runtime templates as the last source of each platform, so that a template from
// a server, added before, wins when there is one.
namespace Lumenda3D {

class TemplateManager;

void addInstalledTemplateSources(TemplateManager& templates);

// The Lumenda3D server's runtime templates (downloaded, cached, offline from the cache) as a
// source of every platform it serves; added before this installation's.
void addServerTemplateSources(TemplateManager& templates);

} // namespace Lumenda3D
