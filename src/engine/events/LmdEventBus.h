#pragma once
// Listeners of engine events, by event id. Firing delivers the event to the listeners of its id
// in the order they were added. A listener may add or remove listeners while it runs: the
// delivery works on the list as it was when the event was fired. A listener that throws is
// logged ("Error in event <id>: ...") and the others still run.
#include "engine/events/LmdEvent.h"

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace Lumenda3D {

class LmdEventBus {
public:
    using Listener = std::function<void(std::shared_ptr<LmdEvent>)>;

    // Returns a handle for removeListener.
    int addListener(LmdEventEnum id, Listener listener, LmdListenerMode mode = LmdListenerNormal);
    void removeListener(int handle);
    // Delivers the event to the listeners of `id`; returns how many ran.
    int fire(LmdEventEnum id, const std::shared_ptr<LmdEvent>& event);
    size_t listenerCount(LmdEventEnum id) const;
    void clear() { mListeners.clear(); }

private:
    struct Entry {
        int handle = 0;
        Listener listener;
        LmdListenerMode mode = LmdListenerNormal;
    };
    std::map<int, std::vector<Entry>> mListeners;
    int mNextHandle = 1;
};

} // namespace Lumenda3D
