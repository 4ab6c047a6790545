#pragma once
// The real editor object without a window: no OGRE root and no scene, but the document, the
// document service, the panels (drawn by the ImGui harness), the session and the event bus are
// all there. Setup steps that need no window run as the editor runs them; frames are stepped
// through the engine's frameStarted, which plays synthetic input and runs deferred actions.
#include "PanelTestSupport.h"
#include "TestDataRoot.h"

#include "base/LmdLog.h"
#include "chrome/ErrorDialog.h"
#include "chrome/SourceEditor.h"
#include "chrome/Tabs.h"
#include "chrome/ToastNotification.h"
#include "chrome/TopBar.h"
#include "core/Lumenda3DEditor.h"
#include "engine/editing/LmdSourceFiles.h"
#include "ui/AllUI.h"

#include <OgreFrameListener.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Lumenda3D::test {

class HeadlessEditor : public Lumenda3DEditor {
public:
    HeadlessEditor() : Lumenda3DEditor("Lumenda3DTest") {}
    using Lumenda3DEditor::initEvents;
    using Lumenda3DEditor::setupEditorCore;
    using Lumenda3DEditor::setupEditorUI;
    using Lumenda3DEditor::setupMenuCallbacks;
    using Lumenda3DEditor::setupDialogCallbacks;
    using Lumenda3DEditor::setupAuthentication;

    // One frame's start: synthetic input, then the actions deferred since the last frame.
    void step() {
        Ogre::FrameEvent evt{};
        evt.timeSinceLastFrame = 1.0f / 60.0f;
        frameStarted(evt);
    }
};

// What a headless operation answered, filled by recorder().
struct HeadlessAnswer {
    bool called = false;
    bool ok = false;
    std::string message;
};

inline Lumenda3DEditor::HeadlessDone recorder(HeadlessAnswer& answer) {
    return [&answer](bool ok, const std::string& message) {
        answer.called = true;
        answer.ok = ok;
        answer.message = message;
    };
}

// Log lines written while it lives.
class LogCapture {
public:
    LogCapture() {
        LmdLog::setEchoToStderr(false);
        handle_ = LmdLog::addSink([this](const std::string& text, LogLevel) {
            std::lock_guard<std::mutex> lock(mutex_);
            lines_.push_back(text);
        });
    }
    ~LogCapture() {
        LmdLog::removeSink(handle_);
        LmdLog::setEchoToStderr(true);
    }
    bool contains(const std::string& text) const {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const std::string& line : lines_)
            if (line.find(text) != std::string::npos)
                return true;
        return false;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
    int handle_ = 0;
};

class EditorTest : public PanelTest {
protected:
    static constexpr const char* kGame =
        "<KiteBench3D>\n"
        "  <Level name=\"Main\">\n"
        "    <Box name=\"Crate\" x=\"1\" y=\"2\" z=\"3\">\n"
        "      <OnUpdate><Rotate rotateY=\"1\"/></OnUpdate>\n"
        "    </Box>\n"
        "    <Sphere name=\"Ball\" x=\"4\"/>\n"
        "  </Level>\n"
        "</KiteBench3D>";

    EditorTest() {
        editor = std::make_unique<HeadlessEditor>();
        editor->setupEditorCore();
        editor->setupEditorUI();
        editor->setupMenuCallbacks();
        // Backups are written by these tests themselves where they matter.
        editor->sourceFiles->setAutoSaveEnabled(false);
    }
    ~EditorTest() override {
        editor->clearSelectedObjects();
        editor.reset();
    }

    LmdSourceFiles& files() { return *editor->sourceFiles; }
    pugi::xml_node root() { return editor->getSourceXml()->document_element(); }
    pugi::xml_node named(const std::string& name) {
        return editor->getSourceXml()->find_node(
            [&name](const pugi::xml_node& node) { return name == node.attribute("name").value(); });
    }
    int countNamed(const std::string& name) {
        int count = 0;
        for (const pugi::xpath_node& hit : editor->getSourceXml()->select_nodes("//*[@name]"))
            count += name == hit.node().attribute("name").value() ? 1 : 0;
        return count;
    }
    std::string errorText() { return editor->allUI->getPanel<ErrorDialog>()->getCurrentText(); }
    // The message on screen, and a fresh dialog for the next one.
    std::string takeError() {
        const std::string text = errorText();
        editor->allUI->setElement("errorDialog", std::make_shared<ErrorDialog>("errorDialog"));
        return text;
    }
    std::vector<std::string> toasts() { return editor->allUI->getPanel<ToastNotification>()->getTexts(); }
    std::string title() { return editor->allUI->getPanel<TopBar>()->getProjectTitle(); }
    void drawFrame() {
        ui.frame([this] { editor->allUI->draw(); });
    }

    TestDataRoot dataRoot;
    std::unique_ptr<HeadlessEditor> editor;
};

} // namespace Lumenda3D::test
