#include "core/Lumenda3DEditor.h"

#include <algorithm>
#include <stdexcept>

#include <OgreGpuProgramManager.h>
#include <OgreResourceGroupManager.h>
#include <OgreRoot.h>
#include <OgreSceneNode.h>

#include "assets/AssetLibraryPanel.h"
#include "assets/AssetsPanels.h"
#include "core/LmdEditorExport.h"
#include "attributes/AttributesEditor.h"
#include "ai/AiPanels.h"
#include "attributes/AttributesPanels.h"
#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "blocks/BlocksHelper.h"
#include "blocks/BlocksPanels.h"
#include "blocks/Workflow.h"
#include "chrome/ChromePanels.h"
#include "chrome/ErrorDialog.h"
#include "chrome/SourceEditor.h"
#include "chrome/ToastNotification.h"
#include "chrome/TopBar.h"
#include "core/LmdEditorAssetAccess.h"
#include "core/LmdEditorMcpAccess.h"
#include "engine/editing/LmdEditTools.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/gizmo/LmdGizmo2D.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "mcp/McpPanels.h"
#include "project/ProjectPanels.h"
#include "services/AIChatService.h"
#include "services/ApiConfig.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "services/EditorSettings.h"
#include "services/LmdAutoUpdater.h"
#include "services/ResourceLoader.h"
#include "services/LmdSingleInstance.h"
#include "services/LocalStorage.h"
#include "services/UrlUtils.h"
#include "ui/AllUI.h"
#include "ui/ClipboardUtils.h"
#include "ui/Common.h"
#include "ui/DefaultClip.h"

#include <filesystem>

namespace Lumenda3D {

Lumenda3DEditor* Lumenda3DEditor::editorInstance = nullptr;

const std::string& Lumenda3DEditor::claimEditorSlot(const std::string& appName) {
    // Checked before any base is built, so that a refused second editor leaves the first one's
    // engine, document service and window alone.
    if (editorInstance)
        throw std::runtime_error("Only one instance of Lumenda3DEditor is allowed");
    return appName;
}

Lumenda3DEditor::Lumenda3DEditor(const std::string& appName) : LmdRuntime(claimEditorSlot(appName)) {
    editorInstance = this;
    // The editing layer: the document service with undo and auto-save, the gizmos, selection.
    LmdEditTools::install(*this);
    registerCommands();
    // The log's state and the cloud services must outlive the application object, which may be
    // destroyed at process exit and still log and cancel cloud requests on the way: making them
    // now puts their destruction after ours.
    LmdLog::removeSink(0);
    ResourceLoader::getInstance();
    AuthenticationManager::getInstance();
}

Lumenda3DEditor::~Lumenda3DEditor() {
    // The document service outlives the editor: it must not call back into it.
    if (sourceFiles)
        sourceFiles->setOnSnapshotApplied(nullptr);
    Common::window = nullptr;
    if (editorInstance == this) {
        editorInstance = nullptr;
        // Cloud answers on their way must not reach the editor that is gone, nor keep its client.
        ResourceLoader::getInstance().cancelAll();
        AuthenticationManager::getInstance().setHttpClient(nullptr);
    }
    // A start that failed before the render system came up (no display) leaves a root that the
    // application context's shutdown cannot take apart: it asks for managers that were never
    // made. The root alone is released then.
    if (mRoot && !Ogre::GpuProgramManager::getSingletonPtr()) {
        OGRE_DELETE mRoot;
        mRoot = nullptr;
    }
}

// --- Setup -----------------------------------------------------------------------------------

void Lumenda3DEditor::locateResources() {
    LmdRuntime::locateResources();
    // The starting project, "src.xml" in the default resource group, ships in the media folder.
    const std::filesystem::path start = std::filesystem::path(LmdPaths::mediaDir()) / "start";
    std::error_code ec;
    if (std::filesystem::is_directory(start, ec))
        Ogre::ResourceGroupManager::getSingleton().addResourceLocation(start.string(), "FileSystem",
                                                                      Ogre::RGN_DEFAULT);
}

namespace {

std::vector<std::function<void(Lumenda3DEditor&)>>& setupHooks() {
    static std::vector<std::function<void(Lumenda3DEditor&)>> hooks;
    return hooks;
}

} // namespace

void Lumenda3DEditor::addSetupHook(std::function<void(Lumenda3DEditor&)> hook) {
    if (hook)
        setupHooks().push_back(std::move(hook));
}

void Lumenda3DEditor::addObserver(std::unique_ptr<LmdEditorObserver> observer) {
    if (observer)
        observers_.push_back(std::move(observer));
}

void Lumenda3DEditor::setup() {
    for (const auto& hook : setupHooks())
        hook(*this);
    // What other threads finished reaches the main thread at the start of each frame, in this
    // order; the agents' jobs wait while an operation holds the scene (stopRendering). A failure
    // is one of the frame callback's.
    LmdFramePump& pump = getFramePump();
    deliveries_.push_back(pump.add("frameRenderingQueued", [this] {
        if (!stopRendering)
            mcpController.pumpMainThread();
    }));
    deliveries_.push_back(pump.add("frameRenderingQueued", [] { LmdSingleInstance::getInstance().pump(); }));
    deliveries_.push_back(pump.add("frameRenderingQueued", [] { LmdAutoUpdater::getInstance().pump(); }));
    deliveries_.push_back(pump.add("frameRenderingQueued", [this] { jobs.pump(); }));

    LmdRuntime::setup();
    setupEditorCore();
    setupEditorUI();
    // The login service and its HTTP client are set up with the core (setupEditorCore); the
    // login dialog becomes its prompt here.
    runGuarded("setupAuthentication", [&] { setupAuthentication(); });
    runGuarded("setupDialogCallbacks", [&] { setupDialogCallbacks(); });
    runGuarded("setupMenuCallbacks", [&] { setupMenuCallbacks(); });
    runGuarded("setupBlocksHelper", [&] { setupBlocksHelper(); });
    runGuarded("setupAssetLibrary", [&] { setupAssetLibrary(); });
    runGuarded("setupExport", [&] { setupEditorExport(*this); });
    loadInitialProject();
    runGuarded("setup", [&] {
        addEventListener(LmdEventInstanceReactivated,
                         [this](std::shared_ptr<LmdEvent> event) { onInstanceReactivated(std::move(event)); },
                         LmdListenerNormal);
        // A second process's payload arrives on a listener thread; the frame loop hands it to
        // event 26 on the main thread.
        LmdSingleInstance::getInstance().setPayloadHandler([this](const std::string& payload) {
            fireEvents(LmdEventInstanceReactivated,
                       std::make_shared<LmdTextEvent>(LmdEventInstanceReactivated, payload));
        });
        enableInputSimulation(true);
        LmdAutoUpdater::getInstance().setResultHandler([this](const LmdAutoUpdater::Result& result) {
            if (result.outcome == LmdAutoUpdater::Outcome::UpdateAvailable)
                showToast("Lumenda3D " + result.update.displayVersion + " is available", 5.0f);
        });
    });
    // The agent server: permissions, the command line's port and command, or the settings.
    runGuarded("LmdMcpController::setup", [&] { mcpController.setup(); });
}

void Lumenda3DEditor::setupEditorCore() {
    runGuarded("setupEditorCore", [&] {
        LmdLog::message("=== Lumenda3D Application Starting ===");
        // The engine keeps no per-block trace log, so there is no logging of code blocks to turn off.
        Common::window = getRenderWindow();
        clipboard = std::make_shared<ClipboardUtils>(std::make_shared<DefaultClip>());
        if (ImGui::GetCurrentContext())
            clipboard->bindToImGui();
        if (sourceFiles) {
            sourceFiles->setHistoryEnabled(true);
            // Undo and redo reach the screen through this: the service hands back the whole text.
            sourceFiles->setOnSnapshotApplied([this](const std::string& xml) { return loadScript(xml, true); });
            sourceFiles->setAutoSaveEnabled(EditorSettings::getInstance().getBool("autoSaveEnabled", true));
        }
        hasDismissedSnapshot = sourceFiles ? sourceFiles->hasDismissedAutoBackup() : false;
        // "local:<name>" means the same file of the machine's local-assets sandbox in every project.
        setLocalAssetsDir(LocalStorage::localAssetsDir());
        ApiConfig::init("");
        LmdLog::message(ApiConfig::getEnvironment() == 1 ? "Running in PRODUCTION mode"
                                                          : "Running in DEVELOPMENT mode");
        // The cloud services go through the engine's HTTP client, whose answers the frame pump
        // delivers; the stored login is read again for the server just configured.
        AuthenticationManager::getInstance().setHttpClient(getHttpClient());
        AIChatService::getInstance().setHttpClient(getHttpClient());
        AuthenticationManager::getInstance().reload();
    });
}

void Lumenda3DEditor::setupEditorUI() {
    std::vector<std::string> failures;
    const std::string failure = runGuardedReporting("setupEditorUI", [&] {
        allUI = std::make_shared<AllUI>("allUI");
        allUI->setCommands(&commands);
        registerPanels(*allUI);
        failures = allUI->initPanels();
        // The top bar and the tabs cover the top of the view: the scene starts below them.
        allUI->setOnTopInset([this](float top, float left) { setViewInsets(left, top); });
    });
    if (failure.empty() && failures.empty())
        return;
    // A panel that could not be set up is left out and named in the error dialog; when the
    // panels could not be made at all (or the error dialog is among them), a window of its own
    // says so instead of a blank editor.
    if (!failure.empty())
        failures.insert(failures.begin(), failure);
    uiSetupFailure_.clear();
    for (const std::string& line : failures)
        uiSetupFailure_ += (uiSetupFailure_.empty() ? "" : "\n") + line;
    if (failure.empty() && allUI && allUI->getPanel<ErrorDialog>())
        showErrorMessage("Part of the editor could not be set up and is left out:\n" + uiSetupFailure_);
    else
        allUI.reset();
}

void Lumenda3DEditor::drawSetupFailure() {
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    ImGui::SetNextWindowPos(ImVec2(display.x * 0.5f, display.y * 0.5f), ImGuiCond_Always, ImVec2(0.5f, 0.5f));
    ImGui::SetNextWindowSize(ImVec2(BaseUI::scaled(520.0f), 0.0f), ImGuiCond_Always);
    if (ImGui::Begin("Lumenda3D###setupFailure", nullptr,
                     ImGuiWindowFlags_NoCollapse | ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoMove)) {
        ImGui::TextWrapped("The editor's interface could not be set up, so its panels cannot be shown.");
        ImGui::Spacing();
        ImGui::TextWrapped("%s", uiSetupFailure_.empty() ? "No reason was given." : uiSetupFailure_.c_str());
        ImGui::Spacing();
        ImGui::TextWrapped("The log has the details. Your work on disk is untouched.");
        if (ImGui::Button("Quit##setupFailure"))
            requestStop();
    }
    ImGui::End();
}

void Lumenda3DEditor::registerPanels(AllUI& ui) {
    registerChromePanels(ui);
    registerProjectPanels(ui);
    blocksHelper = registerBlocksPanels(ui);
    assetLibrary = registerAssetsPanels(ui);
    attributesEditor = registerAttributesPanels(ui);
    // Clicks that an agent's synthetic input delivers are refused on the permission rows and on
    // the prompt: an agent must not grant itself rights.
    LmdAgentClickGuard guard([] {
        Lumenda3DEngine* engine = Lumenda3DEngine::getEngine();
        return engine ? engine->getSyntheticInputDepth() : 0;
    },
                             [this](const std::string& action) { isAgentDrivenAction(action.c_str()); });
    registerMcpPanels(ui, mcpController, std::move(guard));
    aiHost = std::make_unique<LmdEditorAiHost>(this);
    aiChatPanel = registerAiPanels(ui, aiHost.get());
    registerEditorExportPanels(*this, ui);
}

std::unique_ptr<LmdMcpEditorAccess> Lumenda3DEditor::makeMcpEditorAccess() {
    return std::make_unique<LmdEditorMcpAccess>(this);
}

void Lumenda3DEditor::registerCommands() {
    commands.setAgentGuard([this](const char* action) { return isAgentDrivenAction(action); });
    auto canEdit = [this] { return sourceFiles != nullptr && !isRunning(); };
    commands.add({"edit.undo", "Undo", {"Ctrl+Z"}, [this, canEdit] { return canEdit() && sourceFiles->canUndo(); }, "",
                  [this] { doUndo(); }});
    commands.add({"edit.redo", "Redo", {"Ctrl+Y", "Ctrl+Shift+Y", "Ctrl+Shift+Z"},
                  [this, canEdit] { return canEdit() && sourceFiles->canRedo(); }, "", [this] { doRedo(); }});
    // The selected scene object's element, copied and pasted with the keys (the menus list the
    // same commands). Only in the edit scene: the Source tab's text field takes Ctrl+C and Ctrl+V
    // itself, the block tree takes them for its blocks while the pointer is on it, and a running
    // game is not edited.
    auto inEditScene = [this] { return isEditMode && !isRunning() && !isPointerOnBlockTree(); };
    commands.add({kCopyObjectCommand, "Copy Object", {"Ctrl+C"},
                  [this, inEditScene] { return inEditScene() && getSelectedObject() != nullptr; }, "",
                  [this] { editorCopy(true); }});
    commands.add({kPasteObjectCommand, "Paste Object", {"Ctrl+V"},
                  [this, inEditScene] { return inEditScene() && copiedNode && sourceFiles != nullptr; }, "",
                  [this] { editorPaste(true, false, pastePosition()); }});
    // Only a person may start the game from the interface; agents have their own tool for it.
    commands.add({TopBar::kPlayCommand, "Play", {}, [this] { return !isRunning(); }, "run the game", [this] { play(); }});
    commands.add({TopBar::kStopCommand, "Stop", {}, [this] { return isRunning(); }, "", [this] { stop(nullptr); }});
    registerEditorExportCommands(*this);
}

// --- Closing and run control -------------------------------------------------------------------

void Lumenda3DEditor::onClose() {
    // The agent server goes first: its jobs reach into everything that closes below.
    runGuarded("onClose", [&] { mcpController.stop(); });
    runGuarded("onClose", [&] { LmdSingleInstance::getInstance().setPayloadHandler(nullptr); });
    // A normal close: unsaved work stays in the backup for the next start, marked as such; with
    // nothing unsaved, this session's backup goes, so that no recovery is offered for it.
    runGuarded("onClose", [&] {
        if (sourceFiles)
            sourceFiles->endAutoSaveSession(isProjectDirty());
    });
    // Cloud answers still on their way would reach an editor that is gone.
    runGuarded("onClose", [&] {
        ResourceLoader::getInstance().cancelAll();
        AuthenticationManager::getInstance().setHttpClient(nullptr);
        // The login dialog goes with the editor: nobody is left to ask. (Not in the destructor:
        // at process exit the login service may already be gone then.)
        AuthenticationFlowManager::getInstance().setLoginPrompt(nullptr);
    });
    LmdRuntime::onClose();
}

void Lumenda3DEditor::play() {
    if (attributesEditor)
        attributesEditor->close();
    LmdRuntime::play();
    isEditMode = false;
}

void Lumenda3DEditor::stop(std::function<void()> done) {
    LmdRuntime::stop(std::move(done));
    isEditMode = true;
    refresh();
    setLevel(getCurLevel());
}

void Lumenda3DEditor::pause() {
    LmdRuntime::pause();
}

void Lumenda3DEditor::clear() {
    if (attributesEditor)
        attributesEditor->close();
    LmdRuntime::clear();
}

// --- Small forwards ------------------------------------------------------------------------------

void Lumenda3DEditor::showToast(const std::string& text, float seconds) {
    if (allUI)
        if (auto toast = allUI->getPanel<ToastNotification>())
            toast->show(text, seconds);
}

void Lumenda3DEditor::showErrorMessage(std::string text) {
    if (allUI)
        if (auto dialog = allUI->getPanel<ErrorDialog>())
            dialog->show(text);
}

void Lumenda3DEditor::setSourceText(std::string text) {
    if (allUI)
        if (auto editor = allUI->getPanel<SourceEditor>())
            editor->setText(text);
}

// --- Blocks and selection ------------------------------------------------------------------------

std::string Lumenda3DEditor::createBlock(const std::string& commandName,
                                         const std::map<std::string, std::string>& attributes) {
    pugi::xml_document* document = getSourceXml();
    if (!document || !sourceFiles)
        return "";
    pugi::xml_node root = document->document_element();
    if (!root)
        return "";
    pugi::xml_node parent = root;
    const std::string level = getCurLevel();
    if (!level.empty())
        if (pugi::xml_node found = root.find_child_by_attribute("Level", "name", level.c_str()))
            parent = found;
    // Document, then the block tree (a listener of the change), then the scene.
    const pugi::xml_node node = sourceFiles->createElement(parent, commandName.c_str(), attributes);
    return node ? node.attribute("id").value() : "";
}

void Lumenda3DEditor::selectSceneObject(int xmlId) {
    // Objects outside any level are shown on every level: no level change for them.
    if (LmdBase3D* object = getObjByXmlId(xmlId)) {
        clearSelectedObjects();
        if (!object->getLevel().empty() && object->getLevel() != getCurLevel())
            setLevel(object->getLevel());
        // The selection is what the 3D gizmo attaches to.
        setSelectedObject(object);
    } else if (LmdBase2D* element = get2DObjectByXmlId(xmlId)) {
        clearSelectedObjects();
        if (!element->getLevel().empty() && element->getLevel() != getCurLevel())
            setLevel(element->getLevel());
        getGizmo2D()->attach(element);
    } else if (LmdSelection* selection = getSelection()) {
        // An element without a scene object (logic, a declaration) is selected as a block alone.
        if (getXmlNodeById(xmlId))
            selection->select(xmlId, LmdSelection::Kind::Block);
    }
}

void Lumenda3DEditor::selectBlockByXmlId(int xmlId, bool openAttributes) {
    if (xmlId <= 0)
        return;
    selectSceneObject(xmlId);
    // The tree shows it: its ancestors open and the list scrolls to it.
    Workflow* workflow = getWorkflow();
    if (!workflow)
        return;
    workflow->revealBlock(xmlId, true);
    if (openAttributes && attributesEditor)
        if (std::shared_ptr<Block> block = workflow->getBlockById(xmlId))
            attributesEditor->setBlock(block, true);
}

void Lumenda3DEditor::onBlockSelected(std::shared_ptr<LmdEvent> event) {
    auto selected = std::dynamic_pointer_cast<LmdBlockSelectedEvent>(event);
    if (!selected || selected->getXmlId() == -1)
        return;
    // Shown in the attribute panel after the selection, also when it has no scene object.
    selectSceneObject(selected->getXmlId());
    Workflow* workflow = getWorkflow();
    if (std::shared_ptr<Block> block = workflow ? workflow->getBlockById(selected->getXmlId()) : nullptr)
        if (attributesEditor)
            attributesEditor->setBlock(block, true);
}

bool Lumenda3DEditor::hasSelectableChildObjects(LmdBase3D* object) {
    if (!object || !object->getNode())
        return false;
    const Ogre::SceneNode* own = object->getNode();
    for (LmdBase3D* other : getObjectList()) {
        if (other == object || !other->getNode())
            continue;
        const std::uint32_t mask = other->getMask();
        if (mask != 1 && mask != 2)
            continue;
        for (const Ogre::SceneNode* up = other->getNode()->getParentSceneNode(); up; up = up->getParentSceneNode())
            if (up == own)
                return true;
    }
    return false;
}

pugi::xml_node Lumenda3DEditor::getParentNodeForAddObject(bool asChild) {
    pugi::xml_document* document = getSourceXml();
    if (!document)
        return pugi::xml_node();
    if (asChild)
        if (LmdBase3D* selected = getSelectedObject())
            if (pugi::xml_node node = getXmlNodeById(selected->getXmlId()))
                return node;
    pugi::xml_node root = document->document_element();
    const std::string level = getCurLevel();
    if (root && !level.empty())
        if (pugi::xml_node found = root.find_child_by_attribute("Level", "name", level.c_str()))
            return found;
    return root;
}

void Lumenda3DEditor::setJoystickVisible(bool visible) {
    if (!visible) {
        for (LmdBase2D* element : get2DObjectList()) {
            if (element->getKind() == LmdElementKind::Joystick && element->isVisible()) {
                element->setVisible(false);
                hiddenJoysticks_.push_back(element->getXmlId());
            }
        }
        return;
    }
    // Only those hidden here come back: a joystick the game keeps hidden stays hidden.
    for (int xmlId : hiddenJoysticks_)
        if (LmdBase2D* element = get2DObjectByXmlId(xmlId))
            element->setVisible(true);
    hiddenJoysticks_.clear();
}

// --- Engine events -------------------------------------------------------------------------------

void Lumenda3DEditor::initEvents() {
    addEventListener(LmdEventGizmoAttached, [this](std::shared_ptr<LmdEvent> event) { onGizmoAttached(event); },
                     LmdListenerNormal);
    addEventListener(LmdEventGizmoDetached,
                     [this](std::shared_ptr<LmdEvent>) {
                         if (blocksHelper)
                             blocksHelper->resetSmartCopySession();
                     },
                     LmdListenerNormal);
    addEventListener(LmdEventGizmoCopy, [this](std::shared_ptr<LmdEvent> event) { onGizmoCopy(event); },
                     LmdListenerNormal);
    addEventListener(LmdEventVerticesMoved,
                     [this](std::shared_ptr<LmdEvent> event) { onGizmoVerticesMoved(event); }, LmdListenerNormal);
    addEventListener(LmdEventBlockSelected, [this](std::shared_ptr<LmdEvent> event) { onBlockSelected(event); },
                     LmdListenerNormal);
    addEventListener(LmdEventAttributesOpened,
                     [this](std::shared_ptr<LmdEvent> event) {
                         if (std::dynamic_pointer_cast<LmdAttributeEditorOpenEvent>(event))
                             setJoystickVisible(false);
                     },
                     LmdListenerNormal);
    addEventListener(LmdEventAttributesClosed,
                     [this](std::shared_ptr<LmdEvent> event) {
                         if (std::dynamic_pointer_cast<LmdAttributeEditorCloseEvent>(event))
                             setJoystickVisible(true);
                     },
                     LmdListenerNormal);
}

void Lumenda3DEditor::onInstanceReactivated(std::shared_ptr<LmdEvent> event) {
    auto text = std::dynamic_pointer_cast<LmdTextEvent>(event);
    if (!text)
        return;
    const std::unordered_map<std::string, std::string> values = UrlUtils::parseQuery(text->getText());
    auto valueOf = [&values](const char* key) {
        auto it = values.find(key);
        return it == values.end() ? std::string() : it->second;
    };
    // The event may come in the middle of a frame: the work runs at the start of the next one,
    // the port always before a command that may use it.
    const std::string resourceId = valueOf("resId");
    const std::string port = valueOf("mcpPort");
    const std::string command = valueOf("mcp");
    if (!resourceId.empty())
        deferAction([this, resourceId] { loadResourceById(resourceId, false); });
    if (!port.empty())
        deferAction([this, port] { mcpController.applyPort(port); });
    if (!command.empty())
        deferAction([this, command] { mcpController.applyCommand(command); });
}

} // namespace Lumenda3D
