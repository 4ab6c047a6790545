#pragma once
// One step of a synthetic input sequence (the agents' send_input "sequence").
#include <OgreInput.h>

#include <string>

namespace Lumenda3D {

struct LmdInputStep {
    enum Op { Move = 0, Down = 1, Up = 2, KeyDown = 3, KeyUp = 4, Scroll = 5, Wait = 6 };

    int op = Move;
    int x = 0, y = 0;                                        // window pixels, for Move and Scroll
    OgreBites::ButtonType button = OgreBites::BUTTON_LEFT;   // for Down and Up
    std::string key;                                         // key name, for KeyDown and KeyUp
    float seconds = 0.0f;                                    // for Move (glide time) and Wait
    float amount = 0.0f;                                     // wheel notches for Scroll, up positive
};

} // namespace Lumenda3D
