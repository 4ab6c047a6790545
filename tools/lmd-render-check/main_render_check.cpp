// Checks what only a real window shows (OGRE on Mesa under Xvfb): the sun's shadows and animated
// models, and measures what shadows cost:
//
//   lmd-render-check <artifact folder> [game to time]
//
// Shadows: a box hangs over a floor lit by a sun. The floor where the box's shadow falls must be
// clearly darker than the floor beside it when the box casts shadows, and as bright as the floor
// beside it when the box does not (castShadows="false") or the level has shadows="false".
// Animation: a skinned model (tests/engine/AnimatedModelFile.h) plays its start animation; its
// bounds and its pixels must move while the clip plays. Each picture is saved as a PNG under the
// artifact folder. Then the game to time (an example game) plays for a fixed number of frames with
// shadows on and off, and the frames per second of both are printed (a measurement, not a check).
// Exits 0 only when every check passes.
#include "base/LmdLog.h"
#include "engine/LmdRuntime.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/LmdShadows.h"
// The skinned test model, from tests/ (on this program's include path).
#include "engine/AnimatedModelFile.h"

#include <OgreCamera.h>
#include <OgreRenderWindow.h>
#include <OgreViewport.h>

#include <lodepng.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace Lumenda3D;
using Clock = std::chrono::steady_clock;

int gFailures = 0;
std::mutex gCriticalMutex;
std::vector<std::string> gCritical;

void expect(bool ok, const std::string& what) {
    std::printf("  [%s] %s\n", ok ? "ok" : "FAIL", what.c_str());
    if (!ok) {
        ++gFailures;
        std::fprintf(stderr, "FAILED: %s\n", what.c_str());
    }
}

void runFrames(LmdRuntime& app, int frames) {
    for (int i = 0; i < frames && app.renderFrame(); ++i) {
    }
}

bool loadGame(LmdRuntime& app, const std::string& xml, const fs::path& folder) {
    if (!app.setXmlSourceString(xml))
        return false;
    app.setGameDir(folder.string());
    bool done = false;
    app.updateScript(false, [&done] { done = true; }, false);
    for (int i = 0; i < 200 && !done; ++i)
        app.renderFrame();
    return done;
}

// The yard: a sun from above, a light floor and a box hanging over it.
std::string yard(bool boxCasts, bool levelShadows) {
    std::ostringstream xml;
    xml << R"(<KiteBench3D><Level name="Yard" backgroundColor="0x506070" shadows=")"
        << (levelShadows ? "true" : "false") << R"(">
  <AmbientLight name="Ambient" color="0x404040"/>
  <DirectionalLight name="Sun" directionX="0.3" directionY="-1" directionZ="0.2"/>
  <Camera name="Eye" y="9" z="11" rotationX="-38" fov="55"/>
  <Plane name="Floor" width="24" depth="24" color="0xE0E0E0"/>
  <Box name="Block" y="3" width="2" height="1" depth="2" color="0xC04030" castShadows=")"
        << (boxCasts ? "true" : "false") << R"("/>
</Level></KiteBench3D>)";
    return xml.str();
}

struct Picture {
    std::vector<unsigned char> rgb;
    int width = 0, height = 0;
    // Mean brightness (0..255) of the square of side 2r+1 around (x, y).
    double brightness(int x, int y, int r) const {
        double sum = 0;
        int n = 0;
        for (int j = y - r; j <= y + r; ++j)
            for (int i = x - r; i <= x + r; ++i) {
                if (i < 0 || j < 0 || i >= width || j >= height)
                    continue;
                const unsigned char* p = &rgb[(size_t(j) * size_t(width) + size_t(i)) * 3];
                sum += 0.3 * p[0] + 0.59 * p[1] + 0.11 * p[2];
                ++n;
            }
        return n ? sum / n : 0.0;
    }
};

// Reads the window and saves it as a PNG.
bool capture(LmdRuntime& app, Picture& picture, const fs::path& file) {
    if (!app.readWindowPixels(picture.rgb, picture.width, picture.height))
        return false;
    lodepng_encode24_file(file.string().c_str(), picture.rgb.data(), unsigned(picture.width), unsigned(picture.height));
    return true;
}

bool screenOf(LmdRuntime& app, const Ogre::Vector3& point, int& x, int& y) {
    Ogre::Camera* camera = app.getCamera();
    Ogre::Viewport* viewport = app.getViewport();
    const Ogre::Vector3 clip = camera->getProjectionMatrix() * (camera->getViewMatrix() * point);
    if (std::abs(clip.x) > 1 || std::abs(clip.y) > 1)
        return false;
    x = int((clip.x * 0.5f + 0.5f) * float(viewport->getActualWidth()));
    y = int((0.5f - clip.y * 0.5f) * float(viewport->getActualHeight()));
    return true;
}

// Plays the yard and returns the brightness of the floor in the box's shadow over the
// brightness of the floor beside it.
double shadowRatio(LmdRuntime& app, bool boxCasts, bool levelShadows, const fs::path& artifacts,
                   const std::string& name) {
    std::printf("%s\n", name.c_str());
    if (!loadGame(app, yard(boxCasts, levelShadows), artifacts)) {
        expect(false, "the yard loads");
        return 0;
    }
    app.play();
    runFrames(app, 20);
    const bool drawn = app.shadows() && app.shadows()->isEnabled() == levelShadows;
    expect(drawn, std::string("shadows are ") + (levelShadows ? "on" : "off") + " as the level says");
    // Where the sun's ray through the box's centre meets the floor, and a spot beside it.
    const Ogre::Vector3 sun = Ogre::Vector3(0.3f, -1.0f, 0.2f).normalisedCopy();
    const Ogre::Vector3 centre(0, 3, 0);
    const Ogre::Vector3 underneath = centre + sun * (centre.y / -sun.y);
    const Ogre::Vector3 beside = underneath + Ogre::Vector3(-4.0f, 0, 0);
    int ux = 0, uy = 0, bx = 0, by = 0;
    const bool seen = screenOf(app, underneath, ux, uy) && screenOf(app, beside, bx, by);
    expect(seen, "both floor spots are in view");
    Picture picture;
    if (!capture(app, picture, artifacts / (name + ".png"))) {
        expect(false, "the window is read");
        return 0;
    }
    const double shade = picture.brightness(ux, uy, 6), light = picture.brightness(bx, by, 6);
    std::printf("  floor in the shadow %.1f at (%d, %d), beside it %.1f at (%d, %d)\n", shade, ux, uy, light, bx, by);
    app.stop(nullptr);
    runFrames(app, 2);
    return light > 0 ? shade / light : 0;
}

// A skinned arm, two units tall, bends over while its start animation plays.
void animatedModel(LmdRuntime& app, const fs::path& artifacts) {
    std::printf("animated-model\n");
    test::AnimatedModelFile::write(artifacts / "arm.gltf");
    const std::string xml = R"(<KiteBench3D><Level name="Yard" backgroundColor="0x506070">
  <AmbientLight name="Ambient" color="0x404040"/>
  <DirectionalLight name="Sun" directionX="0.3" directionY="-1" directionZ="-0.6"/>
  <Camera name="Eye" y="2" z="7" rotationX="-5" fov="55"/>
  <Plane name="Floor" width="24" depth="24" color="0xE0E0E0"/>
  <Model name="Arm" fileName="arm.gltf" autoScale="false" scaleX="2" scaleY="1.5" scaleZ="2" color="0xE04030" animation="Bend"/>
</Level></KiteBench3D>)";
    if (!loadGame(app, xml, artifacts)) {
        expect(false, "the game with the animated model loads");
        return;
    }
    app.play();
    runFrames(app, 2);
    LmdBase3D* arm = app.getPlayScene() ? app.getPlayScene()->objectByName("Arm") : nullptr;
    expect(arm && arm->getEntity() && arm->getPlayingAnimation() == "Bend", "the model plays its start animation");
    if (!arm || !arm->getEntity())
        return;
    Picture before, after;
    expect(capture(app, before, artifacts / "animation-start.png"), "the window is read at the start");
    const Ogre::AxisAlignedBox start = arm->getWorldBounds();
    // Half the clip: the arm has turned 45 degrees.
    for (int i = 0; i < 600 && arm->getAnimationTime() < 0.5f; ++i)
        app.renderFrame();
    runFrames(app, 1);
    expect(capture(app, after, artifacts / "animation-bent.png"), "the window is read half way");
    const Ogre::AxisAlignedBox bent = arm->getWorldBounds();
    std::printf("  bounds x %.2f..%.2f -> %.2f..%.2f at %.2f s\n", start.getMinimum().x, start.getMaximum().x,
                bent.getMinimum().x, bent.getMaximum().x, arm->getAnimationTime());
    expect(bent.getMinimum().x < start.getMinimum().x - 0.5f, "the bones carried the bounds along");
    size_t changed = 0;
    for (size_t i = 0; i + 2 < before.rgb.size() && before.rgb.size() == after.rgb.size(); i += 3)
        if (std::abs(int(before.rgb[i]) - int(after.rgb[i])) + std::abs(int(before.rgb[i + 1]) - int(after.rgb[i + 1])) > 60)
            ++changed;
    expect(changed > 2000, "the model's pixels moved (" + std::to_string(changed) + " pixels changed)");
    app.stop(nullptr);
    runFrames(app, 2);
    LmdBase3D* edited = app.getEditScene() ? app.getEditScene()->objectByName("Arm") : nullptr;
    expect(edited && edited->getPlayingAnimation().empty(), "after stop the edited model stands at rest");
}

double framesPerSecond(LmdRuntime& app, int frames) {
    runFrames(app, 20); // shaders are made in the first frames
    const auto start = Clock::now();
    runFrames(app, frames);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return seconds > 0 ? frames / seconds : 0;
}

void timeGame(LmdRuntime& app, const fs::path& game, const fs::path& artifacts) {
    std::printf("frame rate of %s\n", game.filename().string().c_str());
    std::ifstream in(game, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    if (!loadGame(app, text.str(), game.parent_path())) {
        expect(false, "the game to time loads");
        return;
    }
    app.play();
    const double on = framesPerSecond(app, 300);
    Picture picture;
    capture(app, picture, artifacts / ("shadow-" + game.stem().string() + ".png"));
    const bool wasOn = app.shadows() && app.shadows()->isEnabled();
    app.shadows()->setEnabled(false);
    const double off = framesPerSecond(app, 300);
    app.shadows()->setEnabled(true);
    std::printf("  %.0f frames per second with shadows%s, %.0f without\n", on, wasOn ? "" : " (NOT ON)", off);
    app.stop(nullptr);
    runFrames(app, 2);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: lmd-render-check <artifact folder> [game to time]\n");
        return 2;
    }
    const fs::path artifacts = argv[1];
    fs::create_directories(artifacts);
    LmdLog::setEchoToStderr(false);
    LmdLog::addSink([](const std::string& text, LogLevel level) {
        if (level == LogLevel::Critical || text.rfind("Error in ", 0) == 0) {
            std::lock_guard<std::mutex> lock(gCriticalMutex);
            gCritical.push_back(text);
        }
    });
    LmdRuntime app("Lumenda3DRenderCheck");
    app.setWindowSize(1024, 640);
    try {
        app.initApp();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "cannot open the window: %s\n", e.what());
        return 1;
    }
    if (!app.isReady()) {
        std::fprintf(stderr, "cannot open the window\n");
        return 1;
    }
    const double cast = shadowRatio(app, true, true, artifacts, "shadow-cast");
    expect(cast < 0.8, "the box darkens the floor under it (" + std::to_string(cast) + " of the light beside)");
    const double none = shadowRatio(app, false, true, artifacts, "shadow-castShadows-off");
    expect(none > 0.93, "with castShadows off the floor under it is lit (" + std::to_string(none) + ")");
    const double off = shadowRatio(app, true, false, artifacts, "shadow-level-off");
    expect(off > 0.93, "with the level's shadows off the floor under it is lit (" + std::to_string(off) + ")");
    animatedModel(app, artifacts);
    if (argc > 2)
        timeGame(app, argv[2], artifacts);
    {
        std::lock_guard<std::mutex> lock(gCriticalMutex);
        for (const std::string& line : gCritical)
            std::printf("  critical: %s\n", line.c_str());
        expect(gCritical.empty(), "no critical log lines (" + std::to_string(gCritical.size()) + ")");
    }
    app.onClose();
    std::printf("%s: %d failure(s)\n", gFailures ? "FAILED" : "PASSED", gFailures);
    return gFailures ? 1 : 0;
}
