// Loading whole documents, the Scene/Source tabs, copy and paste, undo and redo, and the guard
// that refuses person-only actions to an agent's synthetic input.
#include "core/Lumenda3DEditor.h"

#include <OgreSceneNode.h>

#include "attributes/AttributesEditor.h"
#include "base/XmlUtils.h"
#include "chrome/SourceEditor.h"
#include "chrome/Tabs.h"
#include "chrome/ToastNotification.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/scene/LmdBase3D.h"
#include "ui/AllUI.h"
#include "ui/ClipboardUtils.h"

namespace Lumenda3D {

// --- Documents -----------------------------------------------------------------------------------

bool Lumenda3DEditor::loadScript(std::string xml, bool preserveView) {
    if (isAgentDrivenAction(kLoadProjectAction))
        return false;
    // Another project: the attribute panel lets go of its block. An edit of the open game (undo,
    // an agent's change) keeps it: the panel finds its element in the new document.
    if (!preserveView && attributesEditor)
        attributesEditor->setBlock(nullptr, false);

    // The view to put back after the rebuild: the camera node, and the editor camera's own
    // orbit state, which would otherwise move the node back at the next gesture.
    Ogre::SceneNode* cameraNode = getCameraNode();
    const bool keepView = preserveView && cameraNode != nullptr;
    Ogre::Vector3 position, eye, target;
    Ogre::Quaternion orientation;
    if (keepView) {
        position = cameraNode->getPosition();
        orientation = cameraNode->getOrientation();
        eye = getEditorCamera().getEyePosition();
        target = getEditorCamera().getTarget();
    }

    if (!setXmlSourceString(xml)) {
        showErrorMessage("Invalid XML");
        return false;
    }
    // The block tree loads the document's first child here once it exists.

    std::function<void()> done;
    if (keepView) {
        done = [this, position, orientation, eye, target] {
            getEditorCamera().setView(eye, target);
            if (Ogre::SceneNode* node = getCameraNode()) {
                node->setPosition(position);
                node->setOrientation(orientation);
            }
        };
    }
    // An edit of the open game (undo, an agent's or the assistant's change) keeps the level and
    // restarts a running game on the new text; another project starts from its first level.
    updateScript(preserveView, std::move(done), preserveView);

    // Undo never crosses a loaded project; undo itself reloads with preserveView and keeps it.
    if (!preserveView && sourceFiles)
        sourceFiles->resetHistory();
    return true;
}

bool Lumenda3DEditor::applyAiEditedXml(const std::string& xml) {
    if (xml.empty())
        return false;
    return loadScript(xml, true);
}

bool Lumenda3DEditor::onTabChange(std::string tabName) {
    if (tabName == Tabs::kSource) {
        isEditMode = false;
        if (attributesEditor)
            attributesEditor->close();
        setSourceText(getSourceXmlString(false, true));
        return true;
    }
    if (tabName == Tabs::kScene) {
        // Edit mode is on even when the text is refused and the source tab stays in front.
        isEditMode = true;
        std::string text;
        if (allUI)
            if (auto editor = allUI->getPanel<SourceEditor>())
                text = editor->getText();
        return loadScript(text, false);
    }
    return true;
}

// --- Copy and paste ------------------------------------------------------------------------------

void Lumenda3DEditor::editorCopy(bool sceneObject) {
    if (!sceneObject) {
        if (clipboard && allUI)
            if (auto editor = allUI->getPanel<SourceEditor>())
                clipboard->setText(editor->getText());
        return;
    }
    LmdBase3D* selected = getSelectedObject();
    if (!selected) {
        showErrorMessage("No object selected");
        copiedNode = pugi::xml_node();
        return;
    }
    const pugi::xml_node node = getXmlNodeById(selected->getXmlId());
    if (!node) {
        showErrorMessage("No node found for the selected object");
        copiedNode = pugi::xml_node();
        return;
    }
    // A deep copy in a document of its own: it stays valid when the original is deleted or the
    // game is reloaded.
    const std::string text = XmlUtils::getXmlNodeString(node);
    copiedNode = pugi::xml_node();
    copyDocument.reset();
    if (!copyDocument.load_string(text.c_str(), pugi::parse_default)) {
        showErrorMessage("Failed to copy the object");
        copiedNode = pugi::xml_node();
        return;
    }
    copiedNode = copyDocument.first_child();
    clearSelectedObjects();
}

void Lumenda3DEditor::editorPaste(bool sceneObject, bool asChild, ImVec2 screenPos) {
    if (!sceneObject) {
        if (clipboard && allUI)
            if (auto editor = allUI->getPanel<SourceEditor>())
                editor->setText(clipboard->getText());
        return;
    }
    if (!copiedNode) {
        showErrorMessage("No copied node");
        return;
    }
    if (!sourceFiles)
        return;
    const pugi::xml_node parent = getParentNodeForAddObject(asChild);
    pugi::xml_node node;
    {
        // One undo step and one change for the listeners (the block tree shows the copy).
        LmdSourceFiles::EditGroupScope group(*sourceFiles);
        node = parent ? sourceFiles->appendCopy(parent, copiedNode) : pugi::xml_node();
        if (!node) {
            showErrorMessage("Failed to paste the node");
            return;
        }
        sourceFiles->updateNodeGuid(node, true);
        // Fresh ids for the copy and everything in it, parents first; each is known by its id.
        getDocument().assignIds(node);
        const Ogre::Vector3 position = asChild ? Ogre::Vector3::ZERO : convert2DTo3D(screenPos);
        sourceFiles->setAttribute(node, "x", position.x);
        sourceFiles->setAttribute(node, "y", position.y);
        sourceFiles->setAttribute(node, "z", position.z);
    }
    // The engine builds an element together with everything below it, so one call shows the
    // whole copy (a call per child would build the children twice).
    runPartialSource(node, parent);
}

ImVec2 Lumenda3DEditor::pastePosition() const {
    if (ImGui::GetCurrentContext()) {
        const ImGuiIO& io = ImGui::GetIO();
        const float top = allUI ? allUI->getTopInset() : 0.0f;
        const ImVec2 pointer = io.MousePos;
        if (!io.WantCaptureMouse && pointer.x >= 0.0f && pointer.x < io.DisplaySize.x && pointer.y >= top &&
            pointer.y < io.DisplaySize.y)
            return pointer;
    }
    return getSceneCenterScreenPos();
}

// --- Undo and redo -------------------------------------------------------------------------------

// Undo and redo reach the screen by loading the whole text again (the snapshot callback), which
// only a person may start. The guard is asked before the document service is touched, so that a
// refused key changes nothing; the service puts a step back itself should the load refuse anyway.
void Lumenda3DEditor::doUndo() {
    if (!sourceFiles || isRunning() || !sourceFiles->canUndo() || isAgentDrivenAction(kLoadProjectAction))
        return;
    sourceFiles->undo();
}

void Lumenda3DEditor::doRedo() {
    if (!sourceFiles || isRunning() || !sourceFiles->canRedo() || isAgentDrivenAction(kLoadProjectAction))
        return;
    sourceFiles->redo();
}

// --- The agent guard -----------------------------------------------------------------------------

bool Lumenda3DEditor::isAgentDrivenAction(const char* action) {
    Lumenda3DEngine* engine = Lumenda3DEngine::getEngine();
    if (!engine)
        return false;
    // Above zero only while a synthetic event is being delivered: an agent's click or key.
    if (engine->getSyntheticInputDepth() <= 0)
        return false;
    const std::string word = action ? action : "";
    engine->logToServer("Blocked agent-driven UI action: " + word +
                        " (agents must use dedicated MCP tools; UI menus are user-only)");
    showToast("Agent action blocked: " + word, 3.0f);
    return true;
}

} // namespace Lumenda3D
