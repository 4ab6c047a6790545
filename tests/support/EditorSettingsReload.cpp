// What a restart of the editor does to the settings, for tests: the in-memory values are dropped
// and the stored entry is read again. Only the test programs are built with it.
#include "services/EditorSettings.h"

#include <nlohmann/json.hpp>

namespace Lumenda3D {

void EditorSettings::reloadForTesting() {
    cache() = loadAll();
}

} // namespace Lumenda3D
