#include "engine/events/LmdEventBus.h"

#include "base/LmdLog.h"

#include <algorithm>
#include <string>

namespace Lumenda3D {

void LmdEventBus::State::remove(int handle) {
    for (auto& [id, entries] : listeners)
        entries.erase(std::remove_if(entries.begin(), entries.end(), [handle](const Entry& e) { return e.handle == handle; }),
                      entries.end());
}

bool LmdEventBus::State::contains(int id, int handle) const {
    auto found = listeners.find(id);
    return found != listeners.end() && std::any_of(found->second.begin(), found->second.end(),
                                                   [handle](const Entry& e) { return e.handle == handle; });
}

int LmdEventBus::addListener(LmdEventEnum id, Listener listener, LmdListenerMode mode) {
    if (!listener)
        return 0;
    const int handle = state_->nextHandle++;
    state_->listeners[int(id)].push_back(Entry{handle, std::make_shared<Listener>(std::move(listener)), mode});
    return handle;
}

void LmdEventBus::removeListener(int handle) {
    state_->remove(handle);
}

LmdSubscription LmdEventBus::subscribe(LmdEventEnum id, Listener listener, LmdListenerMode mode) {
    const int handle = addListener(id, std::move(listener), mode);
    if (!handle)
        return LmdSubscription();
    std::weak_ptr<State> weak = state_;
    return LmdSubscription([weak, handle] {
        if (auto state = weak.lock())
            state->remove(handle);
    });
}

int LmdEventBus::fire(LmdEventEnum id, const std::shared_ptr<LmdEvent>& event) {
    auto found = state_->listeners.find(int(id));
    if (found == state_->listeners.end())
        return 0;
    // The listeners as they were when the event was fired; each is checked again before its turn.
    const std::vector<Entry> entries = found->second;
    const std::shared_ptr<State> state = state_;
    const std::string where = "event " + std::to_string(int(id));
    int ran = 0;
    for (const Entry& entry : entries) {
        if (!state->contains(int(id), entry.handle))
            continue;
        if (entry.mode == LmdListenerOnce)
            state->remove(entry.handle);
        runGuarded(where.c_str(), [&] { (*entry.listener)(event); });
        ++ran;
    }
    return ran;
}

size_t LmdEventBus::listenerCount(LmdEventEnum id) const {
    auto found = state_->listeners.find(int(id));
    return found == state_->listeners.end() ? 0 : found->second.size();
}

} // namespace Lumenda3D
