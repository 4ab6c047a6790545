#pragma once
// The skeleton of an animated model file, made from the scene Assimp read. Every node of the
// file's hierarchy that matters becomes a bone: the nodes that skin a mesh, the nodes that carry
// a mesh, the nodes an animation moves, and their ancestors. The bones' rest pose is the
// hierarchy as the file stores it, so a model stands as its author placed it.
//
// Vertices are placed in that rest pose: a skinned vertex where its bones put it (the blend of
// each bone's rest transform times its offset matrix), any other vertex where its node puts it.
// A mesh without skinning is bound whole to its node's bone, so animations that move whole
// parts (a door, a wheel) work as well as skinned characters.
//
// Animation channels become tracks of keyframes in seconds (Assimp's ticks divided by the
// file's ticks per second, 25 when the file gives none). Position, rotation and scale keys of a
// channel may fall at different times; every key time gets all three, interpolated.
#include <map>
#include <set>
#include <string>
#include <vector>

#include <assimp/matrix4x4.h>

#include "engine/assets/LmdMeshData.h"

struct aiMesh;
struct aiNode;
struct aiScene;

namespace Lumenda3D {

class LmdModelSkeleton {
public:
    // Ticks per second of a file that does not say.
    static constexpr double kDefaultTicksPerSecond = 25.0;

    explicit LmdModelSkeleton(const aiScene* scene);

    // Moves the vertices of `mesh` (already copied into `sub`, one for one) into the rest pose
    // of the instance that `node` shows, and gives each vertex the bones that move it.
    void pose(const aiNode* node, const aiMesh* mesh, LmdSubMeshData& sub) const;

    const LmdSkeletonData& data() const { return mData; }

private:
    void addBones(const aiNode* node, int parent, const aiMatrix4x4& parentGlobal);
    void addAnimations();
    int boneOf(const aiNode* node) const;
    std::string uniqueBoneName(const std::string& wanted) const;

    const aiScene* mScene;
    LmdSkeletonData mData;
    std::set<const aiNode*> mNeeded;
    std::map<const aiNode*, int> mBoneOfNode;
    std::vector<aiMatrix4x4> mGlobal; // each bone's rest transform in the model's frame
};

} // namespace Lumenda3D
