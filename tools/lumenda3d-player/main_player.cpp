// lumenda3d-player: plays one game file without the editor.
//
//   lumenda3d-player [--fullscreen] [--size WxH] [--frames N] [--screenshot file.jpg]
//                    [--press KEY] [--watch OBJECT] <game.xml | bin.dat>
//
// A game file is translated as it is played; a game package (bin.dat, what an export ships) holds
// the document and its logic compiled ahead, which is loaded as bytecode only. Beside a package,
// "app.json" may ask for full screen ({"fullScreen": true}). The game's files (pictures, models, sounds) are looked for beside the game file, then in the
// media folder. --frames and --screenshot are for tests and trailers: play N frames, write a
// capture of the window (PNG for a .png name, JPEG otherwise) and leave. With --frames, --press
// holds a key (as the game names it: Right, Space) from the first third of the frames to the end,
// and --watch prints where an object is when the key goes down and at the end:
//   watch Player start 0.00 0.40 0.00
//   watch Player end 3.52 0.40 0.00
// so that a script can tell that a game plays as it should. A missing or unreadable
// file, a text that is not a game, or bad options give a message on stderr and exit code 2.
#include "base/LmdLog.h"
#include "engine/LmdRuntime.h"
#include "engine/app/LmdImageEncoder.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/app/LmdInputStep.h"
#include "engine/package/LmdGamePackage.h"
#include "engine/package/LmdPackagedLogic.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdScene.h"

#include <lodepng.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

struct Options {
    bool fullScreen = false;
    int width = 1280, height = 800;
    long frames = -1;
    std::string screenshot;
    std::string press;
    std::string watch;
    std::string game;
};

int usage(const std::string& problem) {
    if (!problem.empty())
        std::cerr << "lumenda3d-player: " << problem << "\n";
    std::cerr << "usage: lumenda3d-player [--fullscreen] [--size WxH] [--frames N] [--screenshot file] [--press KEY]"
                 " [--watch OBJECT] <game.xml | bin.dat>\n";
    return 2;
}

bool parseSize(const std::string& text, int& width, int& height) {
    const size_t x = text.find_first_of("xX");
    if (x == std::string::npos)
        return false;
    char* end = nullptr;
    const long w = std::strtol(text.c_str(), &end, 10);
    if (end != text.c_str() + x)
        return false;
    const long h = std::strtol(text.c_str() + x + 1, &end, 10);
    if (*end || w < 64 || h < 64 || w > 16384 || h > 16384)
        return false;
    width = int(w);
    height = int(h);
    return true;
}

class Player : public Lumenda3D::LmdRuntime {
public:
    Player(std::string xml, std::string gameDir, std::string bytecode)
        : LmdRuntime("Lumenda3DPlayer"), mXml(std::move(xml)), mGameDir(std::move(gameDir)),
          mBytecode(std::move(bytecode)) {}

    void setup() override {
        LmdRuntime::setup();
        setGameDir(mGameDir);
        setStandalone(true);
        if (!mBytecode.empty()) {
            // An export gathers every asset of the game beside its package, whatever its
            // reference (local:, a cloud address or a plain name), sorted by kind.
            Lumenda3D::LmdPackagedLogic::set(mBytecode);
            getAssetResolver().setLocalAssetsDir(mGameDir);
            getAssetResolver().setCacheDir(mGameDir);
        }
        if (!setXmlSourceString(mXml))
            return;
        rebuildEditScene(std::string());
        play();
    }

private:
    std::string mXml;
    std::string mGameDir;
    std::string mBytecode;
};

// {"fullScreen": true} in the app.json beside a package; anything else (no file, bad JSON) is
// a window.
bool appAsksFullScreen(const fs::path& appJson) {
    std::ifstream in(appJson, std::ios::binary);
    if (!in)
        return false;
    const nlohmann::json app = nlohmann::json::parse(in, nullptr, false);
    return app.is_object() && app.value("fullScreen", false) == true;
}

void watch(Player& player, const std::string& name, const char* when) {
    if (name.empty())
        return;
    Lumenda3D::LmdScene* scene = player.getActiveScene();
    Lumenda3D::LmdBase3D* object = scene ? scene->objectByName(name) : nullptr;
    if (!object) {
        std::cout << "watch " << name << " " << when << " missing" << std::endl;
        return;
    }
    const Ogre::Vector3 at = object->getWorldPosition();
    char line[200];
    std::snprintf(line, sizeof line, "watch %s %s %.2f %.2f %.2f", name.c_str(), when, at.x, at.y, at.z);
    std::cout << line << std::endl;
}

bool queueKey(Player& player, const std::string& key, int op) {
    Lumenda3D::LmdInputStep step;
    step.op = op;
    step.key = key;
    std::string error;
    if (player.queueSyntheticSequence({step}, error))
        return true;
    std::cerr << "lumenda3d-player: --press " << key << ": " << error << "\n";
    return false;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--fullscreen") {
            options.fullScreen = true;
        } else if (arg == "--size" && i + 1 < argc) {
            if (!parseSize(argv[++i], options.width, options.height))
                return usage(std::string("--size takes WIDTHxHEIGHT, e.g. 1280x720, not '") + argv[i] + "'");
        } else if (arg == "--frames" && i + 1 < argc) {
            options.frames = std::strtol(argv[++i], nullptr, 10);
        } else if (arg == "--screenshot" && i + 1 < argc) {
            options.screenshot = argv[++i];
        } else if (arg == "--press" && i + 1 < argc) {
            options.press = argv[++i];
        } else if (arg == "--watch" && i + 1 < argc) {
            options.watch = argv[++i];
        } else if (arg == "--help" || arg == "-h") {
            usage("");
            return 0;
        } else if (!arg.empty() && arg[0] == '-') {
            return usage("unknown option '" + arg + "'");
        } else if (options.game.empty()) {
            options.game = arg;
        } else {
            return usage("only one game file, please");
        }
    }
    if (options.game.empty())
        return usage("no game file given");

    std::ifstream file(options.game, std::ios::binary);
    std::error_code ec;
    if (!file || fs::is_directory(options.game, ec)) {
        std::cerr << "lumenda3d-player: cannot read the game file '" << options.game << "'\n";
        return 2;
    }
    std::stringstream text;
    text << file.rdbuf();
    std::string xml = text.str();
    std::string bytecode;
    if (Lumenda3D::LmdGamePackage::looksLikePackage(xml)) {
        Lumenda3D::LmdGamePackage package;
        std::string problem;
        if (!Lumenda3D::LmdGamePackage::parse(xml, package, problem)) {
            std::cerr << "lumenda3d-player: '" << options.game << "' cannot be played: " << problem << "\n";
            return 2;
        }
        xml = std::move(package.documentXml);
        bytecode = std::move(package.logicBytecode);
        if (appAsksFullScreen(fs::path(options.game).parent_path() / "app.json"))
            options.fullScreen = true;
    }
    pugi::xml_document probe;
    std::string error;
    if (!Lumenda3D::LmdGameDocument::parse(xml, probe, &error)) {
        std::cerr << "lumenda3d-player: '" << options.game << "' is not a game file: " << error << "\n";
        return 2;
    }
    const pugi::xml_node root = probe.document_element();
    if (std::strcmp(root.name(), Lumenda3D::LmdGameDocument::kRootElement) != 0) {
        std::cerr << "lumenda3d-player: '" << options.game << "' is not a game file: its root element is <"
                  << root.name() << ">, a game's is <" << Lumenda3D::LmdGameDocument::kRootElement << ">\n";
        return 2;
    }

    const std::string gameDir = fs::absolute(options.game, ec).parent_path().string();
    Player player(xml, gameDir, std::move(bytecode));
    player.setWindowSize(options.width, options.height);
    player.setFullScreen(options.fullScreen);
    if (!options.press.empty())
        player.enableInputSimulation();
    try {
        player.initApp();
    } catch (const std::exception& e) {
        std::cerr << "lumenda3d-player: cannot open the game window: " << e.what() << "\n";
        return 1;
    }
    if (!player.isReady()) {
        std::cerr << "lumenda3d-player: cannot open the game window\n";
        return 1;
    }
    if (options.frames < 0) {
        player.run();
        return 0;
    }
    if ((!options.press.empty() || !options.watch.empty()) && options.frames < 3)
        return usage("--press and --watch need --frames of at least 3");
    const long pressAt = options.frames / 3;
    for (long frame = 0; frame < options.frames && player.renderFrame(); ++frame) {
        if (frame + 1 == pressAt) {
            watch(player, options.watch, "start");
            if (!options.press.empty() && !queueKey(player, options.press, Lumenda3D::LmdInputStep::KeyDown))
                return 2;
        }
    }
    watch(player, options.watch, "end");
    if (!options.press.empty())
        queueKey(player, options.press, Lumenda3D::LmdInputStep::KeyUp);
    int result = 0;
    if (!options.screenshot.empty()) {
        bool written = false;
        if (fs::path(options.screenshot).extension() == ".png") {
            std::vector<unsigned char> rgb;
            int w = 0, h = 0;
            written = player.readWindowPixels(rgb, w, h) &&
                      lodepng_encode24_file(options.screenshot.c_str(), rgb.data(), unsigned(w), unsigned(h)) == 0;
        } else {
            const std::vector<unsigned char> jpeg = player.captureWindowContents(options.width, options.height);
            std::ofstream out(options.screenshot, std::ios::binary);
            written = !jpeg.empty() && out.write(reinterpret_cast<const char*>(jpeg.data()), std::streamsize(jpeg.size()));
        }
        if (!written) {
            std::cerr << "lumenda3d-player: the screenshot could not be written\n";
            result = 1;
        }
    }
    player.onClose();
    return result;
}
