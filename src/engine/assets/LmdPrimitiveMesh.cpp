#include "engine/assets/LmdPrimitiveMesh.h"

#include <algorithm>
#include <cmath>

namespace Lumenda3D {
namespace {

constexpr float kPi = 3.14159265358979f;

// Adds a grid of (cols + 1) x (rows + 1) vertices spanning origin + s * uAxis + t * vAxis for
// s, t in [0, 1], and the triangles between them, front face towards `normal`.
void addGrid(LmdSubMeshData& sub, const Ogre::Vector3& origin, const Ogre::Vector3& uAxis, const Ogre::Vector3& vAxis,
             const Ogre::Vector3& normal, int cols, int rows) {
    const std::uint32_t base = std::uint32_t(sub.vertexCount());
    for (int r = 0; r <= rows; ++r)
        for (int c = 0; c <= cols; ++c) {
            const float s = float(c) / float(cols), t = float(r) / float(rows);
            sub.addVertex(origin + uAxis * s + vAxis * t, normal, s, t);
        }
    // Orientation: uAxis x vAxis should point along the normal for counter-clockwise fronts.
    const bool flip = uAxis.crossProduct(vAxis).dotProduct(normal) < 0.0f;
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c) {
            const std::uint32_t i0 = base + std::uint32_t(r * (cols + 1) + c);
            const std::uint32_t i1 = i0 + 1, i2 = i0 + std::uint32_t(cols + 1), i3 = i2 + 1;
            if (!flip)
                sub.indices.insert(sub.indices.end(), {i0, i1, i3, i0, i3, i2});
            else
                sub.indices.insert(sub.indices.end(), {i0, i3, i1, i0, i2, i3});
        }
}

// A ring of vertices at height y with radius r (normals given per vertex by `normalAt`).
template <typename NormalAt>
void addRing(LmdSubMeshData& sub, int segments, float y, float r, float v, NormalAt normalAt) {
    for (int i = 0; i <= segments; ++i) {
        const float a = 2.0f * kPi * float(i) / float(segments);
        const float x = std::sin(a), z = std::cos(a);
        sub.addVertex(Ogre::Vector3(x * r, y, z * r), normalAt(x, z), float(i) / float(segments), v);
    }
}

// Triangles between two consecutive rings of (segments + 1) vertices starting at `first`.
void joinRings(LmdSubMeshData& sub, std::uint32_t first, int segments) {
    const std::uint32_t stride = std::uint32_t(segments + 1);
    for (int i = 0; i < segments; ++i) {
        const std::uint32_t a = first + std::uint32_t(i), b = a + 1, c = a + stride, d = c + 1;
        // Ring `first` is above ring `first + stride`; outward faces are counter-clockwise.
        sub.indices.insert(sub.indices.end(), {a, c, b, b, c, d});
    }
}

// A flat disc at height y facing up (+1) or down (-1).
void addCap(LmdSubMeshData& sub, int segments, float y, float r, float facing) {
    const std::uint32_t centre = std::uint32_t(sub.vertexCount());
    const Ogre::Vector3 normal(0, facing, 0);
    sub.addVertex(Ogre::Vector3(0, y, 0), normal, 0.5f, 0.5f);
    for (int i = 0; i <= segments; ++i) {
        const float a = 2.0f * kPi * float(i) / float(segments);
        const float x = std::sin(a), z = std::cos(a);
        sub.addVertex(Ogre::Vector3(x * r, y, z * r), normal, 0.5f + 0.5f * x, 0.5f - 0.5f * z * facing);
    }
    for (int i = 0; i < segments; ++i) {
        const std::uint32_t a = centre + 1 + std::uint32_t(i), b = a + 1;
        if (facing > 0)
            sub.indices.insert(sub.indices.end(), {centre, a, b});
        else
            sub.indices.insert(sub.indices.end(), {centre, b, a});
    }
}

} // namespace

LmdMeshData LmdPrimitiveMesh::box(float width, float height, float depth) {
    LmdMeshData mesh;
    LmdSubMeshData& sub = mesh.subMeshes.emplace_back();
    const float x = width * 0.5f, y = height * 0.5f, z = depth * 0.5f;
    // Each face: origin at its top-left seen from outside, u to the right, v downwards.
    addGrid(sub, {-x, y, z}, {width, 0, 0}, {0, -height, 0}, {0, 0, 1}, 1, 1);   // front (+Z)
    addGrid(sub, {x, y, -z}, {-width, 0, 0}, {0, -height, 0}, {0, 0, -1}, 1, 1); // back (-Z)
    addGrid(sub, {x, y, z}, {0, 0, -depth}, {0, -height, 0}, {1, 0, 0}, 1, 1);   // right (+X)
    addGrid(sub, {-x, y, -z}, {0, 0, depth}, {0, -height, 0}, {-1, 0, 0}, 1, 1); // left (-X)
    addGrid(sub, {-x, y, -z}, {width, 0, 0}, {0, 0, depth}, {0, 1, 0}, 1, 1);    // top (+Y)
    addGrid(sub, {-x, -y, z}, {width, 0, 0}, {0, 0, -depth}, {0, -1, 0}, 1, 1);  // bottom (-Y)
    return mesh;
}

LmdMeshData LmdPrimitiveMesh::plane(float width, float depth) {
    LmdMeshData mesh;
    LmdSubMeshData& sub = mesh.subMeshes.emplace_back();
    // About one tile per two units, at most 32 a side: enough for per-vertex lighting.
    const int cols = std::clamp(int(std::ceil(width / 2.0f)), 1, 32);
    const int rows = std::clamp(int(std::ceil(depth / 2.0f)), 1, 32);
    addGrid(sub, {-width * 0.5f, 0, -depth * 0.5f}, {width, 0, 0}, {0, 0, depth}, {0, 1, 0}, cols, rows);
    return mesh;
}

LmdMeshData LmdPrimitiveMesh::sphere(float radius, int segments) {
    segments = std::max(segments, 4);
    const int rings = std::max(segments / 2, 2);
    LmdMeshData mesh;
    LmdSubMeshData& sub = mesh.subMeshes.emplace_back();
    for (int r = 0; r <= rings; ++r) {
        const float phi = kPi * float(r) / float(rings); // 0 at the top
        const float y = std::cos(phi), ringRadius = std::sin(phi);
        addRing(sub, segments, y * radius, ringRadius * radius, float(r) / float(rings),
                [&](float x, float z) { return Ogre::Vector3(x * ringRadius, y, z * ringRadius).normalisedCopy(); });
    }
    for (int r = 0; r < rings; ++r)
        joinRings(sub, std::uint32_t(r * (segments + 1)), segments);
    return mesh;
}

LmdMeshData LmdPrimitiveMesh::cylinder(float radius, float height, int segments) {
    segments = std::max(segments, 3);
    LmdMeshData mesh;
    LmdSubMeshData& sub = mesh.subMeshes.emplace_back();
    const float h = height * 0.5f;
    auto side = [](float x, float z) { return Ogre::Vector3(x, 0, z); };
    addRing(sub, segments, h, radius, 0.0f, side);
    addRing(sub, segments, -h, radius, 1.0f, side);
    joinRings(sub, 0, segments);
    addCap(sub, segments, h, radius, 1.0f);
    addCap(sub, segments, -h, radius, -1.0f);
    return mesh;
}

LmdMeshData LmdPrimitiveMesh::cone(float radius, float height, int segments) {
    segments = std::max(segments, 3);
    LmdMeshData mesh;
    LmdSubMeshData& sub = mesh.subMeshes.emplace_back();
    const float h = height * 0.5f;
    // The side's normal leans up by the slope.
    const float slope = radius / std::max(height, 1e-4f);
    auto side = [slope](float x, float z) { return Ogre::Vector3(x, slope, z).normalisedCopy(); };
    addRing(sub, segments, h, 0.0f, 0.0f, side); // the tip, one vertex per segment for smooth normals
    addRing(sub, segments, -h, radius, 1.0f, side);
    joinRings(sub, 0, segments);
    addCap(sub, segments, -h, radius, -1.0f);
    return mesh;
}

LmdMeshData LmdPrimitiveMesh::capsule(float radius, float height, int segments) {
    segments = std::max(segments, 4);
    height = std::max(height, radius * 2.0f);
    const int capRings = std::max(segments / 4, 2);
    const float half = height * 0.5f - radius; // centre of each hemisphere
    LmdMeshData mesh;
    LmdSubMeshData& sub = mesh.subMeshes.emplace_back();
    int rings = 0;
    // Top hemisphere from the tip to the equator, then the bottom one from its equator down.
    for (int hemisphere = 0; hemisphere < 2; ++hemisphere) {
        for (int r = 0; r <= capRings; ++r) {
            const float phi = hemisphere == 0 ? 0.5f * kPi * float(r) / float(capRings)
                                              : 0.5f * kPi + 0.5f * kPi * float(r) / float(capRings);
            const float ny = std::cos(phi), ringRadius = std::sin(phi);
            const float centreY = hemisphere == 0 ? half : -half;
            const float y = centreY + ny * radius;
            addRing(sub, segments, y, ringRadius * radius, 0.5f - y / height,
                    [&](float x, float z) { return Ogre::Vector3(x * ringRadius, ny, z * ringRadius).normalisedCopy(); });
            ++rings;
        }
    }
    for (int r = 0; r + 1 < rings; ++r)
        joinRings(sub, std::uint32_t(r * (segments + 1)), segments);
    return mesh;
}

} // namespace Lumenda3D
