#include "ui/LmdImGuiStackGuard.h"

#include <imgui.h>
#include <imgui_internal.h>

#include <cstdarg>
#include <cstdio>

namespace Lumenda3D {

namespace {

void collectLine(void* userData, const char* format, ...) {
    char line[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof(line), format, args);
    va_end(args);
    static_cast<std::vector<std::string>*>(userData)->emplace_back(line);
}

} // namespace

LmdImGuiStackGuard::LmdImGuiStackGuard() {
    ImGuiContext& g = *ImGui::GetCurrentContext();
    windows_ = g.CurrentWindowStack.Size;
    colors_ = g.ColorStack.Size;
    styleVars_ = g.StyleVarStack.Size;
    fonts_ = g.FontStack.Size;
    itemFlags_ = g.ItemFlagsStack.Size;
    groups_ = g.GroupStack.Size;
    focusScopes_ = g.FocusScopeStack.Size;
    disabled_ = g.DisabledStackSize;
    ids_ = g.CurrentWindow ? g.CurrentWindow->IDStack.Size : 0;
    treeDepth_ = g.CurrentWindow ? g.CurrentWindow->DC.TreeDepth : 0;
    tabBar_ = g.CurrentTabBar;
}

std::vector<std::string> LmdImGuiStackGuard::restore() {
    std::vector<std::string> lines;
    ImGuiContext& g = *ImGui::GetCurrentContext();

    // Windows opened since: each is emptied of its own scopes first, then ended the way it began.
    while (g.CurrentWindowStack.Size > windows_ && g.CurrentWindowStack.Size > 1) {
        ImGui::ErrorCheckEndWindowRecover(collectLine, &lines);
        ImGuiWindow* window = g.CurrentWindow;
        if (window->Flags & ImGuiWindowFlags_ChildWindow) {
            collectLine(&lines, "Recovered from missing EndChild() for '%s'", window->Name);
            ImGui::EndChild();
        } else {
            collectLine(&lines, "Recovered from missing End() for '%s'", window->Name);
            ImGui::End();
        }
    }

    // Scopes opened since in the window we started in, innermost kinds first.
    ImGuiWindow* window = g.CurrentWindow;
    while (g.CurrentTabBar != nullptr && g.CurrentTabBar != tabBar_) {
        collectLine(&lines, "Recovered from missing EndTabBar()");
        ImGui::EndTabBar();
    }
    while (window && window->DC.TreeDepth > treeDepth_)
        ImGui::TreePop();
    while (g.GroupStack.Size > groups_)
        ImGui::EndGroup();
    while (window && window->IDStack.Size > ids_)
        ImGui::PopID();
    while (g.DisabledStackSize > disabled_)
        ImGui::EndDisabled();
    while (g.ColorStack.Size > colors_)
        ImGui::PopStyleColor();
    while (g.ItemFlagsStack.Size > itemFlags_)
        ImGui::PopItemFlag();
    while (g.StyleVarStack.Size > styleVars_)
        ImGui::PopStyleVar();
    while (g.FontStack.Size > fonts_)
        ImGui::PopFont();
    while (g.FocusScopeStack.Size > focusScopes_)
        ImGui::PopFocusScope();
    return lines;
}

} // namespace Lumenda3D
