#pragma once
// Process-wide handles that panels reach without a pointer to the editor.
namespace Ogre {
class RenderWindow;
}

namespace Lumenda3D::Common {

// The editor's render window; null before the window exists and after it is gone.
extern Ogre::RenderWindow* window;

} // namespace Lumenda3D::Common
