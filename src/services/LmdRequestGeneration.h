#pragma once
// Tells a current background request from an abandoned one. The owner (a panel, a service)
// takes a ticket when it sends a request and bumps the generation when it gives up (cancel,
// new conversation, closing). The request's callback compares its ticket first and returns at
// once when the generation has moved on, before it touches anything.
//
//   auto ticket = generation.ticket();
//   client->get(url, [this, ticket](const HttpResponse& r) {
//       if (!generation.isCurrent(ticket)) return;
//       ...
//   });
//
// guard() does the same for callbacks that may outlive their owner: the wrapped callback holds
// the counter itself, so after the owner (and with it this object) is gone it does nothing.
// Main thread only, like the callbacks it guards.
#include <cstdint>
#include <memory>
#include <utility>

namespace Lumenda3D {

class LmdRequestGeneration {
public:
    using Ticket = std::uint64_t;

    LmdRequestGeneration() : counter_(std::make_shared<Ticket>(0)) {}
    // The owner is going away: every outstanding ticket becomes stale.
    ~LmdRequestGeneration() { ++*counter_; }
    LmdRequestGeneration(const LmdRequestGeneration&) = delete;
    LmdRequestGeneration& operator=(const LmdRequestGeneration&) = delete;

    Ticket ticket() const { return *counter_; }
    // Abandons every request sent so far; returns the new generation.
    Ticket bump() { return ++*counter_; }
    bool isCurrent(Ticket ticket) const { return ticket == *counter_; }

    // Wraps a callback so that it runs only while the generation at the time of this call is
    // still current (not bumped, owner not destroyed).
    template <typename Callback>
    auto guard(Callback callback) const {
        return [counter = counter_, ticket = *counter_, callback = std::move(callback)](auto&&... args) {
            if (*counter == ticket)
                callback(std::forward<decltype(args)>(args)...);
        };
    }

private:
    std::shared_ptr<Ticket> counter_;
};

} // namespace Lumenda3D
