#pragma once
// The container of the editor's panels. It owns each panel by shared pointer under its element
// id, creates them in a fixed order, initialises them once all exist, and draws them in a fixed
// order, which is also their stacking order. After the top bar and the tabs it tells the engine
// how much of the view they cover, so that the 3D view starts below them.
//
// A panel that throws while drawing does not stop the others: its ImGui windows and scopes are
// closed, the remaining panels draw, and the first exception then leaves draw() for the editor's
// frame callback to report.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class TopBar;
class Tabs;
class SourceEditor;
class ErrorDialog;
class ToastNotification;
class RecoverFromCrashDialog;
class ConfirmDialog;

class AllUI : public BaseUI {
public:
    explicit AllUI(const std::string& name = "allUI");
    ~AllUI() override;

    // init() of every panel, in creation order.
    void init() override;
    void draw() override;

    std::shared_ptr<BaseUI> getElementByName(const std::string& name) const override;
    // Element ids in creation order.
    const std::vector<std::string>& getElementNames() const { return creationOrder_; }
    // Element ids in drawing order; "" marks where the top inset is reported.
    const std::vector<std::string>& getDrawOrder() const { return drawOrder_; }
    // Puts `panel` in the slot `name` (added at the end of the creation order when new), in place
    // of the panel there. A panel of another class than the slot's leaves that slot's typed getter
    // null. A null panel empties the slot.
    void setElement(const std::string& name, std::shared_ptr<BaseUI> panel);

    // Told (top, left) in pixels after the top bar and the tabs are drawn: the part of the view
    // they cover. Left is 0. May be empty.
    void setOnTopInset(std::function<void(float top, float left)> callback) { onTopInset_ = std::move(callback); }
    // The top inset of the last frame.
    float getTopInset() const { return topInset_; }

    std::shared_ptr<TopBar> getTopBar() const;
    std::shared_ptr<Tabs> getTabs() const;
    std::shared_ptr<SourceEditor> getSourceEditor() const;
    std::shared_ptr<ErrorDialog> getErrorDialog() const;
    std::shared_ptr<ToastNotification> getToastNotification() const;
    std::shared_ptr<RecoverFromCrashDialog> getRecoverFromCrashDialog() const;
    std::shared_ptr<ConfirmDialog> getConfirmDialog() const;

private:
    void add(const std::string& name, std::shared_ptr<BaseUI> panel);
    void reportTopInset();

    std::map<std::string, std::shared_ptr<BaseUI>> panels_;
    std::vector<std::string> creationOrder_;
    std::vector<std::string> drawOrder_;
    std::function<void(float, float)> onTopInset_;
    float topInset_ = 0.0f;
};

} // namespace Lumenda3D
