#pragma once
// Short texts for durations, as the interface shows them ("3.4s", "42s", "2m 05s", "1h 03m").
#include <string>

namespace Lumenda3D {

class TimeUtils {
public:
    // Negative and non-finite durations read as 0.
    static std::string formatElapsed(double seconds);
};

} // namespace Lumenda3D
