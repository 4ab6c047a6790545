#include "engine/scene/LmdEulerHelper.h"

#include <OgreMatrix3.h>

namespace Lumenda3D {

Ogre::Quaternion LmdEulerHelper::composeYXZ(float xDegrees, float yDegrees, float zDegrees) {
    Ogre::Matrix3 m;
    m.FromEulerAnglesYXZ(Ogre::Degree(yDegrees), Ogre::Degree(xDegrees), Ogre::Degree(zDegrees));
    Ogre::Quaternion q(m);
    q.normalise();
    return q;
}

void LmdEulerHelper::decomposeYXZ(const Ogre::Quaternion& orientation, float& xDegrees, float& yDegrees,
                                  float& zDegrees) {
    Ogre::Matrix3 m;
    orientation.ToRotationMatrix(m);
    Ogre::Radian y, x, z;
    m.ToEulerAnglesYXZ(y, x, z);
    xDegrees = x.valueDegrees();
    yDegrees = y.valueDegrees();
    zDegrees = z.valueDegrees();
}

} // namespace Lumenda3D
