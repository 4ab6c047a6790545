#include "services/LmdJobService.h"

#include <algorithm>
#include <exception>
#include <vector>

#include "base/LmdLog.h"

namespace Lumenda3D {

struct LmdJobService::Context::Job {
    JobId id = 0;
    std::atomic<bool> cancelRequested{false};
    // Under the service's mutex.
    Status status;
    bool progressPending = false;
    bool donePending = false;
    bool delivered = false;  // the result went to onDone: the job only keeps its status now
    // Main thread only.
    OnProgress onProgress;
    OnDone onDone;
    std::thread thread;
};

void LmdJobService::Context::progress(float fraction, const std::string& stage) {
    std::lock_guard<std::mutex> lock(service_.mutex_);
    job_->status.fraction = std::clamp(fraction, 0.0f, 1.0f);
    job_->status.stage = stage;
    job_->progressPending = true;
}

bool LmdJobService::Context::cancelled() const {
    return job_->cancelRequested.load();
}

LmdJobService::~LmdJobService() {
    std::vector<std::shared_ptr<Job>> jobs;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto& entry : jobs_) {
            entry.second->cancelRequested = true;
            jobs.push_back(entry.second);
        }
    }
    for (const std::shared_ptr<Job>& job : jobs)
        if (job->thread.joinable())
            job->thread.join();
}

LmdJobService::JobId LmdJobService::start(const std::string& name, Work work, OnProgress onProgress, OnDone onDone) {
    auto job = std::make_shared<Job>();
    job->status.name = name;
    job->onProgress = std::move(onProgress);
    job->onDone = std::move(onDone);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        job->id = nextId_++;
        jobs_[job->id] = job;
    }
    job->thread = std::thread([this, job, work = std::move(work)] { run(job, work); });
    return job->id;
}

void LmdJobService::run(const std::shared_ptr<Job>& job, const Work& work) {
    Context context(*this, job);
    Result result;
    std::string failure;
    try {
        if (work)
            result = work(context);
    } catch (const std::exception& e) {
        failure = e.what();
    } catch (...) {
        failure = "unknown error";
    }
    std::lock_guard<std::mutex> lock(mutex_);
    Status& status = job->status;
    if (job->cancelRequested) {
        status.state = State::Cancelled;
        status.message = "Cancelled";
    } else if (!failure.empty()) {
        status.state = State::Failed;
        status.message = failure;
    } else {
        status.state = result.ok ? State::Succeeded : State::Failed;
        status.message = result.message;
        if (result.ok)
            status.fraction = 1.0f;
    }
    job->donePending = true;
}

bool LmdJobService::cancel(JobId id) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = jobs_.find(id);
    if (found == jobs_.end() || found->second->status.state != State::Running || found->second->cancelRequested)
        return false;
    found->second->cancelRequested = true;
    return true;
}

std::optional<LmdJobService::Status> LmdJobService::status(JobId id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = jobs_.find(id);
    if (found == jobs_.end())
        return std::nullopt;
    return found->second->status;
}

size_t LmdJobService::runningCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return size_t(std::count_if(jobs_.begin(), jobs_.end(),
                                [](const auto& entry) { return !entry.second->delivered; }));
}

void LmdJobService::pump() {
    struct Delivery {
        std::shared_ptr<Job> job;
        bool progress = false;
        bool done = false;
        Status status;
    };
    std::vector<Delivery> deliveries;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto& [id, job] : jobs_) {
            if (!job->progressPending && !job->donePending)
                continue;
            deliveries.push_back(Delivery{job, job->progressPending, job->donePending, job->status});
            job->progressPending = false;
            if (job->donePending) {
                job->donePending = false;
                job->delivered = true;
            }
        }
    }
    for (Delivery& delivery : deliveries) {
        Job& job = *delivery.job;
        if (delivery.progress && job.onProgress)
            runGuarded(delivery.status.name.c_str(), [&] { job.onProgress(delivery.status.fraction, delivery.status.stage); });
        if (!delivery.done)
            continue;
        // The work has returned: its thread ends at once.
        if (job.thread.joinable())
            job.thread.join();
        if (job.onDone)
            runGuarded(delivery.status.name.c_str(), [&] { job.onDone(delivery.status.state, delivery.status.message); });
        job.onProgress = nullptr;
        job.onDone = nullptr;
    }
    // Only the last finished jobs keep their status.
    std::lock_guard<std::mutex> lock(mutex_);
    size_t finished = size_t(std::count_if(jobs_.begin(), jobs_.end(), [](const auto& e) { return e.second->delivered; }));
    for (auto it = jobs_.begin(); it != jobs_.end() && finished > kKeptFinished;) {
        if (it->second->delivered) {
            it = jobs_.erase(it);
            --finished;
        } else {
            ++it;
        }
    }
}

} // namespace Lumenda3D
