#pragma once
// Rotations of the game language: rotationX/Y/Z in degrees, applied in the order Y (turn), then X
// (tilt), then Z (roll), so that a turned object tilts about its own axis. The gizmo and the
// scene share these two functions, so that a value written by one reads back the same in the other.
#include <OgreQuaternion.h>

namespace Lumenda3D {

class LmdEulerHelper {
public:
    // Orientation from rotationX/Y/Z in degrees: R = Ry * Rx * Rz.
    static Ogre::Quaternion composeYXZ(float xDegrees, float yDegrees, float zDegrees);
    // The inverse: degrees in the same order.
    static void decomposeYXZ(const Ogre::Quaternion& orientation, float& xDegrees, float& yDegrees, float& zDegrees);
};

} // namespace Lumenda3D
