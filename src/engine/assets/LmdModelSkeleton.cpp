#include "engine/assets/LmdModelSkeleton.h"

#include <assimp/anim.h>
#include <assimp/scene.h>

#include <algorithm>

namespace Lumenda3D {
namespace {

Ogre::Vector3 toOgre(const aiVector3D& v) {
    return Ogre::Vector3(v.x, v.y, v.z);
}

Ogre::Quaternion toOgre(const aiQuaternion& q) {
    return Ogre::Quaternion(q.w, q.x, q.y, q.z);
}

LmdBonePose poseOf(const aiMatrix4x4& transform) {
    aiVector3D scaling, position;
    aiQuaternion rotation;
    transform.Decompose(scaling, rotation, position);
    LmdBonePose pose;
    pose.position = toOgre(position);
    pose.orientation = toOgre(rotation);
    pose.orientation.normalise();
    pose.scale = toOgre(scaling);
    return pose;
}

// The value of a key track at `time`: linear between keys, the end keys' values outside them.
template <typename Key, typename Value, typename Blend>
Value sample(const Key* keys, unsigned count, double time, const Value& fallback, Blend blend) {
    if (!keys || count == 0)
        return fallback;
    if (time <= keys[0].mTime)
        return keys[0].mValue;
    for (unsigned i = 1; i < count; ++i)
        if (time <= keys[i].mTime) {
            const double span = keys[i].mTime - keys[i - 1].mTime;
            const float f = span > 0 ? float((time - keys[i - 1].mTime) / span) : 1.0f;
            return blend(keys[i - 1].mValue, keys[i].mValue, f);
        }
    return keys[count - 1].mValue;
}

aiVector3D lerp(const aiVector3D& a, const aiVector3D& b, float f) {
    return a + (b - a) * f;
}

aiQuaternion slerp(const aiQuaternion& a, const aiQuaternion& b, float f) {
    aiQuaternion out;
    aiQuaternion::Interpolate(out, a, b, f);
    return out.Normalize();
}

std::string uniqueName(const std::string& wanted, const std::vector<std::string>& taken) {
    if (std::find(taken.begin(), taken.end(), wanted) == taken.end())
        return wanted;
    for (int n = 2;; ++n) {
        const std::string candidate = wanted + " " + std::to_string(n);
        if (std::find(taken.begin(), taken.end(), candidate) == taken.end())
            return candidate;
    }
}

void markWithAncestors(const aiNode* node, std::set<const aiNode*>& marked) {
    for (; node && marked.insert(node).second; node = node->mParent) {
    }
}

void markMeshNodes(const aiNode* node, std::set<const aiNode*>& marked) {
    if (node->mNumMeshes > 0)
        markWithAncestors(node, marked);
    for (unsigned i = 0; i < node->mNumChildren; ++i)
        markMeshNodes(node->mChildren[i], marked);
}

} // namespace

LmdModelSkeleton::LmdModelSkeleton(const aiScene* scene) : mScene(scene) {
    if (!scene || !scene->mRootNode)
        return;
    const aiNode* root = scene->mRootNode;
    markMeshNodes(root, mNeeded);
    for (unsigned m = 0; m < scene->mNumMeshes; ++m)
        for (unsigned b = 0; b < scene->mMeshes[m]->mNumBones; ++b)
            markWithAncestors(root->FindNode(scene->mMeshes[m]->mBones[b]->mName), mNeeded);
    for (unsigned a = 0; a < scene->mNumAnimations; ++a)
        for (unsigned c = 0; c < scene->mAnimations[a]->mNumChannels; ++c)
            markWithAncestors(root->FindNode(scene->mAnimations[a]->mChannels[c]->mNodeName), mNeeded);
    addBones(root, -1, aiMatrix4x4());
    addAnimations();
}

std::string LmdModelSkeleton::uniqueBoneName(const std::string& wanted) const {
    std::vector<std::string> taken;
    taken.reserve(mData.bones.size());
    for (const LmdBoneData& bone : mData.bones)
        taken.push_back(bone.name);
    return uniqueName(wanted.empty() ? std::string("Bone") : wanted, taken);
}

void LmdModelSkeleton::addBones(const aiNode* node, int parent, const aiMatrix4x4& parentGlobal) {
    if (!mNeeded.count(node))
        return;
    LmdBoneData bone;
    bone.name = uniqueBoneName(node->mName.C_Str());
    bone.parent = parent;
    bone.rest = poseOf(node->mTransformation);
    const int index = int(mData.bones.size());
    mData.bones.push_back(std::move(bone));
    mBoneOfNode[node] = index;
    mGlobal.push_back(parentGlobal * node->mTransformation);
    const aiMatrix4x4 global = mGlobal.back();
    for (unsigned i = 0; i < node->mNumChildren; ++i)
        addBones(node->mChildren[i], index, global);
}

int LmdModelSkeleton::boneOf(const aiNode* node) const {
    auto found = mBoneOfNode.find(node);
    return found == mBoneOfNode.end() ? -1 : found->second;
}

void LmdModelSkeleton::addAnimations() {
    std::vector<std::string> names;
    for (unsigned a = 0; a < mScene->mNumAnimations; ++a) {
        const aiAnimation* source = mScene->mAnimations[a];
        const double ticks = source->mTicksPerSecond > 0 ? source->mTicksPerSecond : kDefaultTicksPerSecond;
        LmdAnimationData animation;
        const std::string wanted = source->mName.length > 0 ? source->mName.C_Str() : "Animation";
        animation.name = uniqueName(wanted, names);
        names.push_back(animation.name);
        double lastKey = 0;
        for (unsigned c = 0; c < source->mNumChannels; ++c) {
            const aiNodeAnim* channel = source->mChannels[c];
            const int bone = boneOf(mScene->mRootNode->FindNode(channel->mNodeName));
            if (bone < 0)
                continue;
            std::vector<double> times;
            for (unsigned k = 0; k < channel->mNumPositionKeys; ++k)
                times.push_back(channel->mPositionKeys[k].mTime);
            for (unsigned k = 0; k < channel->mNumRotationKeys; ++k)
                times.push_back(channel->mRotationKeys[k].mTime);
            for (unsigned k = 0; k < channel->mNumScalingKeys; ++k)
                times.push_back(channel->mScalingKeys[k].mTime);
            std::sort(times.begin(), times.end());
            times.erase(std::unique(times.begin(), times.end()), times.end());
            if (times.empty())
                continue;
            // The rest pose fills in what a channel leaves out.
            aiVector3D restScale, restPosition;
            aiQuaternion restRotation;
            mScene->mRootNode->FindNode(channel->mNodeName)->mTransformation.Decompose(restScale, restRotation, restPosition);
            LmdBoneTrack track;
            track.bone = bone;
            for (double t : times) {
                LmdBoneKey key;
                key.time = float(std::max(0.0, t) / ticks);
                key.pose.position = toOgre(sample(channel->mPositionKeys, channel->mNumPositionKeys, t, restPosition, lerp));
                key.pose.orientation = toOgre(sample(channel->mRotationKeys, channel->mNumRotationKeys, t, restRotation, slerp));
                key.pose.orientation.normalise();
                key.pose.scale = toOgre(sample(channel->mScalingKeys, channel->mNumScalingKeys, t, restScale, lerp));
                track.keys.push_back(key);
            }
            lastKey = std::max(lastKey, times.back() / ticks);
            animation.tracks.push_back(std::move(track));
        }
        const double duration = source->mDuration / ticks;
        animation.length = float(std::max(duration, lastKey));
        mData.animations.push_back(std::move(animation));
    }
}

void LmdModelSkeleton::pose(const aiNode* node, const aiMesh* mesh, LmdSubMeshData& sub) const {
    const int nodeBone = std::max(boneOf(node), 0);
    const size_t count = sub.vertexCount();
    std::vector<aiVector3D> positions(count), normals(count);
    std::vector<float> total(count, 0.0f);
    sub.boneWeights.clear();
    for (unsigned b = 0; b < mesh->mNumBones; ++b) {
        const aiBone* source = mesh->mBones[b];
        const int bone = boneOf(mScene->mRootNode->FindNode(source->mName));
        if (bone < 0)
            continue;
        // From the mesh's frame into the bone's, then out to where the bone rests.
        const aiMatrix4x4 skin = mGlobal[size_t(bone)] * source->mOffsetMatrix;
        aiMatrix3x3 normalSkin(skin);
        normalSkin.Inverse().Transpose();
        for (unsigned w = 0; w < source->mNumWeights; ++w) {
            const aiVertexWeight& weight = source->mWeights[w];
            if (weight.mVertexId >= count || !(weight.mWeight > 0.0f))
                continue;
            positions[weight.mVertexId] += (skin * mesh->mVertices[weight.mVertexId]) * weight.mWeight;
            if (mesh->mNormals)
                normals[weight.mVertexId] += (normalSkin * mesh->mNormals[weight.mVertexId]) * weight.mWeight;
            total[weight.mVertexId] += weight.mWeight;
            sub.boneWeights.push_back({weight.mVertexId, std::uint16_t(bone), weight.mWeight});
        }
    }
    for (LmdBoneWeight& weight : sub.boneWeights)
        weight.weight /= total[weight.vertex];

    const aiMatrix4x4& rigid = mGlobal.empty() ? aiMatrix4x4() : mGlobal[size_t(nodeBone)];
    aiMatrix3x3 rigidNormal(rigid);
    rigidNormal.Inverse().Transpose();
    for (size_t v = 0; v < count; ++v) {
        aiVector3D p, n;
        if (total[v] > 0.0f) {
            p = positions[v] / total[v];
            n = normals[v];
        } else {
            // Not skinned: the vertex moves with the node that shows the mesh.
            p = rigid * mesh->mVertices[v];
            n = mesh->mNormals ? rigidNormal * mesh->mNormals[v] : aiVector3D(0, 1, 0);
            sub.boneWeights.push_back({std::uint32_t(v), std::uint16_t(nodeBone), 1.0f});
        }
        if (n.SquareLength() > 1e-20f)
            n.Normalize();
        else
            n = aiVector3D(0, 1, 0);
        float* position = &sub.positions[v * 3];
        float* normal = &sub.normals[v * 3];
        position[0] = p.x, position[1] = p.y, position[2] = p.z;
        normal[0] = n.x, normal[1] = n.y, normal[2] = n.z;
    }
}

} // namespace Lumenda3D
