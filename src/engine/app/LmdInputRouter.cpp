#include "engine/app/LmdInputRouter.h"

#include "base/LmdLog.h"

#include <exception>
#include <string>

namespace Lumenda3D {
namespace {

template <typename Event>
bool callGuarded(const char* name, OgreBites::InputListener* listener,
                 bool (OgreBites::InputListener::*handler)(const Event&), const Event& evt) {
    if (!listener)
        return false;
    // A failed handler counts as having taken the event.
    return runGuarded(name, true, [&] { return (listener->*handler)(evt); });
}

} // namespace

template <typename Event>
bool LmdInputRouter::route(const char* name, bool (OgreBites::InputListener::*handler)(const Event&),
                           const Event& evt, bool alwaysToApp) {
    const bool uiTook = callGuarded(name, mUi, handler, evt);
    if (uiTook && !alwaysToApp)
        return true;
    const bool appTook = callGuarded(name, mApp, handler, evt);
    return uiTook || appTook;
}

void LmdInputRouter::notePointer(int x, int y) {
    if (mPointerObserver)
        mPointerObserver(x, y);
}

bool LmdInputRouter::keyPressed(const OgreBites::KeyboardEvent& evt) {
    return route("keyPressed", &OgreBites::InputListener::keyPressed, evt, false);
}

bool LmdInputRouter::keyReleased(const OgreBites::KeyboardEvent& evt) {
    return route("keyReleased", &OgreBites::InputListener::keyReleased, evt, true);
}

bool LmdInputRouter::mouseMoved(const OgreBites::MouseMotionEvent& evt) {
    notePointer(evt.x, evt.y);
    return route("mouseMoved", &OgreBites::InputListener::mouseMoved, evt, false);
}

bool LmdInputRouter::mouseWheelRolled(const OgreBites::MouseWheelEvent& evt) {
    return route("mouseWheelRolled", &OgreBites::InputListener::mouseWheelRolled, evt, false);
}

bool LmdInputRouter::mousePressed(const OgreBites::MouseButtonEvent& evt) {
    notePointer(evt.x, evt.y);
    return route("mousePressed", &OgreBites::InputListener::mousePressed, evt, false);
}

bool LmdInputRouter::mouseReleased(const OgreBites::MouseButtonEvent& evt) {
    notePointer(evt.x, evt.y);
    return route("mouseReleased", &OgreBites::InputListener::mouseReleased, evt, true);
}

bool LmdInputRouter::textInput(const OgreBites::TextInputEvent& evt) {
    return route("textInput", &OgreBites::InputListener::textInput, evt, false);
}

} // namespace Lumenda3D
