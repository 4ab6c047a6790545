#include "engine/editing/LmdEditTools.h"

#include <algorithm>

#include "engine/Lumenda3DEngine.h"
#include "engine/app/LmdScreenProjector.h"
#include "engine/editing/LmdDocumentFindings.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/gizmo/LmdGizmo.h"
#include "engine/gizmo/LmdGizmo2D.h"
#include "engine/gizmo/LmdGizmoCommit.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/ScriptParser.h"

#include <OgreSceneNode.h>

namespace Lumenda3D {

void LmdEditTools::install(Lumenda3DEngine& engine) {
    engine.installEditLayer(std::make_unique<LmdEditTools>(engine, LmdSourceFiles::getInstance()));
}

LmdEditTools::LmdEditTools(Lumenda3DEngine& engine, LmdSourceFiles& files)
    : engine_(engine), files_(files), gizmo_(std::make_shared<LmdGizmo>()), gizmo2D_(std::make_shared<LmdGizmo2D>()) {
    engine_.sourceFiles = &files_;
    files_.attachDocument(&engine_.getDocument());
    // New elements are built in the scene where they stand, without a rebuild.
    files_.setSceneBuilder([this](pugi::xml_node node, pugi::xml_node parent) { engine_.runPartialSource(node, parent); });

    auto fire = [this](LmdEventEnum id, std::shared_ptr<LmdEvent> event) { engine_.fireEvents(id, std::move(event)); };
    auto schema = [this] {
        std::shared_ptr<ScriptParser> parser = engine_.getScriptParser();
        return parser ? parser->getCodeSchema() : nullptr;
    };

    LmdGizmo::Services services;
    services.fire = fire;
    services.selectionChanged = [this](LmdBase3D* object) { noteSelection(object); };
    services.pick = [this](int x, int y) { return engine_.pickObjects(x, y); };
    services.commit = [this, schema](LmdBase3D& object, const LmdGizmoCommit::Transform& before,
                                     const LmdGizmoCommit::Transform& after) {
        const pugi::xml_node node = engine_.getXmlNodeById(object.getXmlId());
        if (node)
            LmdGizmoCommit::writeTransform(files_, node, before, after, schema());
    };
    gizmo_->setServices(std::move(services));

    LmdGizmo2D::Services services2D;
    services2D.fire = fire;
    services2D.selectionChanged = [this](LmdBase2D* element) {
        if (!element) {
            selection_.clearKind(LmdSelection::Kind::Element2D);
            return;
        }
        // One selection at a time: a 2D element lets go of a 3D object.
        gizmo_->attach(nullptr, false);
        selection_.select(element->getXmlId(), LmdSelection::Kind::Element2D);
    };
    services2D.commit = [this, schema](LmdBase2D& element, const std::vector<std::pair<std::string, float>>& values) {
        const pugi::xml_node node = engine_.getXmlNodeById(element.getXmlId());
        if (node)
            LmdGizmoCommit::writeNumbers(files_, node, values, schema());
    };
    services2D.view = [this] { return engine_.get2DView(); };
    gizmo2D_->setServices(std::move(services2D));

    // The views' findings follow this document.
    LmdDocumentFindings::getInstance().follow(&files_, schema);
}

LmdEditTools::~LmdEditTools() {
    LmdDocumentFindings::getInstance().follow(nullptr, nullptr);
    files_.setSceneBuilder(nullptr);
    if (files_.getDocument() == &engine_.getDocument())
        files_.attachDocument(nullptr);
    if (engine_.sourceFiles == &files_)
        engine_.sourceFiles = nullptr;
}

void LmdEditTools::sceneCreated(Ogre::SceneManager* sceneManager) {
    gizmo_->createVisual(sceneManager);
}

void LmdEditTools::sceneClosing(bool sceneManagerAlive) {
    // Someone may still hold the gizmo: its handles must not outlive the scene manager.
    if (sceneManagerAlive)
        gizmo_->destroyVisual();
    else
        gizmo_->abandonVisual();
}

void LmdEditTools::frameStarted() {
    LmdScene* edit = engine_.getEditScene();
    if (!edit)
        return;
    // A rebuild of one element may have destroyed what a gizmo holds: let go without touching it.
    if (LmdBase3D* object = gizmo_->getObject()) {
        const std::vector<LmdBase3D*>& objects = edit->objects();
        if (std::find(objects.begin(), objects.end(), object) == objects.end()) {
            selected_ = nullptr;
            gizmo_->forgetVanishedObject();
        }
    }
    const bool editShown = engine_.getActiveScene() == edit;
    if (LmdBase2D* element = gizmo2D_->getObject()) {
        const std::vector<LmdBase2D*>& elements = edit->elements();
        if (std::find(elements.begin(), elements.end(), element) == elements.end())
            gizmo2D_->forgetVanishedObject();
        else
            gizmo2D_->setShown(editShown && edit->isShownNow(*element) && element->isShown());
    }
    gizmo_->update(engine_.getScreenProjector(), editShown && !engine_.isLoading());
}

void LmdEditTools::frameRenderingQueued() {
    files_.update();
    LmdDocumentFindings::getInstance().update(LmdDocumentFindings::Clock::now());
}

void LmdEditTools::drawOverlay(ImDrawList* list) {
    gizmo_->drawOverlay(list, engine_.getScreenProjector());
    gizmo2D_->draw(list);
}

bool LmdEditTools::mousePressed(int x, int y) {
    return gizmo2D_->mousePressed(x, y) || gizmo_->mousePressed(x, y, engine_.getScreenProjector());
}

bool LmdEditTools::mouseMoved(int x, int y) {
    return gizmo2D_->mouseMoved(x, y) || gizmo_->mouseMoved(x, y, engine_.getScreenProjector());
}

bool LmdEditTools::mouseReleased(int x, int y) {
    return gizmo2D_->mouseReleased(x, y) || gizmo_->mouseReleased(x, y, engine_.getScreenProjector());
}

void LmdEditTools::clicked(int x, int y, bool shift) {
    // The 2D layer lies over the scene: its elements are picked first.
    if (LmdBase2D* element = engine_.pick2DObject(x, y)) {
        selectElement(element);
        return;
    }
    bool asSubObject = false;
    LmdBase3D* object = gizmo_->resolvePick(engine_.pickObjects(x, y), shift, asSubObject);
    gizmo2D_->detach(); // a click on a 3D object, or on nothing, ends a 2D selection
    // An object inside another was picked as a sub-object (Shift+click, or by default).
    gizmo_->attach(object, object && object->getParent());
}

void LmdEditTools::modifiersChanged(bool shift, bool ctrl, bool alt) {
    gizmo_->setModifiers(shift, ctrl, alt);
}

void LmdEditTools::selectElement(LmdBase2D* element) {
    // Taking the element lets go of a 3D object (see the 2D gizmo's selectionChanged).
    gizmo2D_->attach(element);
}

void LmdEditTools::selectObject(LmdBase3D* object) {
    // One selection at a time: a 3D object lets go of a 2D element.
    if (object)
        gizmo2D_->detach();
    // The gizmo attaches and reports the selection back (noteSelection).
    gizmo_->attach(object, false);
}

void LmdEditTools::clearSelection() {
    selectObject(nullptr);
    gizmo2D_->detach();
    selection_.clear();
}

void LmdEditTools::noteSelection(LmdBase3D* object) {
    if (selected_ && selected_->getNode())
        selected_->getNode()->showBoundingBox(false);
    selected_ = object;
    if (selected_ && selected_->getNode() && engine_.getActiveScene() == engine_.getEditScene())
        selected_->getNode()->showBoundingBox(true);
    if (object)
        selection_.select(object->getXmlId(), LmdSelection::Kind::Object3D);
    else
        selection_.clearKind(LmdSelection::Kind::Object3D);
}

pugi::xml_node LmdEditTools::createElement(pugi::xml_node parent, const char* name,
                                           const std::map<std::string, std::string>& attributes) {
    return files_.createElement(parent, name, attributes);
}

} // namespace Lumenda3D
