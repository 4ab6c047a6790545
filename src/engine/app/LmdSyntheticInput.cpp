#include "engine/app/LmdSyntheticInput.h"

#include "engine/app/LmdKeyNames.h"

#include <algorithm>
#include <cmath>

namespace Lumenda3D {
namespace {

double safeSeconds(double seconds) {
    return std::isfinite(seconds) && seconds > 0 ? seconds : 0.0;
}

// Keeps the depth raised while one event is handed over, also when a listener throws.
struct DepthScope {
    explicit DepthScope(int& depth) : depth(depth) { ++depth; }
    ~DepthScope() { --depth; }
    int& depth;
};

} // namespace

LmdSyntheticInput::Event LmdSyntheticInput::makeMove(int x, int y, double seconds) {
    Event e;
    e.kind = Event::Move;
    e.x = x;
    e.y = y;
    e.seconds = safeSeconds(seconds);
    return e;
}

LmdSyntheticInput::Event LmdSyntheticInput::makeButton(Event::Kind kind, int button) {
    Event e;
    e.kind = kind;
    e.button = button;
    return e;
}

LmdSyntheticInput::Event LmdSyntheticInput::makeKey(Event::Kind kind, OgreBites::Keycode code) {
    Event e;
    e.kind = kind;
    e.key = code;
    return e;
}

LmdSyntheticInput::Event LmdSyntheticInput::makeWait(double seconds) {
    Event e;
    e.kind = Event::Wait;
    e.seconds = safeSeconds(seconds);
    return e;
}

void LmdSyntheticInput::appendScroll(std::vector<Event>& out, int x, int y, float amount) {
    out.push_back(makeMove(x, y, 0));
    if (!std::isfinite(amount) || amount == 0.0f)
        return;
    long notches = std::lround(amount);
    if (notches == 0)
        notches = amount > 0 ? 1 : -1;
    for (long i = 0; i < std::labs(notches); ++i) {
        Event e;
        e.kind = Event::Wheel;
        e.notch = notches > 0 ? 1 : -1;
        out.push_back(e);
    }
}

bool LmdSyntheticInput::checkButton(int button, std::string& error) {
    if (button >= OgreBites::BUTTON_LEFT && button <= OgreBites::BUTTON_RIGHT)
        return true;
    error = "Unknown mouse button " + std::to_string(button) + " — use left, middle or right.";
    return false;
}

void LmdSyntheticInput::enqueue(std::vector<Event>& events) {
    for (Event& e : events)
        mQueue.push_back(e);
}

bool LmdSyntheticInput::queueKeys(const std::vector<std::string>& names, float holdSeconds,
                                  std::string& error) {
    if (names.empty()) {
        error = "No keys given — pass at least one key name.";
        return false;
    }
    std::vector<OgreBites::Keycode> codes;
    for (const std::string& name : names) {
        OgreBites::Keycode code = 0;
        if (!LmdKeyNames::resolve(name, code, error))
            return false;
        codes.push_back(code);
    }
    std::vector<Event> events;
    for (OgreBites::Keycode code : codes)
        events.push_back(makeKey(Event::KeyDown, code));
    events.push_back(makeWait(holdSeconds));
    for (auto it = codes.rbegin(); it != codes.rend(); ++it)
        events.push_back(makeKey(Event::KeyUp, *it));
    enqueue(events);
    return true;
}

bool LmdSyntheticInput::queueClick(int x, int y, OgreBites::ButtonType button, float holdSeconds,
                                   std::string& error) {
    if (!checkButton(button, error))
        return false;
    std::vector<Event> events = {makeMove(x, y, 0), makeButton(Event::ButtonDown, button),
                                 makeWait(holdSeconds), makeButton(Event::ButtonUp, button)};
    enqueue(events);
    return true;
}

bool LmdSyntheticInput::queueDrag(int fromX, int fromY, int toX, int toY, OgreBites::ButtonType button,
                                  float seconds, std::string& error) {
    if (!checkButton(button, error))
        return false;
    std::vector<Event> events = {makeMove(fromX, fromY, 0), makeButton(Event::ButtonDown, button),
                                 makeMove(toX, toY, seconds), makeButton(Event::ButtonUp, button)};
    enqueue(events);
    return true;
}

bool LmdSyntheticInput::queueScroll(int x, int y, float amount, std::string& error) {
    (void)error; // a scroll has nothing to refuse
    std::vector<Event> events;
    appendScroll(events, x, y, amount);
    enqueue(events);
    return true;
}

bool LmdSyntheticInput::queueSequence(const std::vector<LmdInputStep>& steps, std::string& error) {
    if (steps.empty()) {
        error = "The sequence has no steps.";
        return false;
    }
    std::vector<Event> events;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const LmdInputStep& step = steps[i];
        const std::string where = "Step " + std::to_string(i + 1) + ": ";
        switch (step.op) {
        case LmdInputStep::Move:
            events.push_back(makeMove(step.x, step.y, step.seconds));
            break;
        case LmdInputStep::Down:
        case LmdInputStep::Up:
            if (!checkButton(step.button, error)) {
                error = where + error;
                return false;
            }
            events.push_back(makeButton(step.op == LmdInputStep::Down ? Event::ButtonDown : Event::ButtonUp,
                                        step.button));
            break;
        case LmdInputStep::KeyDown:
        case LmdInputStep::KeyUp: {
            OgreBites::Keycode code = 0;
            if (!LmdKeyNames::resolve(step.key, code, error)) {
                error = where + error;
                return false;
            }
            events.push_back(makeKey(step.op == LmdInputStep::KeyDown ? Event::KeyDown : Event::KeyUp, code));
            break;
        }
        case LmdInputStep::Scroll:
            appendScroll(events, step.x, step.y, step.amount);
            break;
        case LmdInputStep::Wait:
            events.push_back(makeWait(step.seconds));
            break;
        default:
            error = where + "unknown step op " + std::to_string(step.op) + ".";
            return false;
        }
    }
    enqueue(events);
    return true;
}

bool LmdSyntheticInput::admit(Category category) {
    if (mFrameCategory == Category::None) {
        mFrameCategory = category;
        return true;
    }
    // One wheel notch a frame: ImGui keeps only the last wheel value of a frame.
    return mFrameCategory == category && category != Category::Wheel;
}

void LmdSyntheticInput::update(double now, OgreBites::InputListener& sink) {
    mFrameCategory = Category::None;
    mTransitionThisFrame = false;
    while (!mQueue.empty()) {
        Event& e = mQueue.front();
        if (!e.started) {
            e.started = true;
            e.startTime = now;
            e.fromX = mCursorX;
            e.fromY = mCursorY;
        }
        const double elapsed = now - e.startTime;
        // Each event leaves the queue before it is delivered, so that a listener that throws
        // cannot make the same event play again in every frame.
        switch (e.kind) {
        case Event::Wait:
            if (elapsed < e.seconds)
                return;
            mQueue.pop_front();
            break;
        case Event::Move: {
            const double t = e.seconds > 0 ? std::min(1.0, std::max(0.0, elapsed / e.seconds)) : 1.0;
            const int x = int(std::lround(e.fromX + (e.x - e.fromX) * t));
            const int y = int(std::lround(e.fromY + (e.y - e.fromY) * t));
            const bool changed = x != mCursorX || y != mCursorY;
            const bool finished = t >= 1.0;
            if (changed || (finished && !e.emitted)) {
                if (!admit(Category::Motion))
                    return;
                e.emitted = true;
                if (finished)
                    mQueue.pop_front();
                deliverMotion(x, y, sink);
            } else if (finished) {
                mQueue.pop_front();
            }
            if (!finished)
                return; // glide on in the next frame
            break;
        }
        case Event::ButtonDown:
        case Event::ButtonUp:
        case Event::KeyDown:
        case Event::KeyUp:
        case Event::Wheel: {
            const Category category = e.kind == Event::Wheel ? Category::Wheel
                                      : (e.kind == Event::ButtonDown || e.kind == Event::KeyDown) ? Category::Press
                                                                                                   : Category::Release;
            if (!admit(category))
                return;
            mTransitionThisFrame = true;
            const Event event = e;
            mQueue.pop_front();
            switch (event.kind) {
            case Event::ButtonDown: deliverButton(true, event.button, sink); break;
            case Event::ButtonUp: deliverButton(false, event.button, sink); break;
            case Event::KeyDown: deliverKey(true, event.key, sink); break;
            case Event::KeyUp: deliverKey(false, event.key, sink); break;
            default: deliverWheel(event.notch, sink); break;
            }
            break;
        }
        }
    }
}

void LmdSyntheticInput::cancel(OgreBites::InputListener& sink) {
    mQueue.clear();
    const std::set<int> buttons = mHeldButtons;
    for (int b : buttons)
        deliverButton(false, b, sink);
    const std::set<OgreBites::Keycode> keys = mHeldKeys;
    for (OgreBites::Keycode k : keys)
        deliverKey(false, k, sink);
}

void LmdSyntheticInput::noteCursor(int x, int y) {
    mCursorX = x;
    mCursorY = y;
}

void LmdSyntheticInput::deliverMotion(int x, int y, OgreBites::InputListener& sink) {
    OgreBites::MouseMotionEvent evt{};
    evt.type = OgreBites::MOUSEMOTION;
    evt.x = x;
    evt.y = y;
    evt.xrel = x - mCursorX;
    evt.yrel = y - mCursorY;
    mCursorX = x;
    mCursorY = y;
    if (!mHeldButtons.empty()) { // a drag: the crosshair follows the pointer
        mCrosshairX = x;
        mCrosshairY = y;
    }
    DepthScope scope(mDepth);
    sink.mouseMoved(evt);
}

void LmdSyntheticInput::deliverButton(bool down, int button, OgreBites::InputListener& sink) {
    OgreBites::MouseButtonEvent evt{};
    evt.type = down ? OgreBites::MOUSEBUTTONDOWN : OgreBites::MOUSEBUTTONUP;
    evt.x = mCursorX;
    evt.y = mCursorY;
    evt.button = static_cast<unsigned char>(button);
    evt.clicks = 1;
    if (down) {
        mHeldButtons.insert(button);
        mHasCrosshair = true;
        mCrosshairX = mCursorX;
        mCrosshairY = mCursorY;
    } else {
        mHeldButtons.erase(button);
    }
    DepthScope scope(mDepth);
    if (down)
        sink.mousePressed(evt);
    else
        sink.mouseReleased(evt);
}

void LmdSyntheticInput::deliverKey(bool down, OgreBites::Keycode code, OgreBites::InputListener& sink) {
    // Like a keyboard driver: a modifier's own press already carries its bit, its release no more.
    const unsigned short bits = LmdKeyNames::modifierBits(code);
    if (down) {
        mModifiers = static_cast<unsigned short>(mModifiers | bits);
        mHeldKeys.insert(code);
    } else {
        mModifiers = static_cast<unsigned short>(mModifiers & ~bits);
        mHeldKeys.erase(code);
    }
    OgreBites::KeyboardEvent evt{};
    evt.type = down ? OgreBites::KEYDOWN : OgreBites::KEYUP;
    evt.keysym.sym = code;
    evt.keysym.mod = mModifiers;
    evt.repeat = 0;
    DepthScope scope(mDepth);
    if (!down) {
        sink.keyReleased(evt);
        return;
    }
    sink.keyPressed(evt);
    // A key that types something also sends its text, as the window system does for a person.
    if (char c = LmdKeyNames::typedCharacter(code, mModifiers)) {
        const char text[2] = {c, 0};
        OgreBites::TextInputEvent textEvt{};
        textEvt.type = OgreBites::TEXTINPUT;
        textEvt.chars = text;
        sink.textInput(textEvt);
    }
}

void LmdSyntheticInput::deliverWheel(int notch, OgreBites::InputListener& sink) {
    OgreBites::MouseWheelEvent evt{};
    evt.type = OgreBites::MOUSEWHEEL;
    evt.y = notch;
    DepthScope scope(mDepth);
    sink.mouseWheelRolled(evt);
}

} // namespace Lumenda3D
