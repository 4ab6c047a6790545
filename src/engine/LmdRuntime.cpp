#include "engine/LmdRuntime.h"

#include "base/LmdLog.h"
#include "engine/app/LmdKeyNames.h"
#include "engine/assets/LmdMeshLibrary.h"
#include "engine/logic/LmdLiteral.h"
#include "engine/package/LmdPackagedLogic.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdLayer2D.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/LmdSceneReader.h"
#include "engine/scene/ScriptParser.h"

#include <OgreCamera.h>
#include <OgreSceneNode.h>

#include <algorithm>
#include <cstdio>

namespace Lumenda3D {

LmdRuntime::LmdRuntime(const std::string& appName)
    : Lumenda3DEngine(appName), mPhysics(mPhysicsWorld), mLogic(mHost) {}

LmdRuntime::~LmdRuntime() {
    if (getSceneManager()) {
        mLogic.stop();
        mPlayScene.reset();
    } else {
        mPlayScene.release(); // OGRE is gone and took the objects with it
    }
}

void LmdRuntime::setup() {
    Lumenda3DEngine::setup();
    runGuarded("setupRuntime", [&] {
        mSound.init(); // silent (one log line) without an audio device
        LmdSceneHost::Services services;
        services.physics = &mPhysics;
        services.sound = &mSound;
        services.materials = &materials();
        services.viewport = getViewport();
        services.goToLevel = [this](const std::string& level) {
            bool ok = false;
            runGuarded("goToLevel", [&] { ok = buildPlayLevel(level.empty() ? mPlayLevel : level); });
            return ok;
        };
        mHost.setServices(services);
    });
}

void LmdRuntime::onClose() {
    runGuarded("onClose", [&] { endPlay(false); });
    mSound.shutdown();
    Lumenda3DEngine::onClose();
}

// --- Run control -------------------------------------------------------------------------------

int LmdRuntime::getPlayStatus() const {
    if (isLoading())
        return Loading;
    switch (mState) {
    case State::Playing: return mStandalone ? Running : Playing;
    case State::Paused: return Paused;
    case State::Stopped: break;
    }
    return Stopped;
}

std::string LmdRuntime::getCurLevel() const {
    return isRunning() ? mPlayLevel : Lumenda3DEngine::getCurLevel();
}

LmdScene* LmdRuntime::getActiveScene() const {
    return isRunning() && mPlayScene ? mPlayScene.get() : Lumenda3DEngine::getActiveScene();
}

LmdGamePhysics* LmdRuntime::physicsFor(LmdScene& scene) {
    return &scene == mPlayScene.get() ? &mPhysics : nullptr;
}

void LmdRuntime::play() {
    if (mState == State::Paused) {
        mState = State::Playing;
        fireEvents(LmdEventPlayStarted, std::make_shared<LmdEvent>(LmdEventPlayStarted));
        return;
    }
    if (mState == State::Playing || !getSceneManager())
        return;
    if (isLoading()) {
        mPlayAfterLoad = true;
        return;
    }
    runGuarded("play", [&] {
        clearSelectedObjects();
        // The editor's view, to be put back at stop.
        mSavedEye = getEditorCamera().getEyePosition();
        mSavedTarget = getEditorCamera().getTarget();
        if (Ogre::Camera* camera = getCamera()) {
            mSavedFov = camera->getFOVy();
            mSavedNear = camera->getNearClipDistance();
            mSavedFar = camera->getFarClipDistance();
        }
        const std::vector<std::string> levels = getLevelNames();
        std::string level = Lumenda3DEngine::getCurLevel();
        if (std::find(levels.begin(), levels.end(), level) == levels.end())
            level = levels.empty() ? std::string() : levels.front();

        mPlayScene = makeScene(false);
        mPlayScene->setOnBuilt([this](LmdBase3D* object) {
            const LmdObjectDesc& d = object->getDesc();
            if (d.physics.body == LmdBodyType::None)
                return;
            LmdMeshLibrary::Shape shape;
            const LmdMeshData* mesh = nullptr;
            if (d.physics.shape == LmdShapeType::Mesh && meshes().shapeOf(d, shape))
                mesh = shape.data;
            mPhysics.addObject(*object, mesh);
        });
        mPlayScene->setOnRemoved([this](LmdBase3D* object) { mPhysics.removeObject(*object); });
        LmdSceneHost::Services services = mHost.services();
        services.scene = mPlayScene.get();
        services.viewport = getViewport();
        mHost.setServices(services);
        if (mEditScene)
            mEditScene->setAttached(false);
        setEditorCameraEnabled(false);
        mCollisionCount = 0;
        mClock.reset();
        mState = State::Playing;
        if (!buildPlayLevel(level))
            buildPlayLevel(std::string());
        // Logic last: its OnStart handlers find the scene in place.
        if (!LmdPackagedLogic::get().empty()) {
            if (mLogic.loadBytecode(LmdPackagedLogic::get()))
                mLogic.start(mPlayLevel);
        } else if (mScriptParser && mScriptParser->hasSchema() && mDocument.root()) {
            if (mLogic.loadDocument(mDocument.root(), *mScriptParser->getCodeSchema()))
                mLogic.start(mPlayLevel);
        }
        LmdLog::message("Game started on level '" + mPlayLevel + "'");
        fireEvents(LmdEventPlayStarted, std::make_shared<LmdEvent>(LmdEventPlayStarted));
    });
}

bool LmdRuntime::buildPlayLevel(const std::string& level) {
    if (!mPlayScene || !mScriptParser)
        return false;
    const std::vector<std::string> levels = getLevelNames();
    if (!level.empty() && std::find(levels.begin(), levels.end(), level) == levels.end())
        return false;
    ++mLevelSerial;
    mPressedButton = nullptr;
    mActiveStick = nullptr;
    mGameCamera.end();
    mPlayScene->clear();
    mPhysics.clear();
    mPlayLevel = level;
    mScriptParser->buildScene(*mPlayScene, mDocument.root(), level, mFaults);
    mPlayScene->showLevel(level, getViewport());
    const LmdLevelDesc* desc = mPlayScene->description().findLevel(level);
    mPhysics.setGravity(desc ? desc->gravity : Ogre::Vector3(0.0f, -9.81f, 0.0f));
    loadSounds();
    mGameCamera.begin(*mPlayScene, getCamera(), getCameraNode());
    if (!level.empty())
        LmdLog::message("Level '" + level + "' started");
    fireEvents(LmdEventLevelChanged, std::make_shared<LmdLevelChangedEvent>(level, true));
    return true;
}

void LmdRuntime::loadSounds() {
    for (const LmdSoundDesc& sound : mPlayScene->description().sounds) {
        LmdSoundSystem::SoundDeclaration declaration;
        declaration.name = sound.name;
        declaration.fileName = sound.fileName;
        declaration.path = getAssetResolver().resolve(sound.fileName, LmdAssetResolver::Kind::Sound);
        declaration.volume = sound.volume;
        declaration.loop = sound.loop;
        declaration.autoPlay = sound.autoPlay;
        declaration.nodeId = sound.xmlId;
        mSound.load(declaration);
    }
}

void LmdRuntime::runFor(double seconds) {
    if (!(seconds > 0.0))
        return;
    if (mState != State::Playing)
        play();
    if (mState == State::Playing || mPlayAfterLoad)
        mClock.startSpan(seconds);
}

void LmdRuntime::pause() {
    mClock.cancelSpan();
    if (mState == State::Playing) {
        mState = State::Paused;
        fireEvents(LmdEventPlayPaused, std::make_shared<LmdEvent>(LmdEventPlayPaused));
    } else if (mState == State::Paused) {
        play();
    }
}

void LmdRuntime::endPlay(bool restore) {
    mPlayAfterLoad = false;
    mClock.cancelSpan();
    if (mState == State::Stopped && !mPlayScene)
        return;
    mLogic.stop();
    mSound.stopAll();
    mSound.unloadAll();
    mGameCamera.end();
    mPhysics.clear();
    mPressedButton = nullptr;
    mActiveStick = nullptr;
    mPlayScene.reset();
    LmdSceneHost::Services services = mHost.services();
    services.scene = nullptr;
    mHost.setServices(services);
    mState = State::Stopped;
    if (!restore)
        return;
    if (mEditScene) {
        mEditScene->setAttached(true);
        mEditScene->showLevel(Lumenda3DEngine::getCurLevel(), getViewport());
    }
    if (Ogre::Camera* camera = getCamera()) {
        camera->setFOVy(mSavedFov);
        camera->setNearClipDistance(mSavedNear);
        camera->setFarClipDistance(mSavedFar);
    }
    getEditorCamera().setView(mSavedEye, mSavedTarget);
    setEditorCameraEnabled(true);
}

void LmdRuntime::stop(std::function<void()> done) {
    runGuarded("stop", [&] {
        const bool wasRunning = isRunning();
        endPlay(true);
        if (wasRunning) {
            LmdLog::message("Game stopped");
            fireEvents(LmdEventPlayStopped, std::make_shared<LmdEvent>(LmdEventPlayStopped));
        }
    });
    Lumenda3DEngine::stop(std::move(done));
}

void LmdRuntime::clear() {
    runGuarded("clear", [&] { endPlay(true); });
    Lumenda3DEngine::clear();
}

// --- Document and live updates ------------------------------------------------------------------

void LmdRuntime::forgetDocumentNodes() {
    Lumenda3DEngine::forgetDocumentNodes();
    if (mPlayScene)
        mPlayScene->forgetNodes();
}

void LmdRuntime::updateScript(bool restartGame, std::function<void()> done, bool keepLevel) {
    const bool wasRunning = isRunning() || mPlayAfterLoad;
    if (isRunning())
        runGuarded("updateScript", [&] { endPlay(true); });
    Lumenda3DEngine::updateScript(
        restartGame,
        [this, wasRunning, restartGame, done] {
            if (wasRunning && restartGame)
                play();
            else if (mPlayAfterLoad) {
                mPlayAfterLoad = false;
                play();
            }
            if (done)
                done();
        },
        keepLevel);
}

void LmdRuntime::runPartialSource(pugi::xml_node node, pugi::xml_node parent) {
    Lumenda3DEngine::runPartialSource(node, parent);
    if (!mPlayScene || !node)
        return;
    runGuarded("runPartialSource", [&] {
        const std::string level = LmdSceneReader::levelOf(node);
        if (!level.empty() && level != mPlayLevel)
            return;
        LmdSceneDescription part;
        mScriptParser->describeSubtree(node, part, mFaults);
        mPlayScene->addPart(part);
    });
}

bool LmdRuntime::updateLuaAttribute(int xmlId, const std::string& attribute, const std::string& value,
                                    const std::string& type) {
    bool taken = Lumenda3DEngine::updateLuaAttribute(xmlId, attribute, value, type);
    if (mPlayScene)
        runGuarded("updateLuaAttribute", [&] {
            taken = applyAttribute(*mPlayScene, xmlId, attribute, value, type, true) || taken;
        });
    return taken;
}

bool LmdRuntime::pushAttributeLive(int xmlId, const std::string& attribute) {
    bool taken = Lumenda3DEngine::pushAttributeLive(xmlId, attribute);
    const pugi::xml_node node = getXmlNodeById(xmlId);
    if (isRunning() && node && std::string(node.name()) == "Var" && attribute == "value") {
        LmdScriptValue value;
        if (LmdLiteral::parse(node.attribute("value").as_string("0"), value))
            taken = mLogic.setVariable(node.attribute("name").value(), value) || taken;
    }
    return taken;
}

// --- Frame ----------------------------------------------------------------------------------------

void LmdRuntime::frameUpdate(float dt) {
    if (mState != State::Playing || !mPlayScene)
        return;
    stepGame(mClock.step(dt));
    if (mClock.takeSpanEnd() && mState == State::Playing) {
        // The span has played: pause, so that the state at its end stays for reading.
        mState = State::Paused;
        char text[96];
        std::snprintf(text, sizeof text, "Game paused at game time %.3f s (end of the span)", mClock.time());
        LmdLog::message(text);
        fireEvents(LmdEventPlayPaused, std::make_shared<LmdEvent>(LmdEventPlayPaused));
    }
}

void LmdRuntime::tellPointer() {
    if (!mPointerKnown)
        return;
    LmdPointerState state;
    if (mLogic.readsPointer()) {
        state = pointAt(mPointerX, mPointerY);
    } else {
        const LmdRect2D view = get2DView();
        state.screenX = double(mPointerX) - view.x;
        state.screenY = double(mPointerY) - view.y;
    }
    mLogic.pointer(state);
}

void LmdRuntime::stepGame(float dt) {
    // Objects and the camera move under a pointer that stays: its 3D point is found anew.
    tellPointer();
    mLogic.update(dt);
    if (!mPlayScene)
        return;
    const int serial = mLevelSerial;
    const auto touches = mPhysics.step(dt);
    if (serial == mLevelSerial)
        handleCollisions(touches);
    if (!mPlayScene)
        return;
    mPlayScene->advanceAnimations(dt);
    mGameCamera.update(*mPlayScene, dt);
}

void LmdRuntime::handleCollisions(const std::vector<std::pair<LmdBase3D*, LmdBase3D*>>& touches) {
    const int serial = mLevelSerial;
    for (const auto& [a, b] : touches) {
        // Logic may have destroyed either object, or changed the level, since the step.
        const auto& live = mPlayScene->objects();
        if (serial != mLevelSerial || std::find(live.begin(), live.end(), a) == live.end() ||
            std::find(live.begin(), live.end(), b) == live.end())
            continue;
        const std::string nameA = a->getName(), nameB = b->getName();
        ++mCollisionCount;
        fireEvents(LmdEventCollision, std::make_shared<LmdCollisionEvent>(nameA, nameB));
        if (nameA.empty() || nameB.empty())
            continue;
        // Names may repeat: point lookups at the two objects that touched while logic handles it.
        mPlayScene->setNameHint(a, b);
        mLogic.collision(nameA, nameB);
        if (mPlayScene)
            mPlayScene->setNameHint(nullptr);
    }
}

// --- Input ------------------------------------------------------------------------------------------

std::string LmdRuntime::gameKeyName(OgreBites::Keycode code) {
    std::string name = LmdKeyNames::nameOf(code);
    if (name == "rshift" || name == "rctrl" || name == "ralt")
        name.erase(0, 1);
    return name;
}

bool LmdRuntime::keyPressed(const OgreBites::KeyboardEvent& evt) {
    if (mState == State::Stopped)
        return Lumenda3DEngine::keyPressed(evt);
    if (mState == State::Playing) {
        const std::string key = gameKeyName(evt.keysym.sym);
        if (!key.empty())
            runGuarded("keyPressed", [&] { mLogic.keyDown(key); });
    }
    return true;
}

bool LmdRuntime::keyReleased(const OgreBites::KeyboardEvent& evt) {
    if (mState == State::Stopped)
        return Lumenda3DEngine::keyReleased(evt);
    const std::string key = gameKeyName(evt.keysym.sym);
    if (!key.empty())
        runGuarded("keyReleased", [&] { mLogic.keyUp(key); });
    return true;
}

bool LmdRuntime::mouseMoved(const OgreBites::MouseMotionEvent& evt) {
    if (mState == State::Stopped)
        return Lumenda3DEngine::mouseMoved(evt);
    mPointerX = evt.x;
    mPointerY = evt.y;
    mPointerKnown = true;
    if (mActiveStick && mPlayScene &&
        std::find(mPlayScene->elements().begin(), mPlayScene->elements().end(), mActiveStick) ==
            mPlayScene->elements().end())
        mActiveStick = nullptr;
    if (mActiveStick && mState == State::Playing) {
        float x = 0, y = 0;
        LmdLayer2D::stickFor(*mActiveStick, float(evt.x), float(evt.y), x, y);
        mActiveStick->setStick(x, y);
        runGuarded("joystick", [&] { mLogic.joystick(mActiveStick->getName(), x, y); });
    }
    return true;
}

bool LmdRuntime::mousePressed(const OgreBites::MouseButtonEvent& evt) {
    if (mState == State::Stopped)
        return Lumenda3DEngine::mousePressed(evt);
    mPointerX = evt.x;
    mPointerY = evt.y;
    mPointerKnown = true;
    if (mState != State::Playing || evt.button != OgreBites::BUTTON_LEFT || !mPlayScene)
        return true;
    runGuarded("mousePressed", [&] {
        if (LmdBase2D* element = pick2DObject(evt.x, evt.y)) {
            if (element->getKind() == LmdElementKind::Joystick) {
                mActiveStick = element;
                element->setStickActive(true);
                float x = 0, y = 0;
                LmdLayer2D::stickFor(*element, float(evt.x), float(evt.y), x, y);
                element->setStick(x, y);
                mLogic.joystick(element->getName(), x, y);
                return;
            }
            if (element->getKind() == LmdElementKind::Button) {
                element->setPressed(true);
                mPressedButton = element;
                return;
            }
            if (!element->getName().empty()) {
                fireEvents(LmdEventObjectClicked,
                           std::make_shared<LmdObjectClickedEvent>(element->getName(), element->getXmlId()));
                mLogic.click(element->getName());
                return;
            }
        }
        // A click on the 3D view (not on a 2D element): its point and object, for OnClick to read.
        const LmdPointerState state = pointAt(evt.x, evt.y);
        mLogic.pointer(state);
        mLogic.clickAt(state);
        if (LmdBase3D* object = pickObject(evt.x, evt.y)) {
            fireEvents(LmdEventObjectClicked,
                       std::make_shared<LmdObjectClickedEvent>(object->getName(), object->getXmlId()));
            if (!object->getName().empty()) {
                mPlayScene->setNameHint(object);
                mLogic.click(object->getName());
                if (mPlayScene)
                    mPlayScene->setNameHint(nullptr);
            }
        }
    });
    return true;
}

bool LmdRuntime::mouseReleased(const OgreBites::MouseButtonEvent& evt) {
    if (mState == State::Stopped)
        return Lumenda3DEngine::mouseReleased(evt);
    if (evt.button != OgreBites::BUTTON_LEFT)
        return true;
    runGuarded("mouseReleased", [&] {
        auto alive = [this](LmdBase2D* element) {
            const auto& all = mPlayScene ? mPlayScene->elements() : std::vector<LmdBase2D*>();
            return std::find(all.begin(), all.end(), element) != all.end();
        };
        if (mActiveStick && !alive(mActiveStick))
            mActiveStick = nullptr;
        if (mPressedButton && !alive(mPressedButton))
            mPressedButton = nullptr;
        if (mActiveStick) {
            mActiveStick->setStick(0, 0);
            mActiveStick->setStickActive(false);
            mLogic.joystick(mActiveStick->getName(), 0, 0);
            mActiveStick = nullptr;
        }
        if (LmdBase2D* button = mPressedButton) {
            mPressedButton = nullptr;
            button->setPressed(false);
            // A click is a press and a release on the same button.
            if (mState == State::Playing && pick2DObject(evt.x, evt.y) == button) {
                fireEvents(LmdEventObjectClicked,
                           std::make_shared<LmdObjectClickedEvent>(button->getName(), button->getXmlId()));
                if (!button->getName().empty())
                    mLogic.click(button->getName());
            }
        }
    });
    return true;
}

bool LmdRuntime::mouseWheelRolled(const OgreBites::MouseWheelEvent& evt) {
    if (mState == State::Stopped)
        return Lumenda3DEngine::mouseWheelRolled(evt);
    return true;
}

} // namespace Lumenda3D
