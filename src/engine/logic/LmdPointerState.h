#pragma once
// Where the player's pointer (mouse or touch) is, and what lies under it in the 3D scene. The
// scene works it out from the camera; the logic reads it in expressions (mouseX, pointerX,
// clickObject, ...).
#include <string>

namespace Lumenda3D {

struct LmdPointerState {
    // On the screen: pixels from the top-left corner of the game view, y growing downwards.
    double screenX = 0.0;
    double screenY = 0.0;
    // Whether the ray from the camera through the pointer meets an object or the ground plane
    // (y = 0); when it meets neither (the pointer is above the horizon), x, y and z say nothing.
    bool hit = false;
    // The world point where the ray first meets an object's bounds, else the ground plane.
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    // The name of the nearest object under the pointer; "" for the ground, the sky or an object
    // without a name.
    std::string object;
};

} // namespace Lumenda3D
