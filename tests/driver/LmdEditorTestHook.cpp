#include "driver/LmdEditorTestHook.h"
#include "driver/LmdEditorTestHookSupport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <unistd.h>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <OgreLogManager.h>

#include "base/LmdLog.h"
#include "core/Lumenda3DEditor.h"
#include "engine/app/LmdImageEncoder.h"
#include "services/FileManager.h"

namespace Lumenda3D {

using namespace testhook;

namespace {
using Clock = std::chrono::steady_clock;

// The age of this process in milliseconds, from the kernel's record of its start.
long long processAgeMillis() {
    std::ifstream stat("/proc/self/stat");
    std::ifstream uptime("/proc/uptime");
    std::string text;
    double upSeconds = 0.0;
    if (!std::getline(stat, text) || !(uptime >> upSeconds))
        return -1;
    // Field 22 (starttime, in clock ticks since boot) counts from after the command's ")".
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    for (int index = 3; index <= 22 && fields >> field; ++index) {
        if (index == 22)
            return static_cast<long long>((upSeconds - std::stod(field) / double(sysconf(_SC_CLK_TCK))) * 1000.0);
    }
    return -1;
}

[[noreturn]] void throwTestFault(const std::string& text) {
    throw std::runtime_error(text);
}

// An exception that leaves a function which must not throw: the process's terminate handler
// takes over with the exception as the current one.
void escapeNoexcept(const std::string& text) noexcept {
    throwTestFault(text);
}

// Throws when OGRE's root logs that it shuts down: that happens while the window closes, inside
// the root's destructor, where an exception ends in the terminate handler.
class CloseFault : public Ogre::LogListener {
public:
    void messageLogged(const Ogre::String& message, Ogre::LogMessageLevel, bool, const Ogre::String&, bool&) override {
        if (message.find("OGRE Shutdown") != std::string::npos)
            throwTestFault("injected fault while the window closes");
    }
};
} // namespace

std::unique_ptr<LmdEditorTestHook> LmdEditorTestHook::fromEnvironment(Lumenda3DEditor& editor) {
    const char* script = std::getenv(kScriptVariable);
    const char* faults = std::getenv(kFaultVariable);
    const char* exitFault = std::getenv(kExitFaultVariable);
    const bool hasScript = script && *script;
    const int faultCount = faults && *faults ? std::max(0, std::atoi(faults)) : 0;
    const bool faultAtExit = exitFault && *exitFault && std::string(exitFault) != "0";
    const char* closeFault = std::getenv(kCloseFaultVariable);
    const bool faultAtClose = closeFault && *closeFault && std::string(closeFault) != "0";
    if (!hasScript && faultCount == 0 && !faultAtExit && !faultAtClose)
        return nullptr;
    auto hook = std::make_unique<LmdEditorTestHook>(editor, hasScript ? script : "", faultCount);
    hook->faultAtExit_ = faultAtExit;
    if (faultAtClose) {
        if (Ogre::LogManager* logs = Ogre::LogManager::getSingletonPtr(); logs && logs->getDefaultLog()) {
            hook->closeFault_ = std::make_unique<CloseFault>();
            logs->getDefaultLog()->addListener(hook->closeFault_.get());
        }
    }
    return hook;
}

LmdEditorTestHook::LmdEditorTestHook(Lumenda3DEditor& editor, const std::string& scriptPath, int frameFaults)
    : editor_(editor), faultsLeft_(frameFaults) {
    logSink_ = LmdLog::addSink([this](const std::string& text, LogLevel) {
        std::lock_guard<std::mutex> lock(logMutex_);
        logLines_.push_back(text);
    });
    if (scriptPath.empty()) {
        finished_ = true;
        return;
    }
    if (!loadScript(scriptPath)) {
        report("FAIL cannot read the test script " + scriptPath);
        finished_ = true;
        commands_.clear();
        next_ = 0;
        // Nothing to drive: end at the first frame rather than run forever.
        Command quitCommand;
        quitCommand.words = {"quit"};
        quitCommand.text = "quit";
        commands_.push_back(quitCommand);
        finished_ = false;
    }
}

LmdEditorTestHook::~LmdEditorTestHook() {
    if (logSink_)
        LmdLog::removeSink(logSink_);
    if (closeFault_)
        if (Ogre::LogManager* logs = Ogre::LogManager::getSingletonPtr(); logs && logs->getDefaultLog())
            logs->getDefaultLog()->removeListener(closeFault_.get());
    // The hook goes with the editor object, at process exit, after the entry has closed down.
    if (faultAtExit_)
        escapeNoexcept("injected fault at exit");
}

std::vector<std::string> LmdEditorTestHook::splitLine(const std::string& line) {
    std::vector<std::string> words;
    std::istringstream in(line);
    std::string word;
    while (in >> word) {
        if (words.empty() && word[0] == '#')
            break; // a comment line; '#' inside a line belongs to it ("Play##topBar")
        words.push_back(word);
    }
    return words;
}

std::string LmdEditorTestHook::joined(const std::vector<std::string>& words, size_t first) {
    std::string text;
    for (size_t i = first; i < words.size(); ++i)
        text += (i > first ? " " : "") + words[i];
    return text;
}

bool LmdEditorTestHook::loadScript(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        return false;
    std::string line;
    int number = 0;
    while (std::getline(file, line)) {
        ++number;
        Command command;
        command.line = number;
        command.words = splitLine(line);
        command.text = line;
        if (!command.words.empty())
            commands_.push_back(std::move(command));
    }
    return true;
}

void LmdEditorTestHook::report(const std::string& text) {
    std::printf("LMD-TEST %s\n", text.c_str());
    std::fflush(stdout);
}

bool LmdEditorTestHook::awaitInput() {
    // Queued input plays out over the next frames; the script goes on when it has.
    wait_ = Wait::Input;
    waitUntilFrame_ = frame_ + 3;
    return true;
}

bool LmdEditorTestHook::awaitQueued(bool queued, const std::string& error) {
    if (!queued) {
        fail(error);
        return false;
    }
    return awaitInput();
}

void LmdEditorTestHook::fail(const std::string& why) {
    const std::string where = current_ ? "line " + std::to_string(current_->line) + ": " + current_->text : "script";
    report("FAIL " + where + " (" + why + ")");
    quit();
}

void LmdEditorTestHook::quit() {
    finished_ = true;
    wait_ = Wait::None;
    report("done");
    editor_.requestStop();
}

void LmdEditorTestHook::frameEnded() {
    // The frame fails after it was shown, the way a fault of the render system would, and the
    // entry's loop must carry on.
    if (faultsLeft_ <= 0)
        return;
    --faultsLeft_;
    throw std::runtime_error("injected test fault");
}

void LmdEditorTestHook::frameRendered() {
    const Clock::time_point now = Clock::now();
    ++frame_;
    if (frame_ == 1) {
        const auto realtime = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                  std::chrono::system_clock::now().time_since_epoch())
                                  .count();
        report("first-frame realtime_ns=" + std::to_string(realtime) +
               " process_age_ms=" + std::to_string(processAgeMillis()));
    } else if (wait_ == Wait::Timing) {
        frameMillis_.push_back(std::chrono::duration<double, std::milli>(now - lastFrame_).count());
    }
    lastFrame_ = now;
    deliverPersonEvents();
    if (finished_)
        return;
    // Commands that finish at once run in the same frame; a wait ends the frame's turn.
    for (int guard = 0; guard < 1000 && !finished_; ++guard) {
        if (wait_ != Wait::None) {
            if (!waitDone())
                return;
            wait_ = Wait::None;
        }
        if (next_ >= commands_.size()) {
            report("script ended");
            finished_ = true;
            return;
        }
        current_ = &commands_[next_++];
        try {
            if (!start(*current_))
                return;
        } catch (const std::exception& e) {
            fail(std::string("exception: ") + e.what());
        }
    }
}

bool LmdEditorTestHook::waitDone() {
    switch (wait_) {
    case Wait::None:
        return true;
    case Wait::Frames:
        return frame_ >= waitUntilFrame_;
    case Wait::Seconds:
        return Clock::now() >= deadline_;
    case Wait::Input:
        // Two frames after the last event went in: the interface and the editor have acted on it.
        if (!personEvents_.empty() || editor_.isSyntheticInputActive())
            waitUntilFrame_ = std::max(waitUntilFrame_, frame_ + 2);
        return frame_ >= waitUntilFrame_;
    case Wait::Timing:
        if (long(frameMillis_.size()) < timingFrames_)
            return false;
        printTiming();
        return true;
    case Wait::Until: {
        std::string detail;
        if (evaluate(current_->words, 1, detail))
            return true;
        if (Clock::now() >= deadline_) {
            fail("timed out; " + detail);
            return false;
        }
        return false;
    }
    }
    return true;
}

bool LmdEditorTestHook::needs(const std::vector<std::string>& w, size_t count) {
    if (w.size() >= count + 1)
        return true;
    fail("'" + w[0] + "' needs " + std::to_string(count) + " argument(s)");
    return false;
}

bool LmdEditorTestHook::start(const Command& command) {
    const std::vector<std::string>& w = command.words;
    const std::string& verb = w[0];
    std::string error;
    if (std::optional<bool> started = startPersonInput(w, error))
        return *started;
    if (std::optional<bool> started = startEditing(w, error))
        return *started;
    // The script's own flow: waits, checks, output and the end.
    if (verb == "frames") {
        if (!needs(w, 1))
            return false;
        wait_ = Wait::Frames;
        waitUntilFrame_ = frame_ + std::atol(w[1].c_str());
        return true;
    }
    if (verb == "seconds") {
        if (!needs(w, 1))
            return false;
        wait_ = Wait::Seconds;
        deadline_ = Clock::now() + std::chrono::milliseconds(long(std::atof(w[1].c_str()) * 1000.0));
        return true;
    }
    if (verb == "timeout") {
        if (needs(w, 1))
            untilTimeoutSeconds_ = std::atof(w[1].c_str());
        return true;
    }
    if (verb == "until") {
        if (!needs(w, 1))
            return false;
        wait_ = Wait::Until;
        deadline_ = Clock::now() + std::chrono::milliseconds(long(untilTimeoutSeconds_ * 1000.0));
        return true;
    }
    if (verb == "expect") {
        if (!needs(w, 1))
            return false;
        std::string detail;
        if (!evaluate(w, 1, detail))
            fail(detail);
        return true;
    }
    if (verb == "screenshot") {
        if (!needs(w, 1))
            return false;
        if (!writeScreenshot(w[1], error))
            fail(error);
        return true;
    }
    if (verb == "say") {
        report("say " + joined(w, 1));
        return true;
    }
    if (verb == "timing") {
        if (!needs(w, 1))
            return false;
        frameMillis_.clear();
        timingFrames_ = std::max(1L, std::atol(w[1].c_str()));
        wait_ = Wait::Timing;
        return false;
    }
    if (verb == "quit") {
        quit();
        return false;
    }
    if (verb == "terminate") {
        report("terminating");
        escapeNoexcept("injected terminate");
    }
    fail("unknown command '" + verb + "'");
    return false;
}

bool LmdEditorTestHook::writeScreenshot(const std::string& path, std::string& error) {
    std::vector<unsigned char> rgb;
    int width = 0, height = 0;
    if (!editor_.readWindowPixels(rgb, width, height)) {
        error = "the window could not be read";
        return false;
    }
    const std::vector<unsigned char> png = LmdImageEncoder::encodePng(rgb.data(), width, height);
    if (png.empty() || !FileManager::writeFileAtomic(path, std::string(png.begin(), png.end()), &error)) {
        error = "cannot write " + path + (error.empty() ? "" : ": " + error);
        return false;
    }
    report("screenshot " + path + " " + std::to_string(width) + "x" + std::to_string(height));
    return true;
}

void LmdEditorTestHook::printTiming() {
    std::vector<double> sorted = frameMillis_;
    std::sort(sorted.begin(), sorted.end());
    const double mean = std::accumulate(sorted.begin(), sorted.end(), 0.0) / double(sorted.size());
    const double median = sorted[sorted.size() / 2];
    const double p95 = sorted[std::min(sorted.size() - 1, size_t(double(sorted.size()) * 0.95))];
    char text[200];
    std::snprintf(text, sizeof text, "timing frames=%zu mean_ms=%.2f median_ms=%.2f p95_ms=%.2f max_ms=%.2f fps=%.0f",
                  sorted.size(), mean, median, p95, sorted.back(), mean > 0 ? 1000.0 / mean : 0.0);
    report(text);
}

} // namespace Lumenda3D
