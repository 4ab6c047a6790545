#pragma once
// Triangle meshes as plain arrays, before they become OGRE meshes: what the primitive generator
// and the model importer produce, and what the physics world takes for mesh shapes. Each submesh
// has its own vertices (position, normal, texture coordinate) and, for imported models, the
// material the file gave it. An animated model also has a skeleton: its vertices stand in the
// skeleton's rest pose and each carries the weights of the bones that move it.
#include <cstdint>
#include <string>
#include <vector>

#include <OgreAxisAlignedBox.h>
#include <OgreVector.h>

#include "engine/assets/LmdSkeletonData.h"

namespace Lumenda3D {

struct LmdSubMeshData {
    std::vector<float> positions; // x, y, z per vertex
    std::vector<float> normals;   // x, y, z per vertex
    std::vector<float> uvs;       // u, v per vertex (v grows downwards, as OGRE samples)
    std::vector<std::uint32_t> indices; // three per triangle

    // Material from a model file.
    bool hasDiffuse = false;
    float diffuse[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    std::string texturePath;                 // a texture file (absolute), or empty
    std::vector<unsigned char> embeddedTexture; // an image file's bytes inside the model
    std::string embeddedFormat;              // "png", "jpg", ... for embeddedTexture

    // Bones that move the vertices (animated models only; every vertex has at least one).
    std::vector<LmdBoneWeight> boneWeights;

    size_t vertexCount() const { return positions.size() / 3; }
    size_t triangleCount() const { return indices.size() / 3; }
    void addVertex(const Ogre::Vector3& p, const Ogre::Vector3& n, float u, float v);
};

struct LmdMeshData {
    std::vector<LmdSubMeshData> subMeshes;
    LmdSkeletonData skeleton; // empty for a model without animations

    size_t vertexCount() const;
    size_t triangleCount() const;
    Ogre::AxisAlignedBox bounds() const;
    bool empty() const { return vertexCount() == 0; }
    // Multiplies every position by `factor` (normals stay).
    void scale(float factor);
    // Moves vertex `index` of submesh `submesh` to `position`; false when there is no such vertex.
    bool setVertex(size_t submesh, size_t index, const Ogre::Vector3& position);
    // Recomputes smooth normals from the triangles (after vertices were moved).
    void recomputeNormals();
};

} // namespace Lumenda3D
