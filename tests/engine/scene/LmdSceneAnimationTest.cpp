// Animated models in built scenes, on a window-less OGRE root: the start animation of a play
// scene, PlayAnimation and StopAnimation from game logic frame by frame, Animation elements,
// unknown names (one critical line naming the node, the game goes on), and an edit scene that
// never moves.
#include <memory>
#include <string>

#include <OgreAnimationState.h>
#include <OgreBone.h>
#include <OgreEntity.h>
#include <OgreMeshManager.h>
#include <OgreMeshSerializer.h>
#include <OgreSkeletonManager.h>
#include <OgreSkeletonSerializer.h>
#include <OgreSkeletonInstance.h>
#include <gtest/gtest.h>

#include "TestDataRoot.h"
#include "engine/AnimatedModelFile.h"
#include "engine/HeadlessOgre.h"
#include "engine/assets/LmdAssetResolver.h"
#include "engine/assets/LmdMaterialFactory.h"
#include "engine/assets/LmdMeshLibrary.h"
#include "engine/assets/LmdModelImporter.h"
#include "engine/assets/LmdOgreMesh.h"
#include "engine/assets/LmdOgreSkeleton.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/logic/LmdLogicTestSupport.h"
#include "engine/logic/LmdLuaRuntime.h"
#include "engine/logic/LmdSceneHost.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/scene/ScriptParser.h"

namespace Lumenda3D {
namespace {

constexpr float kFrame = 1.0f / 60.0f;

class SceneAnimationTest : public ::testing::Test {
protected:
    SceneAnimationTest() {
        assets.setMediaDir(root.path().string());
        assets.setCacheDir(root.path().string());
        assets.setGameDir(root.path().string());
        faults.setLogging(false);
        test::AnimatedModelFile::write(root.path() / "arm.gltf");
    }
    ~SceneAnimationTest() override {
        logic.reset();
        play.reset();
        edit.reset();
        meshes.clearDocumentResources();
        materials.clearDocumentResources();
    }

    static const ScriptParser& parser() {
        static ScriptParser instance(ScriptParser::defaultSchemaPath());
        return instance;
    }

    std::unique_ptr<LmdScene> build(bool editMode) {
        LmdSceneBuilder::Services services{test::HeadlessOgre::sceneManager(), &materials, &meshes, &faults};
        auto scene = std::make_unique<LmdScene>(services, editMode);
        parser().buildScene(*scene, doc.document_element(), "L", faults);
        scene->showLevel("L", nullptr);
        return scene;
    }

    // Builds the play scene (and the edit scene beside it, as the engine does) and starts the logic.
    void start(const std::string& level) {
        ASSERT_TRUE(LmdGameDocument::parse("<KiteBench3D><Level name=\"L\">" + level + "</Level></KiteBench3D>", doc));
        edit = build(true);
        play = build(false);
        LmdSceneHost::Services services;
        services.scene = play.get();
        services.materials = &materials;
        host.setServices(services);
        logic = std::make_unique<LmdLuaRuntime>(host);
        ASSERT_TRUE(logic->loadDocument(doc.document_element(), *parser().getCodeSchema()));
        ASSERT_TRUE(logic->start("L"));
    }

    // One game frame: logic, then the animations.
    void frames(int count) {
        for (int i = 0; i < count; ++i) {
            logic->update(kFrame);
            play->advanceAnimations(kFrame);
        }
    }

    // Where a bone of an object's skeleton stands now, in the model's frame.
    static Ogre::Vector3 bone(LmdBase3D* object, const char* name) {
        Ogre::Entity* entity = object->getEntity();
        entity->getSkeleton()->setAnimationState(*entity->getAllAnimationStates());
        return entity->getSkeleton()->getBone(name)->_getDerivedPosition();
    }

    test::TestDataRoot root;
    test::LogicLogCapture log;
    LmdAssetResolver assets;
    LmdMaterialFactory materials{assets};
    LmdSceneFaults faults;
    LmdMeshLibrary meshes{assets, materials, faults};
    pugi::xml_document doc;
    std::unique_ptr<LmdScene> edit, play;
    LmdSceneHost host;
    std::unique_ptr<LmdLuaRuntime> logic;
};

TEST_F(SceneAnimationTest, AGameAnimatesItsModelsFrameByFrameWhileTheEditedSceneStandsStill) {
    start(R"(<Model id="2" name="arm" fileName="arm.gltf" animation="Bend"/>
             <Model id="3" name="waver" fileName="arm.gltf" x="3">
               <Animation id="4" name="Wave" clip="Stretch" speed="0.5" loop="false"/>
               <OnStart id="5"><PlayAnimation id="6" animation="Wave"/></OnStart>
             </Model>)");
    LmdBase3D* arm = play->objectByName("arm");
    LmdBase3D* waver = play->objectByName("waver");
    ASSERT_TRUE(arm && arm->getEntity() && waver && waver->getEntity());
    EXPECT_EQ(arm->getAnimationNames(), (std::vector<std::string>{"Bend", "Stretch"}));

    // The start animation loops from the first frame; the logic's clip plays at its element's speed.
    Ogre::AnimationState* bend = arm->getEntity()->getAnimationState("Bend");
    EXPECT_TRUE(bend->getEnabled());
    EXPECT_TRUE(bend->getLoop());
    EXPECT_EQ(waver->getPlayingAnimation(), "Stretch");
    frames(30);
    EXPECT_NEAR(bend->getTimePosition(), 0.5f, 1e-3f);
    EXPECT_NEAR(waver->getAnimationTime(), 0.25f, 1e-3f); // half speed
    const Ogre::Vector3 tip = bone(arm, "Tip");
    EXPECT_NEAR(tip.x, -std::sqrt(0.5f), 1e-3f);
    EXPECT_NEAR(tip.y, std::sqrt(0.5f), 1e-3f);
    frames(60); // 1.5 s: Bend wraps round, Wave (not looping) holds its end
    EXPECT_NEAR(bend->getTimePosition(), 0.5f, 1e-3f);
    EXPECT_NEAR(waver->getAnimationTime(), 0.5f, 1e-3f);
    EXPECT_TRUE(bone(waver, "Tip").positionEquals(Ogre::Vector3(0, 2, 0), 1e-3f));

    // The same clip asked again keeps its time; another clip starts from its beginning.
    EXPECT_TRUE(arm->playAnimation("Bend", true, 1.0f));
    EXPECT_NEAR(bend->getTimePosition(), 0.5f, 1e-3f);
    EXPECT_TRUE(host.playAnimation("arm", "Stretch", false, 2.0));
    EXPECT_FALSE(bend->getEnabled());
    frames(6);
    EXPECT_NEAR(arm->getAnimationTime(), 0.2f, 1e-3f);
    EXPECT_TRUE(host.stopAnimation("arm"));
    EXPECT_EQ(arm->getPlayingAnimation(), "");
    EXPECT_TRUE(bone(arm, "Tip").positionEquals(Ogre::Vector3(0, 1, 0), 1e-4f)) << "back to the rest pose";

    // The edited scene has entities of its own, at rest and not animated.
    LmdBase3D* edited = edit->objectByName("arm");
    ASSERT_TRUE(edited && edited->getEntity());
    EXPECT_NE(edited->getEntity(), arm->getEntity());
    EXPECT_EQ(edited->getPlayingAnimation(), "");
    EXPECT_FALSE(edited->getEntity()->getAnimationState("Bend")->getEnabled());
    EXPECT_TRUE(bone(edited, "Tip").positionEquals(Ogre::Vector3(0, 1, 0), 1e-4f));
    EXPECT_EQ(faults.count(), 0u);
    EXPECT_EQ(log.critical, std::vector<std::string>{});
}

TEST_F(SceneAnimationTest, UnknownAnimationsAreOneCriticalLineEachAndTheGameGoesOn) {
    start(R"(<Model id="2" name="arm" fileName="arm.gltf" animation="Fly"/>
             <Box id="3" name="box"/>
             <Model id="4" name="other" fileName="arm.gltf">
               <OnUpdate id="5"><PlayAnimation id="6" animation="Dance"/></OnUpdate>
               <OnUpdate id="7"><Move id="8" target="box" moveX="1"/></OnUpdate>
             </Model>)");
    // The start animation: one scene fault naming the element and the clips it could have been.
    ASSERT_EQ(faults.count(), 1u) << faults.lines().front();
    EXPECT_NE(faults.lines()[0].find("Model (id 2, \"arm\")"), std::string::npos) << faults.lines()[0];
    EXPECT_NE(faults.lines()[0].find("'Fly'"), std::string::npos);
    EXPECT_NE(faults.lines()[0].find("Bend, Stretch"), std::string::npos) << faults.lines()[0];
    EXPECT_EQ(play->objectByName("arm")->getPlayingAnimation(), "");

    // From logic, every frame: one critical line with the block's id, and the other handler runs on.
    frames(5);
    ASSERT_EQ(log.count("Dance"), 1u) << log.all();
    EXPECT_NE(log.critical[0].find("(id 6)"), std::string::npos) << log.critical[0];
    EXPECT_NEAR(play->objectByName("box")->getX(), 5.0f, 1e-4f);
}

TEST_F(SceneAnimationTest, ModelsWithoutClipsAndClonesKeepTheirOwnAnimation) {
    start(R"(<Model id="2" name="arm" fileName="arm.gltf" animation="Bend"/>
             <Box id="3" name="box"/>)");
    EXPECT_FALSE(host.playAnimation("box", "Bend", true, 1.0)); // a box has no skeleton
    EXPECT_FALSE(host.playAnimation("nobody", "Bend", true, 1.0));
    frames(12);
    LmdBase3D* copy = play->cloneObject(play->objectByName("arm"), "copy", Ogre::Vector3(2, 0, 0));
    ASSERT_TRUE(copy && copy->getEntity());
    EXPECT_EQ(copy->getPlayingAnimation(), "Bend");
    EXPECT_NEAR(copy->getAnimationTime(), 0.0f, 1e-5f); // its own clock
    frames(6);
    EXPECT_NEAR(copy->getAnimationTime(), 0.1f, 1e-3f);
    EXPECT_NEAR(play->objectByName("arm")->getAnimationTime(), 0.3f, 1e-3f);
}

// Writes the arm as OGRE's own files, limb.mesh linking limb.skeleton, into `folder`.
void writeOgreFiles(const std::filesystem::path& folder) {
    test::HeadlessOgre::sceneManager(); // OGRE's managers exist from here on
    LmdMeshData data;
    std::string error;
    ASSERT_TRUE(LmdModelImporter::load((folder / "arm.gltf").string(), data, error)) << error;
    LmdSkeletonData skeleton = data.skeleton;
    data.skeleton = LmdSkeletonData(); // the mesh links the skeleton made below, by its file name
    Ogre::MeshPtr mesh = LmdOgreMesh::create("Test/LimbExport", data, {}, Ogre::RGN_DEFAULT);
    Ogre::SkeletonPtr bones = LmdOgreSkeleton::create("limb.skeleton", skeleton, Ogre::RGN_DEFAULT);
    mesh->_notifySkeleton(bones);
    for (const LmdBoneWeight& weight : data.subMeshes[0].boneWeights)
        mesh->getSubMesh(0)->addBoneAssignment({weight.vertex, weight.bone, weight.weight});
    Ogre::MeshSerializer().exportMesh(mesh.get(), (folder / "limb.mesh").string());
    Ogre::SkeletonSerializer().exportSkeleton(bones.get(), (folder / "limb.skeleton").string());
    LmdOgreMesh::remove("Test/LimbExport");
    LmdOgreSkeleton::remove("limb.skeleton");
}

TEST_F(SceneAnimationTest, OgreMeshFilesPlayTheClipsOfTheirOwnSkeletonFile) {
    writeOgreFiles(root.path());
    start(R"(<Model id="2" name="limb" fileName="limb.mesh" animation="Bend"/>)");
    LmdBase3D* limb = play->objectByName("limb");
    ASSERT_TRUE(limb && limb->getEntity() && limb->getEntity()->hasSkeleton()) << (faults.count() ? faults.lines()[0] : "");
    EXPECT_EQ(limb->getAnimationNames(), (std::vector<std::string>{"Bend", "Stretch"}));
    EXPECT_EQ(limb->getPlayingAnimation(), "Bend");
    frames(30);
    EXPECT_NEAR(limb->getAnimationTime(), 0.5f, 1e-3f);
    EXPECT_NEAR(bone(limb, "Tip").x, -std::sqrt(0.5f), 1e-3f);
    EXPECT_EQ(faults.count(), 0u);
}

} // namespace
} // namespace Lumenda3D
