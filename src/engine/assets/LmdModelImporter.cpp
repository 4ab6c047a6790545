#include "engine/assets/LmdModelImporter.h"

#include "base/LmdValueParser.h"
#include "engine/assets/LmdModelSkeleton.h"

#include <assimp/Importer.hpp>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>

namespace Lumenda3D {
namespace {

namespace fs = std::filesystem;

std::string lowerExtension(const std::string& path) {
    return LmdValueParser::toLower(fs::path(path).extension().string());
}

// The texture a material names, made absolute (or marked as embedded).
void readMaterial(const aiScene* scene, const aiMaterial* material, const fs::path& folder, LmdSubMeshData& sub) {
    aiColor4D colour;
    if (aiGetMaterialColor(material, AI_MATKEY_BASE_COLOR, &colour) == AI_SUCCESS ||
        aiGetMaterialColor(material, AI_MATKEY_COLOR_DIFFUSE, &colour) == AI_SUCCESS) {
        sub.hasDiffuse = true;
        sub.diffuse[0] = colour.r;
        sub.diffuse[1] = colour.g;
        sub.diffuse[2] = colour.b;
        sub.diffuse[3] = colour.a;
    }
    float opacity = 1.0f;
    if (aiGetMaterialFloat(material, AI_MATKEY_OPACITY, &opacity) == AI_SUCCESS && opacity > 0.0f && opacity < 1.0f)
        sub.diffuse[3] = opacity;

    aiString file;
    bool found = false;
    for (aiTextureType type : {aiTextureType_BASE_COLOR, aiTextureType_DIFFUSE}) {
        if (material->GetTextureCount(type) > 0 && material->GetTexture(type, 0, &file) == AI_SUCCESS) {
            found = true;
            break;
        }
    }
    if (!found || file.length == 0)
        return;
    if (const aiTexture* embedded = scene->GetEmbeddedTexture(file.C_Str())) {
        // Compressed images (png, jpg inside glb/fbx) have mHeight 0 and mWidth bytes.
        if (embedded->mHeight == 0 && embedded->pcData) {
            const auto* bytes = reinterpret_cast<const unsigned char*>(embedded->pcData);
            sub.embeddedTexture.assign(bytes, bytes + embedded->mWidth);
            sub.embeddedFormat = embedded->achFormatHint;
        }
        return;
    }
    std::string name = file.C_Str();
    std::replace(name.begin(), name.end(), '\\', '/');
    fs::path candidate = fs::path(name).is_absolute() ? fs::path(name) : folder / name;
    std::error_code ec;
    if (!fs::exists(candidate, ec)) // authors often leave paths of their own machine: try the bare name
        candidate = folder / fs::path(name).filename();
    if (fs::exists(candidate, ec))
        sub.texturePath = candidate.lexically_normal().string();
}

// The triangles of one mesh with its material; false when it has none.
bool readSubMesh(const aiScene* scene, const aiMesh* mesh, const fs::path& folder, LmdSubMeshData& sub) {
    if (!mesh || !(mesh->mPrimitiveTypes & aiPrimitiveType_TRIANGLE) || mesh->mNumVertices == 0)
        return false;
    sub.positions.reserve(size_t(mesh->mNumVertices) * 3);
    sub.normals.reserve(size_t(mesh->mNumVertices) * 3);
    sub.uvs.reserve(size_t(mesh->mNumVertices) * 2);
    for (unsigned v = 0; v < mesh->mNumVertices; ++v) {
        const aiVector3D& p = mesh->mVertices[v];
        const aiVector3D n = mesh->mNormals ? mesh->mNormals[v] : aiVector3D(0, 1, 0);
        const aiVector3D uv = mesh->mTextureCoords[0] ? mesh->mTextureCoords[0][v] : aiVector3D(0, 0, 0);
        sub.addVertex(Ogre::Vector3(p.x, p.y, p.z), Ogre::Vector3(n.x, n.y, n.z), uv.x, uv.y);
    }
    sub.indices.reserve(size_t(mesh->mNumFaces) * 3);
    for (unsigned f = 0; f < mesh->mNumFaces; ++f) {
        const aiFace& face = mesh->mFaces[f];
        if (face.mNumIndices != 3)
            continue;
        sub.indices.insert(sub.indices.end(), {face.mIndices[0], face.mIndices[1], face.mIndices[2]});
    }
    if (sub.indices.empty())
        return false;
    if (mesh->mMaterialIndex < scene->mNumMaterials)
        readMaterial(scene, scene->mMaterials[mesh->mMaterialIndex], folder, sub);
    return true;
}

// Every mesh the node hierarchy shows, posed on the skeleton, parents' meshes first.
void readPosedMeshes(const aiScene* scene, const aiNode* node, const LmdModelSkeleton& skeleton,
                     const fs::path& folder, LmdMeshData& out) {
    for (unsigned i = 0; i < node->mNumMeshes; ++i) {
        if (node->mMeshes[i] >= scene->mNumMeshes)
            continue;
        const aiMesh* mesh = scene->mMeshes[node->mMeshes[i]];
        LmdSubMeshData sub;
        if (!readSubMesh(scene, mesh, folder, sub))
            continue;
        skeleton.pose(node, mesh, sub);
        out.subMeshes.push_back(std::move(sub));
    }
    for (unsigned i = 0; i < node->mNumChildren; ++i)
        readPosedMeshes(scene, node->mChildren[i], skeleton, folder, out);
}

} // namespace

bool LmdModelImporter::isOgreMesh(const std::string& path) {
    return lowerExtension(path) == ".mesh";
}

bool LmdModelImporter::canRead(const std::string& path) {
    const std::string ext = lowerExtension(path);
    if (ext.empty() || ext == ".mesh")
        return false;
    Assimp::Importer importer;
    return importer.IsExtensionSupported(ext.c_str());
}

bool LmdModelImporter::load(const std::string& path, LmdMeshData& out, std::string& error) {
    out = LmdMeshData();
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) {
        error = "the file '" + path + "' does not exist";
        return false;
    }
    Assimp::Importer importer;
    // Points and lines have no place in a game mesh.
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    const unsigned flags = aiProcess_Triangulate | aiProcess_GenSmoothNormals | aiProcess_JoinIdenticalVertices |
                           aiProcess_SortByPType | aiProcess_FlipUVs | aiProcess_ImproveCacheLocality |
                           aiProcess_FindInvalidData | aiProcess_LimitBoneWeights;
    const aiScene* scene = importer.ReadFile(path, flags);
    auto unreadable = [&] {
        const char* why = importer.GetErrorString();
        error = "the model file '" + fs::path(path).filename().string() + "' cannot be read" +
                (why && *why ? std::string(": ") + why : std::string());
        return false;
    };
    if (!scene || (scene->mFlags & AI_SCENE_FLAGS_INCOMPLETE) || !scene->mRootNode)
        return unreadable();
    const fs::path folder = fs::path(path).parent_path();
    if (scene->mNumAnimations > 0) {
        // Animated: the hierarchy becomes a skeleton and the meshes keep their bones.
        const LmdModelSkeleton skeleton(scene);
        readPosedMeshes(scene, scene->mRootNode, skeleton, folder, out);
        if (!out.subMeshes.empty())
            out.skeleton = skeleton.data();
    } else {
        // Still: the hierarchy is flattened into the model's frame.
        scene = importer.ApplyPostProcessing(aiProcess_PreTransformVertices);
        if (!scene)
            return unreadable();
        for (unsigned m = 0; m < scene->mNumMeshes; ++m) {
            LmdSubMeshData sub;
            if (readSubMesh(scene, scene->mMeshes[m], folder, sub))
                out.subMeshes.push_back(std::move(sub));
        }
    }
    if (out.subMeshes.empty()) {
        error = "the model file '" + fs::path(path).filename().string() + "' holds no triangles";
        return false;
    }
    return true;
}

} // namespace Lumenda3D
