// Plays the example games for real (OGRE on Mesa under Xvfb) and checks that they play:
//
//   lmd-runtime-check <artifact folder> <examples folder> [bad-input game]
//
// For each example: load it, play it for a few seconds with synthetic keys and clicks, check what
// moved (object positions, a score text, collisions), save a screenshot (JPEG and PNG) of the
// window under the artifact folder, stop, and check that the edited scene came back exactly as it
// was (every object's position, orientation, scale and visibility, the level and the view). With
// a bad-input game: it must load and play, with one critical log line per fault naming the node.
// Exits 0 only when every check passes; each failure is a line on stderr.
#include "base/LmdLog.h"
#include "engine/LmdRuntime.h"
#include "engine/editing/LmdEditTools.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdScene.h"

#include <OgreCamera.h>
#include <OgreSceneNode.h>
#include <OgreViewport.h>

#include <lodepng.h>
#include <stb_image.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace Lumenda3D;
using Clock = std::chrono::steady_clock;

class CheckApp : public LmdRuntime {
public:
    // The editor's tools (document service, selection, gizmos) are part of what is checked.
    CheckApp() : LmdRuntime("Lumenda3DRuntimeCheck") { LmdEditTools::install(*this); }
    void setup() override {
        LmdRuntime::setup();
        enableInputSimulation();
    }
};

int gFailures = 0;
std::string gCurrent;

void expect(bool ok, const std::string& what) {
    std::printf("  [%s] %s\n", ok ? "ok" : "FAIL", what.c_str());
    if (!ok) {
        ++gFailures;
        std::fprintf(stderr, "FAILED (%s): %s\n", gCurrent.c_str(), what.c_str());
    }
}

// Critical log lines, collected while a game loads and plays.
struct CriticalLines {
    std::mutex mutex;
    std::vector<std::string> lines;
    void clear() {
        std::lock_guard<std::mutex> lock(mutex);
        lines.clear();
    }
    std::vector<std::string> take() {
        std::lock_guard<std::mutex> lock(mutex);
        return lines;
    }
} gCritical;

// Plays at least `seconds` of game time. The runtime advances a frame by its wall time but by at
// most 0.1 s, so on a loaded machine (slow frames) the wall clock alone would play less game time
// than asked: the frame count makes up for that. `onFrame` runs after every frame.
template <typename OnFrame>
void playFor(CheckApp& app, double seconds, OnFrame onFrame) {
    constexpr double kMaxFrameSeconds = 0.1;
    const int minFrames = static_cast<int>(std::ceil(seconds / kMaxFrameSeconds));
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration<double>(seconds);
    const auto giveUp = start + std::chrono::duration<double>(20.0 + seconds);
    for (int frames = 0; (Clock::now() < end || frames < minFrames) && Clock::now() < giveUp && app.renderFrame();
         ++frames)
        onFrame();
}

void runFor(CheckApp& app, double seconds) {
    playFor(app, seconds, [] {});
}

void runFrames(CheckApp& app, int frames) {
    for (int i = 0; i < frames && app.renderFrame(); ++i) {
    }
}

// Plays frames until the queued synthetic input has played out (at most `limit` seconds).
void settleInput(CheckApp& app, double limit = 10.0) {
    const auto end = Clock::now() + std::chrono::duration<double>(limit);
    while (app.isSyntheticInputActive() && Clock::now() < end && app.renderFrame()) {
    }
}

bool loadGame(CheckApp& app, const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    if (!app.setXmlSourceString(text.str()))
        return false;
    app.setGameDir(file.parent_path().string());
    bool done = false;
    app.updateScript(false, [&done] { done = true; }, false);
    const bool loadingSeen = app.getPlayStatus() == LmdRuntime::Loading;
    for (int i = 0; i < 200 && !done; ++i)
        app.renderFrame();
    expect(loadingSeen, "play status is 4 (loading) while the document loads");
    return done && app.getPlayStatus() == LmdRuntime::Stopped;
}

LmdBase3D* object(CheckApp& app, const std::string& name) {
    LmdScene* scene = app.getActiveScene();
    return scene ? scene->objectByName(name) : nullptr;
}

std::string text(CheckApp& app, const std::string& name) {
    LmdScene* scene = app.getActiveScene();
    LmdBase2D* element = scene ? scene->elementByName(name) : nullptr;
    return element ? element->getText() : std::string("<no element '" + name + "'>");
}

double variable(CheckApp& app, const std::string& name) {
    LmdScriptValue value;
    if (!app.getLogic().getVariable(name, value))
        return -1e9;
    if (value.type == LmdScriptValue::Type::Number)
        return value.number;
    return value.type == LmdScriptValue::Type::Boolean ? (value.boolean ? 1 : 0) : -1e9;
}

Ogre::Vector3 worldOf(CheckApp& app, const std::string& name) {
    LmdBase3D* o = object(app, name);
    return o ? o->getWorldPosition() : Ogre::Vector3(NAN, NAN, NAN);
}

// Window pixel of a world point.
bool screenOf(CheckApp& app, const Ogre::Vector3& point, int& x, int& y) {
    Ogre::Camera* camera = app.getCamera();
    Ogre::Viewport* viewport = app.getViewport();
    const Ogre::Vector3 clip = camera->getProjectionMatrix() * (camera->getViewMatrix() * point);
    if (std::abs(clip.x) > 1 || std::abs(clip.y) > 1)
        return false;
    x = int((clip.x * 0.5f + 0.5f) * float(viewport->getActualWidth()));
    y = int((0.5f - clip.y * 0.5f) * float(viewport->getActualHeight()));
    return true;
}

std::string fmt(const Ogre::Vector3& v) {
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "(%.2f, %.2f, %.2f)", v.x, v.y, v.z);
    return buffer;
}

// The edit scene as it stands: every object's transform and visibility, the level, the view.
struct Snapshot {
    struct Item {
        int xmlId;
        std::string name;
        Ogre::Vector3 position, scale, rotation;
        Ogre::Quaternion orientation;
        bool visible;
        bool attached;
    };
    std::vector<Item> items;
    std::string level;
    Ogre::Vector3 eye, target;
    size_t elements = 0;
};

Snapshot snapshot(CheckApp& app) {
    Snapshot s;
    for (LmdBase3D* o : app.getEditScene()->objects()) {
        Snapshot::Item item{o->getXmlId(),
                            o->getName(),
                            o->getNode()->getPosition(),
                            o->getNode()->getScale(),
                            o->getRotation(),
                            o->getNode()->getOrientation(),
                            o->isVisible(),
                            o->getNode()->isInSceneGraph()};
        s.items.push_back(item);
    }
    s.level = app.getCurLevel();
    s.eye = app.getCameraNode()->getPosition();
    s.target = app.getEditorCamera().getTarget();
    s.elements = app.getEditScene()->elements().size();
    return s;
}

bool sameSnapshot(const Snapshot& a, const Snapshot& b, std::string& why) {
    if (a.items.size() != b.items.size()) {
        why = "object count " + std::to_string(a.items.size()) + " became " + std::to_string(b.items.size());
        return false;
    }
    for (size_t i = 0; i < a.items.size(); ++i) {
        const auto& x = a.items[i];
        const auto& y = b.items[i];
        if (x.xmlId != y.xmlId || x.name != y.name || x.position != y.position || x.scale != y.scale ||
            x.rotation != y.rotation || !(x.orientation == y.orientation) || x.visible != y.visible ||
            x.attached != y.attached) {
            why = "object '" + x.name + "' changed: " + fmt(x.position) + " -> " + fmt(y.position);
            return false;
        }
    }
    if (a.level != b.level) {
        why = "level '" + a.level + "' became '" + b.level + "'";
        return false;
    }
    if (a.eye.squaredDistance(b.eye) > 1e-6f || a.target.squaredDistance(b.target) > 1e-6f) {
        why = "the editor's view moved: " + fmt(a.eye) + " -> " + fmt(b.eye);
        return false;
    }
    if (a.elements != b.elements) {
        why = "2D element count changed";
        return false;
    }
    return true;
}

// Saves the window as JPEG and PNG and checks that it is a real picture (neither black nor flat).
void screenshot(CheckApp& app, const fs::path& folder, const std::string& name) {
    runFrames(app, 2);
    const std::vector<unsigned char> jpeg = app.captureWindowContents(1280, 800);
    expect(!jpeg.empty(), "window capture of '" + name + "'");
    if (jpeg.empty())
        return;
    fs::create_directories(folder);
    std::ofstream(folder / (name + ".jpg"), std::ios::binary)
        .write(reinterpret_cast<const char*>(jpeg.data()), std::streamsize(jpeg.size()));
    int w = 0, h = 0, channels = 0;
    unsigned char* rgb = stbi_load_from_memory(jpeg.data(), int(jpeg.size()), &w, &h, &channels, 3);
    if (!rgb) {
        expect(false, "the capture decodes");
        return;
    }
    lodepng_encode24_file((folder / (name + ".png")).string().c_str(), rgb, unsigned(w), unsigned(h));
    double sum = 0, sum2 = 0;
    const size_t n = size_t(w) * size_t(h);
    for (size_t i = 0; i < n; ++i) {
        const double l = 0.3 * rgb[i * 3] + 0.59 * rgb[i * 3 + 1] + 0.11 * rgb[i * 3 + 2];
        sum += l;
        sum2 += l * l;
    }
    stbi_image_free(rgb);
    const double mean = sum / double(n), deviation = std::sqrt(std::max(0.0, sum2 / double(n) - mean * mean));
    char line[160];
    std::snprintf(line, sizeof line, "screenshot '%s' is a real picture (mean %.0f, deviation %.0f)", name.c_str(), mean,
                  deviation);
    expect(mean > 15 && deviation > 12, line);
}

// Holds the keys down for `seconds` of game time, then lets them go. A hold queued as one wall-time
// span would give the game less time than asked on a loaded machine (slow frames advance the game
// by at most 0.1 s each), so the hold is measured in frames played, as playFor does.
void keys(CheckApp& app, const std::vector<std::string>& names, float seconds) {
    auto queue = [&](int op) {
        std::vector<LmdInputStep> steps(names.size());
        for (size_t i = 0; i < names.size(); ++i)
            steps[i].op = op, steps[i].key = names[i];
        std::string error;
        expect(app.queueSyntheticSequence(steps, error), "synthetic keys queued " + error);
        settleInput(app);
    };
    queue(LmdInputStep::KeyDown);
    runFor(app, seconds);
    queue(LmdInputStep::KeyUp);
}

void clickAt(CheckApp& app, int x, int y) {
    std::string error;
    expect(app.queueSyntheticClick(x, y, OgreBites::BUTTON_LEFT, 0.05f, error), "synthetic click queued " + error);
    settleInput(app);
}

bool clickObject(CheckApp& app, const std::string& name) {
    int x = 0, y = 0;
    if (!screenOf(app, worldOf(app, name), x, y))
        return false;
    clickAt(app, x, y);
    runFrames(app, 3);
    return true;
}

// --- The examples -----------------------------------------------------------------------------------

using Scenario = std::function<void(CheckApp&)>;

// Editing the platformer's scene before it plays: picking, the placing plane, live values, a new
// element built on its own, levels. The scene this leaves is what stop() must bring back.
void editPlatformer(CheckApp& app) {
    LmdBase3D* player = object(app, "Player");
    if (!player) {
        expect(false, "the edit scene has the Player");
        return;
    }
    int x = 0, y = 0;
    expect(screenOf(app, player->getWorldPosition(), x, y) && app.pickObject(x, y) == player,
           "picking at the Player's pixel finds the Player");
    expect(app.pickObject(5, 5) == nullptr, "picking the sky finds nothing");
    clickAt(app, x, y);
    expect(app.getSelectedObject() == player, "a click selects the object under the pointer");
    screenOf(app, Ogre::Vector3(2, 0, 1), x, y);
    const Ogre::Vector3 placed = app.convert2DTo3D(ImVec2(float(x), float(y)));
    expect(placed.distance(Ogre::Vector3(2, 0, 1)) < 0.05f, "convert2DTo3D lands on the placing plane: " + fmt(placed));

    const int id = player->getXmlId();
    expect(app.updateLuaAttribute(id, "x", "-1.5", "number") && object(app, "Player")->getX() == -1.5f,
           "a live x moves the object");
    expect(app.updateLuaAttribute(id, "color", "0x2266CC", "color") &&
               object(app, "Player")->getAppliedMaterial().find("2266CC") != std::string::npos,
           "a live colour changes the material");
    expect(app.updateLuaAttribute(id, "visible", "false", "boolean") && !object(app, "Player")->isVisible(),
           "a live visible hides it");
    app.updateLuaAttribute(id, "visible", "true", "boolean");
    app.updateLuaAttribute(id, "x", "0", "number");
    app.updateLuaAttribute(id, "color", "0xFF8800", "color");
    expect(app.updateLuaAttribute(id, "width", "1.2", "number") &&
               std::abs(object(app, "Player")->getLocalBounds().getSize().x - 1.2f) < 0.01f,
           "a live width rebuilds the mesh");
    app.updateLuaAttribute(id, "width", "0.8", "number");
    LmdBase2D* hud = app.getEditScene()->elementByName("Hud");
    expect(hud && app.updateLuaAttribute(hud->getXmlId(), "fontSize", "40", "int") && hud->getDesc().fontSize == 40,
           "a live 2D value reaches the element");
    app.updateLuaAttribute(hud->getXmlId(), "fontSize", "32", "int");

    // A new element through the document service, built without a rebuild.
    pugi::xml_node level = app.getSourceXml()->document_element().child("Level");
    using Build = LmdSourceFiles::Build;
    pugi::xml_node crate = app.sourceFiles->createElement(
        level, "Box", {{"name", "NewCrate"}, {"x", "3"}, {"texture", "stone"}}, Build::Later);
    const size_t before = app.getObjectList().size();
    expect(app.shouldRunPartialSource("Box", level), "a new Box needs runPartialSource");
    app.runPartialSource(crate, level);
    expect(app.getObjectList().size() == before + 1 && object(app, "NewCrate") &&
               object(app, "NewCrate")->getEntity(),
           "runPartialSource built the new crate");
    runFrames(app, 2);

    // Moved vertices: a VertexList added under the crate rebuilds its mesh with the vertex moved.
    pugi::xml_node list = app.sourceFiles->createElement(crate, "VertexList", {}, Build::Later);
    // Vertex 0: the front face's top left corner.
    app.sourceFiles->createElement(list, "Vertex", {{"num", "0"}, {"pos", "0"}, {"x", "-0.5"}, {"y", "2"}, {"z", "0.5"}},
                                   Build::Later);
    app.runPartialSource(list, crate);
    expect(object(app, "NewCrate") && std::abs(object(app, "NewCrate")->getLocalBounds().getMaximum().y - 2.0f) < 0.01f,
           "a Vertex offset moves the crate's vertex");

    // Levels: one shown at a time.
    expect(app.getLevelNames() == std::vector<std::string>({"Meadow", "Sky Steps"}), "the level names");
    app.setLevel("Sky Steps");
    expect(app.getCurLevel() == "Sky Steps" && !app.getEditScene()->isShownNow(*object(app, "Player")),
           "setLevel shows the other level");
    app.setLevel("Nowhere");
    expect(app.getCurLevel() == "Sky Steps", "an unknown level changes nothing");
    app.setLevel("Meadow");
    app.clearSelectedObjects();
    runFrames(app, 2);
}

void platformer(CheckApp& app) {
    expect(app.getCurLevel() == "Meadow", "the game starts on the first level 'Meadow'");
    expect(app.getSound().isLoaded("jump") && app.getSound().isLoaded("coin"),
           "the declared sounds are loaded (silent without an audio device)");
    expect(object(app, "NewCrate") != nullptr, "the crate added while editing is in the game");
    runFor(app, 0.6);
    const Ogre::Vector3 landed = worldOf(app, "Player");
    expect(std::abs(landed.y - 0.4f) < 0.15f, "the player landed on the ground: y " + fmt(landed));
    // Jump, from the flat ground where the player landed (where a run ends depends on the frame
    // times). The game jumps only from rest (vertical speed under 0.2), so wait until the player
    // stands still, and press again, as a player would, if a press came while it was settling.
    float before = worldOf(app, "Player").y, highest = before;
    for (int attempt = 0; attempt < 3 && highest <= before + 0.8f; ++attempt) {
        const auto giveUp = Clock::now() + std::chrono::seconds(5);
        int still = 0;
        float lastY = worldOf(app, "Player").y;
        while (still < 5 && Clock::now() < giveUp && app.renderFrame()) {
            const float y = worldOf(app, "Player").y;
            still = std::abs(y - lastY) < 0.002f ? still + 1 : 0;
            lastY = y;
        }
        before = highest = worldOf(app, "Player").y;
        std::string error;
        app.queueSyntheticKeys({"space"}, 0.1f, error);
        playFor(app, 0.7, [&] { highest = std::max(highest, worldOf(app, "Player").y); });
    }
    expect(highest > before + 0.8f, "Space jumps: y " + std::to_string(before) + " -> peak " + std::to_string(highest));
    runFor(app, 1.0); // down again before the run
    const Ogre::Vector3 start = worldOf(app, "Player");
    keys(app, {"right"}, 1.2f);
    runFor(app, 0.2);
    const Ogre::Vector3 walked = worldOf(app, "Player");
    expect(walked.x > start.x + 2.5f, "holding Right runs the player right: " + fmt(start) + " -> " + fmt(walked));
    expect(variable(app, "score") >= 1, "running through the first coin scores (score " +
                                            std::to_string(variable(app, "score")) + ")");
    expect(object(app, "Coin1") == nullptr, "the collected coin is destroyed");
    expect(text(app, "Hud").find("Coins: 1") == 0 || text(app, "Hud").find("Coins: 2") == 0,
           "the score text follows the score: '" + text(app, "Hud") + "'");
    expect(app.getCollisionCount() > 0, "collisions reached the logic (" + std::to_string(app.getCollisionCount()) + ")");
    runFor(app, 0.8);
}

void shooter(CheckApp& app) {
    runFor(app, 0.3);
    const Ogre::Vector3 start = worldOf(app, "Ship");
    keys(app, {"left"}, 0.5f);
    const Ogre::Vector3 moved = worldOf(app, "Ship");
    expect(moved.x < start.x - 2.0f, "Left moves the ship: " + fmt(start) + " -> " + fmt(moved));
    keys(app, {"right"}, 0.5f);
    // The on-screen stick: a drag to the right moves the ship right while it is held.
    LmdBase2D* stick = app.getPlayScene()->elementByName("Stick");
    if (stick) {
        const LmdRect2D r = stick->getScreenRect();
        const int cx = int(r.x + r.width / 2), cy = int(r.y + r.height / 2);
        const Ogre::Vector3 beforeStick = worldOf(app, "Ship");
        std::vector<LmdInputStep> steps(4);
        steps[0].op = LmdInputStep::Move, steps[0].x = cx, steps[0].y = cy;
        steps[1].op = LmdInputStep::Down;
        steps[2].op = LmdInputStep::Move, steps[2].x = cx + 60, steps[2].y = cy, steps[2].seconds = 0.6f;
        steps[3].op = LmdInputStep::Up;
        std::string error;
        expect(app.queueSyntheticSequence(steps, error), "joystick drag queued " + error);
        settleInput(app);
        const Ogre::Vector3 afterStick = worldOf(app, "Ship");
        expect(afterStick.x > beforeStick.x + 1.0f, "dragging the stick moves the ship: " + fmt(beforeStick) + " -> " +
                                                        fmt(afterStick));
        expect(stick->getStickX() == 0.0f && !stick->isStickActive(), "the stick springs back on release");
    } else {
        expect(false, "the shooter has its stick");
    }
    // Fire at the enemy straight ahead until it is hit.
    double score = 0;
    int shots = 0;
    bool sawBullet = false;
    for (int round = 0; round < 12 && score < 10; ++round) {
        const Ogre::Vector3 enemy = worldOf(app, "Enemy");
        const Ogre::Vector3 ship = worldOf(app, "Ship");
        // Line up with the enemy first.
        if (std::abs(enemy.x - ship.x) > 0.4f)
            keys(app, {enemy.x < ship.x ? "left" : "right"}, std::min(1.0f, std::abs(enemy.x - ship.x) / 8.0f));
        keys(app, {"space"}, 0.05f);
        ++shots;
        for (int f = 0; f < 40; ++f) {
            app.renderFrame();
            sawBullet = sawBullet || object(app, "Shot") != nullptr;
        }
        score = variable(app, "score");
    }
    expect(sawBullet, "Space fires: a clone of the bullet flies");
    expect(score >= 10, "a shot hits the enemy and scores (score " + std::to_string(score) + " after " +
                            std::to_string(shots) + " shots)");
    expect(text(app, "Hud").find("Score 10") == 0 || text(app, "Hud").find("Score 20") == 0,
           "the HUD shows the score: '" + text(app, "Hud") + "'");
    runFor(app, 0.3);
}

void driving(CheckApp& app) {
    runFor(app, 0.5);
    const Ogre::Vector3 start = worldOf(app, "Car");
    keys(app, {"up"}, 2.6f);
    const Ogre::Vector3 ahead = worldOf(app, "Car");
    expect(ahead.z < start.z - 8.0f, "Up drives the car forward: " + fmt(start) + " -> " + fmt(ahead));
    expect(text(app, "Speedo").find("Speed ") == 0 && text(app, "Speedo") != "Speed 0 km/h",
           "the speedometer follows the speed: '" + text(app, "Speedo") + "'");
    const float heading = object(app, "Car")->getRotationY();
    keys(app, {"left"}, 0.6f);
    expect(object(app, "Car")->getRotationY() > heading + 10.0f, "Left steers the car");
    keys(app, {"right"}, 0.6f);
    keys(app, {"up"}, 2.0f);
    runFor(app, 1.0);
    expect(variable(app, "gates") >= 1, "driving through the first gate counts it (gates " +
                                            std::to_string(variable(app, "gates")) + ")");
    expect(text(app, "Lap").find("Gates 1") == 0, "the gate counter shows it: '" + text(app, "Lap") + "'");
}

void puzzle(CheckApp& app) {
    runFor(app, 0.4);
    expect(variable(app, "moves") == 0, "the puzzle starts scrambled with no moves");
    expect(text(app, "Status").find("Moves: 0") != std::string::npos, "status text: '" + text(app, "Status") + "'");
    // The scramble pressed the two corners: pressing them again solves it.
    expect(clickObject(app, "T1"), "tile T1 is on screen");
    runFor(app, 0.4);
    expect(variable(app, "moves") == 1, "a click on a tile is a move (moves " + std::to_string(variable(app, "moves")) + ")");
    expect(clickObject(app, "T9"), "tile T9 is on screen");
    runFor(app, 0.4);
    expect(text(app, "Status") == "Solved in 2 moves!", "the puzzle is solved: '" + text(app, "Status") + "'");
}

// Click to walk and a ferry: the click's point reaches the logic (clickX, clickZ, clickObject),
// the walker stands on a kinematic ferry and rides along, and the pointer's object follows the
// mouse (pointerObject).
void ferry(CheckApp& app) {
    runFor(app, 0.6);
    const Ogre::Vector3 w0 = worldOf(app, "Walker"), f0 = worldOf(app, "Ferry");
    expect(std::abs(w0.y - 0.4f) < 0.15f, "the walker stands on the ferry: " + fmt(w0));
    runFor(app, 1.0);
    const Ogre::Vector3 w1 = worldOf(app, "Walker"), f1 = worldOf(app, "Ferry");
    expect(std::abs(f1.x - f0.x) > 0.8f, "the ferry moves: " + fmt(f0) + " -> " + fmt(f1));
    expect(std::abs((w1.x - w0.x) - (f1.x - f0.x)) < 0.25f && std::abs(w1.y - w0.y) < 0.15f,
           "the walker rides along with the ferry: " + fmt(w0) + " -> " + fmt(w1));
    // Wait for the ferry to dock at the east bank (for two seconds), then click a spot on that bank.
    const auto docked = [&] { return worldOf(app, "Ferry").x > 3.4f && variable(app, "dock") > 1.2; };
    const auto giveUp = Clock::now() + std::chrono::seconds(8);
    while (!docked() && Clock::now() < giveUp && app.renderFrame()) {
    }
    expect(docked(), "the ferry docks at the east bank");
    const Ogre::Vector3 spot(6.0f, 0.0f, 1.0f);
    int x = 0, y = 0;
    expect(screenOf(app, spot, x, y), "the east bank is on screen");
    clickAt(app, x, y);
    runFor(app, 0.1);
    expect(text(app, "Hud") == "Walking to: East", "clickObject names the bank clicked: '" + text(app, "Hud") + "'");
    const double gx = variable(app, "goalX"), gz = variable(app, "goalZ");
    expect(std::abs(gx - spot.x) < 0.3 && std::abs(gz - spot.z) < 0.3,
           "clickX, clickZ are the point clicked: " + std::to_string(gx) + ", " + std::to_string(gz));
    runFor(app, 2.0);
    const Ogre::Vector3 arrived = worldOf(app, "Walker");
    expect(std::abs(arrived.x - spot.x) < 0.5f && std::abs(arrived.z - spot.z) < 0.5f && std::abs(arrived.y - 0.4f) < 0.15f,
           "the walker walked off the ferry to the spot clicked: " + fmt(arrived));
    // The pointer over the west bank, then over the water.
    for (const auto& [point, name] : {std::pair<Ogre::Vector3, std::string>{{-7.0f, 0.0f, -1.0f}, "West"},
                                      std::pair<Ogre::Vector3, std::string>{{0.0f, -1.2f, -6.0f}, "Water"}}) {
        expect(screenOf(app, point, x, y), "the point is on screen");
        std::vector<LmdInputStep> steps(1);
        steps[0].op = LmdInputStep::Move, steps[0].x = x, steps[0].y = y;
        std::string error;
        expect(app.queueSyntheticSequence(steps, error), "pointer move queued " + error);
        settleInput(app);
        runFor(app, 0.1);
        expect(text(app, "Pointer") == "Pointer on: " + name, "pointerObject follows the mouse: '" + text(app, "Pointer") + "'");
    }
}

// --- Bad input ------------------------------------------------------------------------------------------

void badInput(CheckApp& app, const fs::path& game, const fs::path& artifacts) {
    gCurrent = "bad-input";
    std::printf("bad-input: %s\n", game.string().c_str());
    gCritical.clear();
    expect(loadGame(app, game), "the faulty game loads");
    app.play();
    runFor(app, 1.5);
    expect(app.getPlayStatus() == LmdRuntime::Playing, "the faulty game plays");
    keys(app, {"space"}, 0.1f);
    runFor(app, 0.5);
    const Ogre::Vector3 mover = worldOf(app, "Mover");
    expect(mover.x > 1.0f, "the rest of the game runs: Mover moved to " + fmt(mover));
    LmdBase3D* pyramid = object(app, "Pyramid");
    expect(pyramid && pyramid->getEntity() &&
               std::abs(pyramid->getLocalBounds().getSize().x - 1.0f) < 0.01f,
           "a readable model beside it is imported and fitted into one unit");
    expect(object(app, "Broken") && !object(app, "Broken")->getEntity(), "the unreadable model stands as an empty placeholder");
    screenshot(app, artifacts, "bad-input");
    app.stop(nullptr);
    runFrames(app, 2);
    const std::vector<std::string> lines = gCritical.take();
    for (const std::string& line : lines)
        std::printf("    critical: %s\n", line.c_str());
    // One line per fault, each naming its node.
    struct Fault {
        const char* what;
        const char* marker;
    };
    const Fault faults[] = {
        {"unknown element", "Teapot"},       {"a text where a number belongs", "'abc'"},
        {"missing texture", "missing.png"},  {"unreadable model", "broken.fbx"},
        {"missing model file", "nowhere.obj"}, {"GoToLevel to a missing level", "Nowhere"},
    };
    for (const Fault& fault : faults) {
        int count = 0;
        bool names = false;
        for (const std::string& line : lines)
            if (line.find(fault.marker) != std::string::npos) {
                ++count;
                names = line.find("(id ") != std::string::npos;
            }
        expect(count == 1 && names, std::string(fault.what) + ": one critical line naming the node (" +
                                        std::to_string(count) + " lines)");
    }
    expect(lines.size() == std::size(faults), "no other critical lines (" + std::to_string(lines.size()) + ")");
}

void playExample(CheckApp& app, const fs::path& file, const Scenario& scenario, const fs::path& artifacts,
                 const Scenario& edit = nullptr) {
    gCurrent = file.stem().string();
    std::printf("%s: %s\n", gCurrent.c_str(), file.string().c_str());
    gCritical.clear();
    if (!loadGame(app, file)) {
        expect(false, "the game loads");
        return;
    }
    expect(!app.getObjectList().empty(), "the edit scene has objects (" + std::to_string(app.getObjectList().size()) + ")");
    if (edit)
        edit(app);
    screenshot(app, artifacts, gCurrent + "-edit");
    const Snapshot before = snapshot(app);
    app.play();
    runFrames(app, 2);
    expect(app.getPlayStatus() == LmdRuntime::Playing, "play() starts the game (status 1)");
    expect(app.getActiveScene() == app.getPlayScene(), "the play scene is shown while the game runs");
    scenario(app);
    screenshot(app, artifacts, gCurrent + "-play");
    app.pause();
    expect(app.getPlayStatus() == LmdRuntime::Paused, "pause() pauses (status 2)");
    app.play();
    expect(app.getPlayStatus() == LmdRuntime::Playing, "play() resumes a paused game");
    bool stopped = false;
    app.stop([&stopped] { stopped = true; });
    runFrames(app, 2);
    expect(stopped && app.getPlayStatus() == LmdRuntime::Stopped, "stop(done) stops and calls done");
    std::string why;
    expect(sameSnapshot(before, snapshot(app), why), "the edited scene came back exactly " + why);
    const std::vector<std::string> lines = gCritical.take();
    for (const std::string& line : lines)
        std::printf("    critical: %s\n", line.c_str());
    expect(lines.empty(), "no critical log lines while it loaded and played (" + std::to_string(lines.size()) + ")");
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: lmd-runtime-check <artifact folder> <examples folder> [bad-input game]\n");
        return 2;
    }
    const fs::path artifacts = argv[1];
    const fs::path examples = argv[2];
    LmdLog::setEchoToStderr(false);
    LmdLog::addSink([](const std::string& text, LogLevel level) {
        // Critical lines, and caught exceptions ("Error in ...") at any level: both are faults.
        if (level == LogLevel::Critical || text.rfind("Error in ", 0) == 0 || text.rfind("Unknown error in ", 0) == 0) {
            std::lock_guard<std::mutex> lock(gCritical.mutex);
            gCritical.lines.push_back(text);
        }
    });
    CheckApp app;
    app.setWindowSize(1280, 800);
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
    const std::pair<const char*, Scenario> scenarios[] = {
        {"platformer.xml", platformer},
        {"shooter.xml", shooter},
        {"driving.xml", driving},
        {"puzzle.xml", puzzle},
        {"ferry.xml", ferry},
    };
    for (const auto& [file, scenario] : scenarios)
        playExample(app, examples / file, scenario, artifacts,
                    std::string(file) == "platformer.xml" ? Scenario(editPlatformer) : Scenario());
    if (argc > 3)
        badInput(app, argv[3], artifacts);
    app.onClose();
    std::printf("%s: %d failure(s)\n", gFailures ? "FAILED" : "PASSED", gFailures);
    return gFailures ? 1 : 0;
}
