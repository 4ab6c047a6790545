#pragma once
// The engine service: the application context plus the game document, the scene built from it,
// selection and picking, levels, events, deferred actions and the shared services (schema
// parser, HTTP client, document service). LmdRuntime adds running the game on top, and the
// editor (Lumenda3DEditor) derives from that.
//
// The engine keeps the edit scene: every level of the document built, the current level shown,
// cameras and lights marked. While the game plays, LmdRuntime shows a play scene instead, and
// the operations that look at "the scene" (object list, lookups, picking) see the play scene.
//
// Frame order, on top of LmdAppContext's: frameStarted runs input, then the actions deferred
// since the last frame, then frameUpdate (the game's step in LmdRuntime); preViewportUpdate
// draws the game's 2D layer under the panels; frameRenderingQueued delivers HTTP results and
// lets the document service end its frame (undo grouping, auto-save).
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <imgui.h>
#include <pugixml.hpp>

#include "engine/app/LmdAppContext.h"
#include "engine/assets/LmdAssetResolver.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/events/LmdEvent.h"
#include "engine/events/LmdEventBus.h"
#include "engine/logic/LmdPointerState.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdGameFonts.h"
#include "engine/scene/LmdSceneFaults.h"
#include "services/LmdFramePump.h"

namespace Ogre {
class Entity;
}

namespace Lumenda3D {

class LmdBase2D;
class LmdBase3D;
class LmdEditLayer;
class LmdGamePhysics;
class LmdGizmo;
class LmdGizmo2D;
class LmdMaterialFactory;
class LmdMeshLibrary;
class LmdScene;
class LmdScreenProjector;
class LmdSelection;
class LmdShadows;
class LmdSourceFiles;
class MyHttpClient;
class ScriptParser;

class Lumenda3DEngine : public LmdAppContext {
public:
    explicit Lumenda3DEngine(const std::string& appName = "Lumenda3D");
    ~Lumenda3DEngine() override;

    // The engine of the process (the newest one made), or null.
    static Lumenda3DEngine* getEngine();

    void setup() override;
    void onClose() override;

    // --- Document ----------------------------------------------------------------------------
    pugi::xml_document* getSourceXml();
    std::string getSourceXmlString(bool withIds, bool forStorage) const;
    // Parses and replaces the document (false on bad XML, the old one untouched). The scene is
    // rebuilt by updateScript.
    bool setXmlSourceString(const std::string& xml);
    int getSourceVersion() const;
    pugi::xml_node getXmlNodeById(int id) const;
    void registerXmlNode(const pugi::xml_node& node);
    bool sourceHasLocalAssets() const;
    std::string getAssetsXmlString() const;
    LmdGameDocument& getDocument() { return mDocument; }
    // The document service; null unless an edit layer brought one (the standalone player runs
    // without).
    LmdSourceFiles* sourceFiles = nullptr;

    // --- The editor's layer ---------------------------------------------------------------------
    // Installs the editing tools (gizmos, selection, the document service's frame work); see
    // LmdEditLayer. Without one, selection and gizmos are absent and getGizmo() is null.
    void installEditLayer(std::unique_ptr<LmdEditLayer> layer);
    LmdEditLayer* getEditLayer() const { return mEditLayer.get(); }

    // --- Running and partial updates ---------------------------------------------------------
    // Builds the objects of one new element (and its subtree) under its parent without a rebuild.
    virtual void runPartialSource(pugi::xml_node node, pugi::xml_node parent);
    // Whether a new element of that name under `node` (or a change of that attribute of `node`)
    // needs runPartialSource; see LmdPartialSource.
    bool shouldRunPartialSource(const std::string& nameOrAttribute, pugi::xml_node node);
    // Rebuilds the scene from the document over the next frame (status 4 meanwhile), then calls
    // `done`. `restartGame`: a game that was running starts again on the new document (else it
    // stops). `keepLevel`: stay on the current level when the new document still has it.
    virtual void updateScript(bool restartGame, std::function<void()> done, bool keepLevel);
    // A live value of a scene object, light, 2D element, declaration or level; false when nothing
    // took it. `type` is the attribute's value kind ("number", "boolean", "color", "string", ...).
    virtual bool updateLuaAttribute(int xmlId, const std::string& attribute, const std::string& value,
                                    const std::string& type);
    // The live path of an attribute change (the attribute panel's, and agents' live edits): the
    // document already holds the attribute's new value, or lacks the attribute (its schema
    // default then applies); pushes that value into the built scene, and into a running game,
    // without a rebuild of the whole or a restart. False when nothing took it.
    virtual bool pushAttributeLive(int xmlId, const std::string& attribute);
    // Rebuilds the material of an object, or of a Material declaration and every object using it.
    virtual void rebuildMaterialObject(int xmlId, bool recursive);
    // Fits a model into one unit (again, after its file arrived).
    virtual void applyObjectAutoScale(int xmlId);
    // Run control; LmdRuntime runs the game and the editor adds its own steps.
    virtual void play() {}
    virtual void pause() {}
    virtual void stop(std::function<void()> done);
    virtual void clear();
    // 0 stopped, 1 playing, 2 paused, 3 running (the standalone player), 4 loading.
    virtual int getPlayStatus() const { return mLoading ? 4 : 0; }
    virtual bool isRunning() const { return false; }
    // Runs the function at the start of the next frame on the main thread.
    void deferAction(std::function<void()> action);
    // Forgets the textures and models read so far and rebuilds, so that changed files show.
    void refreshLocalAssets();
    // Sets up where assets are looked for (local assets, the game's folder, media, the cache).
    void setupAssets();
    LmdAssetResolver& getAssetResolver() { return mAssets; }
    // The scene's shadows (null before setup).
    LmdShadows* shadows() { return mShadows.get(); }
    // The project's local assets folder ("" for none) and the folder of the game file.
    void setLocalAssetsDir(const std::string& dir);
    void setGameDir(const std::string& dir);

    // --- Scene and selection -----------------------------------------------------------------
    virtual std::string getCurLevel() const { return mCurrentLevel; }
    // Shows a level of the edit scene (an unknown name is logged and changes nothing).
    virtual void setLevel(const std::string& name);
    std::vector<std::string> getLevelNames() const;
    // Adds a Level element through the document service and shows it.
    void addEditorLevel(const std::string& name);
    // The selected 3D object (null without one, or without an edit layer).
    LmdBase3D* getSelectedObject() const;
    void setSelectedObject(LmdBase3D* object);
    void clearSelectedObjects();
    // What is selected, by element id; null without an edit layer.
    LmdSelection* getSelection() const;
    LmdBase3D* getObjByXmlId(int xmlId) const;
    LmdBase2D* get2DObjectByXmlId(int xmlId) const;
    std::vector<LmdBase3D*> getObjectList() const;
    std::vector<LmdBase2D*> get2DObjectList() const;
    // Picking: the ray of the screen projector (getScreenProjector) through a window pixel, the
    // viewport's place in the window included, for every pick and placement below.
    // The nearest shown object whose entity bounds the ray through the window pixel hits
    // (markers of cameras and lights count in the edit scene); null for none.
    LmdBase3D* pickObject(int x, int y) const;
    // Every shown object the ray through the pixel hits, nearest first.
    std::vector<LmdBase3D*> pickObjects(int x, int y) const;
    // What the game's pointer at the window pixel points at: its place in the game view, the
    // nearest pickable object whose bounds the ray enters in front of the camera and that point,
    // else the point where the ray meets the ground plane (y = 0).
    LmdPointerState pointAt(int x, int y) const;
    // The gizmos of the edit scene: the 3D one over the selected object (selection and gizmo
    // follow each other), the 2D one over a selected element of the 2D layer. Hidden and inert
    // while the game runs. Null without an edit layer.
    std::shared_ptr<LmdGizmo> getGizmo() const;
    std::shared_ptr<LmdGizmo2D> getGizmo2D() const;
    // The live camera through the viewport, window pixels to scene and back.
    LmdScreenProjector getScreenProjector() const;
    // Entities under the pixel, nearest first.
    std::vector<Ogre::Entity*> getEntitiesUnderScreenPoint(int x, int y) const;
    // The topmost 2D element under the pixel, or null.
    LmdBase2D* pick2DObject(int x, int y) const;
    // Screen to scene: where the ray through the pixel meets the placing plane (y = 0); a ray
    // that never meets it gives the point 10 units along the ray.
    Ogre::Vector3 convert2DTo3D(const ImVec2& screen) const;
    // The centre of the part of the window the scene shows (inside the insets).
    ImVec2 getSceneCenterScreenPos() const;
    // Panels covering the window's left and top edges (the editor's bars).
    void setViewInsets(float left, float top);
    // The game's screen for its 2D layer: the window less the insets.
    LmdRect2D get2DView() const;
    // The scene shown now: the play scene while the game runs, else the edit scene.
    virtual LmdScene* getActiveScene() const { return mEditScene.get(); }
    LmdScene* getEditScene() const { return mEditScene.get(); }

    // --- Services and events -----------------------------------------------------------------
    std::shared_ptr<ScriptParser> getScriptParser() const { return mScriptParser; }
    std::shared_ptr<MyHttpClient> getHttpClient();
    // Deliveries from other threads to the main thread, run at the start of each
    // frameRenderingQueued (see LmdFramePump); the HTTP client's answers are one of them.
    LmdFramePump& getFramePump() { return mFramePump; }
    void addEventListener(LmdEventEnum id, std::function<void(std::shared_ptr<LmdEvent>)> listener,
                          LmdListenerMode mode = LmdListenerNormal);
    // The same with a handle: the listener is removed when the handle goes or is cancelled, also
    // in the middle of a delivery (it is then not called again). For panels and other listeners
    // that live shorter than the engine.
    LmdSubscription subscribeEvent(LmdEventEnum id, std::function<void(std::shared_ptr<LmdEvent>)> listener,
                                   LmdListenerMode mode = LmdListenerNormal);
    void fireEvents(LmdEventEnum id, std::shared_ptr<LmdEvent> event);
    // A line for the agents' log.
    void logToServer(const std::string& text);
    LmdSceneFaults& getSceneFaults() { return mFaults; }
    const LmdGameFonts& getGameFonts() const { return mFonts; }

    bool frameRenderingQueued(const Ogre::FrameEvent& evt) override;
    void preViewportUpdate(const Ogre::RenderTargetViewportEvent& evt) override;
    bool mousePressed(const OgreBites::MouseButtonEvent& evt) override;
    bool mouseReleased(const OgreBites::MouseButtonEvent& evt) override;
    bool mouseMoved(const OgreBites::MouseMotionEvent& evt) override;
    bool keyPressed(const OgreBites::KeyboardEvent& evt) override;
    bool keyReleased(const OgreBites::KeyboardEvent& evt) override;

protected:
    bool frameStarted(const Ogre::FrameEvent& evt) override;
    // The game's step each frame, after input and deferred actions (LmdRuntime).
    virtual void frameUpdate(float dt) { (void)dt; }
    // Rebuilds the edit scene from the document now, on `level` (or the first level).
    void rebuildEditScene(const std::string& level);
    // Rebuilds the objects of one element in a scene from the document.
    void rebuildNode(LmdScene& scene, int xmlId);
    // Applies a live value to one scene; false when nothing took it.
    bool applyAttribute(LmdScene& scene, int xmlId, const std::string& attribute, const std::string& value,
                        const std::string& type, bool playing);
    // The physics of a scene (the play scene's, in LmdRuntime); null when it has none.
    virtual LmdGamePhysics* physicsFor(LmdScene& scene) { (void)scene; return nullptr; }
    // Re-reads a Level element's own values (background, sky, fog, gravity) into a scene.
    void rebuildLevelDescription(LmdScene& scene, const pugi::xml_node& level);
    // Makes a scene with the engine's services (edit mode: markers, every level).
    std::unique_ptr<LmdScene> makeScene(bool editMode);
    // Points every scene's node handles away from a document that is going away.
    virtual void forgetDocumentNodes();
    // Texts with {placeholders} in the edit scene show the variables' starting values.
    void previewTexts(LmdScene& scene);
    LmdMaterialFactory& materials() { return *mMaterials; }
    LmdMeshLibrary& meshes() { return *mMeshes; }
    void setLoading(bool loading) { mLoading = loading; }

public:
    // A document is being built into the scene (status 4).
    bool isLoading() const { return mLoading; }

protected:

    LmdGameDocument mDocument;
    std::shared_ptr<ScriptParser> mScriptParser;
    std::shared_ptr<MyHttpClient> mHttpClient;
    LmdFramePump mFramePump;
    LmdSubscription mHttpDelivery;
    LmdEventBus mEvents;
    LmdSceneFaults mFaults;
    LmdAssetResolver mAssets;
    std::unique_ptr<LmdMaterialFactory> mMaterials;
    std::unique_ptr<LmdMeshLibrary> mMeshes;
    std::unique_ptr<LmdShadows> mShadows;
    std::unique_ptr<LmdScene> mEditScene;
    LmdGameFonts mFonts;
    std::string mCurrentLevel;
    std::unique_ptr<LmdEditLayer> mEditLayer;
    // Modifier keys held now (the gizmos read them at clicks and drags).
    bool mShiftHeld = false, mCtrlHeld = false, mAltHeld = false;
    std::vector<std::function<void()>> mDeferred;
    float mInsetLeft = 0.0f, mInsetTop = 0.0f;
    bool mLoading = false;
    int mLoadSerial = 0;
    int mPressX = -1000, mPressY = -1000;

private:
    // The shown objects that `candidate` accepts and the picking ray through the window pixel hits
    // (within the bounds of what they draw), nearest first: the one picking of the engine.
    std::vector<LmdBase3D*> objectsUnder(int x, int y, const std::function<bool(const LmdBase3D&)>& candidate) const;
    // The same, with the distance along the ray at which each is entered (0 when the camera is
    // inside its bounds).
    std::vector<std::pair<float, LmdBase3D*>> hitsUnder(int x, int y,
                                                        const std::function<bool(const LmdBase3D&)>& candidate) const;
    // Whether the edit scene is what the window shows now (input and overlays of the edit layer).
    bool editSceneShown() const;
    void noteModifier(const OgreBites::KeyboardEvent& evt, bool down);
};

} // namespace Lumenda3D
