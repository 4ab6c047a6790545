#pragma once
// The bridge from the agent server's connection threads to the main thread. A connection thread
// posts a job and blocks on its result for a bounded time; the main thread runs every queued job
// once per frame. The frame loop never waits for a poster, and a poster never waits longer than
// its timeout, so a hung main thread (a native modal dialog, a long load) cannot hang a client.
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>

#include <nlohmann/json.hpp>

namespace Lumenda3D {

class LmdMainThreadDispatcher {
public:
    using Job = std::function<nlohmann::json()>;

    struct Result {
        bool ok = false;              // true only when the job ran and returned
        nlohmann::json value;         // the job's return value when ok; null otherwise
        std::string error;            // why it failed when !ok; empty otherwise
    };

    // Most jobs that may wait for one pump; a post beyond this fails at once.
    static constexpr std::size_t kQueueBound = 8;

    // Connection thread: queues the job and waits for at most timeoutMs (0 or less: no wait).
    // Editor-side failures come back as ok == false with a text; nothing is thrown for them.
    Result postAndWait(Job job, int timeoutMs);

    // Main thread, once a frame: runs every job that was queued when the call began, oldest
    // first. Jobs posted while it runs wait for the next call.
    void pump();

    // Server start, before the listener opens: drops queued jobs unfulfilled and reopens the
    // queue. Only safe while no connection thread waits on a job.
    void reset();

    // Server stop: refuses further posts and fails every queued job without running it.
    void shutdown();

    // Jobs waiting for the next pump (for status reports and tests).
    std::size_t queuedCount() const;

private:
    struct Pending {
        Job fn;
        std::promise<Result> promise;
    };

    // Guards queue_ and shuttingDown_. Never held while a job runs or a promise is fulfilled.
    mutable std::mutex mutex_;
    // Shared with the posting thread, so a job outlives a poster that gave up waiting.
    std::deque<std::shared_ptr<Pending>> queue_;
    bool shuttingDown_ = false;
};

} // namespace Lumenda3D
