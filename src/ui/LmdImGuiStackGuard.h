#pragma once
// Notes the depth of ImGui's stacks (windows, children, popups, style colours and variables,
// fonts, ID scopes, groups, disabled blocks, tab bars) and can unwind them back to that depth.
// A panel that throws between Begin and End would otherwise leave a window open, and the frame
// could not end: with the guard the exception still goes to the caller, but ImGui stays usable.
//
// Main thread, inside an ImGui frame.
#include <string>
#include <vector>

struct ImGuiTabBar;

namespace Lumenda3D {

class LmdImGuiStackGuard {
public:
    // Notes the current depths.
    LmdImGuiStackGuard();

    // Ends every window, child, popup and scope opened since construction, in the order ImGui
    // needs, and returns what it closed (one line each), for the log.
    std::vector<std::string> restore();

private:
    int windows_ = 0;
    int colors_ = 0;
    int styleVars_ = 0;
    int fonts_ = 0;
    int itemFlags_ = 0;
    int groups_ = 0;
    int focusScopes_ = 0;
    int disabled_ = 0;
    int ids_ = 0;
    int treeDepth_ = 0;
    ImGuiTabBar* tabBar_ = nullptr;
};

} // namespace Lumenda3D
