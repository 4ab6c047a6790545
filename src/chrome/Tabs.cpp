#include "chrome/Tabs.h"

#include <algorithm>
#include <cfloat>

namespace Lumenda3D {

namespace {
constexpr float kTabWidth = 100.0f;
} // namespace

Tabs::Tabs(const std::string& name) : BaseUI(name) {}

std::string Tabs::labelOf(const std::string& tab) { return tab + "##tabs"; }

void Tabs::setCurrentTab(const std::string& tab) {
    if (std::find(names_.begin(), names_.end(), tab) != names_.end())
        current_ = tab;
}

bool Tabs::selectTab(const std::string& tab) {
    if (std::find(names_.begin(), names_.end(), tab) == names_.end())
        return false;
    if (tab == current_)
        return true;
    if (onChange_ && !onChange_(tab))
        return false;
    current_ = tab;
    return true;
}

void Tabs::draw() {
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    float top = viewport->Pos.y;
    if (auto topBar = getElementByName("topBar"))
        top = std::max(top, topBar->getBottom());
    ImGui::SetNextWindowPos(ImVec2(viewport->Pos.x, top));
    ImGui::SetNextWindowSizeConstraints(ImVec2(viewport->Size.x, 0.0f), ImVec2(viewport->Size.x, FLT_MAX));
    const ImGuiWindowFlags flags = ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove |
                                   ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_AlwaysAutoResize |
                                   ImGuiWindowFlags_NoBringToFrontOnFocus | ImGuiWindowFlags_NoScrollWithMouse;
    ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(scaled(6.0f), scaled(3.0f)));
    ImGui::Begin("Tabs##tabs", nullptr, flags);
    ImGui::PopStyleVar();

    std::string chosen;
    for (size_t i = 0; i < names_.size(); ++i) {
        if (i > 0)
            ImGui::SameLine(0.0f, scaled(2.0f));
        const std::string label = labelOf(names_[i]);
        if (tabButton(label.c_str(), names_[i] == current_, ImVec2(scaled(kTabWidth), 0.0f)))
            chosen = names_[i];
    }
    calculateSize();
    ImGui::End();

    // The change runs after the window is closed: the callback may load a whole document.
    if (!chosen.empty())
        selectTab(chosen);

    if (current_ == kSource) {
        if (auto sourceEditor = getElementByName("sourceEditor"))
            sourceEditor->draw();
    }
}

} // namespace Lumenda3D
