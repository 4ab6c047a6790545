// The editor's frame loop (the agent server's turn, the engine's step, the interface) and the
// routing of keys and mouse buttons. Every callback here catches what it calls and logs it with
// its own name, so that one bad frame never ends the loop.
#include "core/Lumenda3DEditor.h"

#include <stdexcept>

#include <OgreRenderTargetListener.h>
#include <OgreRenderWindow.h>
#include <OgreViewport.h>

#include "base/LmdLog.h"
#include "ui/AllUI.h"
#include "ui/Common.h"

namespace Lumenda3D {
namespace {

void logFailure(const char* where, const std::exception& e) {
    LmdLog::message(std::string("Error in ") + where + ": " + e.what());
}

void logUnknownFailure(const char* where) {
    LmdLog::message(std::string("Unknown error in ") + where);
}

} // namespace

bool Lumenda3DEditor::frameRenderingQueued(const Ogre::FrameEvent& evt) {
    try {
        // The engine's frame starts with the frame pump: the agent server's queued work (unless
        // stopRendering holds it), a second process's hand-over (event 26), the update check's
        // answer, background jobs, HTTP answers (registered in setup). The context menu is told
        // here whether the camera is busy with a gesture once it exists.
        const bool result = LmdRuntime::frameRenderingQueued(evt);
        for (const auto& observer : observers_)
            observer->frameRendered();
        return result;
    } catch (const std::exception& e) {
        logFailure("frameRenderingQueued", e);
    } catch (...) {
        logUnknownFailure("frameRenderingQueued");
    }
    return true;
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
    try {
        LmdRuntime::preViewportUpdate(evt);
        drawUI(evt);
    } catch (const std::exception& e) {
        logFailure("preViewportUpdate", e);
    } catch (...) {
        logUnknownFailure("preViewportUpdate");
    }
}

void Lumenda3DEditor::drawUI(const Ogre::RenderTargetViewportEvent& evt) {
    try {
        if (!evt.source || !evt.source->getOverlaysEnabled())
            return;
        if (!allUI || !ImGui::GetCurrentContext())
            return;
        // The overlay learns the display's size from its first rendering: until then, anything
        // placed relative to the display (centred dialogs) would land at the top-left corner.
        const ImVec2 display = ImGui::GetIO().DisplaySize;
        if (display.x <= 0.0f || display.y <= 0.0f)
            return;
        // The context menu is enabled here (edit mode, no block being dragged) once it exists.
        if (Common::window)
            BaseUI::setDpiScale(Common::window->getViewPointToPixelScale());
        allUI->draw();
    } catch (const std::exception& e) {
        logFailure("drawUI", e);
    } catch (...) {
        logUnknownFailure("drawUI");
    }
}

// --- Keys ----------------------------------------------------------------------------------------

bool Lumenda3DEditor::handleUndoRedoShortcut(const OgreBites::KeyboardEvent& evt) {
    const int mod = evt.keysym.mod;
    return commands.handleKey(evt.keysym.sym, (mod & OgreBites::KMOD_CTRL) != 0, (mod & OgreBites::KMOD_SHIFT) != 0,
                              (mod & OgreBites::KMOD_ALT) != 0);
}

bool Lumenda3DEditor::handleCtrlVPaste(const OgreBites::KeyboardEvent& evt) {
    (void)evt; // the panels paste text themselves; scene objects are pasted from the menus
    return false;
}

bool Lumenda3DEditor::keyPressed(const OgreBites::KeyboardEvent& evt) {
    try {
        // Undo and redo take the key even while the game runs, when they do nothing.
        if (handleUndoRedoShortcut(evt))
            return true;
        return LmdRuntime::keyPressed(evt);
    } catch (const std::exception& e) {
        logFailure("keyPressed", e);
    } catch (...) {
        logUnknownFailure("keyPressed");
    }
    return true;
}

bool Lumenda3DEditor::keyReleased(const OgreBites::KeyboardEvent& evt) {
    try {
        if (evt.keysym.sym == OgreBites::SDLK_ESCAPE) {
            clearSelectedObjects();
            // The context menu is closed here once it exists.
        }
        return LmdRuntime::keyReleased(evt);
    } catch (const std::exception& e) {
        logFailure("keyReleased", e);
    } catch (...) {
        logUnknownFailure("keyReleased");
    }
    return true;
}

// --- Mouse ---------------------------------------------------------------------------------------

bool Lumenda3DEditor::mouseMoved(const OgreBites::MouseMotionEvent& evt) {
    try {
        return LmdRuntime::mouseMoved(evt);
    } catch (const std::exception& e) {
        logFailure("mouseMoved", e);
    } catch (...) {
        logUnknownFailure("mouseMoved");
    }
    return true;
}

bool Lumenda3DEditor::mousePressed(const OgreBites::MouseButtonEvent& evt) {
    try {
        return LmdRuntime::mousePressed(evt);
    } catch (const std::exception& e) {
        logFailure("mousePressed", e);
    } catch (...) {
        logUnknownFailure("mousePressed");
    }
    return true;
}

bool Lumenda3DEditor::mouseReleased(const OgreBites::MouseButtonEvent& evt) {
    try {
        const bool handled = LmdRuntime::mouseReleased(evt);
        // A right release in the edit scene sets the items of the scene's context menu before it
        // opens, once the context menu exists.
        return handled;
    } catch (const std::exception& e) {
        logFailure("mouseReleased", e);
    } catch (...) {
        logUnknownFailure("mouseReleased");
    }
    return true;
}

} // namespace Lumenda3D
