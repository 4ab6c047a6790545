#include "chrome/TopBar.h"

#include "ui/LmdCommandRegistry.h"

#include <algorithm>
#include <cfloat>

namespace Lumenda3D {

namespace {
constexpr float kPlayWidth = 80.0f;
constexpr float kAccountWidth = 90.0f;
constexpr const char* kUntitled = "Untitled project";
} // namespace

TopBar::TopBar(const std::string& name) : BaseUI(name) {}

void TopBar::draw() {
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    ImGui::SetNextWindowPos(viewport->Pos);
    // As wide as the display; as high as its rows.
    ImGui::SetNextWindowSizeConstraints(ImVec2(viewport->Size.x, 0.0f), ImVec2(viewport->Size.x, FLT_MAX));
    const ImGuiWindowFlags flags = ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove |
                                   ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_AlwaysAutoResize |
                                   ImGuiWindowFlags_NoBringToFrontOnFocus | ImGuiWindowFlags_NoScrollWithMouse;
    ImGui::Begin("TopBar##topBar", nullptr, flags);

    if (auto menu = getElementByName("menu"))
        menu->draw();

    const float width = ImGui::GetWindowContentRegionMax().x;
    const float playLeft = (width - scaled(kPlayWidth)) * 0.5f;
    drawTitle(playLeft - ImGui::GetStyle().ItemSpacing.x - ImGui::GetCursorPosX());
    ImGui::SameLine(playLeft);
    drawPlayStop();
    drawAccount(width);

    calculateSize();
    ImGui::End();
}

void TopBar::drawTitle(float maxWidth) {
    ImGui::AlignTextToFramePadding();
    if (projectTitle_.empty()) {
        ImGui::TextDisabled("%s", kUntitled);
        recordItem(kTitleId);
        return;
    }
    // A long title is cut with "..." before it reaches the Play button; the whole of it shows on hover.
    const std::string shown = fitText(projectTitle_, std::max(maxWidth, 0.0f));
    ImGui::TextUnformatted(shown.c_str());
    recordItem(kTitleId);
    if (shown != projectTitle_ && ImGui::IsItemHovered())
        ImGui::SetTooltip("%s", projectTitle_.c_str());
}

void TopBar::drawPlayStop() {
    LmdCommandRegistry* commands = getCommands();
    const bool running = commands && commands->isEnabled(kStopCommand);
    const ImVec4 color = running ? ImVec4(0.70f, 0.22f, 0.20f, 1.0f) : ImVec4(0.20f, 0.55f, 0.28f, 1.0f);
    ImGui::PushStyleColor(ImGuiCol_Button, color);
    ImGui::PushStyleColor(ImGuiCol_ButtonHovered,
                          ImVec4(color.x * 1.2f, color.y * 1.2f, color.z * 1.2f, 1.0f));
    ImGui::PushStyleColor(ImGuiCol_ButtonActive, ImVec4(color.x * 0.8f, color.y * 0.8f, color.z * 0.8f, 1.0f));
    const bool clicked = button(running ? kStopLabel : kPlayLabel, ImVec2(scaled(kPlayWidth), 0.0f));
    ImGui::PopStyleColor(3);
    // Only a person may start the game from here (the command is person-only); agents have their
    // own tool for it.
    if (clicked && commands)
        commands->execute(running ? kStopCommand : kPlayCommand);
}

void TopBar::drawAccount(float rightEdge) {
    if (!onLogin_ && !onLogout_)
        return;
    const std::string user = userName_ ? userName_() : std::string();
    const float buttonWidth = scaled(kAccountWidth);
    const ImGuiStyle& style = ImGui::GetStyle();
    if (user.empty()) {
        ImGui::SameLine(rightEdge - buttonWidth);
        if (button(kLoginLabel, ImVec2(buttonWidth, 0.0f)) && onLogin_)
            onLogin_();
        return;
    }
    const std::string shown = fitText(user, scaled(160.0f));
    const float nameWidth = ImGui::CalcTextSize(shown.c_str()).x;
    ImGui::SameLine(rightEdge - buttonWidth - style.ItemSpacing.x - nameWidth);
    ImGui::AlignTextToFramePadding();
    ImGui::TextUnformatted(shown.c_str());
    ImGui::SameLine();
    if (button(kLogoutLabel, ImVec2(buttonWidth, 0.0f)) && onLogout_)
        onLogout_();
}

} // namespace Lumenda3D
