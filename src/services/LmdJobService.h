#pragma once
// Work that takes long (an export, an asset import) on a thread of its own. The work reports its
// progress and may be cancelled; its progress and its result reach the main thread only through
// pump(), which the frame pump runs once a frame, so that the callbacks may touch the editor.
//
//   jobs.start("export", [](LmdJobService::Context& job) {
//       job.progress(0.5f, "packing");
//       if (job.cancelled()) return LmdJobService::Result{false, "stopped"};
//       return LmdJobService::Result{true, "/path/to/game.zip"};
//   }, onProgress, onDone);
//
// A job that throws fails with the exception's text. A cancelled job ends as Cancelled whatever
// its work returns. The service keeps the status of the last finished jobs for the agents'
// get_operation_status. Destroying the service cancels what still runs and waits for it; no
// callback runs after that. start, cancel, status and pump are for the main thread.
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace Lumenda3D {

class LmdJobService {
public:
    using JobId = int;
    enum class State { Running, Succeeded, Failed, Cancelled };

    struct Result {
        bool ok = false;
        std::string message;  // what was made (a path), or why it failed
    };
    struct Status {
        std::string name;
        State state = State::Running;
        float fraction = 0.0f;
        std::string stage;
        std::string message;
    };

    // What a job's work sees on its own thread.
    class Context {
    public:
        // Progress from 0 to 1 and a short word on the stage; only the newest report reaches the
        // main thread at the next pump.
        void progress(float fraction, const std::string& stage);
        // True once the job was cancelled: the work should return soon.
        bool cancelled() const;

    private:
        friend class LmdJobService;
        struct Job;
        Context(LmdJobService& service, std::shared_ptr<Job> job) : service_(service), job_(std::move(job)) {}
        LmdJobService& service_;
        std::shared_ptr<Job> job_;
    };

    using Work = std::function<Result(Context&)>;
    using OnProgress = std::function<void(float fraction, const std::string& stage)>;
    using OnDone = std::function<void(State state, const std::string& message)>;

    // How many finished jobs' statuses are kept.
    static constexpr size_t kKeptFinished = 64;

    LmdJobService() = default;
    ~LmdJobService();
    LmdJobService(const LmdJobService&) = delete;
    LmdJobService& operator=(const LmdJobService&) = delete;

    // Starts the work on a new thread; the callbacks (each may be empty) run in later pumps.
    JobId start(const std::string& name, Work work, OnProgress onProgress, OnDone onDone);
    // Asks a running job to stop; false for a job that is unknown or has ended.
    bool cancel(JobId id);
    std::optional<Status> status(JobId id) const;
    // Main thread, once a frame: progress reports and results of the jobs since the last pump.
    void pump();
    size_t runningCount() const;

private:
    using Job = Context::Job;
    void run(const std::shared_ptr<Job>& job, const Work& work);

    mutable std::mutex mutex_;
    std::map<JobId, std::shared_ptr<Job>> jobs_;
    JobId nextId_ = 1;
};

} // namespace Lumenda3D
