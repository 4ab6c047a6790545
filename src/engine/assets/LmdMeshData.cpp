#include "engine/assets/LmdMeshData.h"

namespace Lumenda3D {

void LmdSubMeshData::addVertex(const Ogre::Vector3& p, const Ogre::Vector3& n, float u, float v) {
    positions.insert(positions.end(), {p.x, p.y, p.z});
    normals.insert(normals.end(), {n.x, n.y, n.z});
    uvs.insert(uvs.end(), {u, v});
}

size_t LmdMeshData::vertexCount() const {
    size_t count = 0;
    for (const LmdSubMeshData& sub : subMeshes)
        count += sub.vertexCount();
    return count;
}

size_t LmdMeshData::triangleCount() const {
    size_t count = 0;
    for (const LmdSubMeshData& sub : subMeshes)
        count += sub.triangleCount();
    return count;
}

Ogre::AxisAlignedBox LmdMeshData::bounds() const {
    Ogre::AxisAlignedBox box;
    for (const LmdSubMeshData& sub : subMeshes)
        for (size_t i = 0; i + 2 < sub.positions.size(); i += 3)
            box.merge(Ogre::Vector3(sub.positions[i], sub.positions[i + 1], sub.positions[i + 2]));
    return box;
}

void LmdMeshData::scale(float factor) {
    for (LmdSubMeshData& sub : subMeshes)
        for (float& p : sub.positions)
            p *= factor;
}

bool LmdMeshData::setVertex(size_t submesh, size_t index, const Ogre::Vector3& position) {
    if (submesh >= subMeshes.size() || index >= subMeshes[submesh].vertexCount())
        return false;
    float* p = &subMeshes[submesh].positions[index * 3];
    p[0] = position.x;
    p[1] = position.y;
    p[2] = position.z;
    return true;
}

void LmdMeshData::recomputeNormals() {
    for (LmdSubMeshData& sub : subMeshes) {
        std::vector<Ogre::Vector3> sums(sub.vertexCount(), Ogre::Vector3::ZERO);
        for (size_t t = 0; t + 2 < sub.indices.size(); t += 3) {
            const std::uint32_t a = sub.indices[t], b = sub.indices[t + 1], c = sub.indices[t + 2];
            if (a >= sums.size() || b >= sums.size() || c >= sums.size())
                continue;
            const Ogre::Vector3 pa(&sub.positions[a * 3]), pb(&sub.positions[b * 3]), pc(&sub.positions[c * 3]);
            const Ogre::Vector3 n = (pb - pa).crossProduct(pc - pa); // area-weighted
            sums[a] += n;
            sums[b] += n;
            sums[c] += n;
        }
        for (size_t i = 0; i < sums.size(); ++i) {
            Ogre::Vector3 n = sums[i];
            if (n.squaredLength() < 1e-20f)
                continue;
            n.normalise();
            sub.normals[i * 3] = n.x;
            sub.normals[i * 3 + 1] = n.y;
            sub.normals[i * 3 + 2] = n.z;
        }
    }
}

} // namespace Lumenda3D
