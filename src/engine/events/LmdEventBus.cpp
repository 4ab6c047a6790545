#include "engine/events/LmdEventBus.h"

#include "base/LmdLog.h"

#include <algorithm>
#include <exception>
#include <string>

namespace Lumenda3D {

int LmdEventBus::addListener(LmdEventEnum id, Listener listener, LmdListenerMode mode) {
    if (!listener)
        return 0;
    const int handle = mNextHandle++;
    mListeners[int(id)].push_back(Entry{handle, std::move(listener), mode});
    return handle;
}

void LmdEventBus::removeListener(int handle) {
    for (auto& [id, entries] : mListeners)
        entries.erase(std::remove_if(entries.begin(), entries.end(),
                                     [handle](const Entry& e) { return e.handle == handle; }),
                      entries.end());
}

int LmdEventBus::fire(LmdEventEnum id, const std::shared_ptr<LmdEvent>& event) {
    auto found = mListeners.find(int(id));
    if (found == mListeners.end())
        return 0;
    // Copy: listeners may change the list while they run.
    const std::vector<Entry> entries = found->second;
    int ran = 0;
    for (const Entry& entry : entries) {
        if (entry.mode == LmdListenerOnce)
            removeListener(entry.handle);
        try {
            entry.listener(event);
        } catch (const std::exception& e) {
            LmdLog::message("Error in event " + std::to_string(int(id)) + ": " + e.what());
        } catch (...) {
            LmdLog::message("Unknown error in event " + std::to_string(int(id)));
        }
        ++ran;
    }
    return ran;
}

size_t LmdEventBus::listenerCount(LmdEventEnum id) const {
    auto found = mListeners.find(int(id));
    return found == mListeners.end() ? 0 : found->second.size();
}

} // namespace Lumenda3D
