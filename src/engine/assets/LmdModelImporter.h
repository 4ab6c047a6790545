#pragma once
// Reads a model file with Assimp into plain mesh data: obj, gltf/glb, fbx, dae, 3ds, blend, md5
// and the other formats Assimp knows. The file's node hierarchy is flattened into the model's own
// frame (so a model stands as its author placed it), polygons become triangles, missing normals
// are computed, and each submesh keeps its material's diffuse colour and texture (a file beside
// the model, or an image embedded in it). Animations are not imported. OGRE's own `.mesh` files
// are not read here: the scene loads those natively.
#include <string>

#include "engine/assets/LmdMeshData.h"

namespace Lumenda3D {

class LmdModelImporter {
public:
    // False with a sentence in `error` when the file cannot be read or holds no triangles.
    static bool load(const std::string& path, LmdMeshData& out, std::string& error);
    // Whether the file name's extension is one Assimp reads (case-insensitive).
    static bool canRead(const std::string& path);
    // Whether it is OGRE's native mesh format.
    static bool isOgreMesh(const std::string& path);
};

} // namespace Lumenda3D
