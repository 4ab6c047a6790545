#pragma once
// The Open Project dialog. Two pages: "This computer", the local projects by name, and "Cloud",
// the logged-in person's cloud projects and a field for a project id (as a shared link gives it).
// A double click, Enter or "Open" opens the chosen project; Escape or "Cancel" closes the dialog.
//
// The dialog knows no storage: it asks its callbacks for the lists and to open a project. Opening
// a cloud project and loading the cloud list take time: the dialog shows the progress, keeps
// working meanwhile, and takes the answer whenever it comes. A failure is written in the dialog,
// which stays open; a success closes it.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "project/ProjectDialog.h"
#include "ui/ThumbnailCache.h"

namespace Lumenda3D {

class OpenResourceDialog : public ProjectDialog {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "openResourceDialog";
    static constexpr const char* kTitle = "Open Project###openResourceDialog";
    static constexpr const char* kLocalTab = "This computer##openResource";
    static constexpr const char* kCloudTab = "Cloud##openResource";
    static constexpr const char* kIdField = "##openResourceId";
    static constexpr const char* kOpenLabel = "Open##openResource";
    static constexpr const char* kCancelLabel = "Cancel##openResource";

    struct CloudProject {
        std::string id;
        std::string name;
        std::string thumbnail;  // the picture's address on the server; "" for none
    };
    // The outcome of opening: "" when it worked, else the reason in the person's words.
    using Done = std::function<void(const std::string& error)>;
    using CloudListDone = std::function<void(bool ok, const std::vector<CloudProject>& projects, const std::string& error)>;

    explicit OpenResourceDialog(const std::string& name = kName);

    void draw() override;

    // Opens on the local page when there are local projects, else on the cloud page; the lists
    // are asked for afresh.
    void show();
    void hide() { open_ = false; }

    // The names of the local projects.
    void setLocalProjects(std::function<std::vector<std::string>()> callback) { localProjects_ = std::move(callback); }
    // Asks for the cloud list; the answer may come later.
    void setCloudLister(std::function<void(CloudListDone)> callback) { cloudLister_ = std::move(callback); }
    void setOnOpenLocal(std::function<void(const std::string& name, Done)> callback) { openLocal_ = std::move(callback); }
    void setOnOpenCloud(std::function<void(const std::string& id, Done)> callback) { openCloud_ = std::move(callback); }

    bool isBusy() const { return busy_; }
    bool isCloudPage() const { return cloudPage_; }
    const std::string& getStatusMessage() const { return status_; }
    const std::vector<std::string>& getLocalNames() const { return localNames_; }
    const std::vector<CloudProject>& getCloudProjects() const { return cloudProjects_; }
    // The widget label of a list entry, for input that aims at it.
    static std::string localEntryLabel(const std::string& name) { return name + "##openLocal"; }
    static std::string cloudEntryLabel(const CloudProject& project);

private:
    void drawLocalPage(bool& confirmed);
    void drawCloudPage(bool& confirmed);
    // A list entry: the picture, then the selectable name beside it.
    bool drawEntry(const std::string& label, bool selected, const ThumbnailCache::Picture& picture);
    void openChosen();
    void requestCloudList();

    bool cloudPage_ = false;
    bool switchPage_ = false;
    bool busy_ = false;
    bool cloudListLoading_ = false;
    // Answers of an earlier show() are not this one's: each show() starts a new round.
    int round_ = 0;
    // Answers that arrive after the dialog is gone find this expired.
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
    std::string status_;
    std::string cloudListStatus_;
    std::vector<std::string> localNames_;
    std::vector<CloudProject> cloudProjects_;
    std::string chosenLocal_;
    std::string cloudId_;
    std::function<std::vector<std::string>()> localProjects_;
    std::function<void(CloudListDone)> cloudLister_;
    std::function<void(const std::string&, Done)> openLocal_;
    std::function<void(const std::string&, Done)> openCloud_;
};

} // namespace Lumenda3D
