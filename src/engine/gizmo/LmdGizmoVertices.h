#pragma once
// The vertex handles of the gizmo's Vertex type: the vertices of an object's mesh, one handle per
// distinct position (the vertices a seam splits, such as a box's corner shared by three faces,
// move together so that the surface stays closed), found under the pointer on screen and drawn as
// small squares over the scene. Positions are in the object's own frame (its scene node: pivot and
// a model's fitting scale applied), which is what a Vertex element stores less the pivot.
#include <cstddef>
#include <utility>
#include <vector>

#include <OgreMatrix4.h>
#include <OgreVector.h>

#include "engine/gizmo/LmdGizmoEvents.h"

struct ImDrawList;

namespace Lumenda3D {

class LmdBase3D;
class LmdScreenProjector;
struct LmdMeshData;

class LmdGizmoVertices {
public:
    // More distinct positions than this are not offered (the first ones in mesh order are).
    static constexpr size_t kMaxHandles = 4096;
    // How near (in pixels) the pointer must be to a handle to take it.
    static constexpr float kPickRadius = 7.0f;

    struct Handle {
        Ogre::Vector3 position = Ogre::Vector3::ZERO;
        std::vector<std::pair<int, int>> members; // (submesh, vertex index)
    };

    // The handles of mesh data whose node frame puts the mesh at `pivot`, scaled by `shapeScale`.
    static std::vector<Handle> collect(const LmdMeshData& data, const Ogre::Vector3& pivot, float shapeScale,
                                       size_t limit = kMaxHandles);
    // The handles of an object's mesh (read back from its OGRE mesh); none without a mesh.
    static std::vector<Handle> ofObject(const LmdBase3D& object);
    // The vertices of a handle moved to `position` (node frame), as event 18 reports them.
    static std::vector<LmdGizmoVertex> moved(const Handle& handle, const Ogre::Vector3& position);

    // The handle under the pointer (the nearest on screen, then the nearest to the eye); -1 for none.
    static int pick(const std::vector<Handle>& handles, const Ogre::Affine3& nodeToWorld,
                    const LmdScreenProjector& view, float x, float y);
    // Draws the handles; `hot` in the highlight colour, `dragged` at `draggedTo` (world) with a
    // line from where it was.
    static void draw(ImDrawList* list, const std::vector<Handle>& handles, const Ogre::Affine3& nodeToWorld,
                     const LmdScreenProjector& view, int hot, int dragged, const Ogre::Vector3& draggedTo);
};

} // namespace Lumenda3D
