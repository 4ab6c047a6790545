#pragma once
// Turns mesh data into OGRE meshes. Each submesh gets its own vertex buffer (position, normal,
// texture coordinate, interleaved) with a shadow copy in memory, so that tools can read the
// vertices back, and 16- or 32-bit indices as the vertex count needs. Bounds are set from the
// data. Mesh data with a skeleton gets an OGRE skeleton of its own (LmdOgreSkeleton) and bone
// assignments; OGRE then blends its vertices on the CPU while an animation plays. Main thread,
// with an OGRE root.
#include <string>
#include <vector>

#include <OgreMesh.h>

#include "engine/assets/LmdMeshData.h"

namespace Lumenda3D {

class LmdOgreMesh {
public:
    // Creates (or replaces) the mesh `name` in `group`. `materials` names one material per
    // submesh; a shorter list repeats its last entry (empty: OGRE's default material).
    static Ogre::MeshPtr create(const std::string& name, const LmdMeshData& data,
                                const std::vector<std::string>& materials, const std::string& group);
    // The vertices of an OGRE mesh (from a .mesh file) as mesh data, for vertex edits and
    // physics mesh shapes. Submeshes that share the mesh's vertices are read from that buffer.
    static bool read(const Ogre::MeshPtr& mesh, LmdMeshData& out);
    // Removes a mesh (and the skeleton made for it) if it exists.
    static void remove(const std::string& name);
    // The name of the skeleton made for the mesh `meshName`.
    static std::string skeletonName(const std::string& meshName);
};

} // namespace Lumenda3D
