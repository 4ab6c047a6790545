#pragma once
// The editor's main menu, drawn as a menu bar at the top of the top bar. The menu is a fixed tree
// (model()) whose leaves name commands of the registry: what an item does, whether it is enabled,
// whether it carries a tick and the shortcut it shows all come from its command, so the menu, the
// keyboard and the toolbar cannot disagree. An item whose command is not registered (a feature
// that is not in this editor yet) is shown greyed out and cannot be chosen.
//
// The tree is walked afresh every frame, so enabled rules, ticks and the level list are always
// current. One entry is not a command: the levels placeholder, which is replaced by one item per
// level of the document, ticked for the current one.
#include <functional>
#include <string>
#include <vector>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class Menu : public BaseUI {
public:
    // Its slot in AllUI; the top bar draws it.
    static constexpr const char* kName = "menu";
    // The entry replaced by the document's levels.
    static constexpr const char* kLevelsPlaceholder = "[Dynamic Levels]";

    struct MenuItem {
        std::string label;
        // The command chosen with the item; empty for a submenu, a separator or the levels.
        std::string command;
        std::vector<MenuItem> children;
        bool separator = false;

        static MenuItem item(std::string label, std::string command);
        static MenuItem submenu(std::string label, std::vector<MenuItem> children);
        static MenuItem Separator();
    };

    // The whole tree: File, Edit, Level, Project, View, Settings, Help.
    static const std::vector<MenuItem>& model();
    // The command ids the tree names, in order (for the editor to check what it registered).
    static std::vector<std::string> commandIds();

    explicit Menu(const std::string& name = kName);

    void draw() override;

    // The levels of the document, the current one, and what choosing one does. Each may be empty:
    // then the levels entry shows nothing.
    void setOnGetLevelNames(std::function<std::vector<std::string>()> callback) { levelNames_ = std::move(callback); }
    void setOnGetCurrentLevel(std::function<std::string()> callback) { currentLevel_ = std::move(callback); }
    void setOnSetLevel(std::function<void(const std::string&)> callback) { setLevel_ = std::move(callback); }

    // The label an item is recorded under for getItemRect: its path, "File/Save Project"; a level
    // item is "Level/<name>".
    static std::string itemKey(const std::string& parentPath, const std::string& label);

private:
    void drawItem(const MenuItem& item, const std::string& parentPath);
    void drawLevels(const std::string& parentPath);

    std::function<std::vector<std::string>()> levelNames_;
    std::function<std::string()> currentLevel_;
    std::function<void(const std::string&)> setLevel_;
};

} // namespace Lumenda3D
