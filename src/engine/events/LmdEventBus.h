#pragma once
// Listeners of engine events, by event id. Firing delivers the event to the listeners of its id
// in the order they were added. A listener may add or remove listeners while it runs, itself
// included: one removed during a delivery is not called after that, and one added waits for the
// next event. A listener that throws is logged ("Error in event <id>: ...") and the others still
// run.
//
// Listeners are removed through their handle: the number addListener gives for removeListener,
// or the LmdSubscription that subscribe gives (removed when it goes). Main thread only.
#include "base/LmdSubscription.h"
#include "engine/events/LmdEvent.h"

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace Lumenda3D {

class LmdEventBus {
public:
    using Listener = std::function<void(std::shared_ptr<LmdEvent>)>;

    // Returns a handle for removeListener; 0 for an empty listener.
    int addListener(LmdEventEnum id, Listener listener, LmdListenerMode mode = LmdListenerNormal);
    void removeListener(int handle);
    // The listener stays until the handle goes or is cancelled (harmless after the bus is gone).
    LmdSubscription subscribe(LmdEventEnum id, Listener listener, LmdListenerMode mode = LmdListenerNormal);
    // Delivers the event to the listeners of `id`; returns how many ran.
    int fire(LmdEventEnum id, const std::shared_ptr<LmdEvent>& event);
    size_t listenerCount(LmdEventEnum id) const;
    void clear() { state_->listeners.clear(); }

private:
    struct Entry {
        int handle = 0;
        std::shared_ptr<Listener> listener;  // shared: a running listener survives its own removal
        LmdListenerMode mode = LmdListenerNormal;
    };
    struct State {
        std::map<int, std::vector<Entry>> listeners;
        int nextHandle = 1;
        void remove(int handle);
        bool contains(int id, int handle) const;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace Lumenda3D
