#include "engine/Lumenda3DEngine.h"

#include "base/LmdLog.h"
#include "engine/app/LmdScreenProjector.h"
#include "engine/assets/LmdMaterialFactory.h"
#include "engine/assets/LmdMeshLibrary.h"
#include "engine/LmdEditLayer.h"
#include "engine/scene/LmdLayer2D.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/LmdSceneReader.h"
#include "engine/scene/LmdShadows.h"
#include "engine/scene/ScriptParser.h"
#include "engine/schema/CodeSchema.h"
#include "services/MyHttpClient.h"

#include <OgreCamera.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>
#include <OgreViewport.h>

#include <cmath>

namespace Lumenda3D {
namespace {

Lumenda3DEngine* gEngine = nullptr;

} // namespace

Lumenda3DEngine::Lumenda3DEngine(const std::string& appName) : LmdAppContext(appName) {
    gEngine = this;
    mScriptParser = std::make_shared<ScriptParser>();
}

Lumenda3DEngine::~Lumenda3DEngine() {
    // Scene objects live in OGRE's scene manager: they go before the context shuts OGRE down.
    if (getSceneManager())
        mEditScene.reset();
    else
        mEditScene.release(); // OGRE is gone and took the objects with it
    if (mShadows && !getSceneManager())
        mShadows->detach();
    // The edit layer's scene parts must not outlive the scene manager; it lets go of the document.
    if (mEditLayer) {
        mEditLayer->sceneClosing(getSceneManager() != nullptr);
        mEditLayer.reset();
    }
    if (mHttpClient)
        mHttpClient->shutdown();
    if (gEngine == this)
        gEngine = nullptr;
}

Lumenda3DEngine* Lumenda3DEngine::getEngine() {
    return gEngine;
}

void Lumenda3DEngine::installEditLayer(std::unique_ptr<LmdEditLayer> layer) {
    if (mEditLayer)
        mEditLayer->sceneClosing(getSceneManager() != nullptr);
    mEditLayer = std::move(layer);
    if (mEditLayer && getSceneManager() && mEditScene)
        mEditLayer->sceneCreated(getSceneManager());
}

bool Lumenda3DEngine::editSceneShown() const {
    return mEditScene && getActiveScene() == mEditScene.get();
}

void Lumenda3DEngine::setup() {
    LmdAppContext::setup();
    runGuarded("setupEngine", [&] {
        setupAssets();
        mMaterials = std::make_unique<LmdMaterialFactory>(mAssets);
        mMeshes = std::make_unique<LmdMeshLibrary>(mAssets, *mMaterials, mFaults);
        mShadows = std::make_unique<LmdShadows>(getSceneManager());
        mFonts.install();
        mEditScene = makeScene(true);
        if (mEditLayer)
            mEditLayer->sceneCreated(getSceneManager());
        if (mDocument.getSourceXml())
            rebuildEditScene(mCurrentLevel);
    });
}

void Lumenda3DEngine::onClose() {
    runGuarded("onClose", [&] {
        clearSelectedObjects();
        if (mEditLayer)
            mEditLayer->sceneClosing(true);
        mEditScene.reset();
        mShadows.reset();
        mMeshes.reset();
        mMaterials.reset();
    });
    LmdAppContext::onClose();
}

std::unique_ptr<LmdScene> Lumenda3DEngine::makeScene(bool editMode) {
    LmdSceneBuilder::Services services;
    services.sceneManager = getSceneManager();
    services.materials = mMaterials.get();
    services.meshes = mMeshes.get();
    services.faults = &mFaults;
    services.shadows = mShadows.get();
    return std::make_unique<LmdScene>(services, editMode);
}

// --- Document --------------------------------------------------------------------------------

pugi::xml_document* Lumenda3DEngine::getSourceXml() {
    return mDocument.getSourceXml();
}

std::string Lumenda3DEngine::getSourceXmlString(bool withIds, bool forStorage) const {
    return mDocument.getSourceXmlString(withIds, forStorage);
}

bool Lumenda3DEngine::setXmlSourceString(const std::string& xml) {
    // Parse first: bad text must leave the document and the scene alone.
    pugi::xml_document probe;
    if (!LmdGameDocument::parse(xml, probe))
        return mDocument.setXmlSourceString(xml); // logs nothing, returns false, keeps the old one
    forgetDocumentNodes();
    const bool ok = mDocument.setXmlSourceString(xml);
    if (ok) {
        mFaults.reset(); // a new document reports its faults anew
        clearSyntheticClickMark();
    }
    return ok;
}

int Lumenda3DEngine::getSourceVersion() const {
    return mDocument.getSourceVersion();
}

pugi::xml_node Lumenda3DEngine::getXmlNodeById(int id) const {
    return mDocument.getXmlNodeById(id);
}

void Lumenda3DEngine::registerXmlNode(const pugi::xml_node& node) {
    mDocument.registerXmlNode(node);
}

bool Lumenda3DEngine::sourceHasLocalAssets() const {
    return mDocument.sourceHasLocalAssets();
}

std::string Lumenda3DEngine::getAssetsXmlString() const {
    return mDocument.getAssetsXmlString(mScriptParser ? mScriptParser->getCodeSchema() : nullptr);
}

void Lumenda3DEngine::forgetDocumentNodes() {
    if (!mEditScene)
        return;
    // The old document's nodes die with it: the scene keeps its objects (shown until the
    // rebuild) but no handle into the old tree.
    mEditScene->forgetNodes();
}

void Lumenda3DEngine::rebuildLevelDescription(LmdScene& scene, const pugi::xml_node& level) {
    LmdSceneReader reader = mScriptParser->reader(mFaults);
    scene.setLevelDesc(reader.readLevelDesc(level));
}

// --- Services and events ---------------------------------------------------------------------

std::shared_ptr<MyHttpClient> Lumenda3DEngine::getHttpClient() {
    if (!mHttpClient) {
        mHttpClient = std::make_shared<MyHttpClient>();
        mHttpDelivery = mFramePump.add("HTTP callbacks", [this] { mHttpClient->pump(); });
    }
    return mHttpClient;
}

void Lumenda3DEngine::addEventListener(LmdEventEnum id, std::function<void(std::shared_ptr<LmdEvent>)> listener,
                                       LmdListenerMode mode) {
    mEvents.addListener(id, std::move(listener), mode);
}

LmdSubscription Lumenda3DEngine::subscribeEvent(LmdEventEnum id, std::function<void(std::shared_ptr<LmdEvent>)> listener,
                                                LmdListenerMode mode) {
    return mEvents.subscribe(id, std::move(listener), mode);
}

void Lumenda3DEngine::fireEvents(LmdEventEnum id, std::shared_ptr<LmdEvent> event) {
    mEvents.fire(id, event);
}

void Lumenda3DEngine::logToServer(const std::string& text) {
    LmdLog::message(text);
}

// --- Frame -----------------------------------------------------------------------------------

bool Lumenda3DEngine::frameStarted(const Ogre::FrameEvent& evt) {
    LmdAppContext::frameStarted(evt); // input
    if (!mDeferred.empty()) {
        std::vector<std::function<void()>> due;
        due.swap(mDeferred);
        for (auto& action : due)
            runGuarded("deferAction", action);
    }
    runGuarded("frameUpdate", [&] { frameUpdate(evt.timeSinceLastFrame); });
    if (mEditLayer)
        runGuarded("updateGizmos", [&] { mEditLayer->frameStarted(); });
    return true;
}

bool Lumenda3DEngine::frameRenderingQueued(const Ogre::FrameEvent& evt) {
    // What other threads finished arrives first: the agents' jobs, HTTP answers, the updater.
    mFramePump.run();
    const bool result = LmdAppContext::frameRenderingQueued(evt);
    if (mEditLayer)
        runGuarded("frameRenderingQueued", [&] { mEditLayer->frameRenderingQueued(); });
    return result;
}

void Lumenda3DEngine::preViewportUpdate(const Ogre::RenderTargetViewportEvent& evt) {
    LmdAppContext::preViewportUpdate(evt);
    if (!evt.source || !evt.source->getOverlaysEnabled() || !ImGui::GetCurrentContext())
        return;
    runGuarded("draw2D", [&] {
        LmdScene* scene = getActiveScene();
        if (!scene)
            return;
        LmdLayer2D::draw(ImGui::GetBackgroundDrawList(), scene->elements(), scene->getShownLevel(), get2DView(),
                         &mFonts);
        // The gizmos' screen parts go over the layer they edit, under every panel.
        if (mEditLayer && scene == mEditScene.get())
            mEditLayer->drawOverlay(ImGui::GetBackgroundDrawList());
    });
}

bool Lumenda3DEngine::mousePressed(const OgreBites::MouseButtonEvent& evt) {
    if (evt.button == OgreBites::BUTTON_LEFT) {
        mPressX = evt.x;
        mPressY = evt.y;
        // A press on a gizmo is the gizmo's: the camera never sees it (Alt + drag stays the camera's).
        bool taken = false;
        if (mEditLayer && editSceneShown() && !mAltHeld)
            taken = runGuarded("gizmo press", false, [&] { return mEditLayer->mousePressed(evt.x, evt.y); });
        if (taken)
            return true;
    }
    return LmdAppContext::mousePressed(evt);
}

bool Lumenda3DEngine::mouseMoved(const OgreBites::MouseMotionEvent& evt) {
    bool taken = false;
    if (mEditLayer && editSceneShown())
        taken = runGuarded("gizmo move", false, [&] { return mEditLayer->mouseMoved(evt.x, evt.y); });
    return taken || LmdAppContext::mouseMoved(evt);
}

bool Lumenda3DEngine::mouseReleased(const OgreBites::MouseButtonEvent& evt) {
    bool gizmoDrag = false;
    if (evt.button == OgreBites::BUTTON_LEFT && mEditLayer && editSceneShown())
        gizmoDrag = runGuarded("gizmo release", false, [&] { return mEditLayer->mouseReleased(evt.x, evt.y); });
    const bool handled = LmdAppContext::mouseReleased(evt);
    if (!gizmoDrag && evt.button == OgreBites::BUTTON_LEFT && std::abs(evt.x - mPressX) <= 3 &&
        std::abs(evt.y - mPressY) <= 3 && !getEditorCamera().isBusy() && mEditLayer && editSceneShown()) {
        runGuarded("pick", [&] { mEditLayer->clicked(evt.x, evt.y, mShiftHeld); });
    }
    mPressX = mPressY = -1000;
    return handled || gizmoDrag;
}

bool Lumenda3DEngine::keyPressed(const OgreBites::KeyboardEvent& evt) {
    noteModifier(evt, true);
    return LmdAppContext::keyPressed(evt);
}

bool Lumenda3DEngine::keyReleased(const OgreBites::KeyboardEvent& evt) {
    noteModifier(evt, false);
    return LmdAppContext::keyReleased(evt);
}

// --- Modifiers and projection ----------------------------------------------------------------------------------

void Lumenda3DEngine::noteModifier(const OgreBites::KeyboardEvent& evt, bool down) {
    constexpr OgreBites::Keycode kScancodeKey = 1 << 30;
    switch (evt.keysym.sym) {
    case kScancodeKey | 0xE1: // left shift
    case kScancodeKey | 0xE5: // right shift
        mShiftHeld = down;
        break;
    case kScancodeKey | 0xE0: // left ctrl
    case kScancodeKey | 0xE4: // right ctrl
        mCtrlHeld = down;
        break;
    case kScancodeKey | 0xE2: // left alt
    case kScancodeKey | 0xE6: // right alt
        mAltHeld = down;
        break;
    default:
        return;
    }
    if (mEditLayer)
        mEditLayer->modifiersChanged(mShiftHeld, mCtrlHeld, mAltHeld);
}

LmdScreenProjector Lumenda3DEngine::getScreenProjector() const {
    return LmdScreenProjector::fromCamera(getCamera(), getViewport());
}

} // namespace Lumenda3D
