#pragma once
// Keeps an agent's synthetic clicks away from buttons that only the user may press (answering a
// permission prompt, changing a permission). The engine keeps its synthetic input depth above
// zero while it delivers a synthetic event and during the interface frame that reads it; that is
// the only thing that tells an agent's click from a person's.
#include <functional>
#include <string>

namespace Lumenda3D {

class LmdAgentClickGuard {
public:
    using DepthSource = std::function<int()>;
    // Told the action word of each click it refuses (the editor logs it and shows a toast).
    using BlockedNotice = std::function<void(const std::string& action)>;

    LmdAgentClickGuard() = default;
    LmdAgentClickGuard(DepthSource depth, BlockedNotice onBlocked);

    // True when the click in progress is synthetic; the caller then ignores it. Without a depth
    // source every click counts as the user's.
    bool blocks(const char* action) const;

private:
    DepthSource depth_;
    BlockedNotice onBlocked_;
};

} // namespace Lumenda3D
