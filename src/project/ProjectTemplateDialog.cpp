#include "project/ProjectTemplateDialog.h"

#include "project/ProjectPictures.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace Lumenda3D {

namespace {
constexpr float kWidth = 720.0f;
constexpr float kCardHeight = 86.0f;
constexpr int kColumns = 3;
constexpr size_t kVisibleRows = 3;

std::string stringField(const nlohmann::json& entry, const char* key) {
    const auto found = entry.find(key);
    return found != entry.end() && found->is_string() ? found->get<std::string>() : std::string();
}
} // namespace

ProjectTemplateDialog::ProjectTemplateDialog(const std::string& name) : ProjectDialog(name) {}

std::vector<ProjectTemplate> ProjectTemplateDialog::createDefaultTemplates() {
    return {
        {"empty", "Empty Project", "Start with a blank project", "/editor/data/6/0/pic.jpg", ""},
        {"simple", "Simple Project", "Start with a simple scene", "/editor/data/6/1/pic.jpg", ""},
        {"66812", "Guflepri", "An adventure game with Foxy", "/editor/data/6/8911/pic.jpg", ""},
        {"66840", "Volumetric Lighting Example", "Example project with volumetric lighting",
         "/files/volumetricLightingProjectPic.jpg", ""},
        {"66841", "Moving Spot Light Example", "Example project with moving spot light and volumetric lighting",
         "/files/movingSpotLightProjectPic.jpeg", ""},
        {"66842", "Multiple Lights Example", "Example project with multiple light sources",
         "/editor/data/6/46779/pic.jpg", ""},
        {"66843", "Terrain Example", "Example project showcasing terrain features", "/files/terrainProjectPic.jpeg",
         ""},
    };
}

bool ProjectTemplateDialog::parseTemplates(const std::string& json, std::vector<ProjectTemplate>& out) {
    const nlohmann::json parsed = nlohmann::json::parse(json, nullptr, false);
    if (!parsed.is_array())
        return false;
    out.clear();
    for (const nlohmann::json& entry : parsed) {
        if (!entry.is_object())
            continue;
        ProjectTemplate t{stringField(entry, "id"), stringField(entry, "name"), stringField(entry, "description"),
                          stringField(entry, "picture"), stringField(entry, "category")};
        if (t.id.empty())
            continue;
        if (t.name.empty())
            t.name = t.id;
        out.push_back(std::move(t));
    }
    return true;
}

void ProjectTemplateDialog::show() {
    ++round_;
    open_ = true;
    status_.clear();
    fetchProjectTemplates();
}

void ProjectTemplateDialog::fetchProjectTemplates() {
    templates_ = createDefaultTemplates();
    if (!fetcher_)
        return;
    loading_ = true;
    const int round = round_;
    std::weak_ptr<int> alive = alive_;
    fetcher_([this, round, alive](bool ok, const std::vector<ProjectTemplate>& templates, const std::string& error) {
        if (alive.expired() || round != round_)
            return;
        loading_ = false;
        // An empty list from the server would leave nothing to start from: the built-in one stays.
        if (ok && !templates.empty())
            templates_ = templates;
        else if (!ok)
            status_ = error;
    });
}

bool ProjectTemplateDialog::drawCard(const ProjectTemplate& t, float width) {
    const std::string label = cardLabel(t);
    const ImVec2 start = ImGui::GetCursorScreenPos();
    const bool clicked = ImGui::Button(label.c_str(), ImVec2(width, scaled(kCardHeight)));
    recordItem(label.c_str());
    // The card's picture (4:3) and text are drawn over the button, the text wrapped to its width.
    const ImGuiStyle& style = ImGui::GetStyle();
    ImDrawList* draw = ImGui::GetWindowDrawList();
    const float pictureHeight = scaled(kCardHeight) - style.FramePadding.y * 2.0f;
    const float pictureWidth = pictureHeight * 4.0f / 3.0f;
    const ImVec2 pictureAt(start.x + style.FramePadding.x, start.y + style.FramePadding.y);
    const float textLeft = style.FramePadding.x * 2.0f + pictureWidth;
    const float inner = std::max(1.0f, width - textLeft - style.FramePadding.x);
    const ImVec2 textPos(start.x + textLeft, start.y + style.FramePadding.y);
    const std::string name = fitText(t.name, inner);
    draw->AddText(textPos, ImGui::GetColorU32(ImGuiCol_Text), name.c_str());
    const float lineHeight = ImGui::GetTextLineHeightWithSpacing();
    draw->AddText(ImGui::GetFont(), ImGui::GetFontSize(), ImVec2(textPos.x, textPos.y + lineHeight),
                  ImGui::GetColorU32(ImGuiCol_TextDisabled), t.description.c_str(), nullptr, inner);
    ProjectPictures::drawAt(draw, pictures_ ? pictures_->remote(t.picture) : ThumbnailCache::Picture(), pictureAt,
                            ImVec2(pictureAt.x + pictureWidth, pictureAt.y + pictureHeight));
    if (ImGui::IsItemHovered() && !t.description.empty())
        ImGui::SetTooltip("%s", t.description.c_str());
    return clicked;
}

void ProjectTemplateDialog::draw() {
    if (!beginFrame(kTitle, kWidth))
        return;
    if (pictures_)
        pictures_->update();

    ImGui::TextUnformatted("Start a new project from a template.");
    if (loading_) {
        ImGui::SameLine();
        ImGui::TextDisabled("(loading the server's templates...)");
    }
    if (!status_.empty())
        ImGui::TextColored(ImVec4(1.0f, 0.45f, 0.4f, 1.0f), "%s", status_.c_str());
    ImGui::Spacing();

    // The cards stand in a child window of their own: it scrolls a long list, and gives the
    // pictures a draw list that the modal popup's dimmed background is not pushed into (the
    // overlay's renderer draws a list's commands in order and would shift them by that one).
    const ImGuiStyle& style = ImGui::GetStyle();
    const size_t rows = (templates_.size() + kColumns - 1) / kColumns;
    const float rowHeight = scaled(kCardHeight) + style.ItemSpacing.y;
    const float listHeight = rowHeight * static_cast<float>(std::min<size_t>(std::max<size_t>(rows, 1), kVisibleRows));
    const ProjectTemplate* chosen = nullptr;
    if (ImGui::BeginChild("##templateCards", ImVec2(0.0f, listHeight), false)) {
        const float width = (ImGui::GetContentRegionAvail().x - style.ItemSpacing.x * (kColumns - 1)) / kColumns;
        for (size_t i = 0; i < templates_.size(); ++i) {
            if (i % kColumns != 0)
                ImGui::SameLine();
            ImGui::PushID(static_cast<int>(i));
            if (drawCard(templates_[i], std::max(width, 1.0f)))
                chosen = &templates_[i];
            ImGui::PopID();
        }
    }
    ImGui::EndChild();
    ImGui::Spacing();
    const bool cancelled = cancelButton(kCancelLabel, 110.0f);

    ProjectTemplate selected;
    if (chosen)
        selected = *chosen;
    if (chosen || cancelled)
        open_ = false;
    endFrame();
    // After the popup is closed: the selection loads a document, and may open another dialog.
    if (chosen && onSelected_)
        onSelected_(selected);
}

} // namespace Lumenda3D
