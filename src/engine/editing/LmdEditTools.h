#pragma once
// The editor's tools in the edit scene, installed into the engine as its edit layer: the 3D and
// the 2D gizmo, the selection (LmdSelection), picking by click, and the document service attached
// to the engine's document (LmdSourceFiles: history, auto-save), whose frame work it runs, and the
// document check's findings that the views show (LmdDocumentFindings), kept current.
//
//   LmdEditTools::install(engine);   // the editor's constructor; the player never calls it
//
// Main thread only.
#include <memory>

#include "engine/LmdEditLayer.h"
#include "engine/editing/LmdSelection.h"

namespace Lumenda3D {

class LmdBase2D;
class LmdSourceFiles;
class Lumenda3DEngine;

class LmdEditTools : public LmdEditLayer {
public:
    // Makes the tools over the process's document service and installs them into `engine`.
    static void install(Lumenda3DEngine& engine);

    // Attaches `files` to the engine's document and makes it the engine's document service.
    LmdEditTools(Lumenda3DEngine& engine, LmdSourceFiles& files);
    // Detaches the document service again.
    ~LmdEditTools() override;
    LmdEditTools(const LmdEditTools&) = delete;
    LmdEditTools& operator=(const LmdEditTools&) = delete;

    void sceneCreated(Ogre::SceneManager* sceneManager) override;
    void sceneClosing(bool sceneManagerAlive) override;
    void frameStarted() override;
    void frameRenderingQueued() override;
    void drawOverlay(ImDrawList* list) override;

    bool mousePressed(int x, int y) override;
    bool mouseMoved(int x, int y) override;
    bool mouseReleased(int x, int y) override;
    void clicked(int x, int y, bool shift) override;
    void modifiersChanged(bool shift, bool ctrl, bool alt) override;

    LmdBase3D* selectedObject() const override { return selected_; }
    void selectObject(LmdBase3D* object) override;
    void clearSelection() override;
    LmdSelection& selection() override { return selection_; }

    std::shared_ptr<LmdGizmo> gizmo() const override { return gizmo_; }
    std::shared_ptr<LmdGizmo2D> gizmo2D() const override { return gizmo2D_; }

    pugi::xml_node createElement(pugi::xml_node parent, const char* name,
                                 const std::map<std::string, std::string>& attributes) override;

private:
    // The 3D gizmo's object became the selection (shows its bounding box).
    void noteSelection(LmdBase3D* object);
    void selectElement(LmdBase2D* element);

    Lumenda3DEngine& engine_;
    LmdSourceFiles& files_;
    std::shared_ptr<LmdGizmo> gizmo_;
    std::shared_ptr<LmdGizmo2D> gizmo2D_;
    LmdBase3D* selected_ = nullptr;
    LmdSelection selection_;
};

} // namespace Lumenda3D
