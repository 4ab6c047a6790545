#pragma once
// A notification that several listeners subscribe to, each through an LmdSubscription handle.
// emit() calls the listeners in the order they subscribed. A listener may subscribe or cancel
// listeners (itself included) while it runs: one cancelled during an emit is not called after
// that, and one added during an emit waits for the next. A listener that throws is logged under
// the signal's name ("Error in <name>: ...") and the others still run.
//
// Main thread only.
#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/LmdLog.h"
#include "base/LmdSubscription.h"

namespace Lumenda3D {

template <typename... Args>
class LmdSignal {
public:
    using Listener = std::function<void(Args...)>;

    explicit LmdSignal(std::string name) : name_(std::move(name)) {}
    LmdSignal(const LmdSignal&) = delete;
    LmdSignal& operator=(const LmdSignal&) = delete;

    LmdSubscription subscribe(Listener listener) {
        if (!listener)
            return LmdSubscription();
        const int id = state_->nextId++;
        state_->slots.push_back(Slot{id, std::make_shared<Listener>(std::move(listener))});
        std::weak_ptr<State> weak = state_;
        return LmdSubscription([weak, id] {
            if (auto state = weak.lock())
                state->remove(id);
        });
    }

    void emit(Args... args) {
        // The listeners as they were when the emit began; each is checked again before its turn.
        const std::vector<Slot> slots = state_->slots;
        std::shared_ptr<State> keep = state_;
        for (const Slot& slot : slots) {
            if (!keep->contains(slot.id))
                continue;
            runGuarded(name_.c_str(), [&] { (*slot.listener)(args...); });
        }
    }

    size_t listenerCount() const { return state_->slots.size(); }

private:
    struct Slot {
        int id = 0;
        std::shared_ptr<Listener> listener;  // shared: a running listener survives its own removal
    };
    struct State {
        std::vector<Slot> slots;
        int nextId = 1;
        bool contains(int id) const {
            return std::any_of(slots.begin(), slots.end(), [id](const Slot& s) { return s.id == id; });
        }
        void remove(int id) {
            slots.erase(std::remove_if(slots.begin(), slots.end(), [id](const Slot& s) { return s.id == id; }),
                        slots.end());
        }
    };

    std::string name_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace Lumenda3D
