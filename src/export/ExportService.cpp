#include "export/ExportService.h"

namespace Lumenda3D {

const char* ExportService::platformName(Platform platform) {
    switch (platform) {
    case Platform::Windows: return "windows";
    case Platform::Linux: return "linux";
    case Platform::Android: return "android";
    case Platform::Web: return "web";
    }
    return "unknown";
}

} // namespace Lumenda3D
