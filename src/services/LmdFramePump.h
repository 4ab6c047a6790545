#pragma once
// The one road from background work to the main thread. Whatever finishes on another thread (an
// HTTP answer, an agent's tool call, the update check, a second start's hand-over, a background
// job's progress) waits in its own queue until the frame loop runs the pump; each source
// registers one delivery function here, and the engine runs them all at the start of its
// frameRenderingQueued, in the order they were registered. A delivery that throws is logged
// ("Error in <name>: ...") and the others still run.
//
// Main thread only: add, remove and run.
#include <functional>
#include <string>

#include "base/LmdSignal.h"

namespace Lumenda3D {

class LmdFramePump {
public:
    // Registers a delivery under `name`; it runs every frame until the handle goes.
    LmdSubscription add(const std::string& name, std::function<void()> deliver);
    // Runs every delivery once.
    void run() { deliveries_.emit(); }
    size_t size() const { return deliveries_.listenerCount(); }

private:
    LmdSignal<> deliveries_{"frame pump"};
};

} // namespace Lumenda3D
