// Opens the engine window for real, shows a lit cube and an ImGui window, plays a synthetic click
// on the window's button, and writes the three kinds of capture to the folder given on the command
// line. Exits 0 only when the button reacted (as synthetic input), the captures are JPEGs of the
// right size and show a real picture. Run it under Xvfb:
//   xvfb-run -a -s "-screen 0 1280x800x24" lmd-engine-smoke build/test-artifacts
#include "base/LmdLog.h"
#include "engine/app/LmdAppContext.h"
#include "engine/app/LmdImageEncoder.h"

#include <OgreEntity.h>
#include <OgreMaterialManager.h>
#include <OgreRoot.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>
#include <OgreTechnique.h>

#include <imgui.h>
#include <stb_image.h>
#include <stb_image_write.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

class SmokeApp : public Lumenda3D::LmdAppContext {
public:
    SmokeApp() : LmdAppContext("Lumenda3DSmoke") {}

    void setup() override {
        LmdAppContext::setup();
        Ogre::SceneManager* scene = getSceneManager();
        scene->setAmbientLight(Ogre::ColourValue(0.25f, 0.25f, 0.3f));
        Ogre::Light* sun = scene->createLight("Sun");
        sun->setType(Ogre::Light::LT_DIRECTIONAL);
        sun->setDiffuseColour(1.0f, 0.95f, 0.9f);
        Ogre::SceneNode* sunNode = scene->getRootSceneNode()->createChildSceneNode();
        sunNode->setDirection(Ogre::Vector3(-0.5f, -1.0f, -0.35f).normalisedCopy());
        sunNode->attachObject(sun);

        auto material = Ogre::MaterialManager::getSingleton().create("SmokeOrange", Ogre::RGN_DEFAULT);
        Ogre::Pass* pass = material->getTechnique(0)->getPass(0);
        pass->setLightingEnabled(true);
        pass->setAmbient(0.9f, 0.4f, 0.1f);
        pass->setDiffuse(0.95f, 0.45f, 0.1f, 1.0f);
        Ogre::Entity* cube = scene->createEntity(Ogre::SceneManager::PT_CUBE);
        cube->setMaterial(material);
        cubeNode = scene->getRootSceneNode()->createChildSceneNode();
        cubeNode->setScale(0.03f, 0.03f, 0.03f); // the prefab cube is 100 units wide
        cubeNode->yaw(Ogre::Degree(30));
        cubeNode->attachObject(cube);
        getEditorCamera().setView(Ogre::Vector3(4, 3.5f, 6), Ogre::Vector3::ZERO);
        enableInputSimulation();
    }

    void preViewportUpdate(const Ogre::RenderTargetViewportEvent& evt) override {
        LmdAppContext::preViewportUpdate(evt);
        if (!evt.source->getOverlaysEnabled())
            return;
        ImGui::SetNextWindowPos(ImVec2(40, 40), ImGuiCond_Always);
        ImGui::SetNextWindowSize(ImVec2(320, 150), ImGuiCond_Always);
        ImGui::Begin("Engine smoke test");
        ImGui::Text("Lumenda3D engine on OpenGL 3+");
        if (ImGui::Button("Press me", ImVec2(200, 40))) {
            ++presses;
            depthAtPress = getSyntheticInputDepth();
        }
        buttonMin = ImGui::GetItemRectMin();
        buttonMax = ImGui::GetItemRectMax();
        ImGui::Text("Presses: %d", presses);
        ImGui::SetNextItemWidth(200);
        ImGui::InputText("Name", name, sizeof name);
        fieldMin = ImGui::GetItemRectMin();
        ImGui::End();
    }

    bool frameRenderingQueued(const Ogre::FrameEvent& evt) override {
        if (captureInFrame) { // where an agent's tool would run: after rendering, before the swap
            captureInFrame = false;
            windowJpeg = captureWindowContents(640, 640);
            thumbJpeg = captureSceneThumbnail(480, 480);
            viewJpeg = captureSceneFromView(400, 300, Ogre::Vector3(0, 8, 0.01f), Ogre::Vector3::ZERO);
        }
        return LmdAppContext::frameRenderingQueued(evt);
    }

    Ogre::SceneNode* cubeNode = nullptr;
    int presses = 0;
    int depthAtPress = 0;
    ImVec2 buttonMin{0, 0}, buttonMax{0, 0}, fieldMin{0, 0};
    char name[32] = "";
    bool captureInFrame = false;
    std::vector<unsigned char> windowJpeg, thumbJpeg, viewJpeg;
};

int failures = 0;
void check(bool ok, const std::string& what) {
    std::printf("%s %s\n", ok ? "ok  " : "FAIL", what.c_str());
    if (!ok)
        ++failures;
}

// Decodes a capture and checks size and content: not empty, not one flat colour.
void checkImage(const std::vector<unsigned char>& jpeg, int expectWidth, int expectHeight, const std::string& name,
                const std::filesystem::path& folder) {
    check(!jpeg.empty(), name + ": bytes captured");
    if (jpeg.empty())
        return;
    std::ofstream(folder / (name + ".jpg"), std::ios::binary)
        .write(reinterpret_cast<const char*>(jpeg.data()), std::streamsize(jpeg.size()));
    int w = 0, h = 0, channels = 0;
    unsigned char* pixels = stbi_load_from_memory(jpeg.data(), int(jpeg.size()), &w, &h, &channels, 3);
    check(pixels != nullptr, name + ": decodes as JPEG");
    if (!pixels)
        return;
    // A PNG copy of the decoded JPEG, for viewers that show PNG only.
    stbi_write_png((folder / (name + ".png")).string().c_str(), w, h, 3, pixels, w * 3);
    check(w == expectWidth && h == expectHeight,
          name + ": size " + std::to_string(w) + "x" + std::to_string(h) + ", expected " +
              std::to_string(expectWidth) + "x" + std::to_string(expectHeight));
    long dark = 0;
    int minL = 255, maxL = 0;
    for (int i = 0; i < w * h; ++i) {
        const int l = (pixels[i * 3] + pixels[i * 3 + 1] + pixels[i * 3 + 2]) / 3;
        minL = std::min(minL, l);
        maxL = std::max(maxL, l);
        if (l < 8)
            ++dark;
    }
    check(dark < long(w) * h * 9 / 10, name + ": not black");
    check(maxL - minL > 60, name + ": not uniform (luminance " + std::to_string(minL) + ".." + std::to_string(maxL) + ")");
    stbi_image_free(pixels);
}

// Whether a capture shows the orange of the cube somewhere.
bool hasOrange(const std::vector<unsigned char>& jpeg) {
    int w = 0, h = 0, channels = 0;
    unsigned char* p = stbi_load_from_memory(jpeg.data(), int(jpeg.size()), &w, &h, &channels, 3);
    if (!p)
        return false;
    long count = 0;
    for (int i = 0; i < w * h; ++i)
        if (p[i * 3] > 150 && p[i * 3 + 1] > 40 && p[i * 3 + 1] < 150 && p[i * 3 + 2] < 80)
            ++count;
    stbi_image_free(p);
    return count > 50;
}

// Whether a capture shows the pink crosshair around (x, y).
bool hasPinkNear(const std::vector<unsigned char>& jpeg, int x, int y) {
    int w = 0, h = 0, channels = 0;
    unsigned char* p = stbi_load_from_memory(jpeg.data(), int(jpeg.size()), &w, &h, &channels, 3);
    if (!p)
        return false;
    long count = 0;
    for (int yy = std::max(0, y - 20); yy < std::min(h, y + 20); ++yy)
        for (int xx = std::max(0, x - 20); xx < std::min(w, x + 20); ++xx) {
            const unsigned char* px = p + (yy * w + xx) * 3;
            if (px[0] > 170 && px[1] < 120 && px[2] > 130 && px[0] > px[1] + 80)
                ++count;
        }
    stbi_image_free(p);
    return count > 10;
}

} // namespace

int main(int argc, char** argv) {
    const auto start = Clock::now();
    const std::filesystem::path folder = argc > 1 ? argv[1] : "test-artifacts";
    std::filesystem::create_directories(folder);
    // OGRE and Mesa write under the cache folder: make sure it exists.
    for (const char* var : {"HOME", "XDG_CACHE_HOME"})
        if (const char* dir = std::getenv(var))
            std::filesystem::create_directories(dir);

    SmokeApp app;
    app.setWindowSize(1280, 800);
    try {
        app.initApp();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "initApp failed: %s\n", e.what());
        return 2;
    }
    if (!app.isReady()) {
        std::fprintf(stderr, "no window\n");
        return 2;
    }
    const double initSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    const Ogre::Vector2 size = app.getWindowSize();
    check(size.x == 1280 && size.y == 800, "window is 1280x800");

    app.renderFrame();
    const double firstFrame = std::chrono::duration<double>(Clock::now() - start).count();
    for (int i = 0; i < 5; ++i)
        app.renderFrame();

    // A synthetic click on the ImGui button, played over real frames.
    const int bx = int((app.buttonMin.x + app.buttonMax.x) / 2);
    const int by = int((app.buttonMin.y + app.buttonMax.y) / 2);
    std::string error;
    check(app.queueSyntheticClick(bx, by, OgreBites::BUTTON_LEFT, 0.05f, error), "click queued " + error);
    check(app.isSyntheticInputActive(), "input active after queueing");
    check(app.getSyntheticInputDepth() == 0, "depth zero outside delivery");
    int frames = 0;
    while (app.isSyntheticInputActive() && frames < 500) {
        app.renderFrame();
        ++frames;
    }
    for (int i = 0; i < 3; ++i)
        app.renderFrame();
    check(!app.isSyntheticInputActive(), "input played out in " + std::to_string(frames) + " frames");
    check(app.presses == 1, "button pressed once by the synthetic click (" + std::to_string(app.presses) + ")");
    check(app.depthAtPress > 0, "the button saw a synthetic input depth above zero");
    check(app.getSyntheticInputDepth() == 0, "depth back to zero");

    // Typing into an ImGui text field: click it, then keys (shift makes a capital).
    auto playOut = [&app] {
        for (int i = 0; i < 500 && app.isSyntheticInputActive(); ++i)
            app.renderFrame();
        app.renderFrame();
    };
    app.queueSyntheticClick(int(app.fieldMin.x) + 20, int(app.fieldMin.y) + 8, OgreBites::BUTTON_LEFT, 0.05f, error);
    app.queueSyntheticKeys({"shift", "h"}, 0.05f, error);
    app.queueSyntheticKeys({"i"}, 0.05f, error);
    playOut();
    check(std::string(app.name) == "Hi", "typed into the text field: '" + std::string(app.name) + "'");

    // The editor camera takes a synthetic right drag (orbit) and wheel (zoom) over the scene.
    const float yawBefore = app.getEditorCamera().getYaw().valueDegrees();
    const float distanceBefore = app.getEditorCamera().getDistance();
    bool busySeen = false;
    app.queueSyntheticDrag(900, 500, 1000, 520, OgreBites::BUTTON_RIGHT, 0.2f, error);
    for (int i = 0; i < 500 && app.isSyntheticInputActive(); ++i) {
        app.renderFrame();
        busySeen = busySeen || app.getEditorCamera().isBusy();
    }
    app.queueSyntheticScroll(900, 500, 2, error);
    playOut();
    check(app.getEditorCamera().getYaw().valueDegrees() != yawBefore && busySeen, "right drag orbits the camera, busy meanwhile");
    check(!app.getEditorCamera().isBusy(), "camera no longer busy after the drag");
    check(app.getEditorCamera().getDistance() < distanceBefore, "wheel zooms in");
    app.getEditorCamera().setView(Ogre::Vector3(4, 3.5f, 6), Ogre::Vector3::ZERO);

    std::vector<std::string> bad = {"a", "hyperspace"};
    const bool refused = !app.queueSyntheticKeys(bad, 0.1f, error);
    check(refused && error.find("hyperspace") != std::string::npos && !app.isSyntheticInputActive(),
          "unknown key refused, nothing queued: " + error);

    // Frame time over a few hundred frames, with the cube turning.
    const auto loopStart = Clock::now();
    const int timedFrames = 300;
    for (int i = 0; i < timedFrames; ++i) {
        app.cubeNode->yaw(Ogre::Degree(0.2f));
        app.renderFrame();
    }
    const double frameMs = std::chrono::duration<double, std::milli>(Clock::now() - loopStart).count() / timedFrames;

    // Captures from inside a frame (as an agent's tool runs) ...
    app.captureInFrame = true;
    app.renderFrame();
    checkImage(app.windowJpeg, 640, 400, "window", folder);
    checkImage(app.thumbJpeg, 480, 300, "scene-thumbnail", folder);
    checkImage(app.viewJpeg, 400, 250, "scene-from-view", folder);
    check(hasOrange(app.thumbJpeg), "scene thumbnail shows the orange cube");
    check(hasOrange(app.viewJpeg), "view from above shows the orange cube");
    // The crosshair marks the last click or drag: the end of the camera drag.
    const int cx = app.getSyntheticInput().crosshairX(), cy = app.getSyntheticInput().crosshairY();
    check(cx == 1000 && cy == 520, "crosshair at the end of the last drag");
    check(hasPinkNear(app.windowJpeg, cx / 2, cy / 2), "window capture shows the crosshair");
    check(!hasPinkNear(app.thumbJpeg, cx * 3 / 8, cy * 3 / 8), "scene thumbnail has no crosshair (no interface layer)");

    // ... and between frames, full size, with timing.
    const auto captureStart = Clock::now();
    std::vector<unsigned char> fullJpeg = app.captureWindowContents(4096, 4096);
    const double captureMs = std::chrono::duration<double, std::milli>(Clock::now() - captureStart).count();
    checkImage(fullJpeg, 1280, 800, "window-full", folder);
    check(hasOrange(fullJpeg) && hasPinkNear(fullJpeg, cx, cy), "full window shows cube and crosshair");
    const Ogre::Vector3 eyeBefore = app.getCameraNode()->getPosition();
    app.captureSceneFromView(200, 200, Ogre::Vector3(10, 0, 0), Ogre::Vector3::ZERO);
    check(app.getCameraNode()->getPosition() == eyeBefore, "user camera did not move for captureSceneFromView");

    // Resizing from code, then full screen (on Xvfb: the 1280x800 screen).
    app.setWindowSize(1024, 640);
    for (int i = 0; i < 3; ++i)
        app.renderFrame();
    const Ogre::Vector2 resized = app.getWindowSize();
    check(resized.x == 1024 && resized.y == 640, "window resized to " + std::to_string(int(resized.x)) + "x" +
                                                     std::to_string(int(resized.y)));
    checkImage(app.captureWindowContents(4096, 4096), 1024, 640, "window-resized", folder);
    app.setFullScreen(true);
    for (int i = 0; i < 3; ++i)
        app.renderFrame();
    const Ogre::Vector2 full = app.getWindowSize();
    check(app.isFullScreen() && full.x == 1280 && full.y == 800,
          "full screen fills the screen: " + std::to_string(int(full.x)) + "x" + std::to_string(int(full.y)));
    app.setFullScreen(false);
    for (int i = 0; i < 3; ++i)
        app.renderFrame();
    const Ogre::Vector2 windowed = app.getWindowSize();
    check(!app.isFullScreen() && windowed.x == 1024 && windowed.y == 640, "back to the 1024x640 window");

    std::printf("time to first frame: %.3f s (initApp %.3f s)\n", firstFrame, initSeconds);
    std::printf("frame time: %.2f ms (%.0f fps)\n", frameMs, 1000.0 / frameMs);
    std::printf("full window capture + JPEG: %.1f ms\n", captureMs);

    app.requestStop();
    app.onClose();
    std::printf("%s\n", failures == 0 ? "engine smoke test passed" : "engine smoke test FAILED");
    return failures == 0 ? 0 : 1;
}
