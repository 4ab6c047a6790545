#include "mcp/LmdMainThreadDispatcher.h"

#include <chrono>
#include <exception>
#include <utility>

namespace Lumenda3D {
namespace {
const char* const kShuttingDownText = "editor is shutting down";
const char* const kQueueFullText = "editor request queue is full — retry shortly";
const char* const kUnknownErrorText = "unknown error while handling the request";

LmdMainThreadDispatcher::Result failure(std::string text) {
    LmdMainThreadDispatcher::Result result;
    result.error = std::move(text);
    return result;
}
} // namespace

LmdMainThreadDispatcher::Result LmdMainThreadDispatcher::postAndWait(Job job, int timeoutMs) {
    auto pending = std::make_shared<Pending>();
    pending->fn = std::move(job);
    std::future<Result> future = pending->promise.get_future();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (shuttingDown_)
            return failure(kShuttingDownText);
        if (queue_.size() >= kQueueBound)
            return failure(kQueueFullText);
        queue_.push_back(pending);
    }

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs > 0 ? timeoutMs : 0);
    if (future.wait_until(deadline) == std::future_status::ready)
        return future.get(); // rethrows if the shared state holds an exception

    // The job stays queued (the queue still shares it) and runs when the main thread comes
    // back; its result is dropped with the last reference.
    return failure("editor did not respond within " + std::to_string(timeoutMs / 1000) +
                   "s (a native dialog may be open)");
}

void LmdMainThreadDispatcher::pump() {
    std::deque<std::shared_ptr<Pending>> taken;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        taken.swap(queue_);
    }
    for (auto& pending : taken) {
        Result result;
        try {
            result.value = pending->fn();
            result.ok = true;
        } catch (const std::exception& e) {
            result.value = nullptr;
            result.error = e.what();
        } catch (...) {
            result.value = nullptr;
            result.error = kUnknownErrorText;
        }
        pending->promise.set_value(std::move(result));
    }
}

void LmdMainThreadDispatcher::reset() {
    std::deque<std::shared_ptr<Pending>> dropped;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        shuttingDown_ = false;
        dropped.swap(queue_);
    }
    // Destroyed outside the lock: a job's captures may be arbitrarily heavy.
}

void LmdMainThreadDispatcher::shutdown() {
    std::deque<std::shared_ptr<Pending>> taken;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        shuttingDown_ = true;
        taken.swap(queue_);
    }
    for (auto& pending : taken)
        pending->promise.set_value(failure(kShuttingDownText));
}

std::size_t LmdMainThreadDispatcher::queuedCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return queue_.size();
}

} // namespace Lumenda3D
