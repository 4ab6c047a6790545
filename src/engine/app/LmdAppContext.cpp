#include "engine/app/LmdAppContext.h"

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "engine/app/LmdImageEncoder.h"

#include <OgreCamera.h>
#include <OgreHardwarePixelBuffer.h>
#include <OgreImGuiOverlay.h>
#include <OgreLogManager.h>
#include <OgreOverlayManager.h>
#include <OgreOverlaySystem.h>
#include <OgreRenderTexture.h>
#include <OgreRenderWindow.h>
#include <OgreRoot.h>
#include <OgreRTShaderSystem.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>
#include <OgreTextureManager.h>
#include <OgreTimer.h>
#include <OgreViewport.h>

#include <SDL.h>
#include <imgui.h>
#include <imgui_internal.h>

#include <algorithm>
#include <exception>
#include <filesystem>

#ifndef LMD_OGRE_MEDIA_DIR
#define LMD_OGRE_MEDIA_DIR "/usr/share/OGRE/Media"
#endif
#ifndef LMD_OGRE_PLUGIN_DIR
#ifdef _WIN32
#define LMD_OGRE_PLUGIN_DIR "." // the plugins ship next to the executable
#else
#define LMD_OGRE_PLUGIN_DIR "/usr/lib/x86_64-linux-gnu/OGRE"
#endif
#endif

namespace Lumenda3D {
namespace {

constexpr const char* kCaptureTextureName = "LmdSceneCapture";

// An exported game carries OGRE's render system plugins and shader library in "ogre/" beside the
// player (the machine it runs on may have no OGRE installed); a build of this tree uses the
// system's.
std::string ogreDirBeside(const char* sub, const char* probe, const char* fallback) {
    const std::string exeDir = LmdPaths::executableDir();
    std::error_code ec;
    if (!exeDir.empty()) {
        const std::filesystem::path dir = std::filesystem::path(exeDir) / "ogre" / sub;
        if (std::filesystem::exists(dir / probe, ec))
            return dir.string();
    }
    return fallback;
}

std::string ogrePluginDir() { return ogreDirBeside("plugins", "RenderSystem_GL3Plus.so", LMD_OGRE_PLUGIN_DIR); }
std::string ogreMediaDir() { return ogreDirBeside("media", "RTShaderLib", LMD_OGRE_MEDIA_DIR); }

} // namespace

// Listens to the render window: opens the ImGui frame before the main viewport renders and
// tracks when the back buffer holds a finished frame.
class LmdAppContext::WindowHook : public Ogre::RenderTargetListener {
public:
    explicit WindowHook(LmdAppContext& context) : mContext(context) {}
    void preRenderTargetUpdate(const Ogre::RenderTargetEvent&) override {
        mContext.mImGuiFrameOpen = false;
        mContext.mWindowRendered = false;
        mContext.mDrawingWindow = true;
    }
    void preViewportUpdate(const Ogre::RenderTargetViewportEvent& evt) override { mContext.beginViewport(evt); }
    void postRenderTargetUpdate(const Ogre::RenderTargetEvent&) override {
        mContext.mDrawingWindow = false;
        mContext.mWindowRendered = true;
    }

private:
    LmdAppContext& mContext;
};

LmdAppContext::LmdAppContext(const std::string& appName) : OgreBites::ApplicationContext(appName) {
    mRouter.setUi(nullptr);
    mRouter.setApp(this);
    mRouter.setPointerObserver([this](int x, int y) { mSynthetic.noteCursor(x, y); });
}

LmdAppContext::~LmdAppContext() {
    try {
        if (mRoot)
            closeApp();
    } catch (...) {
        // Shutting down: nothing left to report to.
    }
    if (mLogSink)
        LmdLog::removeSink(mLogSink);
    delete mLogManager;
}

// --- OGRE setup --------------------------------------------------------------------------------

// The editor's log levels are the engine's numbers: a line is copied with its level unchanged.
static_assert(static_cast<int>(LogLevel::Trivial) == Ogre::LML_TRIVIAL && static_cast<int>(LogLevel::Normal) == Ogre::LML_NORMAL &&
                  static_cast<int>(LogLevel::Warning) == Ogre::LML_WARNING &&
                  static_cast<int>(LogLevel::Critical) == Ogre::LML_CRITICAL,
              "LogLevel and Ogre::LogMessageLevel must number the levels alike");

void LmdAppContext::createRoot() {
    // OGRE's log goes to a file in the application's cache folder, not to the console; our own
    // log lines are copied into it so that one file tells the whole story.
    if (!Ogre::LogManager::getSingletonPtr()) {
        mLogManager = new Ogre::LogManager();
        mLogManager->createLog(mFSLayer->getWritablePath("ogre.log"), true, false, false);
    }
    if (!mLogSink) {
        mLogSink = LmdLog::addSink([](const std::string& text, LogLevel level) {
            if (auto* manager = Ogre::LogManager::getSingletonPtr())
                manager->logMessage(text, static_cast<Ogre::LogMessageLevel>(static_cast<int>(level)));
        });
    }
    // No plugins.cfg and no ogre.cfg: the plugins and options are chosen here.
    mRoot = OGRE_NEW Ogre::Root("", "", "");
    const std::string plugins = ogrePluginDir();
    mRoot->loadPlugin(plugins + "/RenderSystem_GL3Plus");
    mRoot->loadPlugin(plugins + "/Codec_STBI");
    mOverlaySystem = OGRE_NEW Ogre::OverlaySystem();
}

bool LmdAppContext::oneTimeConfig() {
    Ogre::RenderSystem* renderSystem = mRoot->getRenderSystemByName(kRenderSystemName);
    if (!renderSystem) {
        LmdLog::critical(std::string("The render system \"") + kRenderSystemName + "\" is not available.");
        return false;
    }
    const std::pair<const char*, const char*> options[] = {
        {"Full Screen", "No"}, // full screen is applied through SDL after the window exists
        {"VSync", "No"},
        {"sRGB Gamma Conversion", "No"},
        {"FSAA", "0"},
    };
    for (const auto& option : options) {
        try {
            renderSystem->setConfigOption(option.first, option.second);
        } catch (const std::exception& e) {
            LmdLog::message(std::string("Render system option ") + option.first + " not set: " + e.what(),
                            LogLevel::Trivial);
        }
    }
    mRoot->setRenderSystem(renderSystem);
    return true;
}

void LmdAppContext::locateResources() {
    // The RTShaderSystem's shader library and OGRE's internal shaders (OgreUnifiedShader.h).
    auto& groups = Ogre::ResourceGroupManager::getSingleton();
    const std::string media = ogreMediaDir();
    groups.addResourceLocation(media + "/ShadowVolume", "FileSystem", Ogre::RGN_INTERNAL);
    groups.addResourceLocation(media + "/RTShaderLib/materials", "FileSystem", Ogre::RGN_INTERNAL);
    // Our own shader library files come first: they replace OGRE's of the same name (LmdShadows).
    // Without them OGRE's own are used.
    const std::string ours = LmdPaths::mediaDir() + "/shaders";
    std::error_code missing;
    if (std::filesystem::is_directory(ours, missing))
        groups.addResourceLocation(ours, "FileSystem", Ogre::RGN_INTERNAL);
    groups.addResourceLocation(media + "/RTShaderLib/GLSL", "FileSystem", Ogre::RGN_INTERNAL);
}

OgreBites::NativeWindowPair LmdAppContext::createWindow(const Ogre::String& name, uint32_t w, uint32_t h,
                                                        Ogre::NameValuePairList miscParams) {
    if (w == 0 || h == 0) {
        w = uint32_t(mWidth);
        h = uint32_t(mHeight);
    }
    return OgreBites::ApplicationContext::createWindow(name, w, h, miscParams);
}

void LmdAppContext::setup() {
    OgreBites::ApplicationContext::setup(); // window, resources, RTSS, frame listener
    Ogre::RenderWindow* window = getRenderWindow();
    if (!window)
        OGRE_EXCEPT(Ogre::Exception::ERR_RENDERINGAPI_ERROR, "no render window", "LmdAppContext::setup");

    mSceneMgr = mRoot->createSceneManager();
    // GL3+ has no fixed function: every material goes through the RTShaderSystem.
    Ogre::RTShader::ShaderGenerator::getSingleton().addSceneManager(mSceneMgr);
    mSceneMgr->addRenderQueueListener(mOverlaySystem);

    mCamera = mSceneMgr->createCamera("LmdEditorCamera");
    mCamera->setNearClipDistance(0.05f);
    mCamera->setFarClipDistance(5000.0f);
    mCamera->setAutoAspectRatio(true);
    mCameraNode = mSceneMgr->getRootSceneNode()->createChildSceneNode("LmdEditorCameraNode");
    mCameraNode->attachObject(mCamera);
    mViewport = window->addViewport(mCamera);
    mViewport->setBackgroundColour(Ogre::ColourValue(0.16f, 0.18f, 0.22f));
    mViewport->setMaterialScheme(Ogre::RTShader::ShaderGenerator::DEFAULT_SCHEME_NAME);
    mEditorCamera.attach(mCameraNode, mCamera);
    mEditorCamera.setView(Ogre::Vector3(6, 5, 10), Ogre::Vector3::ZERO);

    // Dear ImGui: the overlay owns the one ImGui context; it renders in the overlay queue.
    mImGuiOverlay = new Ogre::ImGuiOverlay();
    mImGuiOverlay->setZOrder(300);
    mImGuiOverlay->show();
    Ogre::OverlayManager::getSingleton().addOverlay(mImGuiOverlay);
    ImGui::GetIO().IniFilename = nullptr; // window layout is the application's business
    SDL_EventState(SDL_DROPFILE, SDL_ENABLE);
    SDL_AddEventWatch(&LmdAppContext::watchDrops, this);
    mWatchingDrops = true;
    mImGuiListener = std::make_unique<LmdImGuiInputListener>();
    mRouter.setUi(mImGuiListener.get());
    addInputListener(&mRouter);

    mWindowHook = std::make_unique<WindowHook>(*this);
    window->addListener(mWindowHook.get());

    if (mFullScreen)
        applyFullScreen();
    LmdLog::message("Render window " + std::to_string(window->getWidth()) + "x" +
                    std::to_string(window->getHeight()) + " with " + mRoot->getRenderSystem()->getName());
}

void LmdAppContext::shutdown() {
    if (mWatchingDrops) {
        SDL_DelEventWatch(&LmdAppContext::watchDrops, this);
        mWatchingDrops = false;
    }
    if (Ogre::RenderWindow* window = getRenderWindow()) {
        if (mWindowHook)
            window->removeListener(mWindowHook.get());
    }
    mWindowHook.reset();
    if (!mWindows.empty())
        removeInputListener(&mRouter);
    mRouter.setUi(nullptr);
    mImGuiListener.reset();
    if (mCaptureTexture) {
        if (auto* manager = Ogre::TextureManager::getSingletonPtr())
            manager->remove(mCaptureTexture);
        mCaptureTexture.reset();
    }
    OgreBites::ApplicationContext::shutdown();
    // The scene manager, cameras and overlay go with the root and the overlay system.
    mImGuiOverlay = nullptr;
    mSceneMgr = nullptr;
    mCamera = nullptr;
    mCameraNode = nullptr;
    mViewport = nullptr;
    mCaptureCamera = nullptr;
    mCaptureCameraNode = nullptr;
    mEditorCamera.attach(nullptr, nullptr);
}

// --- Window ------------------------------------------------------------------------------------

void LmdAppContext::setWindowSize(int width, int height) {
    if (width <= 0 || height <= 0)
        return;
    mWidth = width;
    mHeight = height;
    if (mWindows.empty())
        return;
    if (mWindows[0].native)
        SDL_SetWindowSize(mWindows[0].native, width, height);
    // resize() also resizes the X window through OGRE's own display connection. No
    // windowMovedOrResized() here: it could read the old size back and undo the change; SDL's
    // resize event calls it once the window has its new size.
    mWindows[0].render->resize(unsigned(width), unsigned(height));
    windowResized(mWindows[0].render);
}

void LmdAppContext::setFullScreen(bool fullScreen) {
    mFullScreen = fullScreen;
    if (!mWindows.empty())
        applyFullScreen();
}

void LmdAppContext::applyFullScreen() {
    if (mWindows.empty() || !mWindows[0].native)
        return;
    SDL_Window* native = mWindows[0].native;
    if (mFullScreen) {
        SDL_DisplayMode desktop{};
        if (SDL_GetDesktopDisplayMode(std::max(0, SDL_GetWindowDisplayIndex(native)), &desktop) != 0)
            return;
        // A borderless window that covers the screen, then the window manager's full-screen
        // state on top. The first step alone does it where no window manager runs (Xvfb, kiosk
        // sessions): there SDL's full-screen request changes nothing but SDL's own idea of the
        // size, and it would ignore later size changes.
        SDL_SetWindowBordered(native, SDL_FALSE);
        SDL_SetWindowPosition(native, 0, 0);
        SDL_SetWindowSize(native, desktop.w, desktop.h);
        SDL_SetWindowFullscreen(native, SDL_WINDOW_FULLSCREEN_DESKTOP);
        mWindows[0].render->resize(unsigned(desktop.w), unsigned(desktop.h));
    } else {
        SDL_SetWindowFullscreen(native, 0);
        SDL_SetWindowBordered(native, SDL_TRUE);
        SDL_SetWindowSize(native, mWidth, mHeight);
        mWindows[0].render->resize(unsigned(mWidth), unsigned(mHeight));
    }
    // The window's real size arrives with SDL's resize event (see setWindowSize).
    windowResized(mWindows[0].render);
}

Ogre::Vector2 LmdAppContext::getWindowSize() const {
    Ogre::RenderWindow* window = getRenderWindow();
    if (!window)
        return Ogre::Vector2(0, 0);
    return Ogre::Vector2(Ogre::Real(window->getWidth()), Ogre::Real(window->getHeight()));
}

// --- Loop --------------------------------------------------------------------------------------

void LmdAppContext::requestStop() {
    mStopRequested = true;
    if (mRoot)
        mRoot->queueEndRendering();
}

bool LmdAppContext::isStopRequested() const {
    return mStopRequested || (mRoot && mRoot->endRenderingQueued());
}

bool LmdAppContext::renderFrame() {
    if (!mRoot || !getRenderWindow() || isStopRequested())
        return false;
    if (!mTargetsInitialised) {
        mRoot->getRenderSystem()->_initRenderTargets();
        mRoot->clearEventTimes();
        mTargetsInitialised = true;
    }
    try {
        if (!mRoot->renderOneFrame())
            return false;
    } catch (const std::exception& e) {
        LmdLog::guardFailure("renderOneFrame", e.what());
        endAbandonedImGuiFrame();
    } catch (...) {
        LmdLog::guardFailure("renderOneFrame", nullptr);
        endAbandonedImGuiFrame();
    }
    Ogre::RenderWindow* window = getRenderWindow();
    return window && !window->isClosed() && !isStopRequested();
}

void LmdAppContext::endAbandonedImGuiFrame() {
    // A frame that failed half way may leave ImGui's frame open; the next NewFrame would assert.
    ImGuiContext* context = ImGui::GetCurrentContext();
    if (context && context->WithinFrameScope) {
        ImGui::ErrorCheckEndFrameRecover(nullptr);
        ImGui::EndFrame();
    }
    mImGuiFrameOpen = false;
    mDrawingWindow = false;
}

void LmdAppContext::run() {
    while (renderFrame()) {
    }
    onClose();
    if (mRoot)
        closeApp();
}

void LmdAppContext::onClose() {
    // The root and the window stay: closeApp releases them, after the caller has marked the
    // process as shutting down (a fault while the window closes is then a clean exit).
}

int LmdAppContext::watchDrops(void* context, SDL_Event* event) {
    if (event && event->type == SDL_DROPFILE && event->drop.file) {
        static_cast<LmdAppContext*>(context)->mDroppedFiles.emplace_back(event->drop.file);
        // The event stays queued for OGRE's loop, which ignores drops and never reads the file.
        SDL_free(event->drop.file);
        event->drop.file = nullptr;
    }
    return 0;
}

std::vector<std::string> LmdAppContext::takeDroppedFiles() {
    std::vector<std::string> files;
    files.swap(mDroppedFiles);
    return files;
}

double LmdAppContext::nowSeconds() const {
    return mRoot ? double(mRoot->getTimer()->getMicroseconds()) / 1e6 : 0.0;
}

bool LmdAppContext::frameStarted(const Ogre::FrameEvent& evt) {
    try {
        OgreBites::ApplicationContext::frameStarted(evt); // a person's input, through the router
    } catch (const std::exception& e) {
        LmdLog::guardFailure("frameStarted", e.what());
    } catch (...) {
        LmdLog::guardFailure("frameStarted", nullptr);
    }
    mSyntheticTransitionFrame = false;
    if (mSynthetic.isActive()) {
        try {
            mSynthetic.update(nowSeconds(), mRouter);
            mSyntheticTransitionFrame = mSynthetic.deliveredTransitionThisFrame();
        } catch (const std::exception& e) {
            LmdLog::guardFailure("syntheticInput", e.what());
        } catch (...) {
            LmdLog::guardFailure("syntheticInput", nullptr);
        }
    }
    return true;
}

bool LmdAppContext::frameRenderingQueued(const Ogre::FrameEvent& evt) {
    try {
        return OgreBites::ApplicationContext::frameRenderingQueued(evt);
    } catch (const std::exception& e) {
        LmdLog::guardFailure("frameRenderingQueued", e.what());
    } catch (...) {
        LmdLog::guardFailure("frameRenderingQueued", nullptr);
    }
    return true;
}

bool LmdAppContext::frameEnded(const Ogre::FrameEvent&) {
    mWindowRendered = false; // swapped: the back buffer no longer holds the frame
    mSyntheticTransitionFrame = false;
    mEditorCamera.frameRendered();
    return true;
}

void LmdAppContext::preViewportUpdate(const Ogre::RenderTargetViewportEvent&) {}

void LmdAppContext::beginViewport(const Ogre::RenderTargetViewportEvent& evt) {
    const bool ui = mImGuiOverlay && evt.source && evt.source->getOverlaysEnabled() && !mImGuiFrameOpen;
    // The ImGui frame that first sees a synthetic press or release is where a panel reacts to
    // it: it counts as part of delivering that event.
    const int raise = ui && mSyntheticTransitionFrame ? 1 : 0;
    mUiFrameDepth += raise;
    if (ui) {
        Ogre::ImGuiOverlay::NewFrame();
        mImGuiListener->onNewFrame();
        mImGuiFrameOpen = true;
    }
    try {
        preViewportUpdate(evt);
    } catch (const std::exception& e) {
        LmdLog::guardFailure("preViewportUpdate", e.what());
        if (ui)
            ImGui::ErrorCheckEndFrameRecover(nullptr); // close what the failed code left open
    } catch (...) {
        LmdLog::guardFailure("preViewportUpdate", nullptr);
        if (ui)
            ImGui::ErrorCheckEndFrameRecover(nullptr);
    }
    if (ui)
        drawCrosshair();
    mUiFrameDepth -= raise;
}

void LmdAppContext::drawCrosshair() {
    if (!mSynthetic.hasCrosshair())
        return;
    ImDrawList* list = ImGui::GetForegroundDrawList();
    const ImVec2 c(float(mSynthetic.crosshairX()) + 0.5f, float(mSynthetic.crosshairY()) + 0.5f);
    const float arm = 14.0f, ring = 7.0f;
    const ImU32 pink = IM_COL32(255, 60, 200, 255);
    const ImU32 shadow = IM_COL32(20, 0, 20, 200);
    // A dark outline under the pink keeps it visible on light and dark backgrounds alike.
    for (int pass = 0; pass < 2; ++pass) {
        const ImU32 colour = pass == 0 ? shadow : pink;
        const float thickness = pass == 0 ? 5.0f : 3.0f; // survives a 2x downscaled screenshot
        list->AddLine(ImVec2(c.x - arm, c.y), ImVec2(c.x - ring + 2, c.y), colour, thickness);
        list->AddLine(ImVec2(c.x + ring - 2, c.y), ImVec2(c.x + arm, c.y), colour, thickness);
        list->AddLine(ImVec2(c.x, c.y - arm), ImVec2(c.x, c.y - ring + 2), colour, thickness);
        list->AddLine(ImVec2(c.x, c.y + ring - 2), ImVec2(c.x, c.y + arm), colour, thickness);
        list->AddCircle(c, ring, colour, 24, thickness);
    }
    list->AddCircleFilled(c, 1.5f, pink);
}

// --- Input -------------------------------------------------------------------------------------

bool LmdAppContext::keyPressed(const OgreBites::KeyboardEvent& evt) {
    return mEditorCamera.keyPressed(evt);
}

bool LmdAppContext::keyReleased(const OgreBites::KeyboardEvent& evt) {
    return mEditorCamera.keyReleased(evt);
}

bool LmdAppContext::mouseMoved(const OgreBites::MouseMotionEvent& evt) {
    return mEditorCamera.mouseMoved(evt);
}

bool LmdAppContext::mousePressed(const OgreBites::MouseButtonEvent& evt) {
    return mEditorCamera.mousePressed(evt);
}

bool LmdAppContext::mouseReleased(const OgreBites::MouseButtonEvent& evt) {
    return mEditorCamera.mouseReleased(evt);
}

bool LmdAppContext::mouseWheelRolled(const OgreBites::MouseWheelEvent& evt) {
    return mEditorCamera.mouseWheelRolled(evt);
}

// --- Synthetic input ---------------------------------------------------------------------------

bool LmdAppContext::checkSimulation(std::string& error) const {
    if (mInputSimulationEnabled)
        return true;
    error = "Input simulation is not enabled in this application.";
    return false;
}

bool LmdAppContext::queueSyntheticKeys(const std::vector<std::string>& names, float holdSeconds,
                                       std::string& error) {
    return checkSimulation(error) && mSynthetic.queueKeys(names, holdSeconds, error);
}

bool LmdAppContext::queueSyntheticClick(int x, int y, OgreBites::ButtonType button, float holdSeconds,
                                        std::string& error) {
    return checkSimulation(error) && mSynthetic.queueClick(x, y, button, holdSeconds, error);
}

bool LmdAppContext::queueSyntheticDrag(int fromX, int fromY, int toX, int toY, OgreBites::ButtonType button,
                                       float seconds, std::string& error) {
    return checkSimulation(error) && mSynthetic.queueDrag(fromX, fromY, toX, toY, button, seconds, error);
}

bool LmdAppContext::queueSyntheticScroll(int x, int y, float amount, std::string& error) {
    return checkSimulation(error) && mSynthetic.queueScroll(x, y, amount, error);
}

bool LmdAppContext::queueSyntheticSequence(const std::vector<LmdInputStep>& steps, std::string& error) {
    return checkSimulation(error) && mSynthetic.queueSequence(steps, error);
}

void LmdAppContext::cancelSyntheticInput() {
    mSynthetic.cancel(mRouter);
}

// --- Captures ----------------------------------------------------------------------------------

bool LmdAppContext::readWindowPixels(std::vector<unsigned char>& rgb, int& width, int& height) {
    Ogre::RenderWindow* window = getRenderWindow();
    if (!window || window->isClosed())
        return false;
    if (mDrawingWindow) {
        LmdLog::message("captureWindowContents: the window is being drawn; call it outside the interface drawing");
        return false;
    }
    try {
        // Outside frameRenderingQueued the back buffer may hold anything (it has been swapped):
        // draw the window again, without showing it.
        if (!mWindowRendered)
            window->update(false);
        width = int(window->getWidth());
        height = int(window->getHeight());
        rgb.assign(std::size_t(width) * height * 3, 0);
        Ogre::PixelBox box(uint32_t(width), uint32_t(height), 1, Ogre::PF_BYTE_RGB, rgb.data());
        window->copyContentsToMemory(Ogre::Box(0, 0, uint32_t(width), uint32_t(height)), box,
                                     Ogre::RenderTarget::FB_BACK);
        return true;
    } catch (const std::exception& e) {
        LmdLog::guardFailure("captureWindowContents", e.what());
    } catch (...) {
        LmdLog::guardFailure("captureWindowContents", nullptr);
    }
    return false;
}

std::vector<unsigned char> LmdAppContext::captureWindowContents(int width, int height) {
    std::vector<unsigned char> rgb;
    int w = 0, h = 0;
    if (!readWindowPixels(rgb, w, h))
        return {};
    return LmdImageEncoder::encodeCapped(rgb.data(), w, h, 0, width, height);
}

std::vector<unsigned char> LmdAppContext::captureScene(Ogre::Camera* camera, int width, int height) {
    Ogre::RenderWindow* window = getRenderWindow();
    if (!window || !mSceneMgr || !camera || !mViewport)
        return {};
    const LmdImageEncoder::Size size =
        LmdImageEncoder::fitWithin(int(window->getWidth()), int(window->getHeight()), width, height);
    if (size.width <= 0)
        return {};
    Ogre::RenderTexture* target = nullptr;
    const Ogre::Real aspect = camera->getAspectRatio();
    Ogre::Viewport* lastViewport = camera->getViewport();
    try {
        // The scene renders straight at the output size into a texture kept between captures.
        if (!mCaptureTexture || int(mCaptureTexture->getWidth()) != size.width ||
            int(mCaptureTexture->getHeight()) != size.height) {
            if (mCaptureTexture)
                Ogre::TextureManager::getSingleton().remove(mCaptureTexture);
            mCaptureTexture = Ogre::TextureManager::getSingleton().createManual(
                kCaptureTextureName, Ogre::RGN_INTERNAL, Ogre::TEX_TYPE_2D, uint32_t(size.width),
                uint32_t(size.height), 0, Ogre::PF_BYTE_RGBA, Ogre::TU_RENDERTARGET);
            mCaptureTexture->getBuffer()->getRenderTarget()->setAutoUpdated(false);
        }
        target = mCaptureTexture->getBuffer()->getRenderTarget();
        target->removeAllViewports();
        Ogre::Viewport* vp = target->addViewport(camera);
        vp->setOverlaysEnabled(false); // the scene only: no ImGui
        vp->setBackgroundColour(mViewport->getBackgroundColour());
        vp->setMaterialScheme(mViewport->getMaterialScheme());
        vp->setVisibilityMask(mViewport->getVisibilityMask() & ~kEditorOnlyVisibilityFlag);
        vp->setSkiesEnabled(mViewport->getSkiesEnabled());
        vp->setShadowsEnabled(mViewport->getShadowsEnabled());
        target->update();
        std::vector<unsigned char> rgb(std::size_t(size.width) * size.height * 3);
        Ogre::PixelBox box(uint32_t(size.width), uint32_t(size.height), 1, Ogre::PF_BYTE_RGB, rgb.data());
        target->copyContentsToMemory(Ogre::Box(0, 0, uint32_t(size.width), uint32_t(size.height)), box,
                                     Ogre::RenderTarget::FB_AUTO);
        target->removeAllViewports();
        // The capture viewport changed the camera's aspect ratio and last viewport: put them back.
        camera->setAspectRatio(aspect);
        camera->_notifyViewport(lastViewport); // also when null: the capture viewport is gone
        return LmdImageEncoder::encodeJpeg(rgb.data(), size.width, size.height);
    } catch (const std::exception& e) {
        LmdLog::guardFailure("captureScene", e.what());
    } catch (...) {
        LmdLog::guardFailure("captureScene", nullptr);
    }
    if (target)
        target->removeAllViewports();
    camera->setAspectRatio(aspect);
    camera->_notifyViewport(lastViewport);
    return {};
}

std::vector<unsigned char> LmdAppContext::captureSceneThumbnail(int width, int height) {
    return captureScene(mCamera, width, height);
}

std::vector<unsigned char> LmdAppContext::captureSceneFromView(int width, int height, const Ogre::Vector3& eye,
                                                               const Ogre::Vector3& target) {
    if (!mSceneMgr || !mCamera)
        return {};
    try {
        if (!mCaptureCamera) {
            mCaptureCamera = mSceneMgr->createCamera("LmdCaptureCamera");
            mCaptureCameraNode = mSceneMgr->getRootSceneNode()->createChildSceneNode("LmdCaptureCameraNode");
            mCaptureCameraNode->attachObject(mCaptureCamera);
        }
        // Same lens as the user's camera, another place.
        mCaptureCamera->setNearClipDistance(mCamera->getNearClipDistance());
        mCaptureCamera->setFarClipDistance(mCamera->getFarClipDistance());
        mCaptureCamera->setFOVy(mCamera->getFOVy());
        mCaptureCamera->setAutoAspectRatio(true);
        mCaptureCameraNode->setPosition(eye);
        mCaptureCameraNode->setOrientation(LmdEditorCamera::lookAtOrientation(eye, target));
    } catch (const std::exception& e) {
        LmdLog::guardFailure("captureSceneFromView", e.what());
        return {};
    }
    return captureScene(mCaptureCamera, width, height);
}

} // namespace Lumenda3D
