#pragma once
// The row of tabs under the top bar: "Scene" (the editable scene and its blocks) and "Source"
// (the game's XML text). A click asks the change callback first; when it answers false, the tab
// in front stays. While "Source" is in front, the tabs draw the source editor below themselves.
#include <functional>
#include <string>
#include <vector>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class Tabs : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "tabs";
    static constexpr const char* kScene = "Scene";
    static constexpr const char* kSource = "Source";

    explicit Tabs(const std::string& name = kName);

    void draw() override;

    // Told the name of the tab the user chose; returns whether the change may stand. May be empty
    // (every change stands).
    void setTabOnChangeCallback(std::function<bool(const std::string&)> callback) { onChange_ = std::move(callback); }

    const std::string& getCurrentTab() const { return current_; }
    bool isSourceTab() const { return current_ == kSource; }
    // Puts a tab in front without asking the callback (the editor's own switches, e.g. back to
    // "Scene" when a project is opened). Unknown names are ignored.
    void setCurrentTab(const std::string& tab);
    // As a click on the tab: asks the callback and returns whether the tab is now in front.
    bool selectTab(const std::string& tab);

    const std::vector<std::string>& getTabNames() const { return names_; }
    // The widget label of a tab, e.g. "Source##tabs".
    static std::string labelOf(const std::string& tab);

private:
    std::vector<std::string> names_{kScene, kSource};
    std::string current_ = kScene;
    std::function<bool(const std::string&)> onChange_;
};

} // namespace Lumenda3D
