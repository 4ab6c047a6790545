#pragma once
// The application object: the engine with the editing layer on top. It owns the panels, the
// clipboard, the open project's session (LmdProjectSession's fields are its own), and wires the
// panels to the engine and to the document service at start. On each frame it gives queued work
// its turn on the main thread and draws the interface; it routes keys and the mouse, turns engine
// events into selection, and carries out the editing commands (copy, paste, undo, redo) and the
// guard that keeps an agent's synthetic input away from what only a person may do.
//
// There is one instance per process (editorInstance). Everything here runs on the main thread.
//
// The code is split by subject:
//   Lumenda3DEditor.cpp            construction, setup steps, run control, engine events
//   Lumenda3DEditorFrame.cpp       frame loop, drawing, key and mouse routing
//   Lumenda3DEditorEditing.cpp     loading documents, tabs, copy/paste, undo/redo, agent guard
//   Lumenda3DEditorGizmo.cpp       the gizmos' events (attached, vertices moved)
//   Lumenda3DEditorBlocks.cpp      the block editor's wiring (BlocksHelper, tree selection, gizmo copy)
//   Lumenda3DEditorSession.cpp     session, first project, opening, crash recovery
//   Lumenda3DEditorSave.cpp        saving, creating, and the agents' open and new project
//   Lumenda3DEditorCloud.cpp       the person's cloud save, create, publish and unpublish
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <imgui.h>
#include <pugixml.hpp>

#include "core/LmdEditorAiHost.h"
#include "core/LmdEditorObserver.h"
#include "engine/LmdRuntime.h"
#include "mcp/LmdMcpController.h"
#include "mcp/LmdMcpHost.h"
#include "project/LmdProjectSession.h"
#include "services/LmdJobService.h"
#include "ui/LmdCommandRegistry.h"

namespace Lumenda3D {

class AIChatPanel;

struct ProjectTemplate;

class AllUI;
class AssetLibraryPanel;
class AttributesEditor;
class LmdEditorAssetAccess;
class BlocksHelper;
class ClipboardUtils;
class Workflow;
class LmdBase3D;
struct LmdGizmoVertex;

class Lumenda3DEditor : public LmdRuntime, public LmdProjectSession, public LmdMcpHost {
public:
    // The agent guard's word for loading a whole document (loadScript, and so undo and redo).
    static constexpr const char* kLoadProjectAction = "load project";

    // The one editor of the process; null before it is made and after it is gone.
    static Lumenda3DEditor* editorInstance;

    // Throws std::runtime_error("Only one instance of Lumenda3DEditor is allowed") when an editor
    // exists already; nothing of the first one is touched then.
    explicit Lumenda3DEditor(const std::string& appName);
    ~Lumenda3DEditor() override;

    // --- Fields ------------------------------------------------------------------------------
    // (persistedXmlHash and the project session fields come from LmdProjectSession.)
    pugi::xml_document copyDocument;      // owns the copied node, so that it outlives the scene
    pugi::xml_node copiedNode;            // first child of copyDocument; null: nothing to paste
    std::shared_ptr<AllUI> allUI;         // the panels, from setupEditorUI
    std::shared_ptr<ClipboardUtils> clipboard;  // the system clipboard for text, from setupEditorCore
    bool isEditMode = true;               // the scene tab shows the editable scene
    bool hasDismissedSnapshot = false;    // cache of the document service's hasDismissedAutoBackup
    int saveDialogMode = 0;
    std::function<void()> afterSaveCallback;
    std::string pendingResourceId;        // from the URL on the command line, for loadInitialProject
    // The agent server: made with the editor, started by setup when the settings or the command
    // line ask for it (its pendingCommand and pendingPort are set before setup).
    LmdMcpController mcpController{this};
    // A game file named on the command line: loadInitialProject opens it in place of "src.xml".
    std::string pendingGameFile;
    // Set while an operation must not be disturbed by queued work: agent jobs wait, the scene
    // still renders.
    bool stopRendering = false;
    // The commands the menu, the keyboard and the toolbar share (undo, redo, play, stop, ...).
    LmdCommandRegistry commands;
    // Long work on threads of its own (exports, asset imports), delivered through the frame pump.
    LmdJobService jobs;
    // The block operations (add, duplicate, copy, paste, delete), made with the block panels and
    // wired by setupBlocksHelper.
    std::shared_ptr<BlocksHelper> blocksHelper;
    // The attribute panel of the selected block, made with the panels.
    std::shared_ptr<AttributesEditor> attributesEditor;
    // The assistant's panel, made with the panels, and the editor as that panel sees it.
    std::shared_ptr<AIChatPanel> aiChatPanel;
    std::unique_ptr<LmdEditorAiHost> aiHost;
    // The asset library (the block editor's "Asset Library" tab), made with the panels and wired
    // by setupAssetLibrary to the editor through assetAccess.
    std::shared_ptr<AssetLibraryPanel> assetLibrary;
    std::unique_ptr<LmdEditorAssetAccess> assetAccess;

    // --- Observers -------------------------------------------------------------------------------
    // Watches the editor frame by frame (see LmdEditorObserver); owned from now on.
    void addObserver(std::unique_ptr<LmdEditorObserver> observer);
    // Run with the editor at the very start of setup, before anything else: how a program built
    // on the editor's entry adds observers of its own (the test build's script driver).
    static void addSetupHook(std::function<void(Lumenda3DEditor&)> hook);

    // --- Application context -----------------------------------------------------------------
    void setup() override;
    // Stops the agent server (when there is one), then the engine.
    void onClose() override;
    void play() override;
    void stop(std::function<void()> done) override;
    void pause() override;
    void clear() override;

    bool frameRenderingQueued(const Ogre::FrameEvent& evt) override;
    void preViewportUpdate(const Ogre::RenderTargetViewportEvent& evt) override;
    bool keyPressed(const OgreBites::KeyboardEvent& evt) override;
    bool keyReleased(const OgreBites::KeyboardEvent& evt) override;
    bool mouseMoved(const OgreBites::MouseMotionEvent& evt) override;
    bool mousePressed(const OgreBites::MouseButtonEvent& evt) override;
    bool mouseReleased(const OgreBites::MouseButtonEvent& evt) override;

    // --- Interface ---------------------------------------------------------------------------
    void drawUI(const Ogre::RenderTargetViewportEvent& evt);
    // What went wrong while the interface was set up ("" when nothing did): shown in the error
    // dialog, or, when the panels could not be made at all, in a window of its own.
    const std::string& getUiSetupFailure() const { return uiSetupFailure_; }
    // True (with a log line for the agents and a toast) when the action was started by synthetic
    // input, that is by an agent: the caller then does nothing.
    bool isAgentDrivenAction(const char* action);
    void showToast(const std::string& text, float seconds) override;
    void showErrorMessage(std::string text);
    void setSourceText(std::string text);

    // --- Documents ---------------------------------------------------------------------------
    // Loads a whole document into the editor and the scene. preserveView keeps the camera and the
    // undo history (undo, redo, edits by the assistant or agents); otherwise the history starts
    // afresh. Bad text shows "Invalid XML" and changes nothing.
    bool loadScript(std::string xml, bool preserveView);
    // An edit of the whole document by the assistant or an agent; false for an empty text.
    bool applyAiEditedXml(const std::string& xml);
    // Adds a command element to the current level (or the root) and shows it; its id, "" on failure.
    std::string createBlock(const std::string& commandName, const std::map<std::string, std::string>& attributes);
    // The Tabs panel asks before a change; false keeps the tab in front.
    bool onTabChange(std::string tabName);
    // Selects the scene object of an element (switching to its level), as picking it would.
    void selectBlockByXmlId(int xmlId, bool openAttributes);
    // Whether other selectable objects sit below this object's scene node.
    bool hasSelectableChildObjects(LmdBase3D* object);
    // Where a pasted or added object goes: under the selected object's element (asChild), else
    // the current level, else the root element.
    pugi::xml_node getParentNodeForAddObject(bool asChild);
    // Hides the game's on-screen joysticks while the attribute panel is open (events 20, 21).
    void setJoystickVisible(bool visible);

    // --- The block editor (Lumenda3DEditorBlocks.cpp) -------------------------------------------
    // Connects BlocksHelper to the engine and the document, and the tree to the document service.
    void setupBlocksHelper();
    // The block tree panel; null without one.
    Workflow* getWorkflow() const;
    // Whether the pointer is on the block tree, whose keys then act on blocks.
    bool isPointerOnBlockTree() const;
    // Rebuilds the block tree from the document's top element.
    void refresh();
    void setupAssetLibrary();
    // Event 17: copies of the attached object pulled out with the gizmo.
    void onGizmoCopy(std::shared_ptr<LmdEvent> event);

    // --- Gizmo events (Lumenda3DEditorGizmo.cpp) ---------------------------------------------
    // Event 15: an object or element was attached to a gizmo.
    void onGizmoAttached(std::shared_ptr<LmdEvent> event);
    // Event 18: vertices of a model were moved; they are written into its VertexList.
    void onGizmoVerticesMoved(std::shared_ptr<LmdEvent> event);
    // Writes moved vertices (positions in the object's own frame) into the VertexList of the
    // object's element, creating what is missing, as one undo step. False when nothing was written.
    bool writeMovedVertices(pugi::xml_node objectNode, const std::vector<LmdGizmoVertex>& vertices);

    // --- Editing commands --------------------------------------------------------------------
    // sceneObject false: the source text to the clipboard; true: the selected object's element.
    void editorCopy(bool sceneObject);
    // sceneObject false: the clipboard replaces the source text; true: the copied element is added
    // (as a child of the selection, or into the level at screenPos) with fresh ids.
    void editorPaste(bool sceneObject, bool asChild, ImVec2 screenPos);
    void doUndo();
    void doRedo();
    // The shortcuts of the command registry: Ctrl+Z undo; Ctrl+Y, Ctrl+Shift+Y and Ctrl+Shift+Z
    // redo (and any other command's). True when the key was one of them: it is consumed, even
    // when the command cannot run now.
    bool handleUndoRedoShortcut(const OgreBites::KeyboardEvent& evt);
    // Ctrl+V is left to the panels (a text field that has the keyboard takes it before the editor
    // sees it); outside them it is the "edit.pasteObject" command's shortcut: always false.
    bool handleCtrlVPaste(const OgreBites::KeyboardEvent& evt);
    // The commands of copying and pasting the selected scene object (Ctrl+C, Ctrl+V).
    static constexpr const char* kCopyObjectCommand = "edit.copyObject";
    static constexpr const char* kPasteObjectCommand = "edit.pasteObject";
    // Where a pasted object goes: under the pointer when it is over the 3D view, else the view's
    // centre.
    ImVec2 pastePosition() const;

    // --- Project session (Lumenda3DEditorSession.cpp) --------------------------------
    void onProjectOpened(const std::string& xml, const std::string& resourceId, const std::string& name,
                         const std::string& metadataJson);
    void markXmlPersisted();
    // Computes the stored text afresh: not for every frame.
    bool isProjectDirty();
    // The top bar's title: the project name and where it is stored.
    void updateWindowTitle();
    bool projectHasLocalAssets() const;

    // --- Opening ------------------------------------------------------------------------------
    // The first document, before the first frame: the game file of the command line or "src.xml"
    // of the default resource group, the recovery offer, the resource of the URL; then the events.
    void loadInitialProject();
    // Opens a cloud project by id; failures go to the error dialog.
    void loadResourceById(const std::string& resourceId, bool retried);
    // A loaded project's text: loads it and marks it as saved.
    void onResourceLoaded(const std::string& xml);
    // Where cloud projects come from: called with a resource id and a callback of (success, xml,
    // metadata JSON or error text). ResourceLoader::loadResource unless replaced (tests).
    using ResourceLoadedCallback = std::function<void(bool success, const std::string& xml, const std::string& text)>;
    using CloudResourceLoader = std::function<void(const std::string& resourceId, ResourceLoadedCallback done)>;
    void setCloudResourceLoader(CloudResourceLoader loader) { cloudResourceLoader_ = std::move(loader); }

    // --- Saving (Lumenda3DEditorSave.cpp) ----------------------------------------------
    // The Save dialog's part in creating a project: its status line, clearing its busy flag after
    // a failure that leaves it open, and hiding it. Each may be empty (no dialog); the save paths
    // call whichever are set.
    struct SaveDialogHooks {
        std::function<void(const std::string&)> setStatusMessage;
        std::function<void()> clearBusy;
        std::function<void()> hide;
        // Shows the dialog again as it was, with a status message.
        std::function<void(const std::string&)> reopen;
    };
    // What the Save dialog says when it comes back after a cancelled login.
    static constexpr const char* kSaveNeedsLogin =
        "Not saved: saving to the cloud needs a login. Log in, or choose This computer.";
    void setSaveDialogHooks(SaveDialogHooks hooks) { saveDialogHooks_ = std::move(hooks); }
    // The answer of a headless operation: whether it worked, and a sentence for the agent.
    using HeadlessDone = std::function<void(bool ok, const std::string& message)>;

    // Writes the document and a thumbnail to local project `name` and marks the text as saved.
    // False when an agent's input triggered it, local storage is missing, or the write failed
    // (then with the error dialog "Local save failed." and why, also in `failure`).
    bool performSaveLocal(const std::string& name, const std::string& xml, std::string* failure = nullptr);
    // Save As to a local project: as performSaveLocal, and the project becomes `name` locally
    // (the cloud identity stays). Failures go to the Save dialog's status line (and `failure`).
    bool performCreateLocal(const std::string& name, const std::string& xml, std::string* failure = nullptr);
    // The picture of the project saved with it (200 x 130 JPEG); empty when it cannot be taken.
    std::vector<unsigned char> captureProjectThumbnail();
    // Runs the action waiting for a save (afterSaveCallback) once, clearing it first.
    void fireAfterSuccessfulSave();
    // The project became cloud resource `resource_id` of the server's answer, named `name`.
    void applyCloudCreateSuccess(const std::string& responseJson, const std::string& name);
    // The agents' save and Save As: no dialogs; the outcome goes to `done`.
    void saveProjectHeadless(HeadlessDone done);
    void createProjectHeadless(const std::string& name, bool local, HeadlessDone done);
    // An empty, unnamed, unsaved project that counts as clean.
    void newProjectHeadless();
    // Opens local project `name`; false with the reason in `error`, and nothing changed then.
    bool openLocalProjectHeadless(const std::string& name, std::string& error);
    // Opens cloud resource `resourceId` through the cloud resource loader; the outcome goes to
    // `done`.
    void openCloudProjectHeadless(const std::string& resourceId, HeadlessDone done);

    // --- The person's cloud operations (Lumenda3DEditorCloud.cpp) ---------------------------------
    // Each one follows the login rule: a call refused because the session has ended (and not
    // itself a retry) asks for a login (AuthenticationFlowManager::checkLogin) and, after it, is
    // made once more with isRetry true and a fresh document text; a second refusal is reported.
    //
    // Saves the document to cloud resource `resourceId`; a non-empty newName renames it.
    // Success: backups cleared, the text marked as saved, a toast ("Project saved!", "Plugin
    // saved!" or "Renamed!"), the action waiting for a save. Failure: the error dialog ("Save
    // failed: " or "Rename failed: " and the reason), the waiting action dropped.
    void performSave(const std::string& resourceId, const std::string& xml, const std::string& resourceType,
                     const std::string& newName, bool isRetry);
    // Creates cloud resource `name` (the Save dialog's Save As to the cloud). Success: the project
    // becomes that resource, the dialog hides, a toast. Failure: the dialog's status line says
    // "Save failed: " and the reason and the dialog stays open.
    void performCreate(const std::string& name, const std::string& xml, const std::string& resourceType, bool isRetry);
    // Publishes the open cloud project with the publish dialog's values. Success: the dialog
    // hides, toast "Game published!". Failure: "Publish failed: " and the reason on the dialog.
    void performPublish(const std::string& description, const std::string& category, bool viewSource, bool published,
                        bool isRetry);
    // Takes the open cloud project off the site. Success: toast "Project unpublished.". Failure:
    // the error dialog "Unpublish failed: " and the reason.
    void performUnpublish(bool isRetry);
    // The publish dialog's part: hiding it and its status line. Either may be empty (no dialog).
    struct PublishDialogHooks {
        std::function<void(const std::string&)> setStatusMessage;
        std::function<void()> hide;
    };
    void setPublishDialogHooks(PublishDialogHooks hooks) { publishDialogHooks_ = std::move(hooks); }
    // The publish dialog's callbacks and the Publish and Unpublish commands.
    void setupPublishDialog();
    // Publish: local assets refused, a login first, a cloud project required; then the dialog.
    void onMenuPublish();
    // Unpublish: a login first, a published cloud project required; then a question.
    void onMenuUnpublish();

    // --- The main menu's project operations (Lumenda3DEditorMenu.cpp) ---------------------------
    // The person's save: the local project, then the cloud resource (after a login when the
    // session has ended); a project stored nowhere yet goes to Save As.
    void onMenuSaveProject();
    // Closing the project: with unsaved changes a question first ("Save" closes after the save
    // succeeded, "Don't Save" closes at once).
    void onMenuCloseProject();
    // An empty, unnamed project, counted as saved.
    void returnToOpeningScreen();
    // Leaving the editor: with unsaved changes only after the person confirmed.
    void confirmAndExit();
    // The menu's auto-save switch: off also discards the backup it had.
    void setAutoSaveFromMenu(bool enabled);
    // Flips the setting "selectSubObjectsByDefault" and hands it to the gizmo.
    void toggleSelectSubObjectsByDefault();

    // --- Clear Cache and About (Lumenda3DEditorCache.cpp) -----------------------------------------
    // The Clear Cache dialog's callback and the Settings and Help commands that open the dialogs.
    void setupCacheAndAboutCommands();
    // Asks ("Warning", what will be deleted, "Clear") before clearCache.
    void confirmAndClearCache(bool clearAssets, bool clearSaved);
    // Downloaded assets: the HTTP cache goes and the asset cache folder is made again. Saved data:
    // every persisted entry but the login, and the auto-save backups. Then the toast
    // "Cache cleared".
    void clearCache(bool clearAssets, bool clearSaved);

    // --- Save As, plugins, renaming (Lumenda3DEditorSaveAs.cpp) ---------------------------------
    // Each opens the Save dialog for its purpose (saveDialogMode 0 to 3).
    void onMenuSaveProjectAs();
    void onMenuSaveProjectAsPlugin();
    void onMenuSavePluginAsProject();
    void onMenuRenameProject();
    // The Save dialog's confirmation: a new local project, a new cloud resource of the mode's
    // type, or (mode 3) the cloud resource renamed. A cloud create of a project with local assets
    // is refused on the dialog, which stays open.
    void onSaveDialogConfirmed(const std::string& name, bool local);
    void reopenSaveDialogAfterCancelledLogin();
    // The Open Project dialog's lists and opening (Lumenda3DEditorOpen.cpp), and its command.
    void setupOpenDialog();
    // The New Project dialog's list and choice, and the New Project command.
    void setupTemplateDialog();
    // Starts a project from a template: "empty" at once, any other from the server.
    void onTemplateSelected(const ProjectTemplate& chosen);
    // Offers the templates (when there is a template dialog).
    void showTemplateDialog();
    // Opens cloud resource `resourceId` for the person: a login first when the editor can ask for
    // one and nobody is logged in, one more login and try when the session ended on the way.
    // `done` gets "" when the project is open, else the reason; the open document stays then.
    void openCloudProjectForPerson(const std::string& resourceId, bool retried,
                                   std::function<void(const std::string&)> done);
    // Why a project with local assets is not written to the cloud, as the person reads it.
    static constexpr const char* kLocalAssetsOnlyLocally =
        "Project uses local assets, so it can only be saved locally. Use 'Save As' and choose Local.";

    // --- Crash recovery -----------------------------------------------------------------------
    // Offers a backup left by a crash; showTemplatesAfter when the starting document is empty.
    void offerCrashRecoveryIfNeeded(bool showTemplatesAfter);
    void refreshHasDismissedSnapshot();
    // Loads the backup the user set aside (the File menu's "Recover Last Auto Save").
    void recoverLastAutoSave();

    // --- The agent server's side of the editor -------------------------------------------------
    std::unique_ptr<LmdMcpEditorAccess> makeMcpEditorAccess() override;

    // --- Second process -----------------------------------------------------------------------
    // Event 26: the payload a second process handed over, acted on in the next frame.
    void onInstanceReactivated(std::shared_ptr<LmdEvent> event);

protected:
    void setupEditorCore();
    void setupEditorUI();
    // The window that stands in for the panels when they could not be set up.
    void drawSetupFailure();
    // Every feature puts its panels into their slots of AllUI here, one registration function
    // per feature folder; setupEditorUI then initialises them.
    virtual void registerPanels(AllUI& ui);
    // The editor's own commands (undo, redo, play, stop) in the registry, with the agent guard.
    void registerCommands();
    // The main menu's commands (every item the editor can carry out) and the menu's level list.
    void setupMenuCallbacks();
    // The project dialogs' callbacks into the editor, and the commands that open them.
    void setupDialogCallbacks();
    // The login dialog as the prompt of the login rule (Lumenda3DEditorLogin.cpp).
    void setupAuthentication();
    // The engine events the editor listens to; wired after the first document is loaded.
    void initEvents();
    void locateResources() override;
    bool frameEnded(const Ogre::FrameEvent& evt) override;

private:
    static const std::string& claimEditorSlot(const std::string& appName);
    // The scene object of an element: clears the selection, switches to its level, selects it.
    void selectSceneObject(int xmlId);
    void onBlockSelected(std::shared_ptr<LmdEvent> event);
    bool readInitialDocument(std::string& text, bool& fromGameFile);
    // Tells the user that a backup could not be read, and where it was kept ("" when it stayed
    // at `path`).
    void reportDamagedBackup(const std::string& keptAs, const std::string& path);

    CloudResourceLoader cloudResourceLoader_ = defaultCloudResourceLoader();
    static CloudResourceLoader defaultCloudResourceLoader();
    SaveDialogHooks saveDialogHooks_;
    // The identity Save As gave the document, and the one it had: a Save As that fails puts the
    // old one back (while the document still holds the new one), so that nothing is changed.
    struct RenewedIdentity {
        std::string previous;
        std::string renewed;
    };
    std::optional<RenewedIdentity> saveAsIdentity_;
    void renewIdentityForSaveAs();
    void settleSaveAsIdentity(bool saved);
    PublishDialogHooks publishDialogHooks_;
    std::vector<int> hiddenJoysticks_;
    std::vector<std::unique_ptr<LmdEditorObserver>> observers_;
    std::string uiSetupFailure_;
    // The editor's deliveries in the engine's frame pump.
    std::vector<LmdSubscription> deliveries_;
};

} // namespace Lumenda3D
