#include "engine/assets/LmdOgreMesh.h"

#include "engine/assets/LmdOgreSkeleton.h"

#include <OgreHardwareBufferManager.h>
#include <OgreMeshManager.h>
#include <OgreSkeleton.h>
#include <OgreSubMesh.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace Lumenda3D {

namespace {

// Positions and normals (and, for a still mesh, texture coordinates) interleaved in buffer 0. A
// skinned mesh keeps its texture coordinates in buffer 1: OGRE blends positions and normals on
// the CPU into copies of their buffer only.
void writeVertices(Ogre::VertexData& vertexData, const LmdSubMeshData& src, bool skinned) {
    const size_t vertexCount = vertexData.vertexCount;
    Ogre::VertexDeclaration* decl = vertexData.vertexDeclaration;
    const size_t float3 = Ogre::VertexElement::getTypeSize(Ogre::VET_FLOAT3);
    decl->addElement(0, 0, Ogre::VET_FLOAT3, Ogre::VES_POSITION);
    decl->addElement(0, float3, Ogre::VET_FLOAT3, Ogre::VES_NORMAL);
    decl->addElement(skinned ? 1 : 0, skinned ? 0 : 2 * float3, Ogre::VET_FLOAT2, Ogre::VES_TEXTURE_COORDINATES, 0);
    const size_t floats = skinned ? 6 : 8; // per vertex in buffer 0

    std::vector<float> main(vertexCount * floats), uvs(skinned ? vertexCount * 2 : 0);
    for (size_t v = 0; v < vertexCount; ++v) {
        float* out = &main[v * floats];
        std::memcpy(out, &src.positions[v * 3], 3 * sizeof(float));
        if (src.normals.size() >= (v + 1) * 3)
            std::memcpy(out + 3, &src.normals[v * 3], 3 * sizeof(float));
        else
            out[3] = 0, out[4] = 1, out[5] = 0;
        float* uv = skinned ? &uvs[v * 2] : out + 6;
        if (src.uvs.size() >= (v + 1) * 2)
            std::memcpy(uv, &src.uvs[v * 2], 2 * sizeof(float));
        else
            uv[0] = uv[1] = 0;
    }
    auto bind = [&](unsigned short source, size_t perVertex, const std::vector<float>& values) {
        Ogre::HardwareVertexBufferSharedPtr buffer = Ogre::HardwareBufferManager::getSingleton().createVertexBuffer(
            perVertex * sizeof(float), vertexCount, Ogre::HardwareBuffer::HBU_STATIC_WRITE_ONLY, true);
        buffer->writeData(0, buffer->getSizeInBytes(), values.data(), true);
        vertexData.vertexBufferBinding->setBinding(source, buffer);
    };
    bind(0, floats, main);
    if (skinned)
        bind(1, 2, uvs);
}

} // namespace

Ogre::MeshPtr LmdOgreMesh::create(const std::string& name, const LmdMeshData& data,
                                  const std::vector<std::string>& materials, const std::string& group) {
    remove(name);
    Ogre::MeshPtr mesh = Ogre::MeshManager::getSingleton().createManual(name, group);
    Ogre::HardwareBufferManager& buffers = Ogre::HardwareBufferManager::getSingleton();
    const bool skinned = !data.skeleton.empty();
    if (skinned) {
        Ogre::SkeletonPtr skeleton = LmdOgreSkeleton::create(skeletonName(name), data.skeleton, group);
        mesh->_notifySkeleton(skeleton);
    }
    for (size_t s = 0; s < data.subMeshes.size(); ++s) {
        const LmdSubMeshData& src = data.subMeshes[s];
        const size_t vertexCount = src.vertexCount();
        if (vertexCount == 0 || src.indices.empty())
            continue;
        Ogre::SubMesh* sub = mesh->createSubMesh();
        sub->useSharedVertices = false;
        sub->vertexData = OGRE_NEW Ogre::VertexData();
        sub->vertexData->vertexCount = vertexCount;
        writeVertices(*sub->vertexData, src, skinned);
        if (skinned)
            for (const LmdBoneWeight& weight : src.boneWeights)
                if (weight.vertex < vertexCount && weight.bone < data.skeleton.bones.size())
                    sub->addBoneAssignment({weight.vertex, weight.bone, weight.weight});

        const bool wide = vertexCount > std::numeric_limits<std::uint16_t>::max();
        Ogre::HardwareIndexBufferSharedPtr ibuf =
            buffers.createIndexBuffer(wide ? Ogre::HardwareIndexBuffer::IT_32BIT : Ogre::HardwareIndexBuffer::IT_16BIT,
                                      src.indices.size(), Ogre::HardwareBuffer::HBU_STATIC_WRITE_ONLY, true);
        if (wide) {
            ibuf->writeData(0, ibuf->getSizeInBytes(), src.indices.data(), true);
        } else {
            std::vector<std::uint16_t> narrow(src.indices.begin(), src.indices.end());
            ibuf->writeData(0, ibuf->getSizeInBytes(), narrow.data(), true);
        }
        sub->indexData->indexBuffer = ibuf;
        sub->indexData->indexCount = src.indices.size();
        sub->indexData->indexStart = 0;
        if (!materials.empty())
            sub->setMaterialName(materials[std::min(s, materials.size() - 1)], group);
    }
    Ogre::AxisAlignedBox box = data.bounds();
    if (box.isNull())
        box = Ogre::AxisAlignedBox(Ogre::Vector3(-0.01f), Ogre::Vector3(0.01f));
    // A flat plane still needs some thickness for culling and picking.
    Ogre::Vector3 minimum = box.getMinimum(), maximum = box.getMaximum();
    for (int axis = 0; axis < 3; ++axis)
        if (maximum[axis] - minimum[axis] < 0.002f) {
            minimum[axis] -= 0.001f;
            maximum[axis] += 0.001f;
        }
    box.setExtents(minimum, maximum);
    mesh->_setBounds(box, false);
    mesh->_setBoundingSphereRadius(std::max(minimum.length(), maximum.length()));
    if (skinned) {
        mesh->_updateCompiledBoneAssignments();
        // Entities grow their bounds around the moving bones by this much (LmdBase3D).
        mesh->_computeBoneBoundingRadius();
    }
    mesh->load();
    return mesh;
}

bool LmdOgreMesh::read(const Ogre::MeshPtr& mesh, LmdMeshData& out) {
    out = LmdMeshData();
    if (!mesh)
        return false;
    for (unsigned short s = 0; s < mesh->getNumSubMeshes(); ++s) {
        const Ogre::SubMesh* sub = mesh->getSubMesh(s);
        const Ogre::VertexData* vdata = sub->useSharedVertices ? mesh->sharedVertexData : sub->vertexData;
        if (!vdata || !sub->indexData || !sub->indexData->indexBuffer)
            continue;
        LmdSubMeshData dst;
        const Ogre::VertexElement* pos = vdata->vertexDeclaration->findElementBySemantic(Ogre::VES_POSITION);
        const Ogre::VertexElement* nrm = vdata->vertexDeclaration->findElementBySemantic(Ogre::VES_NORMAL);
        const Ogre::VertexElement* tex = vdata->vertexDeclaration->findElementBySemantic(Ogre::VES_TEXTURE_COORDINATES);
        if (!pos || pos->getType() != Ogre::VET_FLOAT3)
            continue;
        auto readElement = [&](const Ogre::VertexElement* element, int components, std::vector<float>& target) {
            Ogre::HardwareVertexBufferSharedPtr buffer = vdata->vertexBufferBinding->getBuffer(element->getSource());
            Ogre::HardwareBufferLockGuard lock(buffer, Ogre::HardwareBuffer::HBL_READ_ONLY);
            const auto* base = static_cast<const unsigned char*>(lock.pData) + vdata->vertexStart * buffer->getVertexSize();
            for (size_t v = 0; v < vdata->vertexCount; ++v) {
                const float* f = nullptr;
                element->baseVertexPointerToElement(const_cast<unsigned char*>(base + v * buffer->getVertexSize()), &f);
                target.insert(target.end(), f, f + components);
            }
        };
        readElement(pos, 3, dst.positions);
        if (nrm && nrm->getType() == Ogre::VET_FLOAT3)
            readElement(nrm, 3, dst.normals);
        else
            dst.normals.assign(dst.positions.size(), 0.0f);
        if (tex && tex->getType() == Ogre::VET_FLOAT2)
            readElement(tex, 2, dst.uvs);
        else
            dst.uvs.assign(vdata->vertexCount * 2, 0.0f);

        const Ogre::IndexData* idata = sub->indexData;
        Ogre::HardwareIndexBufferSharedPtr ibuf = idata->indexBuffer;
        Ogre::HardwareBufferLockGuard lock(ibuf, Ogre::HardwareBuffer::HBL_READ_ONLY);
        const bool wide = ibuf->getType() == Ogre::HardwareIndexBuffer::IT_32BIT;
        for (size_t i = 0; i < idata->indexCount; ++i) {
            const size_t at = idata->indexStart + i;
            dst.indices.push_back(wide ? static_cast<const std::uint32_t*>(lock.pData)[at]
                                       : static_cast<const std::uint16_t*>(lock.pData)[at]);
        }
        out.subMeshes.push_back(std::move(dst));
    }
    return !out.subMeshes.empty();
}

void LmdOgreMesh::remove(const std::string& name) {
    Ogre::MeshManager& meshes = Ogre::MeshManager::getSingleton();
    if (Ogre::ResourcePtr existing = meshes.getResourceByName(name, Ogre::RGN_DEFAULT))
        meshes.remove(existing);
    LmdOgreSkeleton::remove(skeletonName(name));
}

std::string LmdOgreMesh::skeletonName(const std::string& meshName) {
    return meshName + "/Skeleton";
}

} // namespace Lumenda3D
