#include "chrome/AboutDialog.h"

#include <OgrePrerequisites.h>
#include <imgui.h>

#include "base/LmdPaths.h"
#include "base/LmdVersion.h"

namespace Lumenda3D {

namespace {
constexpr float kWidth = 440.0f;
} // namespace

AboutDialog::AboutDialog(const std::string& name) : BaseUI(name) {}

std::string AboutDialog::heading() {
    return std::string(LmdVersion::productName()) + " " + LmdVersion::text();
}

void AboutDialog::draw() {
    if (!beginModalWhileOpen(kTitle, kWidth, open_, shown_))
        return;
    ImGui::TextUnformatted(heading().c_str());
    ImGui::TextUnformatted("Build 3D games without writing code.");
    ImGui::Spacing();
    ImGui::Text("Built on OGRE %d.%d.%d and Dear ImGui %s.", OGRE_VERSION_MAJOR, OGRE_VERSION_MINOR,
                OGRE_VERSION_PATCH, IMGUI_VERSION);
    ImGui::Spacing();
    ImGui::TextUnformatted("Projects:");
    ImGui::SameLine();
    ImGui::TextWrapped("%s", LmdPaths::projectsDir().c_str());
    ImGui::TextUnformatted("Settings:");
    ImGui::SameLine();
    ImGui::TextWrapped("%s", LmdPaths::configDir().c_str());
    ImGui::Spacing();
    if (button(kOkLabel, ImVec2(scaled(110.0f), 0.0f)) || keyPressedOnce(ImGuiKey_Enter) ||
        keyPressedOnce(ImGuiKey_Escape)) {
        open_ = false;
        shown_ = false;
        ImGui::CloseCurrentPopup();
    }
    ImGui::EndPopup();
}

} // namespace Lumenda3D
