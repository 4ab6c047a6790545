// The main menu's side of the editor: every menu item the editor can carry out is a command of the
// registry (the menu draws them, the keyboard reaches them by their shortcuts), and the project
// operations the File menu starts: save, close, exit, the auto-save switch.
#include "core/Lumenda3DEditor.h"

#include "base/LmdLog.h"
#include "blocks/BlocksHelper.h"
#include "ui/ConfirmDialog.h"
#include "chrome/Menu.h"
#include "chrome/TopBar.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/gizmo/LmdGizmo.h"
#include "ai/AIChatPanel.h"
#include "ai/AISettingsDialog.h"
#include "mcp/McpSettingsDialog.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "services/EditorSettings.h"
#include "services/LmdAutoUpdater.h"
#include "ui/AllUI.h"

#include <OgreRoot.h>

namespace Lumenda3D {

namespace {
constexpr const char* kSelectSubObjectsSetting = "selectSubObjectsByDefault";
constexpr const char* kAutoSaveSetting = "autoSaveEnabled";
constexpr const char* kSmartCopyAutoScaleSetting = "smartCopyAutoScale";
} // namespace

void Lumenda3DEditor::setupMenuCallbacks() {
    auto plugin = [this] { return isPluginOpen(); };

    // File. Save As, the plugin conversions, renaming, New and Open join with their dialogs.
    commands.add({"file.recoverLastAutoSave", "Recover Last Auto Save", {}, [this] { return hasDismissedSnapshot; },
                  "", [this] { recoverLastAutoSave(); }});
    commands.add({"file.saveProject", "Save Project", {"Ctrl+S"}, [plugin] { return !plugin(); }, "",
                  [this] { onMenuSaveProject(); }});
    commands.add({"file.savePlugin", "Save Plugin", {}, plugin, "", [this] { onMenuSaveProject(); }});
    commands.add({"file.close", "Close", {}, {}, "", [this] { onMenuCloseProject(); }});
    commands.add({"file.exit", "Exit", {}, {}, "", [this] { confirmAndExit(); }});

    // Edit: undo and redo are registered with the editor's own commands. Copy and Paste here are
    // the whole document's text through the clipboard; Ctrl+C and Ctrl+V act on the selected
    // scene object (edit.copyObject, edit.pasteObject).
    commands.add({"edit.copy", "Copy", {}, {}, "", [this] { editorCopy(false); }});
    commands.add({"edit.paste", "Paste", {}, [this] { return sourceFiles != nullptr && !isRunning(); }, "",
                  [this] { editorPaste(false, false, ImVec2(0.0f, 0.0f)); }});

    // Level: Run starts the game like the top bar's Play, but without the agent guard.
    commands.add({"level.run", "Run", {}, [this] { return !isRunning(); }, "", [this] { play(); }});
    commands.add({"level.stop", "Stop", {}, [this] { return isRunning(); }, "", [this] { stop(nullptr); }});

    // View: the gizmo's mode.
    static const char* const kGizmoCommands[] = {"view.gizmo.move",  "view.gizmo.rotate",    "view.gizmo.scale",
                                                 "view.gizmo.copy",  "view.gizmo.smartCopy", "view.gizmo.vertex"};
    static const char* const kGizmoLabels[] = {"Move", "Rotate", "Scale", "Copy", "Smart Copy", "Vertex"};
    for (int type = 0; type < 6; ++type) {
        LmdCommand command{kGizmoCommands[type], kGizmoLabels[type], {}, [this] { return getGizmo() != nullptr; }, "",
                           [this, type] {
                               if (auto gizmo = getGizmo())
                                   gizmo->setGizmoType(type);
                           }};
        command.checked = [this, type] {
            auto gizmo = getGizmo();
            return (gizmo ? gizmo->getGizmoType() : 0) == type;
        };
        commands.add(std::move(command));
    }

    // Settings.
    LmdCommand autoSave{"settings.autoSave", "Auto-save", {}, {}, "", [this] {
                            setAutoSaveFromMenu(!(sourceFiles && sourceFiles->autoSaver().isEnabled()));
                        }};
    autoSave.checked = [this] { return sourceFiles && sourceFiles->autoSaver().isEnabled(); };
    commands.add(std::move(autoSave));
    // Smart copies alternately a little taller and shorter; kept in the settings.
    LmdCommand autoScale{"settings.smartCopyAutoScale", "Smart Copy auto scale", {},
                         [this] { return blocksHelper != nullptr; }, "", [this] {
                             const bool enabled = !blocksHelper->getSmartCopyAutoScale();
                             blocksHelper->setSmartCopyAutoScale(enabled);
                             EditorSettings::getInstance().setBool(kSmartCopyAutoScaleSetting, enabled);
                         }};
    autoScale.checked = [this] { return blocksHelper && blocksHelper->getSmartCopyAutoScale(); };
    commands.add(std::move(autoScale));
    if (blocksHelper)
        blocksHelper->setSmartCopyAutoScale(EditorSettings::getInstance().getBool(kSmartCopyAutoScaleSetting, false));
    LmdCommand subObjects{"settings.selectSubObjects", "Select sub-objects by default", {}, {}, "",
                          [this] { toggleSelectSubObjectsByDefault(); }};
    subObjects.checked = [] { return EditorSettings::getInstance().getBool(kSelectSubObjectsSetting, false); };
    commands.add(std::move(subObjects));
    runGuarded("selectSubObjectsByDefault", [&] {
        if (auto gizmo = getGizmo())
            gizmo->setPickChildObjectsByDefault(
                EditorSettings::getInstance().getBool(kSelectSubObjectsSetting, false));
    });

    // The agent server's settings: only a person may open them (an agent must not grant itself
    // rights).
    commands.add({"settings.mcp", "MCP Server (AI Agents)...", {}, {}, "open MCP settings", [this] {
                      if (auto dialog = allUI ? allUI->getPanel<McpSettingsDialog>() : nullptr)
                          dialog->show();
                  }});

    // The assistant: its settings hold the user's API keys, so only a person opens them; the panel
    // is shown or hidden with the "showAiPanel" setting (opening it also expands it).
    commands.add({"settings.ai", "AI Settings...", {}, {}, "open AI settings", [this] {
                      if (auto dialog = allUI ? allUI->getPanel<AISettingsDialog>() : nullptr)
                          dialog->show();
                  }});
    LmdCommand aiPanel{"view.aiPanel", "AI Panel", {}, {}, "", [this] {
                           const bool show = !EditorSettings::getInstance().getBool("showAiPanel", true);
                           EditorSettings::getInstance().setBool("showAiPanel", show);
                           if (show && aiChatPanel)
                               aiChatPanel->setCollapsed(false);
                       }};
    aiPanel.checked = [] { return EditorSettings::getInstance().getBool("showAiPanel", true); };
    commands.add(std::move(aiPanel));

    // Help.
    commands.add({"help.checkForUpdates", "Check for Updates...", {}, {}, "",
                  [] { LmdAutoUpdater::getInstance().checkForUpdatesManual(); }});
    // Settings > Clear Cache... and Help > About.
    setupCacheAndAboutCommands();

    // The account button of the top bar: a login when nobody is logged in.
    if (!allUI)
        return;
    if (auto bar = allUI->getPanel<TopBar>()) {
        bar->setOnLogin([] {
            LmdLog::message("Login requested from the top bar");
            AuthenticationFlowManager::getInstance().checkLogin([] {}, true);
        });
        bar->setOnLogout([] { AuthenticationManager::getInstance().logout(nullptr); });
        bar->setOnGetUserName([] {
            AuthenticationManager& auth = AuthenticationManager::getInstance();
            return auth.isAuthenticated() ? auth.getUsername() : std::string();
        });
    }
    if (auto menu = allUI->getPanel<Menu>()) {
        menu->setOnGetLevelNames([this] { return getLevelNames(); });
        menu->setOnGetCurrentLevel([this] { return getCurLevel(); });
        menu->setOnSetLevel([this](const std::string& level) { setLevel(level); });
    }
}

void Lumenda3DEditor::onMenuSaveProject() {
    const std::string xml = getSourceXmlString(false, true);
    LmdLog::message("onMenuSaveProject: local=" + localProjectName + ", resourceId=" + cloudResourceId);
    if (localProjectName.empty() && cloudResourceId.empty()) {
        // Stored nowhere yet: Save As chooses the name and the place.
        if (!commands.execute("file.saveProjectAs"))
            afterSaveCallback = nullptr;
        return;
    }
    if (!localProjectName.empty()) {
        const bool ok = performSaveLocal(localProjectName, xml);
        if (cloudResourceId.empty() || sourceHasLocalAssets()) {
            // A project with local assets is kept locally only: its cloud copy is left alone.
            if (ok)
                fireAfterSuccessfulSave();
            else
                afterSaveCallback = nullptr;
            return;
        }
    } else if (sourceHasLocalAssets()) {
        showErrorMessage(kLocalAssetsOnlyLocally);
        afterSaveCallback = nullptr;
        return;
    }
    if (AuthenticationManager::getInstance().isAuthenticated()) {
        performSave(cloudResourceId, xml, projectResourceType, "", false);
        return;
    }
    // The document may change while the person logs in: the text is taken afresh after it.
    AuthenticationFlowManager::getInstance().checkLogin(
        [this] { performSave(cloudResourceId, getSourceXmlString(false, true), projectResourceType, "", false); },
        true);
}

void Lumenda3DEditor::onMenuCloseProject() {
    if (!isProjectDirty()) {
        returnToOpeningScreen();
        return;
    }
    auto dialog = allUI ? allUI->getPanel<ConfirmDialog>() : nullptr;
    if (!dialog)
        return;
    const bool plugin = isPluginOpen();
    const std::string name = projectName.empty() ? std::string(plugin ? "Plugin" : "Project") : projectName;
    dialog->show(std::string("Close ") + (plugin ? "Plugin" : "Project"),
                 "You have unsaved changes in \"" + name + "\".\nSave before closing?",
                 [this] {
                     // The project closes only once the save has succeeded.
                     afterSaveCallback = [this] { returnToOpeningScreen(); };
                     onMenuSaveProject();
                 },
                 "Save", [this] { returnToOpeningScreen(); }, "Don't Save");
}

void Lumenda3DEditor::returnToOpeningScreen() {
    newProjectHeadless();
    if (sourceFiles)
        sourceFiles->setAutoSaveProjectName("");
    showTemplateDialog();
}

void Lumenda3DEditor::confirmAndExit() {
    if (!isProjectDirty()) {
        requestStop();
        return;
    }
    auto dialog = allUI ? allUI->getPanel<ConfirmDialog>() : nullptr;
    if (!dialog) {
        requestStop();
        return;
    }
    dialog->show("Unsaved changes",
                 "The project has changes that are not saved. They will be lost if you exit now.",
                 [this] { requestStop(); }, "Exit");
}

void Lumenda3DEditor::setAutoSaveFromMenu(bool enabled) {
    if (sourceFiles)
        sourceFiles->setAutoSaveEnabled(enabled);
    EditorSettings::getInstance().setBool(kAutoSaveSetting, enabled);
    if (!enabled && sourceFiles) {
        sourceFiles->clearAutoBackup();
        refreshHasDismissedSnapshot();
    }
}

void Lumenda3DEditor::toggleSelectSubObjectsByDefault() {
    const bool enabled = !EditorSettings::getInstance().getBool(kSelectSubObjectsSetting, false);
    EditorSettings::getInstance().setBool(kSelectSubObjectsSetting, enabled);
    if (auto gizmo = getGizmo())
        gizmo->setPickChildObjectsByDefault(enabled);
}

} // namespace Lumenda3D
