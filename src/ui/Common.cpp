#include "ui/Common.h"

namespace Lumenda3D::Common {

Ogre::RenderWindow* window = nullptr;

} // namespace Lumenda3D::Common
