#include "base/TimeUtils.h"

#include <cmath>
#include <cstdio>

namespace Lumenda3D {

std::string TimeUtils::formatElapsed(double seconds) {
    if (!std::isfinite(seconds) || seconds < 0)
        seconds = 0;
    char text[32];
    if (seconds < 10) {
        std::snprintf(text, sizeof text, "%.1fs", seconds);
    } else if (seconds < 60) {
        std::snprintf(text, sizeof text, "%ds", static_cast<int>(seconds));
    } else if (seconds < 3600) {
        const long whole = static_cast<long>(seconds);
        std::snprintf(text, sizeof text, "%ldm %02lds", whole / 60, whole % 60);
    } else {
        const long minutes = static_cast<long>(seconds / 60);
        std::snprintf(text, sizeof text, "%ldh %02ldm", minutes / 60, minutes % 60);
    }
    return text;
}

} // namespace Lumenda3D
