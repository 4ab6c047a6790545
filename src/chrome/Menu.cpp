#include "chrome/Menu.h"

#include "ui/LmdCommandRegistry.h"

namespace Lumenda3D {

Menu::MenuItem Menu::MenuItem::item(std::string label, std::string command) {
    MenuItem made;
    made.label = std::move(label);
    made.command = std::move(command);
    return made;
}

Menu::MenuItem Menu::MenuItem::submenu(std::string label, std::vector<MenuItem> children) {
    MenuItem made;
    made.label = std::move(label);
    made.children = std::move(children);
    return made;
}

Menu::MenuItem Menu::MenuItem::Separator() {
    MenuItem made;
    made.separator = true;
    return made;
}

const std::vector<Menu::MenuItem>& Menu::model() {
    using I = MenuItem;
    static const std::vector<MenuItem> tree = {
        I::submenu("File", {I::item("New Project", "file.newProject"),
                            I::item("Open Project", "file.openProject"),
                            I::item("Recover Last Auto Save", "file.recoverLastAutoSave"),
                            I::item("Save Project", "file.saveProject"),
                            I::item("Save Project As...", "file.saveProjectAs"),
                            I::item("Save Project As Plugin...", "file.saveProjectAsPlugin"),
                            I::item("Rename Project", "file.renameProject"),
                            I::Separator(),
                            I::item("New Plugin", "file.newPlugin"),
                            I::item("Open Plugin", "file.openPlugin"),
                            I::item("Save Plugin", "file.savePlugin"),
                            I::item("Save Plugin As...", "file.savePluginAs"),
                            I::item("Save Plugin As Project...", "file.savePluginAsProject"),
                            I::item("Rename Plugin", "file.renamePlugin"),
                            I::Separator(),
                            I::item("Close", "file.close"),
                            I::item("Exit", "file.exit")}),
        I::submenu("Edit", {I::item("Undo", "edit.undo"),
                            I::item("Redo", "edit.redo"),
                            I::Separator(),
                            I::item("Cut", "edit.cut"),
                            I::item("Copy", "edit.copy"),
                            I::item("Paste", "edit.paste"),
                            I::Separator(),
                            I::item("Delete", "edit.delete"),
                            I::item("Select All", "edit.selectAll"),
                            I::Separator(),
                            I::item("Find/Replace", "edit.findReplace"),
                            I::item("Find Next", "edit.findNext")}),
        I::submenu("Level", {I::item("Run", "level.run"),
                             I::item("Stop", "level.stop"),
                             I::item("Pause", "level.pause"),
                             I::item("Rewind", "level.rewind"),
                             I::Separator(),
                             I::item(kLevelsPlaceholder, ""),
                             I::Separator(),
                             I::item("Add Level...", "level.addLevel")}),
        I::submenu("Project", {I::item("Publish", "project.publish"),
                               I::item("Unpublish", "project.unpublish"),
                               I::Separator(),
                               I::item("Linux Export (tar.gz)", "project.exportLinux"),
                               I::item("Windows Export (EXE)", "project.exportWindows"),
                               I::item("Web export", "project.exportWeb"),
                               I::item("Android Export (APK)", "project.exportAndroid")}),
        I::submenu("View", {I::item("Show 2D", "view.show2D"),
                            I::item("Show Lights", "view.showLights"),
                            I::item("AI Panel", "view.aiPanel"),
                            I::item("Show storage usage", "view.storageUsage"),
                            I::Separator(),
                            I::item("Bottom Bar", "view.bottomBar"),
                            I::item("Top Bar", "view.topBar"),
                            I::item("Left Bar", "view.leftBar"),
                            I::item("Right Bar", "view.rightBar"),
                            I::Separator(),
                            I::submenu("Gizmo", {I::item("Move", "view.gizmo.move"),
                                                 I::item("Rotate", "view.gizmo.rotate"),
                                                 I::item("Scale", "view.gizmo.scale"),
                                                 I::item("Copy", "view.gizmo.copy"),
                                                 I::item("Smart Copy", "view.gizmo.smartCopy"),
                                                 I::item("Vertex", "view.gizmo.vertex")})}),
        I::submenu("Settings", {I::item("Smart Copy auto scale", "settings.smartCopyAutoScale"),
                                I::item("Auto-save", "settings.autoSave"),
                                I::item("Select sub-objects by default", "settings.selectSubObjects"),
                                I::item("Graphics Settings...", "settings.graphics"),
                                I::item("AI Settings...", "settings.ai"),
                                I::item("MCP Server (AI Agents)...", "settings.mcp"),
                                I::submenu("Antialiasing", {I::item("None", "settings.antialiasing.0"),
                                                            I::item("2x", "settings.antialiasing.2"),
                                                            I::item("4x", "settings.antialiasing.4"),
                                                            I::item("8x", "settings.antialiasing.8")}),
                                I::item("Clear Cache...", "settings.clearCache")}),
        I::submenu("Help", {I::item("Check for Updates...", "help.checkForUpdates"),
                            I::item("About", "help.about")}),
    };
    return tree;
}

namespace {

void collectCommands(const std::vector<Menu::MenuItem>& items, std::vector<std::string>& out) {
    for (const Menu::MenuItem& item : items) {
        if (!item.command.empty())
            out.push_back(item.command);
        collectCommands(item.children, out);
    }
}

} // namespace

std::vector<std::string> Menu::commandIds() {
    std::vector<std::string> ids;
    collectCommands(model(), ids);
    return ids;
}

std::string Menu::itemKey(const std::string& parentPath, const std::string& label) {
    return parentPath.empty() ? label : parentPath + "/" + label;
}

Menu::Menu(const std::string& name) : BaseUI(name) {}

void Menu::draw() {
    const float ratio = getDpiScale();
    const float height = ratio > 1.0f ? 20.0f * ratio : 20.0f;
    ImGui::BeginChild("Menu", ImVec2(0.0f, height), true, ImGuiWindowFlags_MenuBar);
    if (ImGui::BeginMenuBar()) {
        for (const MenuItem& item : model())
            drawItem(item, "");
        ImGui::EndMenuBar();
    }
    calculateSize();
    ImGui::EndChild();
}

void Menu::drawItem(const MenuItem& item, const std::string& parentPath) {
    if (item.separator) {
        ImGui::Separator();
        return;
    }
    if (item.command.empty() && item.label == kLevelsPlaceholder) {
        drawLevels(parentPath);
        return;
    }
    const std::string key = itemKey(parentPath, item.label);
    if (!item.children.empty()) {
        const bool open = ImGui::BeginMenu(item.label.c_str());
        recordItem(key.c_str());
        if (open) {
            for (const MenuItem& child : item.children)
                drawItem(child, key);
            ImGui::EndMenu();
        }
        return;
    }
    LmdCommandRegistry* commands = getCommands();
    const LmdCommand* command = commands ? commands->find(item.command) : nullptr;
    // An item without a command of its own is shown enabled and does nothing when chosen (Cut,
    // Find, the plugins' New and Open): the menu keeps its full, fixed shape.
    const bool enabled = !command || commands->isEnabled(item.command);
    const bool checked = command && commands->isChecked(item.command);
    const char* shortcut = command && !command->shortcuts.empty() ? command->shortcuts.front().c_str() : nullptr;
    // An item greyed out by BeginDisabled cannot be chosen: MenuItem returns false for it.
    if (!enabled)
        ImGui::BeginDisabled();
    const bool chosen = ImGui::MenuItem(item.label.c_str(), shortcut, checked, enabled);
    recordItem(key.c_str());
    if (!enabled)
        ImGui::EndDisabled();
    if (chosen && command)
        commands->execute(item.command);
}

void Menu::drawLevels(const std::string& parentPath) {
    if (!levelNames_)
        return;
    const std::string current = currentLevel_ ? currentLevel_() : std::string();
    for (const std::string& level : levelNames_()) {
        ImGui::PushID(level.c_str());
        const bool chosen = ImGui::MenuItem(level.c_str(), nullptr, level == current);
        ImGui::PopID();
        recordItem(itemKey(parentPath, level).c_str());
        if (chosen && setLevel_)
            setLevel_(level);
    }
}

} // namespace Lumenda3D
