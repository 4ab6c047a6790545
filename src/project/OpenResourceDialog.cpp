#include "project/OpenResourceDialog.h"

#include "project/ProjectPictures.h"

#include <memory>

namespace Lumenda3D {

namespace {
constexpr float kWidth = 520.0f;
constexpr float kListHeight = 240.0f;
constexpr float kButtonWidth = 110.0f;
constexpr float kPictureHeight = 36.0f;

bool isDigits(const std::string& text) {
    if (text.empty())
        return false;
    for (char c : text)
        if (c < '0' || c > '9')
            return false;
    return true;
}
} // namespace

OpenResourceDialog::OpenResourceDialog(const std::string& name) : ProjectDialog(name) {}

std::string OpenResourceDialog::cloudEntryLabel(const CloudProject& project) {
    return (project.name.empty() ? std::string("(unnamed)") : project.name) + "  #" + project.id + "##openCloud" +
           project.id;
}

void OpenResourceDialog::show() {
    ++round_;
    open_ = true;
    busy_ = false;
    status_.clear();
    chosenLocal_.clear();
    cloudId_.clear();
    localNames_ = localProjects_ ? localProjects_() : std::vector<std::string>();
    // A project saved since the last time may have a new thumbnail.
    if (pictures_)
        pictures_->clear();
    cloudPage_ = localNames_.empty();
    switchPage_ = true;
    requestCloudList();
}

void OpenResourceDialog::requestCloudList() {
    cloudProjects_.clear();
    cloudListStatus_.clear();
    if (!cloudLister_)
        return;
    cloudListLoading_ = true;
    const int round = round_;
    std::weak_ptr<int> alive = alive_;
    cloudLister_([this, round, alive](bool ok, const std::vector<CloudProject>& projects, const std::string& error) {
        if (alive.expired() || round != round_)
            return;
        cloudListLoading_ = false;
        if (ok)
            cloudProjects_ = projects;
        else
            cloudListStatus_ = error;
    });
}

void OpenResourceDialog::openChosen() {
    status_.clear();
    const int round = round_;
    std::weak_ptr<int> alive = alive_;
    Done done = [this, round, alive](const std::string& error) {
        if (alive.expired() || round != round_)
            return;
        busy_ = false;
        if (error.empty())
            open_ = false;
        else
            status_ = error;
    };
    if (!cloudPage_) {
        if (chosenLocal_.empty()) {
            status_ = "Choose a project from the list.";
            return;
        }
        if (!openLocal_)
            return;
        busy_ = true;
        openLocal_(chosenLocal_, std::move(done));
        return;
    }
    if (!isDigits(cloudId_)) {
        status_ = cloudId_.empty() ? "Choose a project from the list or enter its id."
                                   : "A project id is a number, as in the project's link.";
        return;
    }
    if (!openCloud_)
        return;
    busy_ = true;
    status_ = "Opening project " + cloudId_ + "...";
    openCloud_(cloudId_, std::move(done));
}

void OpenResourceDialog::draw() {
    // Closed between frames (a cloud project that finished opening): the popup goes too.
    if (!beginFrame(kTitle, kWidth))
        return;
    if (pictures_)
        pictures_->update();

    bool confirmed = false;
    if (busy_)
        ImGui::BeginDisabled();
    if (ImGui::BeginTabBar("##openResourcePages")) {
        const ImGuiTabItemFlags localFlags = switchPage_ && !cloudPage_ ? ImGuiTabItemFlags_SetSelected : 0;
        const ImGuiTabItemFlags cloudFlags = switchPage_ && cloudPage_ ? ImGuiTabItemFlags_SetSelected : 0;
        if (ImGui::BeginTabItem(kLocalTab, nullptr, localFlags)) {
            if (!switchPage_ && cloudPage_)
                status_.clear();
            if (!switchPage_)
                cloudPage_ = false;
            drawLocalPage(confirmed);
            ImGui::EndTabItem();
        }
        recordItem(kLocalTab);
        if (ImGui::BeginTabItem(kCloudTab, nullptr, cloudFlags)) {
            if (!switchPage_ && !cloudPage_)
                status_.clear();
            if (!switchPage_)
                cloudPage_ = true;
            drawCloudPage(confirmed);
            ImGui::EndTabItem();
        }
        recordItem(kCloudTab);
        ImGui::EndTabBar();
    }
    switchPage_ = false;
    if (busy_)
        ImGui::EndDisabled();

    drawStatus(status_, busy_);
    ImGui::Spacing();
    const Answer answer = buttonRow(kOpenLabel, kCancelLabel, kButtonWidth, busy_);
    confirmed = confirmed || answer.confirmed;

    if (answer.cancelled) {
        // An open on its way is abandoned: its answer finds a new round.
        ++round_;
        open_ = false;
    } else if (confirmed && !busy_) {
        openChosen();
    }
    endFrame();
}

void OpenResourceDialog::drawLocalPage(bool& confirmed) {
    if (localNames_.empty()) {
        ImGui::TextDisabled("No projects are saved on this computer yet.");
        return;
    }
    ImGui::BeginChild("##openLocalList", ImVec2(0.0f, scaled(kListHeight)), true);
    for (const std::string& name : localNames_) {
        const std::string label = localEntryLabel(name);
        if (drawEntry(label, chosenLocal_ == name, pictures_ ? pictures_->local(name) : ThumbnailCache::Picture())) {
            chosenLocal_ = name;
            if (ImGui::IsMouseDoubleClicked(0))
                confirmed = true;
        }
        recordItem(label.c_str());
    }
    ImGui::EndChild();
}

bool OpenResourceDialog::drawEntry(const std::string& label, bool selected, const ThumbnailCache::Picture& picture) {
    const float height = scaled(kPictureHeight);
    ProjectPictures::draw(picture, ImVec2(height * 4.0f / 3.0f, height));
    ImGui::SameLine();
    ImGui::PushStyleVar(ImGuiStyleVar_SelectableTextAlign, ImVec2(0.0f, 0.5f));
    const bool clicked =
        ImGui::Selectable(label.c_str(), selected, ImGuiSelectableFlags_AllowDoubleClick, ImVec2(0.0f, height));
    ImGui::PopStyleVar();
    return clicked;
}

void OpenResourceDialog::drawCloudPage(bool& confirmed) {
    ImGui::TextUnformatted("Project id");
    ImGui::SameLine();
    ImGui::SetNextItemWidth(scaled(180.0f));
    if (inputText(kIdField, cloudId_, ImGuiInputTextFlags_CharsDecimal | ImGuiInputTextFlags_EnterReturnsTrue))
        confirmed = true;
    ImGui::BeginChild("##openCloudList", ImVec2(0.0f, scaled(kListHeight)), true);
    if (cloudListLoading_)
        ImGui::TextDisabled("Loading your cloud projects...");
    else if (!cloudListStatus_.empty())
        ImGui::TextWrapped("%s", cloudListStatus_.c_str());
    else if (cloudProjects_.empty())
        ImGui::TextDisabled("No cloud projects.");
    for (const CloudProject& project : cloudProjects_) {
        const std::string label = cloudEntryLabel(project);
        const ThumbnailCache::Picture picture = pictures_ ? pictures_->remote(project.thumbnail) : ThumbnailCache::Picture();
        if (drawEntry(label, cloudId_ == project.id, picture)) {
            cloudId_ = project.id;
            if (ImGui::IsMouseDoubleClicked(0))
                confirmed = true;
        }
        recordItem(label.c_str());
    }
    ImGui::EndChild();
}

} // namespace Lumenda3D
