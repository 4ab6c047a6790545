#pragma once
// The meshes of the language's primitives, centred on the origin with +Y up, outward normals,
// counter-clockwise front faces and texture coordinates from 0 to 1 over each face (the
// material's tiling repeats them):
//   box       width x height x depth, one flat face per side
//   plane     width x depth in the XZ plane at y = 0, facing +Y, split into tiles so that point
//             and spot lights light it smoothly
//   sphere    radius, `segments` around and half as many from pole to pole
//   cylinder  radius, height along Y, with caps
//   cone      radius at the base (y = -height/2), tip at y = +height/2
//   capsule   radius, height from tip to tip (at least two radii)
#include "engine/assets/LmdMeshData.h"

namespace Lumenda3D {

class LmdPrimitiveMesh {
public:
    static LmdMeshData box(float width, float height, float depth);
    static LmdMeshData plane(float width, float depth);
    static LmdMeshData sphere(float radius, int segments);
    static LmdMeshData cylinder(float radius, float height, int segments);
    static LmdMeshData cone(float radius, float height, int segments);
    static LmdMeshData capsule(float radius, float height, int segments);
};

} // namespace Lumenda3D
