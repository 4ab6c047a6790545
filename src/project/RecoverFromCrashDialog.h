#pragma once
// Offered at start when an earlier session left an auto-save behind: how that session ended (a
// crash, or closed with work that was not saved), the project's name, how old the auto-save is,
// and two answers, "Recover" (load it) and "Discard" (put it aside until the next save). The
// dialog must be answered: Escape does nothing.
// Each answer closes the dialog and then calls its callback once.
#include <functional>
#include <string>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class RecoverFromCrashDialog : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "recoverFromCrashDialog";
    static constexpr const char* kTitle = "Recover unsaved work###recoverFromCrash";
    static constexpr const char* kRecoverLabel = "Recover##recoverFromCrash";
    static constexpr const char* kDiscardLabel = "Discard##recoverFromCrash";

    explicit RecoverFromCrashDialog(const std::string& name = kName);

    void draw() override;

    // `timestamp` is in seconds since the Unix epoch; `closedNormally` tells an auto-save kept at a
    // normal close from one a crash left. A second show replaces a question not yet answered.
    void show(const std::string& projectName, long long timestamp, std::function<void()> onRecover,
              std::function<void()> onDiscard, bool closedNormally = false);
    bool isOpen() const { return open_; }
    // The message on screen; it names the project and the age of the auto-save.
    std::string getMessage() const;

    // The age of `timestamp` (seconds since the Unix epoch) now, as "5 minutes ago"; "unknown time"
    // for 0, a negative time or one in the future.
    static std::string formatTimeAgo(long long timestamp);
    static std::string formatTimeAgo(long long timestamp, long long now);

private:
    bool open_ = false;
    std::string projectName_;
    long long timestamp_ = 0;
    bool closedNormally_ = false;
    std::function<void()> onRecover_;
    std::function<void()> onDiscard_;
};

} // namespace Lumenda3D
