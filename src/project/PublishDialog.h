#pragma once
// The Publish dialog: the game's description, its category and whether players may view its
// source, then "Publish" or "Cancel" (Escape). While the server is asked the dialog shows it and
// takes no second request; the editor hides it on success or writes the failure on its status
// line, where the person may try again.
#include <functional>
#include <string>

#include "project/ProjectDialog.h"

namespace Lumenda3D {

class PublishDialog : public ProjectDialog {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "publishDialog";
    static constexpr const char* kTitle = "Publish game###publishDialog";
    static constexpr const char* kDescriptionField = "##publishDescription";
    static constexpr const char* kCategoryField = "##publishCategory";
    static constexpr const char* kViewSourceLabel = "Players may view the source##publish";
    static constexpr const char* kPublishLabel = "Publish##publish";
    static constexpr const char* kCancelLabel = "Cancel##publish";

    // (description, category, viewSource, published)
    using OnPublish = std::function<void(const std::string&, const std::string&, bool, bool)>;

    explicit PublishDialog(const std::string& name = kName);

    void draw() override;

    void show(const std::string& description, const std::string& category, bool viewSource);
    void hide() { open_ = false; busy_ = false; }
    void setStatusMessage(const std::string& message) {
        status_ = message;
        busy_ = false;
    }
    void setOnPublish(OnPublish callback) { onPublish_ = std::move(callback); }

    bool isBusy() const { return busy_; }
    const std::string& getStatusMessage() const { return status_; }

private:
    bool focusDescription_ = false;
    bool busy_ = false;
    bool viewSource_ = true;
    std::string description_;
    std::string category_;
    std::string status_;
    OnPublish onPublish_;
};

} // namespace Lumenda3D
