#pragma once
// Running the game. In edit mode the engine shows the edit scene (logic not running, physics not
// stepping). play() builds a fresh play scene of the current level beside it (the edit scene is
// only taken out of view), loads the logic (LmdLuaRuntime) and the sounds, and from then on each
// frame runs logic, steps physics, passes collisions, keys, clicks and joystick moves to the logic
// and steers the view with the level's camera. stop() throws the play scene away and puts the
// edit scene and the editor's view back exactly as they were. GoToLevel rebuilds the play scene
// for another level.
//
// Play status (getPlayStatus): 0 stopped, 1 playing, 2 paused, 3 running (the standalone player),
// 4 loading a document.
#include <functional>
#include <memory>
#include <string>

#include "engine/Lumenda3DEngine.h"
#include "engine/logic/LmdGameClock.h"
#include "engine/logic/LmdLuaRuntime.h"
#include "engine/logic/LmdSceneHost.h"
#include "engine/physics/LmdGamePhysics.h"
#include "engine/physics/LmdPhysicsWorld.h"
#include "engine/scene/LmdGameCamera.h"
#include "engine/sound/LmdSoundSystem.h"

namespace Lumenda3D {

class LmdRuntime : public Lumenda3DEngine {
public:
    enum PlayStatus { Stopped = 0, Playing = 1, Paused = 2, Running = 3, Loading = 4 };

    explicit LmdRuntime(const std::string& appName = "Lumenda3D");
    ~LmdRuntime() override;

    void setup() override;
    void onClose() override;

    // --- Run control -------------------------------------------------------------------------
    // Starts the game on the current level (resumes a paused game). While a document loads, the
    // game starts once it has loaded.
    void play() override;
    // Pauses a playing game, resumes a paused one. Ends a span of runFor.
    void pause() override;
    // Plays exactly `seconds` of game time and pauses: starts a stopped game (once a loading
    // document has loaded) or resumes a paused one, then advances the game by one fixed step
    // per frame (see LmdGameClock), whatever the frames' real lengths, so that the same game
    // and input give the same state. Non-positive seconds do nothing.
    void runFor(double seconds);
    // Game time still to play in the current span (0 when none runs).
    double getSpanLeft() const { return mClock.spanLeft(); }
    // Ends the game and restores the edit scene, level and view; then calls `done`.
    void stop(std::function<void()> done) override;
    // Ends the game and empties the scene.
    void clear() override;
    int getPlayStatus() const override;
    bool isRunning() const override { return mState != State::Stopped; }
    bool isPaused() const { return mState == State::Paused; }
    // The standalone player reports status 3 while its game runs.
    void setStandalone(bool standalone) { mStandalone = standalone; }

    // --- Document and live updates -------------------------------------------------------------
    void updateScript(bool restartGame, std::function<void()> done, bool keepLevel) override;
    void runPartialSource(pugi::xml_node node, pugi::xml_node parent) override;
    bool updateLuaAttribute(int xmlId, const std::string& attribute, const std::string& value,
                            const std::string& type) override;
    // Also gives a running game's variable the plain value (LmdLiteral) of its Var's "value".
    bool pushAttributeLive(int xmlId, const std::string& attribute) override;

    // --- Scene ---------------------------------------------------------------------------------
    std::string getCurLevel() const override;
    LmdScene* getActiveScene() const override;
    LmdScene* getPlayScene() const { return mPlayScene.get(); }
    LmdLuaRuntime& getLogic() { return mLogic; }
    LmdSoundSystem& getSound() { return mSound; }
    LmdPhysicsWorld& getPhysicsWorld() { return mPhysicsWorld; }
    const LmdGamePhysics& getGamePhysics() const { return mPhysics; }
    const LmdGameCamera& getGameCamera() const { return mGameCamera; }
    // Seconds of game time since the game started: the sum of the frame steps the game ran
    // (paused time does not count).
    double getGameTime() const { return mClock.time(); }
    // Collisions passed to the logic since the game started.
    long long getCollisionCount() const { return mCollisionCount; }
    // The game's key name of a key code ("left", "space", "a"), "" for keys games do not see.
    static std::string gameKeyName(OgreBites::Keycode code);

    bool keyPressed(const OgreBites::KeyboardEvent& evt) override;
    bool keyReleased(const OgreBites::KeyboardEvent& evt) override;
    bool mouseMoved(const OgreBites::MouseMotionEvent& evt) override;
    bool mousePressed(const OgreBites::MouseButtonEvent& evt) override;
    bool mouseReleased(const OgreBites::MouseButtonEvent& evt) override;
    bool mouseWheelRolled(const OgreBites::MouseWheelEvent& evt) override;

protected:
    enum class State { Stopped, Playing, Paused };

    void frameUpdate(float dt) override;
    // One step of the game: logic, physics, collisions, animations, the camera.
    void stepGame(float dt);
    // Tells the logic where the pointer is (and, when it reads them, its 3D point and object).
    void tellPointer();
    LmdGamePhysics* physicsFor(LmdScene& scene) override;
    void forgetDocumentNodes() override;
    // Builds the play scene of a level; false for a level the document does not have.
    bool buildPlayLevel(const std::string& level);
    void loadSounds();
    // Tears the play state down; with `restore` the edit scene and view come back.
    void endPlay(bool restore);
    void handleCollisions(const std::vector<std::pair<LmdBase3D*, LmdBase3D*>>& touches);

    LmdPhysicsWorld mPhysicsWorld;
    LmdGamePhysics mPhysics;
    LmdSoundSystem mSound;
    LmdSceneHost mHost;
    LmdLuaRuntime mLogic;
    LmdGameCamera mGameCamera;
    std::unique_ptr<LmdScene> mPlayScene;
    State mState = State::Stopped;
    bool mStandalone = false;
    bool mPlayAfterLoad = false;
    std::string mPlayLevel;
    int mLevelSerial = 0;
    long long mCollisionCount = 0;
    LmdGameClock mClock;

    // The editor's view before the game took it.
    Ogre::Vector3 mSavedEye = Ogre::Vector3::ZERO, mSavedTarget = Ogre::Vector3::ZERO;
    Ogre::Radian mSavedFov{0};
    float mSavedNear = 0.05f, mSavedFar = 5000.0f;

    // Pointer state of the 2D layer.
    LmdBase2D* mPressedButton = nullptr;
    LmdBase2D* mActiveStick = nullptr;
    // The pointer's last window pixel while the game runs; the logic reads what lies under it.
    int mPointerX = 0, mPointerY = 0;
    bool mPointerKnown = false;
};

} // namespace Lumenda3D
