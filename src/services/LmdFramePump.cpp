#include "services/LmdFramePump.h"

#include "base/LmdLog.h"

namespace Lumenda3D {

LmdSubscription LmdFramePump::add(const std::string& name, std::function<void()> deliver) {
    if (!deliver)
        return LmdSubscription();
    // Each delivery is guarded under its own name, so that the log says whose delivery failed.
    return deliveries_.subscribe([name, deliver = std::move(deliver)] { runGuarded(name.c_str(), deliver); });
}

} // namespace Lumenda3D
