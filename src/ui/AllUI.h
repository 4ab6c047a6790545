#pragma once
// The container of the editor's panels. It knows the slots the editor's panels go into (their
// element ids) in the order they are created, and the fixed order in which they are drawn, which
// is also their stacking order. It does not know the panels themselves: each feature puts its
// panels into their slots with setElement, from a registration function in its own folder that
// the editor's setup calls (see docs/architecture.md). A slot nobody filled is skipped.
//
// It initialises the panels once all exist, in slot order, and after the top bar and the tabs it
// tells the engine how much of the view they cover, so that the 3D view starts below them.
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

class LmdCommandRegistry;

class AllUI : public BaseUI {
public:
    // One step of drawing: a slot's draw(), the report of the top inset, or the touch layout's
    // floating button overlay of the palette (drawMobileFabOverlay).
    struct DrawStep {
        enum class Kind { Panel, TopInset, MobileFabOverlay };
        enum class Layout { Any, Mobile, Desktop };
        Kind kind = Kind::Panel;
        const char* slot = "";
        Layout layout = Layout::Any;
    };

    // Slot names in creation order ("addLevelDialog", ..., "assetLibraryPanel").
    static const std::vector<std::string>& slotNames();
    // The drawing order of the slots, for both layouts.
    static const std::vector<DrawStep>& drawSteps();

    explicit AllUI(const std::string& name = "allUI");
    ~AllUI() override;

    // init() of every panel, in creation order. A panel whose init throws does not stop the
    // others: it is taken out of its slot (a panel that is not set up is not drawn either), and
    // its slot name and the exception's text come back, one line each (none when all went well).
    // init() logs those lines.
    void init() override;
    std::vector<std::string> initPanels();
    void draw() override;

    std::shared_ptr<BaseUI> getElementByName(const std::string& name) const override;
    // Element ids of the panels present, in creation order: the known slots first, then other
    // names in the order they were set.
    std::vector<std::string> getElementNames() const;
    // Element ids in the drawing order of the current layout; "" marks where the top inset is
    // reported, "<slot>:fab" the palette's floating button overlay.
    std::vector<std::string> getDrawOrder() const;
    // Puts `panel` in the slot `name`, in place of the panel there; a null panel empties the
    // slot. A name that is not a known slot is kept (found by name, initialised) but not drawn.
    void setElement(const std::string& name, std::shared_ptr<BaseUI> panel);

    // The commands the menu, the keyboard and the toolbar share; set by the editor.
    void setCommands(LmdCommandRegistry* commands) { commands_ = commands; }
    LmdCommandRegistry* getCommands() const override { return commands_; }

    // Told (top, left) in pixels after the top bar and the tabs are drawn: the part of the view
    // they cover. Left is 0. May be empty.
    void setOnTopInset(std::function<void(float top, float left)> callback) { onTopInset_ = std::move(callback); }
    // The top inset of the last frame.
    float getTopInset() const { return topInset_; }

private:
    void reportTopInset();
    void drawStep(const std::string& slot, bool fabOverlay, std::exception_ptr& firstError);

    std::map<std::string, std::shared_ptr<BaseUI>> panels_;
    std::vector<std::string> extraNames_;  // names outside the known slots, in the order set
    std::function<void(float, float)> onTopInset_;
    float topInset_ = 0.0f;
    LmdCommandRegistry* commands_ = nullptr;
};

} // namespace Lumenda3D
