// Times scene building and frames for a generated game with many objects, for real (OGRE needs a
// window, so this is a program rather than a Google Benchmark):
//
//   xvfb-run -a -s "-screen 0 1280x800x24" build/lmd-scene-bench [objects] [seconds]
//
// Prints: the edit scene's build time (best and median of five rebuilds, and the first build,
// which also reads the textures), the first frame after a build (the RTShaderSystem makes its
// shaders then), frame times while editing and while playing (physics and logic running), and
// the time play() takes to build the play scene and load the logic, and the cost of the pointer's
// ray through the play scene (what a game that reads pointerX or pointerObject pays each frame).
#include "../../bench/SceneGame.h"
#include "base/LmdLog.h"
#include "engine/LmdRuntime.h"
#include "engine/scene/LmdScene.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using namespace Lumenda3D;

class BenchApp : public LmdRuntime {
public:
    BenchApp() : LmdRuntime("Lumenda3DSceneBench") {}
    using Lumenda3DEngine::rebuildEditScene;
};

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct Stats {
    double median = 0, p95 = 0, mean = 0;
};

Stats statsOf(std::vector<double> values) {
    Stats s;
    if (values.empty())
        return s;
    std::sort(values.begin(), values.end());
    s.median = values[values.size() / 2];
    s.p95 = values[std::min(values.size() - 1, values.size() * 95 / 100)];
    for (double v : values)
        s.mean += v;
    s.mean /= double(values.size());
    return s;
}

std::vector<double> frameTimes(BenchApp& app, double seconds) {
    std::vector<double> times;
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (Clock::now() < end) {
        const auto start = Clock::now();
        if (!app.renderFrame())
            break;
        times.push_back(msSince(start));
    }
    return times;
}

} // namespace

int main(int argc, char** argv) {
    const int objects = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1000;
    const double seconds = argc > 2 ? std::max(0.5, std::atof(argv[2])) : 3.0;
    LmdLog::setEchoToStderr(false);
    BenchApp app;
    app.setWindowSize(1280, 800);
    try {
        app.initApp();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "cannot open the window: %s\n", e.what());
        return 1;
    }
    if (!app.isReady())
        return 1;
    if (!app.setXmlSourceString(bench::generateSceneGame(objects))) {
        std::fprintf(stderr, "the generated game does not parse\n");
        return 1;
    }
    auto start = Clock::now();
    app.rebuildEditScene("");
    const double firstBuild = msSince(start);
    start = Clock::now();
    app.renderFrame();
    const double firstFrame = msSince(start);
    std::vector<double> builds;
    for (int i = 0; i < 5; ++i) {
        start = Clock::now();
        app.rebuildEditScene("");
        builds.push_back(msSince(start));
        app.renderFrame();
    }
    const Stats build = statsOf(builds);
    const Stats edit = statsOf(frameTimes(app, seconds));

    start = Clock::now();
    app.play();
    const double playStart = msSince(start);
    const Stats play = statsOf(frameTimes(app, seconds));
    const size_t bodies = app.getPlayScene() ? app.getPlayScene()->objects().size() : 0;
    // What a game that reads the pointer's 3D point pays each frame: one ray through the play scene.
    std::vector<double> points;
    int onObjects = 0;
    for (int i = 0; i < 200; ++i) {
        start = Clock::now();
        const LmdPointerState state = app.pointAt(320 + i * 3, 400);
        points.push_back(msSince(start));
        onObjects += state.object.empty() ? 0 : 1;
    }
    const Stats point = statsOf(points);
    app.stop(nullptr);

    std::printf("Scene benchmark: %d objects (%zu scene objects in play), 1280x800\n", objects, bodies);
    std::printf("  edit scene build, first (reads textures)  %8.1f ms\n", firstBuild);
    std::printf("  edit scene build, best of 5               %8.1f ms\n", *std::min_element(builds.begin(), builds.end()));
    std::printf("  edit scene build, median of 5             %8.1f ms\n", build.median);
    std::printf("  first frame after the first build         %8.1f ms\n", firstFrame);
    std::printf("  play(): play scene + logic                %8.1f ms\n", playStart);
    std::printf("  frame while editing: median / p95         %8.2f / %.2f ms (%.0f fps)\n", edit.median, edit.p95,
                edit.mean > 0 ? 1000.0 / edit.mean : 0.0);
    std::printf("  frame while playing: median / p95         %8.2f / %.2f ms (%.0f fps)\n", play.median, play.p95,
                play.mean > 0 ? 1000.0 / play.mean : 0.0);
    std::printf("  pointer ray (pointAt) in play: median / p95 %8.3f / %.3f ms (%d of 200 on an object)\n",
                point.median, point.p95, onObjects);
    app.onClose();
    return 0;
}
