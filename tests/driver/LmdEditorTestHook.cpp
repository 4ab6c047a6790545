#include "driver/LmdEditorTestHook.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <unistd.h>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <OgreLogManager.h>

#include "assets/AssetLibraryPanel.h"
#include "base/LmdLog.h"
#include "ui/ConfirmDialog.h"
#include "chrome/ErrorDialog.h"
#include "blocks/Block.h"
#include "blocks/BlockTemplate.h"
#include "blocks/BlocksPalette.h"
#include "blocks/Workflow.h"
#include "chrome/Tabs.h"
#include "chrome/ToastNotification.h"
#include "chrome/TopBar.h"
#include "core/Lumenda3DEditor.h"
#include "engine/app/LmdImageEncoder.h"
#include "engine/app/LmdScreenProjector.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/gizmo/LmdGizmo.h"
#include "engine/gizmo/LmdGizmo2D.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "project/LoginDialog.h"
#include "project/OpenResourceDialog.h"
#include "project/ProjectTemplateDialog.h"
#include "project/PublishDialog.h"
#include "project/RecoverFromCrashDialog.h"
#include "project/SaveProjectDialog.h"
#include "services/FileManager.h"
#include "ui/AllUI.h"

namespace Lumenda3D {
namespace {

SDL_Event personMotion(Uint32 windowId, float x, float y) {
    SDL_Event move{};
    move.type = SDL_MOUSEMOTION;
    move.motion.windowID = windowId;
    move.motion.x = int(x);
    move.motion.y = int(y);
    return move;
}

SDL_Event personButton(Uint32 windowId, float x, float y, bool down) {
    SDL_Event e{};
    e.type = down ? SDL_MOUSEBUTTONDOWN : SDL_MOUSEBUTTONUP;
    e.button.windowID = windowId;
    e.button.button = SDL_BUTTON_LEFT;
    e.button.state = down ? SDL_PRESSED : SDL_RELEASED;
    e.button.clicks = 1;
    e.button.x = int(x);
    e.button.y = int(y);
    return e;
}


using Clock = std::chrono::steady_clock;

pugi::xml_node elementNamed(pugi::xml_document* document, const std::string& name) {
    if (!document)
        return pugi::xml_node();
    return document->find_node([&name](const pugi::xml_node& node) {
        return node.type() == pugi::node_element && name == node.attribute("name").value();
    });
}

// The element named `name`, or without one the first element of that tag (blocks without names).
pugi::xml_node elementNamedOrTagged(pugi::xml_document* document, const std::string& name) {
    pugi::xml_node node = elementNamed(document, name);
    if (!node && document)
        node = document->find_node([&name](const pugi::xml_node& n) { return name == n.name(); });
    return node;
}

int countElementsNamed(pugi::xml_document* document, const std::string& name) {
    if (!document)
        return 0;
    int count = 0;
    for (const pugi::xpath_node& hit : document->select_nodes("//*[@name]"))
        if (name == hit.node().attribute("name").value())
            ++count;
    return count;
}

// The age of this process in milliseconds, from the kernel's record of its start.
long long processAgeMillis() {
    std::ifstream stat("/proc/self/stat");
    std::ifstream uptime("/proc/uptime");
    std::string text;
    double upSeconds = 0.0;
    if (!std::getline(stat, text) || !(uptime >> upSeconds))
        return -1;
    // Field 22 (starttime, in clock ticks since boot) counts from after the command's ")".
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string field;
    for (int index = 3; index <= 22 && fields >> field; ++index) {
        if (index == 22)
            return static_cast<long long>((upSeconds - std::stod(field) / double(sysconf(_SC_CLK_TCK))) * 1000.0);
    }
    return -1;
}

SDL_Keycode keycodeOf(const std::string& name) {
    if (name.size() == 1)
        return SDL_Keycode(std::tolower(static_cast<unsigned char>(name[0])));
    if (name == "escape")
        return SDLK_ESCAPE;
    if (name == "enter" || name == "return")
        return SDLK_RETURN;
    if (name == "tab")
        return SDLK_TAB;
    if (name == "delete")
        return SDLK_DELETE;
    return SDLK_UNKNOWN;
}

[[noreturn]] void throwTestFault(const std::string& text) {
    throw std::runtime_error(text);
}

// An exception that leaves a function which must not throw: the process's terminate handler
// takes over with the exception as the current one.
void escapeNoexcept(const std::string& text) noexcept {
    throwTestFault(text);
}

// Throws when OGRE's root logs that it shuts down: that happens while the window closes, inside
// the root's destructor, where an exception ends in the terminate handler.
class CloseFault : public Ogre::LogListener {
public:
    void messageLogged(const Ogre::String& message, Ogre::LogMessageLevel, bool, const Ogre::String&, bool&) override {
        if (message.find("OGRE Shutdown") != std::string::npos)
            throwTestFault("injected fault while the window closes");
    }
};

} // namespace

std::unique_ptr<LmdEditorTestHook> LmdEditorTestHook::fromEnvironment(Lumenda3DEditor& editor) {
    const char* script = std::getenv(kScriptVariable);
    const char* faults = std::getenv(kFaultVariable);
    const char* exitFault = std::getenv(kExitFaultVariable);
    const bool hasScript = script && *script;
    const int faultCount = faults && *faults ? std::max(0, std::atoi(faults)) : 0;
    const bool faultAtExit = exitFault && *exitFault && std::string(exitFault) != "0";
    const char* closeFault = std::getenv(kCloseFaultVariable);
    const bool faultAtClose = closeFault && *closeFault && std::string(closeFault) != "0";
    if (!hasScript && faultCount == 0 && !faultAtExit && !faultAtClose)
        return nullptr;
    auto hook = std::make_unique<LmdEditorTestHook>(editor, hasScript ? script : "", faultCount);
    hook->faultAtExit_ = faultAtExit;
    if (faultAtClose) {
        if (Ogre::LogManager* logs = Ogre::LogManager::getSingletonPtr(); logs && logs->getDefaultLog()) {
            hook->closeFault_ = std::make_unique<CloseFault>();
            logs->getDefaultLog()->addListener(hook->closeFault_.get());
        }
    }
    return hook;
}

LmdEditorTestHook::LmdEditorTestHook(Lumenda3DEditor& editor, const std::string& scriptPath, int frameFaults)
    : editor_(editor), faultsLeft_(frameFaults) {
    logSink_ = LmdLog::addSink([this](const std::string& text, LogLevel) {
        std::lock_guard<std::mutex> lock(logMutex_);
        logLines_.push_back(text);
    });
    if (scriptPath.empty()) {
        finished_ = true;
        return;
    }
    if (!loadScript(scriptPath)) {
        report("FAIL cannot read the test script " + scriptPath);
        finished_ = true;
        commands_.clear();
        next_ = 0;
        // Nothing to drive: end at the first frame rather than run forever.
        Command quitCommand;
        quitCommand.words = {"quit"};
        quitCommand.text = "quit";
        commands_.push_back(quitCommand);
        finished_ = false;
    }
}

LmdEditorTestHook::~LmdEditorTestHook() {
    if (logSink_)
        LmdLog::removeSink(logSink_);
    if (closeFault_)
        if (Ogre::LogManager* logs = Ogre::LogManager::getSingletonPtr(); logs && logs->getDefaultLog())
            logs->getDefaultLog()->removeListener(closeFault_.get());
    // The hook goes with the editor object, at process exit, after the entry has closed down.
    if (faultAtExit_)
        escapeNoexcept("injected fault at exit");
}

std::vector<std::string> LmdEditorTestHook::splitLine(const std::string& line) {
    std::vector<std::string> words;
    std::istringstream in(line);
    std::string word;
    while (in >> word) {
        if (words.empty() && word[0] == '#')
            break; // a comment line; '#' inside a line belongs to it ("Play##topBar")
        words.push_back(word);
    }
    return words;
}

std::string LmdEditorTestHook::joined(const std::vector<std::string>& words, size_t first) {
    std::string text;
    for (size_t i = first; i < words.size(); ++i)
        text += (i > first ? " " : "") + words[i];
    return text;
}

bool LmdEditorTestHook::loadScript(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        return false;
    std::string line;
    int number = 0;
    while (std::getline(file, line)) {
        ++number;
        Command command;
        command.line = number;
        command.words = splitLine(line);
        command.text = line;
        if (!command.words.empty())
            commands_.push_back(std::move(command));
    }
    return true;
}

void LmdEditorTestHook::report(const std::string& text) {
    std::printf("LMD-TEST %s\n", text.c_str());
    std::fflush(stdout);
}

bool LmdEditorTestHook::awaitInput() {
    // Queued input plays out over the next frames; the script goes on when it has.
    wait_ = Wait::Input;
    waitUntilFrame_ = frame_ + 3;
    return true;
}

bool LmdEditorTestHook::awaitQueued(bool queued, const std::string& error) {
    if (!queued) {
        fail(error);
        return false;
    }
    return awaitInput();
}

void LmdEditorTestHook::fail(const std::string& why) {
    const std::string where = current_ ? "line " + std::to_string(current_->line) + ": " + current_->text : "script";
    report("FAIL " + where + " (" + why + ")");
    quit();
}

void LmdEditorTestHook::quit() {
    finished_ = true;
    wait_ = Wait::None;
    report("done");
    editor_.requestStop();
}

void LmdEditorTestHook::frameEnded() {
    // The frame fails after it was shown, the way a fault of the render system would, and the
    // entry's loop must carry on.
    if (faultsLeft_ <= 0)
        return;
    --faultsLeft_;
    throw std::runtime_error("injected test fault");
}

void LmdEditorTestHook::frameRendered() {
    const Clock::time_point now = Clock::now();
    ++frame_;
    if (frame_ == 1) {
        const auto realtime = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                  std::chrono::system_clock::now().time_since_epoch())
                                  .count();
        report("first-frame realtime_ns=" + std::to_string(realtime) +
               " process_age_ms=" + std::to_string(processAgeMillis()));
    } else if (wait_ == Wait::Timing) {
        frameMillis_.push_back(std::chrono::duration<double, std::milli>(now - lastFrame_).count());
    }
    lastFrame_ = now;
    deliverPersonEvents();
    if (finished_)
        return;
    // Commands that finish at once run in the same frame; a wait ends the frame's turn.
    for (int guard = 0; guard < 1000 && !finished_; ++guard) {
        if (wait_ != Wait::None) {
            if (!waitDone())
                return;
            wait_ = Wait::None;
        }
        if (next_ >= commands_.size()) {
            report("script ended");
            finished_ = true;
            return;
        }
        current_ = &commands_[next_++];
        try {
            if (!start(*current_))
                return;
        } catch (const std::exception& e) {
            fail(std::string("exception: ") + e.what());
        }
    }
}

bool LmdEditorTestHook::waitDone() {
    switch (wait_) {
    case Wait::None:
        return true;
    case Wait::Frames:
        return frame_ >= waitUntilFrame_;
    case Wait::Seconds:
        return Clock::now() >= deadline_;
    case Wait::Input:
        // Two frames after the last event went in: the interface and the editor have acted on it.
        if (!personEvents_.empty() || editor_.isSyntheticInputActive())
            waitUntilFrame_ = std::max(waitUntilFrame_, frame_ + 2);
        return frame_ >= waitUntilFrame_;
    case Wait::Timing:
        if (long(frameMillis_.size()) < timingFrames_)
            return false;
        printTiming();
        return true;
    case Wait::Until: {
        std::string detail;
        if (evaluate(current_->words, 1, detail))
            return true;
        if (Clock::now() >= deadline_) {
            fail("timed out; " + detail);
            return false;
        }
        return false;
    }
    }
    return true;
}

bool LmdEditorTestHook::start(const Command& command) {
    const std::vector<std::string>& w = command.words;
    const std::string& verb = w[0];
    auto needs = [&](size_t count) {
        if (w.size() < count + 1) {
            fail("'" + verb + "' needs " + std::to_string(count) + " argument(s)");
            return false;
        }
        return true;
    };
    std::string error;

    if (verb == "frames") {
        if (!needs(1))
            return false;
        wait_ = Wait::Frames;
        waitUntilFrame_ = frame_ + std::atol(w[1].c_str());
        return true;
    }
    if (verb == "seconds") {
        if (!needs(1))
            return false;
        wait_ = Wait::Seconds;
        deadline_ = Clock::now() + std::chrono::milliseconds(long(std::atof(w[1].c_str()) * 1000.0));
        return true;
    }
    if (verb == "timeout") {
        if (needs(1))
            untilTimeoutSeconds_ = std::atof(w[1].c_str());
        return true;
    }
    if (verb == "until") {
        if (!needs(1))
            return false;
        wait_ = Wait::Until;
        deadline_ = Clock::now() + std::chrono::milliseconds(long(untilTimeoutSeconds_ * 1000.0));
        return true;
    }
    if (verb == "expect") {
        if (!needs(1))
            return false;
        std::string detail;
        if (!evaluate(w, 1, detail))
            fail(detail);
        return true;
    }
    if (verb == "click" || verb == "user-click") {
        if (!needs(2))
            return false;
        float x = 0, y = 0;
        if (!findWidget(w[1], joined(w, 2), x, y, error)) {
            fail(error);
            return false;
        }
        if (verb == "click") {
            if (!editor_.queueSyntheticClick(int(x), int(y), OgreBites::BUTTON_LEFT, 0.05f, error)) {
                fail(error);
                return false;
            }
        } else {
            pushPersonClick(x, y);
        }
        return awaitInput();
    }
    if (verb == "keys" || verb == "user-keys") {
        if (!needs(1))
            return false;
        const std::vector<std::string> names(w.begin() + 1, w.end());
        const bool ok = verb == "keys" ? editor_.queueSyntheticKeys(names, 0.05f, error) : pushPersonKeys(names, error);
        return awaitQueued(ok, error);
    }
    if (verb == "user-type") {
        // user-type TEXT: a person typing TEXT, one key and its character at a time.
        if (!needs(1))
            return false;
        const std::string text = joined(w, 1);
        long after = 0;
        for (char c : text) {
            if (!pushPersonKeys({std::string(1, c)}, error, after)) {
                fail(error);
                return false;
            }
            after += 4;
        }
        return awaitInput();
    }
    if (verb == "play") {
        editor_.play();
        return true;
    }
    if (verb == "stop") {
        editor_.stop(nullptr);
        return true;
    }
    if (verb == "undo") {
        editor_.doUndo();
        return true;
    }
    if (verb == "redo") {
        editor_.doRedo();
        return true;
    }
    if (verb == "tab") {
        if (!needs(1))
            return false;
        if (auto tabs = editor_.allUI ? editor_.allUI->getPanel<Tabs>() : nullptr)
            tabs->selectTab(w[1]);
        return true;
    }
    if (verb == "set") {
        if (!needs(3))
            return false;
        pugi::xml_node node = elementNamed(editor_.getSourceXml(), w[1]);
        if (!node || !editor_.sourceFiles) {
            fail("no element named " + w[1]);
            return false;
        }
        editor_.sourceFiles->setAttribute(node, w[2].c_str(), joined(w, 3));
        // The scene follows the document, as the attribute panel makes it.
        editor_.updateLuaAttribute(node.attribute("id").as_int(), w[2], joined(w, 3), "number");
        return true;
    }
    if (verb == "select") {
        if (!needs(1))
            return false;
        pugi::xml_node node = elementNamedOrTagged(editor_.getSourceXml(), w[1]);
        if (!node) {
            fail("no element named " + w[1]);
            return false;
        }
        editor_.selectBlockByXmlId(node.attribute("id").as_int(), true);
        return true;
    }
    if (verb == "copy") {
        editor_.editorCopy(true);
        return true;
    }
    if (verb == "paste") {
        editor_.editorPaste(true, false, editor_.getSceneCenterScreenPos());
        return true;
    }
    if (verb == "click-block" || verb == "right-click-block") {
        // click-block NAME: a person's click on the block of the element named NAME (or, without
        // such a name, the first element of that tag), scrolled into view first.
        if (!needs(1))
            return false;
        float x = 0, y = 0;
        if (!findBlockPlace("block", w[1], x, y, error)) {
            fail(error);
            return false;
        }
        pushPersonClick(x, y, verb == "click-block" ? SDL_BUTTON_LEFT : SDL_BUTTON_RIGHT);
        return awaitInput();
    }
    if (verb == "show-template") {
        // show-template BLOCKNAME: the palette searches for its caption, so that it is on screen
        // a frame later.
        if (!needs(1))
            return false;
        auto palette = editor_.allUI ? editor_.allUI->getPanel<BlocksPalette>() : nullptr;
        BlockTemplate* entry = palette ? palette->findTemplate(w[1]) : nullptr;
        if (!entry) {
            fail("no palette template " + w[1]);
            return false;
        }
        palette->setSelectedCategory("All");
        palette->setSearchText(entry->getDisplayName());
        return true;
    }
    if (verb == "drag-block" || verb == "drag-template") {
        // drag-block NAME block|scene [TARGET]; drag-template BLOCKNAME block|scene [TARGET]: a
        // person's drag from a block or a palette template onto a block or the scene.
        if (!needs(2))
            return false;
        float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
        if (!findBlockPlace(verb == "drag-block" ? "block" : "template", w[1], x1, y1, error) ||
            !findBlockPlace(w[2], w.size() > 3 ? w[3] : "", x2, y2, error)) {
            fail(error);
            return false;
        }
        pushPersonDrag(x1, y1, x2, y2);
        return awaitInput();
    }
    if (verb == "drop-file") {
        // drop-file PATH: a file dropped onto the window from a file manager (SDL's drop event).
        if (!needs(1))
            return false;
        SDL_Event drop{};
        drop.type = SDL_DROPFILE;
        drop.drop.file = SDL_strdup(joined(w, 1).c_str());
        SDL_Window* window = editor_.getNativeWindow();
        drop.drop.windowID = window ? SDL_GetWindowID(window) : 0;
        SDL_PushEvent(&drop);
        return true;
    }
    if (verb == "drag-asset") {
        // drag-asset NAME scene|object OBJECT: a person's drag of the asset library's cell NAME
        // onto the middle of the scene or onto a scene object.
        if (!needs(2))
            return false;
        float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
        const bool found = findWidget(AssetLibraryPanel::kName, "cell:" + w[1], x1, y1, error) &&
                           (w[2] == "object" ? needs(3) && findObject(w[3], x2, y2, error)
                                             : findBlockPlace("scene", "", x2, y2, error));
        if (!found) {
            fail(error);
            return false;
        }
        pushPersonDrag(x1, y1, x2, y2);
        return awaitInput();
    }
    if (verb == "press-asset" || verb == "move-pointer" || verb == "release-pointer") {
        // press-asset NAME: press on the library's cell NAME, hold and start dragging it;
        // move-pointer tab LABEL|block NAME|field ATTRIBUTE|scene: carry it there;
        // release-pointer: let go where the pointer is. Between them the script may wait, as a
        // person holding the asset over a tab until it opens.
        if (verb == "release-pointer") {
            pushPersonRelease();
            return awaitInput();
        }
        if (!needs(1))
            return false;
        float x = 0, y = 0;
        const bool found = verb == "press-asset" ? findWidget(AssetLibraryPanel::kName, "cell:" + w[1], x, y, error)
                                                 : findDropPlace(w, 1, x, y, error);
        if (!found) {
            fail(error);
            return false;
        }
        if (verb == "press-asset")
            pushPersonPress(x, y);
        else
            pushPersonMove(x, y);
        return awaitInput();
    }
    if (verb == "user-wheel") {
        // user-wheel PANEL WIDGET STEPS [LINES]: the pointer over the widget, then STEPS turns of
        // the mouse wheel, LINES each (negative: down, the default -1), one every second frame.
        if (!needs(3))
            return false;
        float x = 0, y = 0;
        if (!findWidget(w[1], w[2], x, y, error)) {
            fail(error);
            return false;
        }
        SDL_Window* window = editor_.getNativeWindow();
        const Uint32 windowId = window ? SDL_GetWindowID(window) : 0;
        personEvents_.emplace_back(frame_ + 1, personMotion(windowId, x, y));
        const int steps = std::max(1, std::atoi(w[3].c_str()));
        const int lines = w.size() > 4 ? std::atoi(w[4].c_str()) : -1;
        for (int i = 0; i < steps; ++i) {
            SDL_Event wheel{};
            wheel.type = SDL_MOUSEWHEEL;
            wheel.wheel.windowID = windowId;
            wheel.wheel.y = lines;
            wheel.wheel.direction = SDL_MOUSEWHEEL_NORMAL;
            personEvents_.emplace_back(frame_ + 3 + 2 * i, wheel);
        }
        pointerX_ = x;
        pointerY_ = y;
        return awaitInput();
    }
    if (verb == "library-cost") {
        // library-cost [reset]: print (or reset) the longest time the asset library held a frame.
        auto library = editor_.allUI ? editor_.allUI->getPanel<AssetLibraryPanel>() : nullptr;
        if (!library) {
            fail("no asset library");
            return false;
        }
        if (w.size() > 1 && w[1] == "reset") {
            library->resetFrameCost();
            return true;
        }
        char text[200];
        std::snprintf(text, sizeof text,
                      "library worst_frame_ms=%.2f worst_frame_cpu_ms=%.2f frames=%d over_4ms=%d pending_thumbnails=%zu "
                      "model_renders=%d worst_model_render_ms=%.2f",
                      library->getWorstFrameMs(), library->getWorstFrameCpuMs(), library->getMeasuredFrames(),
                      library->getFramesOverBudget(),
                      library->pendingThumbnails(),
                      library->getModelRenderer().renderCount(), library->getModelRenderer().worstRenderMs());
        report(text);
        return true;
    }
    if (verb == "click-object") {
        if (!needs(1))
            return false;
        float x = 0, y = 0;
        return awaitQueued(findObject(w[1], x, y, error) &&
                               editor_.queueSyntheticClick(int(x), int(y), OgreBites::BUTTON_LEFT, 0.05f, error),
                           error);
    }
    if (verb == "gizmo-type") {
        if (needs(1))
            editor_.getGizmo()->setGizmoType(std::atoi(w[1].c_str()));
        return true;
    }
    if (verb == "drag-gizmo") {
        if (!needs(3))
            return false;
        const std::string& name = w[1];
        const int handle = name == "x" ? 0 : name == "y" ? 1 : name == "z" ? 2 : name == "centre" ? 3 : -1;
        Ogre::Vector2 from;
        if (handle < 0 || !editor_.getGizmo()->handlePoint(handle, editor_.getScreenProjector(), from)) {
            fail("the gizmo shows no handle " + name);
            return false;
        }
        const int toX = int(from.x + std::atof(w[2].c_str()));
        const int toY = int(from.y + std::atof(w[3].c_str()));
        return awaitQueued(
            editor_.queueSyntheticDrag(int(from.x), int(from.y), toX, toY, OgreBites::BUTTON_LEFT, 0.3f, error), error);
    }
    if (verb == "drag-vertex") {
        if (!needs(3))
            return false;
        Ogre::Vector2 from;
        if (!editor_.getGizmo()->vertexPoint(std::atoi(w[1].c_str()), editor_.getScreenProjector(), from)) {
            fail("the gizmo shows no vertex " + w[1]);
            return false;
        }
        return awaitQueued(editor_.queueSyntheticDrag(int(from.x), int(from.y), int(from.x + std::atof(w[2].c_str())),
                                                      int(from.y + std::atof(w[3].c_str())), OgreBites::BUTTON_LEFT,
                                                      0.3f, error),
                           error);
    }
    if (verb == "click-element" || verb == "drag-gizmo2d") {
        // click-element NAME: the middle of a 2D element; drag-gizmo2d HANDLE DX DY: the 2D
        // gizmo's move handle or a corner (tl, tr, bl, br) dragged by (DX, DY) pixels.
        if (!needs(verb == "click-element" ? 1 : 3))
            return false;
        LmdRect2D rect;
        LmdGizmo2D::Handle handle = LmdGizmo2D::Handle::Move;
        if (verb == "click-element") {
            LmdBase2D* found = nullptr;
            for (LmdBase2D* element : editor_.get2DObjectList())
                if (element->getName() == w[1])
                    found = element;
            if (!found) {
                fail("no 2D element named " + w[1]);
                return false;
            }
            rect = found->getScreenRect();
        } else {
            if (!editor_.getGizmo2D()->getObject()) {
                fail("the 2D gizmo holds nothing");
                return false;
            }
            rect = editor_.getGizmo2D()->getObject()->getScreenRect();
            const std::string& name = w[1];
            handle = name == "tl" ? LmdGizmo2D::Handle::TopLeft
                     : name == "tr" ? LmdGizmo2D::Handle::TopRight
                     : name == "bl" ? LmdGizmo2D::Handle::BottomLeft
                     : name == "br" ? LmdGizmo2D::Handle::BottomRight
                                    : LmdGizmo2D::Handle::Move;
        }
        float x = 0, y = 0;
        LmdGizmo2D::handleCentre(rect, handle, x, y);
        const bool ok = verb == "click-element"
                            ? editor_.queueSyntheticClick(int(x), int(y), OgreBites::BUTTON_LEFT, 0.05f, error)
                            : editor_.queueSyntheticDrag(int(x), int(y), int(x + std::atof(w[2].c_str())),
                                                         int(y + std::atof(w[3].c_str())), OgreBites::BUTTON_LEFT,
                                                         0.3f, error);
        return awaitQueued(ok, error);
    }
    if (verb == "mark-objects") {
        markedObjects_.clear();
        for (LmdBase3D* object : editor_.getObjectList())
            markedObjects_.push_back(object->getName());
        std::sort(markedObjects_.begin(), markedObjects_.end());
        return true;
    }
    if (verb == "screenshot") {
        if (!needs(1))
            return false;
        if (!writeScreenshot(w[1], error))
            fail(error);
        return true;
    }
    if (verb == "say") {
        report("say " + joined(w, 1));
        return true;
    }
    if (verb == "timing") {
        if (!needs(1))
            return false;
        frameMillis_.clear();
        timingFrames_ = std::max(1L, std::atol(w[1].c_str()));
        wait_ = Wait::Timing;
        return false;
    }
    if (verb == "quit") {
        quit();
        return false;
    }
    if (verb == "terminate") {
        report("terminating");
        escapeNoexcept("injected terminate");
    }
    fail("unknown command '" + verb + "'");
    return false;
}

bool LmdEditorTestHook::evaluate(const std::vector<std::string>& words, size_t first, std::string& detail) {
    bool negate = false;
    if (first < words.size() && words[first] == "not") {
        negate = true;
        ++first;
    }
    if (first >= words.size()) {
        detail = "no condition";
        return false;
    }
    const std::string& what = words[first];
    const std::string argument = joined(words, first + 1);
    auto arg = [&](size_t i) { return first + i < words.size() ? words[first + i] : std::string(); };
    const std::shared_ptr<AllUI>& ui = editor_.allUI;
    bool result = false;
    std::string actual;

    if (what == "loaded") {
        result = editor_.getPlayStatus() != LmdRuntime::Loading;
        actual = "play status " + std::to_string(editor_.getPlayStatus());
    } else if (what == "playing") {
        result = editor_.isRunning();
        actual = result ? "playing" : "not playing";
    } else if (what == "edit-mode") {
        result = editor_.isEditMode;
        actual = result ? "edit mode" : "not edit mode";
    } else if (what == "tab") {
        actual = ui && ui->getPanel<Tabs>() ? ui->getPanel<Tabs>()->getCurrentTab() : "(no tabs)";
        result = actual == argument;
    } else if (what == "title") {
        actual = ui && ui->getPanel<TopBar>() ? ui->getPanel<TopBar>()->getProjectTitle() : "(no top bar)";
        result = actual == argument;
    } else if (what == "dirty") {
        result = editor_.isProjectDirty();
        actual = result ? "dirty" : "clean";
    } else if (what == "attr") {
        pugi::xml_node node = elementNamedOrTagged(editor_.getSourceXml(), arg(1));
        actual = node ? std::string(node.attribute(arg(2).c_str()).value()) : "(no element " + arg(1) + ")";
        result = node && actual == joined(words, first + 3);
    } else if (what == "elements") {
        const int count = countElementsNamed(editor_.getSourceXml(), arg(1));
        actual = std::to_string(count) + " element(s) named " + arg(1);
        result = count == std::atoi(arg(2).c_str());
    } else if (what == "asset") {
        // asset NAME: the asset library's grid shows NAME now.
        auto library = ui ? ui->getPanel<AssetLibraryPanel>() : nullptr;
        const std::vector<std::string> names = library ? library->visibleNames() : std::vector<std::string>();
        result = std::find(names.begin(), names.end(), arg(1)) != names.end();
        actual = library ? (result ? arg(1) + " shown" : "not shown; " + library->emptyGridMessage()) : "(no library)";
    } else if (what == "drop-place") {
        // drop-place tab LABEL|block NAME|field ATTRIBUTE|scene: that place is on screen now.
        float x = 0, y = 0;
        std::string why;
        result = findDropPlace(words, first + 1, x, y, why);
        actual = result ? "on screen" : why;
    } else if (what == "asset-thumbnail") {
        // asset-thumbnail NAME: the grid's cell NAME (a local asset of the kind shown) has its picture.
        auto library = ui ? ui->getPanel<AssetLibraryPanel>() : nullptr;
        result = library && library->getCatalog(library->getCurrentType()).getLocalThumbnail(arg(1)).id != nullptr;
        actual = result ? "a picture" : "no picture yet";
    } else if (what == "thumbnails-done") {
        // thumbnails-done: every thumbnail the asset library asked for is made (or failed).
        auto library = ui ? ui->getPanel<AssetLibraryPanel>() : nullptr;
        const size_t pending = library ? library->pendingThumbnails() : 0;
        result = library && pending == 0;
        actual = std::to_string(pending) + " thumbnail(s) pending";
    } else if (what == "objects") {
        // objects NAME COUNT: live scene objects of that name, as get_scene_info lists them.
        int count = 0;
        for (LmdBase3D* object : editor_.getObjectList())
            if (object->getName() == arg(1))
                ++count;
        actual = std::to_string(count) + " scene object(s) named " + arg(1);
        result = count == std::atoi(arg(2).c_str());
    } else if (what == "selected-block") {
        actual = Block::selectedBlock ? std::string(Block::selectedBlock->getXmlNode().attribute("name").value()) : "(none)";
        result = Block::selectedBlock && actual == arg(1);
    } else if (what == "vertices") {
        pugi::xml_node node = elementNamed(editor_.getSourceXml(), arg(1));
        int count = 0;
        for (pugi::xml_node v = node.child("VertexList").child("Vertex"); v; v = v.next_sibling("Vertex"))
            ++count;
        actual = std::to_string(count) + " moved vertices under " + arg(1);
        result = node && count == std::atoi(arg(2).c_str());
    } else if (what == "gizmo" || what == "gizmo2d") {
        std::string attached = "none";
        if (what == "gizmo" && editor_.getGizmo()->getObject())
            attached = editor_.getGizmo()->getObject()->getName();
        else if (what == "gizmo2d" && editor_.getGizmo2D()->getObject())
            attached = editor_.getGizmo2D()->getObject()->getName();
        actual = "attached to " + attached;
        result = attached == argument;
    } else if (what == "object") {
        // object NAME x|y|z VALUE: where the scene shows the object, to a hundredth.
        const int axis = arg(2) == "x" ? 0 : arg(2) == "y" ? 1 : arg(2) == "z" ? 2 : -1;
        actual = "no scene object named " + arg(1);
        for (LmdBase3D* object : editor_.getObjectList()) {
            if (object->getName() != arg(1) || axis < 0)
                continue;
            const float value = object->getWorldPosition()[axis];
            actual = arg(1) + " at " + arg(2) + " " + std::to_string(value);
            result = std::abs(value - float(std::atof(arg(3).c_str()))) < 0.01f;
        }
    } else if (what == "series") {
        // series NAME ATTR: the elements of that name, in document order, hold ATTR (0 when it is
        // missing) in even, non-zero steps, to a hundredth; a smart copy's repeated change.
        std::vector<float> values;
        if (pugi::xml_document* document = editor_.getSourceXml())
            for (const pugi::xpath_node& hit : document->select_nodes("//*[@name]"))
                if (arg(1) == hit.node().attribute("name").value())
                    values.push_back(hit.node().attribute(arg(2).c_str()).as_float(0.0f));
        for (float value : values)
            actual += (actual.empty() ? "" : " ") + std::to_string(value);
        result = values.size() >= 3 && std::abs(values[1] - values[0]) >= 0.01f;
        for (size_t i = 2; result && i < values.size(); ++i)
            result = std::abs((values[i] - values[i - 1]) - (values[1] - values[0])) < 0.01f;
    } else if (what == "origin-distance") {
        // origin-distance NAME I J VALUE: how far apart the scene shows the origins of the I-th and
        // J-th objects of that name (counted from 0 in the order they were made), to a hundredth.
        std::vector<LmdBase3D*> named;
        for (LmdBase3D* object : editor_.getObjectList())
            if (object->getName() == arg(1))
                named.push_back(object);
        std::sort(named.begin(), named.end(),
                  [](const LmdBase3D* a, const LmdBase3D* b) { return a->getXmlId() < b->getXmlId(); });
        const size_t i = size_t(std::atoi(arg(2).c_str())), j = size_t(std::atoi(arg(3).c_str()));
        actual = std::to_string(named.size()) + " scene object(s) named " + arg(1);
        if (i < named.size() && j < named.size()) {
            const float distance = named[i]->getWorldPosition().distance(named[j]->getWorldPosition());
            actual = "origins " + std::to_string(distance) + " apart";
            result = std::abs(distance - float(std::atof(arg(4).c_str()))) < 0.01f;
        }
    } else if (what == "object-pixel") {
        // object-pixel NAME r|g|b: at the middle of the object on screen, that channel is the
        // strongest by a clear margin (40 of 255).
        float x = 0, y = 0;
        std::vector<unsigned char> rgb;
        int width = 0, height = 0;
        const int channel = arg(2) == "r" ? 0 : arg(2) == "g" ? 1 : arg(2) == "b" ? 2 : -1;
        if (channel < 0 || !findObject(arg(1), x, y, actual)) {
            actual = channel < 0 ? "no channel " + arg(2) : actual;
        } else if (!editor_.readWindowPixels(rgb, width, height) || int(x) < 0 || int(y) < 0 || int(x) >= width ||
                   int(y) >= height) {
            actual = "the window could not be read there";
        } else {
            const unsigned char* p = &rgb[(size_t(y) * size_t(width) + size_t(x)) * 3];
            actual = arg(1) + " shows rgb " + std::to_string(p[0]) + " " + std::to_string(p[1]) + " " +
                     std::to_string(p[2]);
            result = p[channel] >= p[(channel + 1) % 3] + 40 && p[channel] >= p[(channel + 2) % 3] + 40;
        }
    } else if (what == "objects-as-marked") {
        std::vector<std::string> names;
        for (LmdBase3D* object : editor_.getObjectList())
            names.push_back(object->getName());
        std::sort(names.begin(), names.end());
        result = !markedObjects_.empty() && names == markedObjects_;
        actual = std::to_string(names.size()) + " objects, " + std::to_string(markedObjects_.size()) + " marked";
    } else if (what == "dialog") {
        if (arg(1) == "recover")
            result = ui && ui->getPanel<RecoverFromCrashDialog>() && ui->getPanel<RecoverFromCrashDialog>()->isOpen();
        else if (arg(1) == "error")
            result = ui && ui->getPanel<ErrorDialog>() && ui->getPanel<ErrorDialog>()->isOpen();
        else if (arg(1) == "confirm")
            result = ui && ui->getPanel<ConfirmDialog>() && ui->getPanel<ConfirmDialog>()->isOpen();
        else if (arg(1) == "save")
            result = ui && ui->getPanel<SaveProjectDialog>() && ui->getPanel<SaveProjectDialog>()->isOpen();
        else if (arg(1) == "open")
            result = ui && ui->getPanel<OpenResourceDialog>() && ui->getPanel<OpenResourceDialog>()->isOpen();
        else if (arg(1) == "template")
            result = ui && ui->getPanel<ProjectTemplateDialog>() && ui->getPanel<ProjectTemplateDialog>()->isOpen();
        else if (arg(1) == "login")
            result = ui && ui->getPanel<LoginDialog>() && ui->getPanel<LoginDialog>()->isOpen();
        else if (arg(1) == "publish")
            result = ui && ui->getPanel<PublishDialog>() && ui->getPanel<PublishDialog>()->isOpen();
        actual = std::string("dialog ") + arg(1) + (result ? " open" : " not open");
    } else if (what == "recover-message") {
        // recover-message TEXT: the recovery dialog's message holds TEXT.
        actual = ui && ui->getPanel<RecoverFromCrashDialog>() ? ui->getPanel<RecoverFromCrashDialog>()->getMessage()
                                                              : "(no recovery dialog)";
        result = !argument.empty() && actual.find(argument) != std::string::npos;
    } else if (what == "error") {
        actual = ui && ui->getPanel<ErrorDialog>() ? ui->getPanel<ErrorDialog>()->getCurrentText() : "(no error dialog)";
        result = actual.compare(0, argument.size(), argument) == 0 && !argument.empty();
    } else if (what == "toast") {
        if (ui && ui->getPanel<ToastNotification>())
            for (const std::string& text : ui->getPanel<ToastNotification>()->getTexts()) {
                actual += "[" + text + "]";
                result = result || text == argument;
            }
    } else if (what == "backup") {
        result = editor_.sourceFiles && editor_.sourceFiles->autoBackupExists();
        actual = result ? "a backup exists" : "no backup";
    } else if (what == "log") {
        std::lock_guard<std::mutex> lock(logMutex_);
        result = std::any_of(logLines_.begin(), logLines_.end(),
                             [&](const std::string& line) { return line.find(argument) != std::string::npos; });
        actual = result ? "logged" : "not logged";
    } else {
        detail = "unknown condition '" + what + "'";
        return false;
    }
    const bool holds = negate ? !result : result;
    if (!holds)
        detail = std::string(negate ? "not " : "") + joined(words, first) + " does not hold: " + actual;
    return holds;
}

bool LmdEditorTestHook::findWidget(const std::string& panel, const std::string& label, float& x, float& y,
                                   std::string& error) {
    std::shared_ptr<BaseUI> target = editor_.allUI ? editor_.allUI->getElementByName(panel) : nullptr;
    if (!target) {
        error = "no panel " + panel;
        return false;
    }
    ImVec2 min, max;
    if (!target->getItemRect(label, min, max)) {
        error = label + " is not drawn in " + panel;
        return false;
    }
    x = (min.x + max.x) * 0.5f;
    y = (min.y + max.y) * 0.5f;
    return true;
}

bool LmdEditorTestHook::findObject(const std::string& name, float& x, float& y, std::string& error) {
    for (LmdBase3D* object : editor_.getObjectList()) {
        if (object->getName() != name)
            continue;
        const Ogre::AxisAlignedBox bounds = object->getWorldBounds();
        const Ogre::Vector3 centre = bounds.isFinite() ? bounds.getCenter() : object->getWorldPosition();
        Ogre::Vector2 pixel;
        if (!editor_.getScreenProjector().toScreen(centre, pixel)) {
            error = name + " is not in view";
            return false;
        }
        x = pixel.x;
        y = pixel.y;
        return true;
    }
    error = "no scene object named " + name;
    return false;
}

bool LmdEditorTestHook::findBlockPlace(const std::string& kind, const std::string& name, float& x, float& y,
                                       std::string& error) {
    Workflow* workflow = editor_.getWorkflow();
    auto palette = editor_.allUI ? editor_.allUI->getPanel<BlocksPalette>() : nullptr;
    if (!workflow || !palette) {
        error = "the block panels are missing";
        return false;
    }
    if (kind == "scene") {
        const ImVec2 centre = editor_.getSceneCenterScreenPos();
        x = centre.x;
        y = centre.y;
        return true;
    }
    if (kind == "template") {
        BlockTemplate* entry = palette->findTemplate(name);
        if (!entry) {
            error = "no palette template " + name;
            return false;
        }
        // Its place in the last frame (show-template brings it into view).
        const ImVec2 min = entry->getScreenMin(), max = entry->getScreenMax();
        if (max.x <= min.x || !entry->getPreviewBlock()) {
            error = "the template " + name + " is not drawn yet";
            return false;
        }
        x = (min.x + max.x) * 0.5f;
        y = min.y + 12.0f;
        return true;
    }
    pugi::xml_node node = elementNamedOrTagged(editor_.getSourceXml(), name);
    std::shared_ptr<Block> block = node ? Block::getBlockById(node.attribute("id").as_int(-1)) : nullptr;
    if (!block) {
        error = "no block for " + name;
        return false;
    }
    if (!block->wasDrawnThisFrame()) {
        error = "the block " + name + " is not on screen";
        return false;
    }
    // The caption row: inside the block itself, not one of its children.
    x = block->windowPos.x + block->windowSize.x * 0.5f;
    y = block->windowPos.y + 10.0f;
    return true;
}


void LmdEditorTestHook::pushPersonDrag(float x1, float y1, float x2, float y2) {
    SDL_Window* window = editor_.getNativeWindow();
    const Uint32 windowId = window ? SDL_GetWindowID(window) : 0;
    personEvents_.emplace_back(frame_ + 1, personMotion(windowId, x1, y1));
    personEvents_.emplace_back(frame_ + 3, personButton(windowId, x1, y1, true));
    // Held for 40 frames (past 0.2 s even at 200 frames a second), then moved in six steps.
    for (int i = 1; i <= 6; ++i)
        personEvents_.emplace_back(frame_ + 43 + 2 * i,
                                   personMotion(windowId, x1 + (x2 - x1) * i / 6, y1 + (y2 - y1) * i / 6));
    personEvents_.emplace_back(frame_ + 60, personButton(windowId, x2, y2, false));
    pointerX_ = x2;
    pointerY_ = y2;
}

void LmdEditorTestHook::pushPersonPress(float x, float y) {
    SDL_Window* window = editor_.getNativeWindow();
    const Uint32 windowId = window ? SDL_GetWindowID(window) : 0;
    personEvents_.emplace_back(frame_ + 1, personMotion(windowId, x, y));
    personEvents_.emplace_back(frame_ + 3, personButton(windowId, x, y, true));
    pointerX_ = x;
    pointerY_ = y;
    pushPersonMove(x + 24.0f, y, 43);
}

void LmdEditorTestHook::pushPersonMove(float x, float y, long after) {
    SDL_Window* window = editor_.getNativeWindow();
    const Uint32 windowId = window ? SDL_GetWindowID(window) : 0;
    for (int i = 1; i <= 6; ++i)
        personEvents_.emplace_back(frame_ + after + 2 * i, personMotion(windowId, pointerX_ + (x - pointerX_) * i / 6,
                                                                        pointerY_ + (y - pointerY_) * i / 6));
    pointerX_ = x;
    pointerY_ = y;
}

void LmdEditorTestHook::pushPersonRelease() {
    SDL_Window* window = editor_.getNativeWindow();
    const Uint32 windowId = window ? SDL_GetWindowID(window) : 0;
    personEvents_.emplace_back(frame_ + 2, personButton(windowId, pointerX_, pointerY_, false));
}

bool LmdEditorTestHook::findDropPlace(const std::vector<std::string>& words, size_t first, float& x, float& y,
                                      std::string& error) {
    const std::string kind = first < words.size() ? words[first] : "";
    const std::string name = first + 1 < words.size() ? words[first + 1] : "";
    if (kind == "tab")
        return findWidget(Workflow::kName, name, x, y, error);
    if (kind == "field")
        return findWidget("attributesEditor", "field:" + name, x, y, error);
    if (kind == "block" || kind == "scene")
        return findBlockPlace(kind, name, x, y, error);
    error = "no drop place \"" + kind + "\" (tab, block, field or scene)";
    return false;
}

void LmdEditorTestHook::pushPersonClick(float x, float y, int buttonNumber) {
    SDL_Window* window = editor_.getNativeWindow();
    const Uint32 windowId = window ? SDL_GetWindowID(window) : 0;
    SDL_Event move{};
    move.type = SDL_MOUSEMOTION;
    move.motion.windowID = windowId;
    move.motion.x = int(x);
    move.motion.y = int(y);
    SDL_Event press{};
    press.type = SDL_MOUSEBUTTONDOWN;
    press.button.windowID = windowId;
    press.button.button = static_cast<Uint8>(buttonNumber);
    press.button.state = SDL_PRESSED;
    press.button.clicks = 1;
    press.button.x = int(x);
    press.button.y = int(y);
    SDL_Event release = press;
    release.type = SDL_MOUSEBUTTONUP;
    release.button.state = SDL_RELEASED;
    // One transition a frame, with a frame between: the interface sees the hover, then the
    // press, then the release.
    personEvents_.emplace_back(frame_ + 1, move);
    personEvents_.emplace_back(frame_ + 3, press);
    personEvents_.emplace_back(frame_ + 5, release);
}

bool LmdEditorTestHook::pushPersonKeys(const std::vector<std::string>& names, std::string& error, long after) {
    SDL_Window* window = editor_.getNativeWindow();
    const Uint32 windowId = window ? SDL_GetWindowID(window) : 0;
    // Each key with the modifier bit it holds while down (0 for an ordinary key).
    std::vector<std::pair<SDL_Keycode, Uint16>> keys;
    for (const std::string& name : names) {
        if (name == "ctrl") {
            keys.emplace_back(SDLK_LCTRL, KMOD_LCTRL);
        } else if (name == "shift") {
            keys.emplace_back(SDLK_LSHIFT, KMOD_LSHIFT);
        } else if (name == "alt") {
            keys.emplace_back(SDLK_LALT, KMOD_LALT);
        } else if (SDL_Keycode code = keycodeOf(name); code != SDLK_UNKNOWN) {
            keys.emplace_back(code, 0);
        } else {
            error = "unknown key " + name;
            return false;
        }
    }
    // All keys go down in one frame (modifiers first) and come up two frames later in reverse.
    // Every event carries the modifiers held once it has happened, as a keyboard's do: a
    // modifier's own release no longer holds it. (The interface reads Ctrl, Shift and Alt from
    // each event; a Ctrl that came up still marked held would stay down for it and make its
    // text fields ignore every typed character.)
    Uint16 mod = 0;
    for (const auto& [code, bit] : keys) {
        mod |= bit;
        SDL_Event down{};
        down.type = SDL_KEYDOWN;
        down.key.windowID = windowId;
        down.key.state = SDL_PRESSED;
        down.key.keysym.sym = code;
        down.key.keysym.scancode = SDL_GetScancodeFromKey(code);
        down.key.keysym.mod = mod;
        personEvents_.emplace_back(frame_ + after + 1, down);
    }
    // A key that types something sends its character too, as a keyboard does (without Ctrl or
    // Alt held): a text field takes characters from these events, not from the key events.
    if (names.size() == 1 && names[0].size() == 1 && !(mod & (KMOD_CTRL | KMOD_ALT))) {
        SDL_Event text{};
        text.type = SDL_TEXTINPUT;
        text.text.windowID = windowId;
        text.text.text[0] = names[0][0];
        personEvents_.emplace_back(frame_ + after + 1, text);
    }
    for (auto it = keys.rbegin(); it != keys.rend(); ++it) {
        mod &= Uint16(~it->second);
        SDL_Event up{};
        up.type = SDL_KEYUP;
        up.key.windowID = windowId;
        up.key.state = SDL_RELEASED;
        up.key.keysym.sym = it->first;
        up.key.keysym.scancode = SDL_GetScancodeFromKey(it->first);
        up.key.keysym.mod = mod;
        personEvents_.emplace_back(frame_ + after + 3, up);
    }
    return true;
}

void LmdEditorTestHook::deliverPersonEvents() {
    while (!personEvents_.empty() && personEvents_.front().first <= frame_) {
        SDL_PushEvent(&personEvents_.front().second);
        personEvents_.pop_front();
    }
}

bool LmdEditorTestHook::writeScreenshot(const std::string& path, std::string& error) {
    std::vector<unsigned char> rgb;
    int width = 0, height = 0;
    if (!editor_.readWindowPixels(rgb, width, height)) {
        error = "the window could not be read";
        return false;
    }
    const std::vector<unsigned char> png = LmdImageEncoder::encodePng(rgb.data(), width, height);
    if (png.empty() || !FileManager::writeFileAtomic(path, std::string(png.begin(), png.end()), &error)) {
        error = "cannot write " + path + (error.empty() ? "" : ": " + error);
        return false;
    }
    report("screenshot " + path + " " + std::to_string(width) + "x" + std::to_string(height));
    return true;
}

void LmdEditorTestHook::printTiming() {
    std::vector<double> sorted = frameMillis_;
    std::sort(sorted.begin(), sorted.end());
    const double mean = std::accumulate(sorted.begin(), sorted.end(), 0.0) / double(sorted.size());
    const double median = sorted[sorted.size() / 2];
    const double p95 = sorted[std::min(sorted.size() - 1, size_t(double(sorted.size()) * 0.95))];
    char text[200];
    std::snprintf(text, sizeof text, "timing frames=%zu mean_ms=%.2f median_ms=%.2f p95_ms=%.2f max_ms=%.2f fps=%.0f",
                  sorted.size(), mean, median, p95, sorted.back(), mean > 0 ? 1000.0 / mean : 0.0);
    report(text);
}

} // namespace Lumenda3D
