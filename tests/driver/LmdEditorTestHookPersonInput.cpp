// The test script's person verbs: clicks, keys, typing, drags, drops and the wheel, given to the
// editor as SDL events in the frames a person would make them.
#include "driver/LmdEditorTestHook.h"
#include "driver/LmdEditorTestHookSupport.h"

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
#include "blocks/Block.h"
#include "core/Lumenda3DEditor.h"

namespace Lumenda3D {

using namespace testhook;
using Clock = std::chrono::steady_clock;

std::optional<bool> LmdEditorTestHook::startPersonInput(const std::vector<std::string>& w, std::string& error) {
    const std::string& verb = w[0];
    if (verb == "click" || verb == "user-click") {
        if (!needs(w, 2))
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
        if (!needs(w, 1))
            return false;
        const std::vector<std::string> names(w.begin() + 1, w.end());
        const bool ok = verb == "keys" ? editor_.queueSyntheticKeys(names, 0.05f, error) : pushPersonKeys(names, error);
        return awaitQueued(ok, error);
    }
    if (verb == "user-type") {
        // user-type TEXT: a person typing TEXT, one key and its character at a time.
        if (!needs(w, 1))
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
    if (verb == "click-block" || verb == "right-click-block") {
        // click-block NAME: a person's click on the block of the element named NAME (or, without
        // such a name, the first element of that tag), scrolled into view first.
        if (!needs(w, 1))
            return false;
        float x = 0, y = 0;
        if (!findBlockPlace("block", w[1], x, y, error)) {
            fail(error);
            return false;
        }
        pushPersonClick(x, y, verb == "click-block" ? SDL_BUTTON_LEFT : SDL_BUTTON_RIGHT);
        return awaitInput();
    }
    if (verb == "drag-block" || verb == "drag-template") {
        // drag-block NAME block|scene [TARGET]; drag-template BLOCKNAME block|scene [TARGET]: a
        // person's drag from a block or a palette template onto a block or the scene.
        if (!needs(w, 2))
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
        if (!needs(w, 1))
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
        if (!needs(w, 2))
            return false;
        float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
        const bool found = findWidget(AssetLibraryPanel::kName, "cell:" + w[1], x1, y1, error) &&
                           (w[2] == "object" ? needs(w, 3) && findObject(w[3], x2, y2, error)
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
        if (!needs(w, 1))
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
        if (!needs(w, 3))
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
    return std::nullopt;
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

} // namespace Lumenda3D
