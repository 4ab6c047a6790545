#include "engine/assets/LmdMeshLibrary.h"

#include "base/LmdLog.h"
#include "engine/assets/LmdAssetResolver.h"
#include "engine/assets/LmdMaterialFactory.h"
#include "engine/assets/LmdModelImporter.h"
#include "engine/assets/LmdOgreMesh.h"
#include "engine/assets/LmdPrimitiveMesh.h"
#include "engine/scene/LmdSceneFaults.h"

#include <OgreMaterialManager.h>
#include <OgreAnimation.h>
#include <OgreMeshManager.h>
#include <OgreSkeleton.h>
#include <OgreSkeletonManager.h>
#include <OgreResourceGroupManager.h>
#include <OgreSubMesh.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace Lumenda3D {
namespace {

namespace fs = std::filesystem;
const char* const kGroup = Ogre::RGN_DEFAULT;
const char* const kModelFileGroup = "LmdModelFiles";

std::string number(float value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%g", double(value));
    return buffer;
}

std::string primitiveKey(const LmdObjectDesc& o) {
    switch (o.kind) {
    case LmdObjectKind::Box:
        return "Box/" + number(o.size.x) + "/" + number(o.size.y) + "/" + number(o.size.z);
    case LmdObjectKind::Plane:
        return "Plane/" + number(o.size.x) + "/" + number(o.size.z);
    case LmdObjectKind::Sphere:
        return "Sphere/" + number(o.radius) + "/" + std::to_string(o.segments);
    case LmdObjectKind::Cylinder:
        return "Cylinder/" + number(o.radius) + "/" + number(o.size.y) + "/" + std::to_string(o.segments);
    case LmdObjectKind::Cone:
        return "Cone/" + number(o.radius) + "/" + number(o.size.y) + "/" + std::to_string(o.segments);
    case LmdObjectKind::Capsule:
        return "Capsule/" + number(o.radius) + "/" + number(o.size.y);
    default:
        return std::string();
    }
}

LmdMeshData primitiveData(const LmdObjectDesc& o) {
    switch (o.kind) {
    case LmdObjectKind::Box: return LmdPrimitiveMesh::box(o.size.x, o.size.y, o.size.z);
    case LmdObjectKind::Plane: return LmdPrimitiveMesh::plane(o.size.x, o.size.z);
    case LmdObjectKind::Sphere: return LmdPrimitiveMesh::sphere(o.radius, o.segments);
    case LmdObjectKind::Cylinder: return LmdPrimitiveMesh::cylinder(o.radius, o.size.y, o.segments);
    case LmdObjectKind::Cone: return LmdPrimitiveMesh::cone(o.radius, o.size.y, o.segments);
    case LmdObjectKind::Capsule: return LmdPrimitiveMesh::capsule(o.radius, o.size.y, 24);
    default: return LmdMeshData();
    }
}

// One log line with the clips of an animated model, so that whoever writes the game's
// PlayAnimation blocks can find their names.
void logAnimations(const std::string& fileName, const std::string& meshName) {
    Ogre::MeshPtr mesh = Ogre::MeshManager::getSingleton().getByName(meshName, Ogre::RGN_AUTODETECT);
    if (!mesh || !mesh->hasSkeleton() || !mesh->getSkeleton() || mesh->getSkeleton()->getNumAnimations() == 0)
        return;
    const Ogre::SkeletonPtr& skeleton = mesh->getSkeleton();
    std::string clips;
    for (unsigned short i = 0; i < skeleton->getNumAnimations(); ++i) {
        char length[32];
        std::snprintf(length, sizeof length, " (%.2f s)", double(skeleton->getAnimation(i)->getLength()));
        clips += (i ? ", " : "") + skeleton->getAnimation(i)->getName() + length;
    }
    LmdLog::message("Model '" + fileName + "' has animations: " + clips);
}

float fitFactor(const LmdMeshData& data) {
    const Ogre::AxisAlignedBox box = data.bounds();
    if (box.isNull())
        return 1.0f;
    const Ogre::Vector3 size = box.getSize();
    const float largest = std::max({size.x, size.y, size.z});
    return largest > 1e-6f ? 1.0f / largest : 1.0f;
}

} // namespace

LmdMeshLibrary::LmdMeshLibrary(const LmdAssetResolver& resolver, LmdMaterialFactory& materials, LmdSceneFaults& faults)
    : mResolver(resolver), mMaterials(materials), mFaults(faults) {}

LmdMeshLibrary::~LmdMeshLibrary() = default;

LmdMeshLibrary::Entry* LmdMeshLibrary::primitive(const LmdObjectDesc& object) {
    const std::string key = primitiveKey(object);
    if (key.empty())
        return nullptr;
    auto found = mPrimitives.find(key);
    if (found != mPrimitives.end())
        return &found->second;
    Entry entry;
    entry.data = std::make_unique<LmdMeshData>(primitiveData(object));
    entry.mesh = "Lmd/Primitive/" + key;
    LmdOgreMesh::create(entry.mesh, *entry.data, {}, kGroup);
    entry.ok = true;
    return &mPrimitives.emplace(key, std::move(entry)).first->second;
}

LmdMeshLibrary::Entry* LmdMeshLibrary::model(const LmdObjectDesc& object) {
    if (object.fileName.empty())
        return nullptr;
    const std::string path = mResolver.resolve(object.fileName, LmdAssetResolver::Kind::Model);
    const std::string key = path.empty() ? "missing:" + object.fileName : path;
    auto found = mModels.find(key);
    if (found != mModels.end()) {
        if (!found->second.ok)
            mFaults.report(object.node, found->second.error);
        return found->second.ok ? &found->second : nullptr;
    }
    Entry& entry = mModels[key];
    if (path.empty()) {
        entry.error = "the model file '" + object.fileName + "' was not found; an empty placeholder stands in its place";
        mFaults.report(object.node, entry.error);
        return nullptr;
    }
    std::string error;
    entry.data = std::make_unique<LmdMeshData>();
    if (LmdModelImporter::isOgreMesh(path)) {
        try {
            auto& groups = Ogre::ResourceGroupManager::getSingleton();
            if (!groups.resourceGroupExists(kModelFileGroup))
                groups.createResourceGroup(kModelFileGroup);
            const std::string folder = fs::path(path).parent_path().string();
            if (std::find(mModelFolders.begin(), mModelFolders.end(), folder) == mModelFolders.end()) {
                groups.addResourceLocation(folder, "FileSystem", kModelFileGroup);
                mModelFolders.push_back(folder);
            }
            Ogre::MeshPtr mesh = Ogre::MeshManager::getSingleton().load(fs::path(path).filename().string(), kModelFileGroup);
            entry.mesh = mesh->getName();
            for (unsigned short s = 0; s < mesh->getNumSubMeshes(); ++s) {
                const std::string& own = mesh->getSubMesh(s)->getMaterialName();
                const bool exists = !own.empty() && Ogre::MaterialManager::getSingleton().resourceExists(own);
                entry.materials.push_back(exists ? std::string() : mMaterials.colour(0xFFFFFF));
            }
            LmdOgreMesh::read(mesh, *entry.data);
            entry.ok = true;
        } catch (const std::exception& e) {
            error = std::string("the model file '") + object.fileName + "' cannot be read: " + e.what();
        }
    } else if (LmdModelImporter::load(path, *entry.data, error)) {
        entry.mesh = "Lmd/Model/" + std::to_string(++mSerial) + "/" + fs::path(path).filename().string();
        for (size_t s = 0; s < entry.data->subMeshes.size(); ++s)
            entry.materials.push_back(
                mMaterials.model(std::to_string(mSerial), s, entry.data->subMeshes[s], object.node, mFaults));
        LmdOgreMesh::create(entry.mesh, *entry.data, entry.materials, kGroup);
        entry.ok = true;
    }
    if (entry.ok)
        logAnimations(object.fileName, entry.mesh);
    if (!entry.ok) {
        entry.error = error + "; an empty placeholder stands in its place";
        mFaults.report(object.node, entry.error);
        return nullptr;
    }
    entry.autoScale = fitFactor(*entry.data);
    return &entry;
}

bool LmdMeshLibrary::applyVertices(const LmdObjectDesc& object, const Entry& base, Shape& out) {
    LmdMeshData data = *base.data;
    const float shapeScale = object.kind == LmdObjectKind::Model && object.autoScale ? base.autoScale : 1.0f;
    int ignored = 0;
    for (const LmdVertexOffset& v : object.vertices)
        if (!data.setVertex(size_t(v.submesh), size_t(v.index), v.offset / shapeScale))
            ++ignored;
    if (ignored > 0)
        mFaults.report(object.node, std::to_string(ignored) +
                                        " moved vertices name no vertex of the mesh (num or pos too large); they are ignored");
    data.recomputeNormals();
    const std::string key = std::to_string(object.xmlId) + "/" + std::to_string(++mSerial);
    Entry entry;
    entry.data = std::make_unique<LmdMeshData>(std::move(data));
    entry.mesh = "Lmd/Edited/" + key;
    entry.materials = base.materials;
    entry.autoScale = base.autoScale;
    LmdOgreMesh::create(entry.mesh, *entry.data, entry.materials, kGroup);
    entry.ok = true;
    Entry& stored = mEdited[key] = std::move(entry);
    out.mesh = stored.mesh;
    out.materials = stored.materials;
    out.data = stored.data.get();
    out.autoScale = stored.autoScale;
    return true;
}

bool LmdMeshLibrary::shapeOf(const LmdObjectDesc& object, Shape& out) {
    out = Shape();
    Entry* entry = object.kind == LmdObjectKind::Model ? model(object) : primitive(object);
    if (!entry || !entry->ok)
        return false;
    if (!object.vertices.empty())
        return applyVertices(object, *entry, out);
    out.mesh = entry->mesh;
    out.materials = entry->materials;
    out.data = entry->data.get();
    out.autoScale = entry->autoScale;
    return true;
}

std::string LmdMeshLibrary::markerMesh(LmdObjectKind kind) {
    LmdObjectDesc marker;
    switch (kind) {
    case LmdObjectKind::Camera: // a small box with a lens
        marker.kind = LmdObjectKind::Box;
        marker.size = Ogre::Vector3(0.3f, 0.25f, 0.4f);
        break;
    case LmdObjectKind::SpotLight:
        marker.kind = LmdObjectKind::Cone;
        marker.radius = 0.15f;
        marker.size = Ogre::Vector3(0.3f, 0.3f, 0.3f);
        marker.segments = 12;
        break;
    default:
        marker.kind = LmdObjectKind::Sphere;
        marker.radius = 0.15f;
        marker.segments = 12;
        break;
    }
    Entry* entry = primitive(marker);
    return entry ? entry->mesh : std::string();
}

void LmdMeshLibrary::clearDocumentResources() {
    Ogre::MeshManager& meshes = Ogre::MeshManager::getSingleton();
    std::vector<std::string> groups{kGroup};
    if (Ogre::ResourceGroupManager::getSingleton().resourceGroupExists(kModelFileGroup))
        groups.push_back(kModelFileGroup);
    for (auto* table : {&mModels, &mEdited})
        for (auto& [key, entry] : *table)
            if (!entry.mesh.empty())
                for (const std::string& group : groups)
                    if (Ogre::ResourcePtr existing = meshes.getResourceByName(entry.mesh, group)) {
                        // A skeleton goes with its mesh: the one made for an animated model, or
                        // the .skeleton file an OGRE mesh linked.
                        auto mesh = Ogre::static_pointer_cast<Ogre::Mesh>(existing);
                        const Ogre::SkeletonPtr skeleton = mesh->hasSkeleton() ? mesh->getSkeleton() : Ogre::SkeletonPtr();
                        meshes.remove(existing);
                        if (skeleton)
                            Ogre::SkeletonManager::getSingleton().remove(skeleton);
                    }
    mModels.clear();
    mEdited.clear();
}

} // namespace Lumenda3D
