// The main menu: its items run the registry's commands once per click, items whose command is
// disabled cannot be chosen, one without a command does nothing, switches follow their command's state, and the level
// entry lists the document's levels.
#include "PanelTestSupport.h"

#include "chrome/Menu.h"
#include "ui/AllUI.h"
#include "ui/LmdCommandRegistry.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class MenuTest : public PanelTest {
protected:
    MenuTest() {
        all->setCommands(&commands);
        all->setElement(Menu::kName, menuPtr);
    }

    // Opens the top-level menu `top` (and the submenu `sub` inside it, when given) and clicks the
    // item `label` there.
    void choose(const std::string& top, const std::string& label, const std::string& sub = "") {
        clickItem(menu, top, draw);
        std::string path = top;
        if (!sub.empty()) {
            path = Menu::itemKey(top, sub);
            // A submenu opens when the pointer rests on it.
            ui.frame(draw);
            const ImVec2 at = menu.getItemCenter(path);
            ASSERT_GE(at.x, 0.0f) << path << " is not drawn";
            ui.moveMouse(at.x, at.y);
            for (int i = 0; i < 4; ++i)
                ui.frame(draw);
        }
        ui.frame(draw);
        const std::string key = Menu::itemKey(path, label);
        const ImVec2 at = menu.getItemCenter(key);
        ASSERT_GE(at.x, 0.0f) << key << " is not drawn";
        ui.click(at.x, at.y, draw);
    }

    std::function<void()> draw = [this] { menu.draw(); };
    LmdCommandRegistry commands;
    std::shared_ptr<AllUI> all = std::make_shared<AllUI>();
    std::shared_ptr<Menu> menuPtr = std::make_shared<Menu>();
    Menu& menu = *menuPtr;
};

TEST(MenuModelTest, EveryItemNamesACommandOfItsOwn) {
    const std::vector<std::string> ids = Menu::commandIds();
    const std::set<std::string> distinct(ids.begin(), ids.end());
    EXPECT_EQ(distinct.size(), ids.size()) << "two items share a command";
    // The keys people use everywhere are on items of the menu.
    for (const char* id : {"file.saveProject", "file.saveProjectAs", "file.openProject", "file.newProject",
                           "edit.undo", "edit.redo", "file.exit", "settings.autoSave"})
        EXPECT_TRUE(distinct.count(id)) << id;
}

TEST_F(MenuTest, AnEnabledItemRunsItsCommandOncePerClick) {
    int saves = 0;
    commands.add({"file.saveProject", "Save Project", {"Ctrl+S"}, {}, "", [&] { ++saves; }});
    choose("File", "Save Project");
    EXPECT_EQ(saves, 1);
    // The menu closed with the click: the item is gone until the menu is opened again.
    ui.frame(draw);
    EXPECT_FALSE(isDrawn(menu, "File/Save Project"));
}

TEST_F(MenuTest, DisabledCommandsCannotBeChosenAndItemsWithoutOneDoNothing) {
    int saves = 0, runs = 0;
    bool pluginOpen = true;
    commands.add({"file.saveProject", "Save Project", {}, [&] { return !pluginOpen; }, "", [&] { ++saves; }});
    choose("File", "Save Project");
    EXPECT_EQ(saves, 0);
    // A greyed-out item keeps its menu open when clicked.
    ui.frame(draw);
    EXPECT_TRUE(isDrawn(menu, "File/Save Project"));
    // "Cut" has no command in this registry: enabled, so the click closes the menu, and nothing
    // runs and nothing breaks.
    commands.add({"level.run", "Run", {}, {}, "", [&] { ++runs; }});
    choose("Edit", "Cut");
    EXPECT_EQ(runs, 0);
    ui.frame(draw);
    EXPECT_FALSE(isDrawn(menu, "Edit/Cut"));
    // Once the rule allows it the same item works.
    pluginOpen = false;
    choose("File", "Save Project");
    EXPECT_EQ(saves, 1);
}

TEST_F(MenuTest, SwitchesFlipThroughTheirCommands) {
    bool autoSave = true;
    LmdCommand command{"settings.autoSave", "Auto-save", {}, {}, "", [&] { autoSave = !autoSave; }};
    command.checked = [&] { return autoSave; };
    ASSERT_TRUE(commands.add(std::move(command)));
    EXPECT_TRUE(commands.isChecked("settings.autoSave"));
    choose("Settings", "Auto-save");
    EXPECT_FALSE(autoSave);
    EXPECT_FALSE(commands.isChecked("settings.autoSave"));
    choose("Settings", "Auto-save");
    EXPECT_TRUE(autoSave);
}

TEST_F(MenuTest, ItemsInsideSubmenusAreReached) {
    int type = 0;
    commands.add({"view.gizmo.rotate", "Rotate", {}, {}, "", [&] { type = 1; }});
    choose("View", "Rotate", "Gizmo");
    EXPECT_EQ(type, 1);
}

TEST_F(MenuTest, TheLevelEntryListsTheLevelsAndSwitchesToTheChosenOne) {
    std::vector<std::string> levels = {"Intro", "Cave"};
    std::string current = "Intro";
    menu.setOnGetLevelNames([&] { return levels; });
    menu.setOnGetCurrentLevel([&] { return current; });
    menu.setOnSetLevel([&](const std::string& level) { current = level; });
    choose("Level", "Cave");
    EXPECT_EQ(current, "Cave");
    // Without levels nothing stands between the separators, and the placeholder is never shown.
    levels.clear();
    clickItem(menu, "Level", draw);
    ui.frame(draw);
    EXPECT_FALSE(isDrawn(menu, "Level/Cave"));
    EXPECT_FALSE(isDrawn(menu, std::string("Level/") + Menu::kLevelsPlaceholder));
}

} // namespace
