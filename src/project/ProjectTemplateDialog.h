#pragma once
// The New Project dialog: a grid of templates to start a project from, each a card with its name
// and description. Clicking a card (or Enter on the chosen one) starts the project; Escape or
// "Cancel" leaves the empty project that is already open.
//
// The dialog opens with the built-in list and asks its fetcher for the server's list, which
// replaces it when it arrives; a failed fetch keeps the list it has and says so in the dialog.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "project/ProjectDialog.h"

namespace Lumenda3D {

struct ProjectTemplate {
    std::string id;           // where the document comes from: "empty", "simple" or a server id
    std::string name;
    std::string description;
    std::string picture;      // the picture's path on the server; "" for none
    std::string category;
};

class ProjectTemplateDialog : public ProjectDialog {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "projectTemplateDialog";
    static constexpr const char* kTitle = "New Project###projectTemplateDialog";
    static constexpr const char* kCancelLabel = "Cancel##projectTemplate";

    using FetchDone = std::function<void(bool ok, const std::vector<ProjectTemplate>& templates, const std::string& error)>;

    explicit ProjectTemplateDialog(const std::string& name = kName);

    void draw() override;

    // Opens the dialog with the built-in list and fetches the server's.
    void show();
    void hide() { open_ = false; }

    // The built-in list, shown until the server's arrives.
    static std::vector<ProjectTemplate> createDefaultTemplates();
    // The server's list from the answer of /api/templates.php (a JSON array); false when the
    // answer is not one. Entries without an id are left out.
    static bool parseTemplates(const std::string& json, std::vector<ProjectTemplate>& out);

    void setFetcher(std::function<void(FetchDone)> callback) { fetcher_ = std::move(callback); }
    void setOnTemplateSelected(std::function<void(const ProjectTemplate&)> callback) {
        onSelected_ = std::move(callback);
    }

    const std::vector<ProjectTemplate>& getTemplates() const { return templates_; }
    const std::string& getStatusMessage() const { return status_; }
    // The widget label of a template's card, for input that aims at it.
    static std::string cardLabel(const ProjectTemplate& t) { return "##templateCard" + t.id; }

private:
    void fetchProjectTemplates();
    bool drawCard(const ProjectTemplate& t, float width);

    bool loading_ = false;
    int round_ = 0;
    std::string status_;
    std::vector<ProjectTemplate> templates_;
    std::function<void(FetchDone)> fetcher_;
    std::function<void(const ProjectTemplate&)> onSelected_;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

} // namespace Lumenda3D
