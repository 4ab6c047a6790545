// Animated model files: the skeleton, clips and bone weights read with Assimp, and the OGRE
// skeleton made from them (bones, binding pose, clips that move the bones).
#include "engine/assets/LmdModelImporter.h"

#include <string>

#include <OgreAnimation.h>
#include <OgreAnimationState.h>
#include <OgreBone.h>
#include <OgreEntity.h>
#include <OgreMeshManager.h>
#include <OgreSceneManager.h>
#include <OgreSkeletonInstance.h>
#include <OgreSkeletonManager.h>
#include <gtest/gtest.h>

#include "TestDataRoot.h"
#include "engine/AnimatedModelFile.h"
#include "engine/HeadlessOgre.h"
#include "engine/assets/LmdOgreMesh.h"

namespace Lumenda3D {
namespace {

class ModelAnimationTest : public ::testing::Test {
protected:
    ModelAnimationTest() {
        path = (root.path() / "arm.gltf").string();
        test::AnimatedModelFile::write(path);
    }

    const LmdAnimationData* clip(const LmdMeshData& data, const std::string& name) {
        for (const LmdAnimationData& animation : data.skeleton.animations)
            if (animation.name == name)
                return &animation;
        return nullptr;
    }

    test::TestDataRoot root;
    std::string path;
};

TEST_F(ModelAnimationTest, ImportKeepsTheSkeletonTheClipsAndTheWeights) {
    LmdMeshData data;
    std::string error;
    ASSERT_TRUE(LmdModelImporter::load(path, data, error)) << error;
    const LmdSkeletonData& skeleton = data.skeleton;
    const int rootBone = skeleton.boneIndex("Root"), tip = skeleton.boneIndex("Tip");
    ASSERT_GE(rootBone, 0);
    ASSERT_GE(tip, 0);
    EXPECT_EQ(skeleton.bones[size_t(tip)].parent, rootBone);
    EXPECT_TRUE(skeleton.bones[size_t(tip)].rest.position.positionEquals(Ogre::Vector3(0, 1, 0), 1e-5f));
    for (size_t i = 0; i < skeleton.bones.size(); ++i) // parents first
        EXPECT_LT(skeleton.bones[i].parent, int(i));

    // Times in seconds whatever the file's ticks; each clip only moves the bone it animates.
    ASSERT_EQ(skeleton.animations.size(), 2u);
    const LmdAnimationData* bend = clip(data, "Bend");
    const LmdAnimationData* stretch = clip(data, "Stretch");
    ASSERT_TRUE(bend && stretch);
    EXPECT_NEAR(bend->length, test::AnimatedModelFile::kBendSeconds, 1e-4f);
    EXPECT_NEAR(stretch->length, test::AnimatedModelFile::kStretchSeconds, 1e-4f);
    ASSERT_EQ(bend->tracks.size(), 1u);
    EXPECT_EQ(bend->tracks[0].bone, rootBone);
    ASSERT_EQ(bend->tracks[0].keys.size(), 2u);
    EXPECT_NEAR(bend->tracks[0].keys[1].time, 1.0f, 1e-4f);
    // A rotation channel leaves the position and scale at the bone's rest values.
    EXPECT_TRUE(bend->tracks[0].keys[1].pose.position.positionEquals(Ogre::Vector3::ZERO, 1e-5f));
    EXPECT_NEAR(bend->tracks[0].keys[1].pose.orientation.getRoll().valueDegrees(), 90.0f, 0.01f);
    ASSERT_EQ(stretch->tracks.size(), 1u);
    EXPECT_EQ(stretch->tracks[0].bone, tip);
    EXPECT_TRUE(stretch->tracks[0].keys.back().pose.position.positionEquals(Ogre::Vector3(0, 2, 0), 1e-5f));

    // The vertices stand in the rest pose; the top two follow the tip, the others the root.
    ASSERT_EQ(data.subMeshes.size(), 1u);
    const LmdSubMeshData& sub = data.subMeshes[0];
    ASSERT_EQ(sub.vertexCount(), 6u);
    EXPECT_NEAR(data.bounds().getMaximum().y, 2.0f, 1e-5f);
    EXPECT_NEAR(data.bounds().getMinimum().y, 0.0f, 1e-5f);
    ASSERT_EQ(sub.boneWeights.size(), 6u);
    for (const LmdBoneWeight& weight : sub.boneWeights) {
        const float y = sub.positions[weight.vertex * 3 + 1];
        EXPECT_EQ(weight.bone, y > 1.5f ? tip : rootBone) << "vertex " << weight.vertex;
        EXPECT_FLOAT_EQ(weight.weight, 1.0f);
    }
}

TEST_F(ModelAnimationTest, StillModelsAreFlattenedWithoutASkeleton) {
    std::ofstream(root.path() / "tri.obj") << "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";
    LmdMeshData data;
    std::string error;
    ASSERT_TRUE(LmdModelImporter::load((root.path() / "tri.obj").string(), data, error)) << error;
    EXPECT_TRUE(data.skeleton.empty());
    EXPECT_TRUE(data.subMeshes.at(0).boneWeights.empty());
}

TEST_F(ModelAnimationTest, TheOgreSkeletonPlaysTheClips) {
    LmdMeshData data;
    std::string error;
    ASSERT_TRUE(LmdModelImporter::load(path, data, error)) << error;
    test::HeadlessOgre::sceneManager();
    Ogre::MeshPtr mesh = LmdOgreMesh::create("Test/Arm", data, {}, Ogre::RGN_DEFAULT);
    ASSERT_TRUE(mesh->hasSkeleton());
    const Ogre::SkeletonPtr& skeleton = mesh->getSkeleton();
    ASSERT_EQ(skeleton->getNumAnimations(), 2);
    EXPECT_NEAR(skeleton->getAnimation("Bend")->getLength(), 1.0f, 1e-4f);
    EXPECT_NEAR(skeleton->getAnimation("Stretch")->getLength(), 0.5f, 1e-4f);
    // Texture coordinates live apart from what the CPU blends.
    const Ogre::VertexDeclaration* decl = mesh->getSubMesh(0)->vertexData->vertexDeclaration;
    EXPECT_NE(decl->findElementBySemantic(Ogre::VES_TEXTURE_COORDINATES)->getSource(),
              decl->findElementBySemantic(Ogre::VES_POSITION)->getSource());
    EXPECT_NE(decl->findElementBySemantic(Ogre::VES_BLEND_WEIGHTS), nullptr);

    Ogre::SceneManager* sm = test::HeadlessOgre::sceneManager();
    Ogre::Entity* entity = sm->createEntity("Test/Arm");
    Ogre::SkeletonInstance* bones = entity->getSkeleton();
    ASSERT_NE(bones, nullptr);
    Ogre::Bone* tip = bones->getBone("Tip");
    EXPECT_TRUE(tip->_getDerivedPosition().positionEquals(Ogre::Vector3(0, 1, 0), 1e-4f));

    Ogre::AnimationState* bend = entity->getAnimationState("Bend");
    bend->setEnabled(true);
    bend->setLoop(false);
    bend->addTime(0.5f);
    bones->setAnimationState(*entity->getAllAnimationStates());
    const Ogre::Vector3 halfway = tip->_getDerivedPosition();
    EXPECT_NEAR(halfway.x, -std::sqrt(0.5f), 1e-3f);
    EXPECT_NEAR(halfway.y, std::sqrt(0.5f), 1e-3f);
    bend->addTime(5.0f); // not looping: it holds its last pose
    bones->setAnimationState(*entity->getAllAnimationStates());
    EXPECT_TRUE(tip->_getDerivedPosition().positionEquals(Ogre::Vector3(-1, 0, 0), 1e-3f));

    // Back to the binding pose once nothing plays.
    bend->setEnabled(false);
    bones->setAnimationState(*entity->getAllAnimationStates());
    EXPECT_TRUE(tip->_getDerivedPosition().positionEquals(Ogre::Vector3(0, 1, 0), 1e-4f));

    Ogre::AnimationState* stretch = entity->getAnimationState("Stretch");
    stretch->setEnabled(true);
    stretch->setLoop(false);
    stretch->addTime(0.5f);
    bones->setAnimationState(*entity->getAllAnimationStates());
    EXPECT_TRUE(tip->_getDerivedPosition().positionEquals(Ogre::Vector3(0, 2, 0), 1e-3f));

    sm->destroyEntity(entity);
    LmdOgreMesh::remove("Test/Arm");
    EXPECT_FALSE(Ogre::SkeletonManager::getSingleton().resourceExists(LmdOgreMesh::skeletonName("Test/Arm"),
                                                                      Ogre::RGN_DEFAULT));
}

} // namespace
} // namespace Lumenda3D
