#pragma once
// What the editor adds to the engine's edit scene, behind one interface that the engine calls:
// the gizmos, the selection, and the document service's work at the end of each frame. The
// editor installs it (Lumenda3DEngine::installEditLayer, see engine/editing/LmdEditTools); the
// standalone player never does, so that it links none of that code: no history, no auto-save, no
// gizmos, no selection.
//
// Every call is made on the main thread. The engine calls the input and drawing hooks only while
// the edit scene is shown.
#include <map>
#include <memory>
#include <string>

#include <pugixml.hpp>

struct ImDrawList;
namespace Ogre {
class SceneManager;
}

namespace Lumenda3D {

class LmdBase3D;
class LmdGizmo;
class LmdGizmo2D;
class LmdSelection;

class LmdEditLayer {
public:
    virtual ~LmdEditLayer() = default;

    // The scene manager exists (the engine's setup): build what shows in the scene.
    virtual void sceneCreated(Ogre::SceneManager* sceneManager) = 0;
    // The scene goes: `sceneManagerAlive` false when OGRE took it down already, so that nothing
    // of it may be touched.
    virtual void sceneClosing(bool sceneManagerAlive) = 0;

    // Each frame after the game's step: let go of objects a rebuild destroyed, place the gizmos.
    virtual void frameStarted() = 0;
    // Each frame after the deliveries: the document service ends its frame (undo grouping,
    // auto-save).
    virtual void frameRenderingQueued() = 0;
    // Over the game's 2D layer, under every panel.
    virtual void drawOverlay(ImDrawList* list) = 0;

    // Left-button input; true when taken (the camera then never sees it).
    virtual bool mousePressed(int x, int y) = 0;
    virtual bool mouseMoved(int x, int y) = 0;
    // True when a drag ended here (then the release is no click).
    virtual bool mouseReleased(int x, int y) = 0;
    // A click without a drag, away from any gizmo: picks what is under the pointer and selects it.
    virtual void clicked(int x, int y, bool shift) = 0;
    // The modifier keys held now.
    virtual void modifiersChanged(bool shift, bool ctrl, bool alt) = 0;

    // The selected 3D object; null when none (or when a 2D element or a block alone is selected).
    virtual LmdBase3D* selectedObject() const = 0;
    // Selects a 3D object (null deselects it); a 2D element lets go.
    virtual void selectObject(LmdBase3D* object) = 0;
    // Deselects everything and detaches both gizmos.
    virtual void clearSelection() = 0;
    // The selection by element id, which panels follow.
    virtual LmdSelection& selection() = 0;

    virtual std::shared_ptr<LmdGizmo> gizmo() const = 0;
    virtual std::shared_ptr<LmdGizmo2D> gizmo2D() const = 0;

    // A new element through the document service, recorded for undo: appended to `parent`, given
    // the attributes in map order and a fresh id, registered, and built in the scene. Empty on
    // failure.
    virtual pugi::xml_node createElement(pugi::xml_node parent, const char* name,
                                         const std::map<std::string, std::string>& attributes) = 0;
};

} // namespace Lumenda3D
