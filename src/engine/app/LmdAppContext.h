#pragma once
// The application layer on OGRE: one window with the "OpenGL 3+ Rendering Subsystem" (never a
// configuration dialog), the RTShaderSystem, the Dear ImGui overlay, one input path for a person's
// and synthetic input, the frame loop, the editor camera, and captures of the scene and the window
// as JPEG bytes. The engine, the runtime and the editor derive from it and override its hooks.
//
// Frame order (Ogre::Root::renderOneFrame):
//   frameStarted         SDL events, then due synthetic events, through the input router
//   preViewportUpdate    ImGui frame begins; the subclass draws its panels; crosshair on top
//   (scene and ImGui render into the back buffer)
//   frameRenderingQueued the subclass's per-frame work (window captures read this frame here)
//   (buffers swap) frameEnded
#include "engine/app/LmdEditorCamera.h"
#include "engine/app/LmdImGuiInputListener.h"
#include "engine/app/LmdInputRouter.h"
#include "engine/app/LmdInputStep.h"
#include "engine/app/LmdSyntheticInput.h"

#include <OgreApplicationContext.h>
#include <OgreInput.h>
#include <OgreRenderTargetListener.h>
#include <OgreTexture.h>
#include <OgreTrays.h>
#include <OgreVector.h>

#include <memory>
#include <string>
#include <vector>

namespace Ogre {
class Camera;
class ImGuiOverlay;
class LogManager;
class SceneManager;
class SceneNode;
class Viewport;
} // namespace Ogre

union SDL_Event;

namespace Lumenda3D {

class LmdAppContext : public OgreBites::ApplicationContext,
                      public OgreBites::InputListener,
                      public OgreBites::TrayListener {
public:
    static constexpr const char* kRenderSystemName = "OpenGL 3+ Rendering Subsystem";
    // Visibility flag of what only the editor shows (the gizmo's handles): scene captures leave
    // it out, so thumbnails and agents' screenshots show the game alone.
    static constexpr unsigned kEditorOnlyVisibilityFlag = 1u << 30;

    explicit LmdAppContext(const std::string& appName = "Lumenda3D");
    ~LmdAppContext() override;
    LmdAppContext(const LmdAppContext&) = delete;
    LmdAppContext& operator=(const LmdAppContext&) = delete;

    // --- Window -------------------------------------------------------------------------------
    // Before initApp: the size the window opens with (default 1280x800). After: resizes it.
    void setWindowSize(int width, int height);
    // Before initApp: open full screen (the desktop's size). After: switch.
    void setFullScreen(bool fullScreen);
    bool isFullScreen() const { return mFullScreen; }
    // The window's size in pixels; (0, 0) without a window.
    Ogre::Vector2 getWindowSize() const;
    // The platform's window (SDL's) behind the render window; null without a window.
    OgreBites::NativeWindowType* getNativeWindow() const { return mWindows.empty() ? nullptr : mWindows[0].native; }

    // --- Running ------------------------------------------------------------------------------
    // initApp() (inherited) creates the root, picks the render system and calls setup().
    // Whether initApp got as far as a window and a scene.
    bool isReady() const { return mSceneMgr != nullptr && getRenderWindow() != nullptr; }
    // Renders frames until requestStop() or the window is closed, then calls onClose() and
    // closeApp().
    void run();
    // Renders one frame; false once the loop should end (stop requested, window closed).
    bool renderFrame();
    void requestStop();
    bool isStopRequested() const;

    // --- Hooks for subclasses -----------------------------------------------------------------
    // Builds the window, RTSS, scene manager, camera, viewport and ImGui overlay. Subclasses call
    // this first. Throws when the window or the render system can't be created.
    void setup() override;
    // Called when the loop ends: subclasses stop their parts, then call this. The root and the
    // window are released afterwards by closeApp (inherited), which the caller runs.
    virtual void onClose();
    // Every frame after the scene and the interface have been rendered, before the buffers swap.
    bool frameRenderingQueued(const Ogre::FrameEvent& evt) override;
    // For each viewport of the window, before it renders. With the main viewport's overlays
    // enabled an ImGui frame is open here: draw panels in it.
    virtual void preViewportUpdate(const Ogre::RenderTargetViewportEvent& evt);

    // Input, after ImGui has seen the event and not taken it (releases always arrive). The base
    // versions drive the editor camera. Return true when the event was handled.
    bool keyPressed(const OgreBites::KeyboardEvent& evt) override;
    bool keyReleased(const OgreBites::KeyboardEvent& evt) override;
    bool mouseMoved(const OgreBites::MouseMotionEvent& evt) override;
    bool mousePressed(const OgreBites::MouseButtonEvent& evt) override;
    bool mouseReleased(const OgreBites::MouseButtonEvent& evt) override;
    bool mouseWheelRolled(const OgreBites::MouseWheelEvent& evt) override;

    // --- Scene --------------------------------------------------------------------------------
    Ogre::SceneManager* getSceneManager() const { return mSceneMgr; }
    Ogre::Camera* getCamera() const { return mCamera; }
    Ogre::SceneNode* getCameraNode() const { return mCameraNode; }
    Ogre::Viewport* getViewport() const { return mViewport; }
    Ogre::ImGuiOverlay* getImGuiOverlay() const { return mImGuiOverlay; }
    LmdEditorCamera& getEditorCamera() { return mEditorCamera; }
    // Whether the base input handlers drive the editor camera (on by default).
    void setEditorCameraEnabled(bool enabled) { mEditorCamera.setEnabled(enabled); }

    // --- Captures (JPEG bytes, empty on failure) ----------------------------------------------
    // width and height are caps: the window's aspect ratio is kept and nothing is upscaled.
    // 3D scene from the live camera, without the interface.
    std::vector<unsigned char> captureSceneThumbnail(int width, int height);
    // 3D scene from another viewpoint; the user's camera does not move.
    std::vector<unsigned char> captureSceneFromView(int width, int height, const Ogre::Vector3& eye,
                                                    const Ogre::Vector3& target);
    // The whole window as the user sees it: scene, ImGui panels, crosshair. Reads the frame just
    // rendered when called from frameRenderingQueued; anywhere else between frames it renders
    // the window once more (without showing it) and reads that.
    std::vector<unsigned char> captureWindowContents(int width, int height);
    // The window's pixels as tightly packed RGB, top row first; false on failure.
    bool readWindowPixels(std::vector<unsigned char>& rgb, int& width, int& height);

    // --- Synthetic input ----------------------------------------------------------------------
    // Until enabled, the queue functions refuse (a released game does not take agent input).
    void enableInputSimulation(bool enabled = true) { mInputSimulationEnabled = enabled; }
    bool isInputSimulationEnabled() const { return mInputSimulationEnabled; }
    bool queueSyntheticKeys(const std::vector<std::string>& names, float holdSeconds, std::string& error);
    bool queueSyntheticClick(int x, int y, OgreBites::ButtonType button, float holdSeconds, std::string& error);
    bool queueSyntheticDrag(int fromX, int fromY, int toX, int toY, OgreBites::ButtonType button,
                            float seconds, std::string& error);
    bool queueSyntheticScroll(int x, int y, float amount, std::string& error);
    bool queueSyntheticSequence(const std::vector<LmdInputStep>& steps, std::string& error);
    // Drops queued input and releases what synthetic input holds down.
    void cancelSyntheticInput();
    // True from queueing until the last event has played.
    bool isSyntheticInputActive() const { return mSynthetic.isActive(); }
    // Above zero only while a synthetic event is being delivered: while the router hands it to
    // ImGui and the handlers, and during the ImGui frame that reads a synthetic press, release or
    // wheel notch (where a panel's button reacts to it). Zero for a person's input.
    int getSyntheticInputDepth() const { return mSynthetic.depth() + mUiFrameDepth; }
    const LmdSyntheticInput& getSyntheticInput() const { return mSynthetic; }
    // Takes away the mark of the last synthetic click (it belongs to the scene it was made on).
    void clearSyntheticClickMark() { mSynthetic.clearCrosshair(); }

    // Files dropped onto the window (from a file manager) since the last call, oldest first.
    std::vector<std::string> takeDroppedFiles();

protected:
    // OGRE setup steps, overridden so that no dialog or config file is involved.
    void createRoot() override;
    bool oneTimeConfig() override;
    void locateResources() override;
    OgreBites::NativeWindowPair createWindow(const Ogre::String& name, uint32_t w = 0, uint32_t h = 0,
                                             Ogre::NameValuePairList miscParams = Ogre::NameValuePairList()) override;
    void shutdown() override;
    bool frameStarted(const Ogre::FrameEvent& evt) override;
    bool frameEnded(const Ogre::FrameEvent& evt) override;

private:
    class WindowHook;
    // Watches SDL's event queue for dropped files, which OGRE's event loop does not pass on.
    static int watchDrops(void* context, ::SDL_Event* event);
    void beginViewport(const Ogre::RenderTargetViewportEvent& evt);
    void drawCrosshair();
    void endAbandonedImGuiFrame();
    void applyFullScreen();
    bool checkSimulation(std::string& error) const;
    std::vector<unsigned char> captureScene(Ogre::Camera* camera, int width, int height);
    double nowSeconds() const;

    std::vector<std::string> mDroppedFiles;
    bool mWatchingDrops = false;
    int mWidth = 1280;
    int mHeight = 800;
    bool mFullScreen = false;
    bool mStopRequested = false;
    bool mTargetsInitialised = false;

    Ogre::LogManager* mLogManager = nullptr;
    int mLogSink = 0;
    Ogre::SceneManager* mSceneMgr = nullptr;
    Ogre::Camera* mCamera = nullptr;
    Ogre::SceneNode* mCameraNode = nullptr;
    Ogre::Viewport* mViewport = nullptr;
    Ogre::ImGuiOverlay* mImGuiOverlay = nullptr; // owned by the overlay manager
    std::unique_ptr<LmdImGuiInputListener> mImGuiListener;
    std::unique_ptr<WindowHook> mWindowHook;
    LmdInputRouter mRouter;
    LmdSyntheticInput mSynthetic;
    LmdEditorCamera mEditorCamera;
    bool mInputSimulationEnabled = false;

    // Frame state.
    bool mImGuiFrameOpen = false;    // NewFrame was called for the current window update
    bool mDrawingWindow = false;     // between the window's pre- and post-update
    bool mWindowRendered = false;    // the back buffer holds this frame (until the swap)
    bool mSyntheticTransitionFrame = false;
    int mUiFrameDepth = 0;

    // Scene captures.
    Ogre::TexturePtr mCaptureTexture;
    Ogre::Camera* mCaptureCamera = nullptr;
    Ogre::SceneNode* mCaptureCameraNode = nullptr;
};

} // namespace Lumenda3D
