#include "mcp/LmdAgentClickGuard.h"

#include "base/LmdLog.h"

namespace Lumenda3D {

LmdAgentClickGuard::LmdAgentClickGuard(DepthSource depth, BlockedNotice onBlocked)
    : depth_(std::move(depth)), onBlocked_(std::move(onBlocked)) {}

bool LmdAgentClickGuard::blocks(const char* action) const {
    if (!depth_ || depth_() <= 0)
        return false;
    if (onBlocked_)
        onBlocked_(action);
    else
        LmdLog::message(std::string("Blocked agent-driven UI action: ") + action +
                        " (agents must use dedicated MCP tools; UI menus are user-only)");
    return true;
}

} // namespace Lumenda3D
