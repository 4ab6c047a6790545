#pragma once
// A handle on a listener: while it lives the listener stays subscribed, and when it goes (or
// cancel() is called) the listener is removed. Handles move but do not copy. A handle that
// outlives what it subscribed to is harmless: cancelling it then does nothing.
//
// Main thread only, like the signals and the event bus that hand them out.
#include <functional>
#include <utility>

namespace Lumenda3D {

class [[nodiscard]] LmdSubscription {
public:
    LmdSubscription() = default;
    explicit LmdSubscription(std::function<void()> cancel) : cancel_(std::move(cancel)) {}
    ~LmdSubscription() { cancel(); }
    LmdSubscription(LmdSubscription&& other) noexcept : cancel_(std::move(other.cancel_)) { other.cancel_ = nullptr; }
    LmdSubscription& operator=(LmdSubscription&& other) noexcept {
        if (this != &other) {
            cancel();
            cancel_ = std::move(other.cancel_);
            other.cancel_ = nullptr;
        }
        return *this;
    }
    LmdSubscription(const LmdSubscription&) = delete;
    LmdSubscription& operator=(const LmdSubscription&) = delete;

    // Removes the listener now; later calls do nothing.
    void cancel() {
        if (auto cancel = std::move(cancel_)) {
            cancel_ = nullptr;
            cancel();
        }
    }
    bool isActive() const { return static_cast<bool>(cancel_); }

private:
    std::function<void()> cancel_;
};

} // namespace Lumenda3D
