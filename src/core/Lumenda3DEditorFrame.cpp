// The editor's frame loop (the agent server's turn, the engine's step, the interface) and the
// routing of keys and mouse buttons. Every callback here runs under the one guard (runGuarded)
// with its own name, so that one bad frame never ends the loop.
#include "core/Lumenda3DEditor.h"

#include <OgreRenderTargetListener.h>
#include <OgreRenderWindow.h>
#include <OgreViewport.h>

#include "base/LmdLog.h"
#include "ui/AllUI.h"
#include "ui/Common.h"

namespace Lumenda3D {

bool Lumenda3DEditor::frameRenderingQueued(const Ogre::FrameEvent& evt) {
    return runGuarded("frameRenderingQueued", true, [&] {
        // The engine's frame starts with the frame pump: the agent server's queued work (unless
        // stopRendering holds it), a second process's hand-over (event 26), the update check's
        // answer, background jobs, HTTP answers (registered in setup). The context menu is told
        // here whether the camera is busy with a gesture once it exists.
        const bool result = LmdRuntime::frameRenderingQueued(evt);
        for (const auto& observer : observers_)
            observer->frameRendered();
        return result;
    });
}

bool Lumenda3DEditor::frameEnded(const Ogre::FrameEvent& evt) {
    const bool result = LmdRuntime::frameEnded(evt);
    // An observer's failure here leaves the frame after it was shown, the way a fault of the
    // render system would; the entry's loop carries on.
    for (const auto& observer : observers_)
        observer->frameEnded();
    return result;
}

void Lumenda3DEditor::preViewportUpdate(const Ogre::RenderTargetViewportEvent& evt) {
    runGuarded("preViewportUpdate", [&] {
        LmdRuntime::preViewportUpdate(evt);
        drawUI(evt);
    });
}

void Lumenda3DEditor::drawUI(const Ogre::RenderTargetViewportEvent& evt) {
    runGuarded("drawUI", [&] {
        if (!evt.source || !evt.source->getOverlaysEnabled() || !ImGui::GetCurrentContext())
            return;
        // The overlay learns the display's size from its first rendering: until then, anything
        // placed relative to the display (centred dialogs) would land at the top-left corner.
        const ImVec2 display = ImGui::GetIO().DisplaySize;
        if (display.x <= 0.0f || display.y <= 0.0f)
            return;
        if (Common::window)
            BaseUI::setDpiScale(Common::window->getViewPointToPixelScale());
        if (!allUI) {
            drawSetupFailure();
            return;
        }
        // The context menu is enabled here (edit mode, no block being dragged) once it exists.
        allUI->draw();
    });
}

// --- Keys ----------------------------------------------------------------------------------------

bool Lumenda3DEditor::handleUndoRedoShortcut(const OgreBites::KeyboardEvent& evt) {
    const int mod = evt.keysym.mod;
    return commands.handleKey(evt.keysym.sym, (mod & OgreBites::KMOD_CTRL) != 0, (mod & OgreBites::KMOD_SHIFT) != 0,
                              (mod & OgreBites::KMOD_ALT) != 0);
}

bool Lumenda3DEditor::handleCtrlVPaste(const OgreBites::KeyboardEvent& evt) {
    (void)evt; // the panels paste text themselves; scene objects are pasted by the command registry
    return false;
}

bool Lumenda3DEditor::keyPressed(const OgreBites::KeyboardEvent& evt) {
    return runGuarded("keyPressed", true, [&] {
        // Undo and redo take the key even while the game runs, when they do nothing.
        if (handleUndoRedoShortcut(evt))
            return true;
        return LmdRuntime::keyPressed(evt);
    });
}

bool Lumenda3DEditor::keyReleased(const OgreBites::KeyboardEvent& evt) {
    return runGuarded("keyReleased", true, [&] {
        if (evt.keysym.sym == OgreBites::SDLK_ESCAPE) {
            clearSelectedObjects();
            // The context menu is closed here once it exists.
        }
        return LmdRuntime::keyReleased(evt);
    });
}

// --- Mouse ---------------------------------------------------------------------------------------

bool Lumenda3DEditor::mouseMoved(const OgreBites::MouseMotionEvent& evt) {
    return runGuarded("mouseMoved", true, [&] { return LmdRuntime::mouseMoved(evt); });
}

bool Lumenda3DEditor::mousePressed(const OgreBites::MouseButtonEvent& evt) {
    return runGuarded("mousePressed", true, [&] { return LmdRuntime::mousePressed(evt); });
}

bool Lumenda3DEditor::mouseReleased(const OgreBites::MouseButtonEvent& evt) {
    return runGuarded("mouseReleased", true, [&] {
        const bool handled = LmdRuntime::mouseReleased(evt);
        // A right release in the edit scene sets the items of the scene's context menu before it
        // opens, once the context menu exists.
        return handled;
    });
}

} // namespace Lumenda3D
