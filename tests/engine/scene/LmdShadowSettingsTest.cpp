// The shadow settings of a built scene, on a window-less OGRE root: which entities and lights
// cast shadows (from the document and from live changes) and the level's switch. Whether shadows
// are drawn is checked under Xvfb (lmd-render-check).
#include <memory>
#include <string>

#include <OgreEntity.h>
#include <OgreLight.h>
#include <gtest/gtest.h>

#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "engine/HeadlessOgre.h"
#include "engine/assets/LmdAssetResolver.h"
#include "engine/assets/LmdMaterialFactory.h"
#include "engine/assets/LmdMeshLibrary.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdObjectProperties.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/scene/ScriptParser.h"

namespace Lumenda3D {
namespace {

class ShadowSettingsTest : public ::testing::Test {
protected:
    ShadowSettingsTest() {
        LmdLog::setEchoToStderr(false);
        assets.setMediaDir(root.path().string());
        assets.setCacheDir(root.path().string());
        assets.setGameDir(root.path().string());
        faults.setLogging(false);
    }
    ~ShadowSettingsTest() override {
        scene.reset();
        meshes.clearDocumentResources();
        materials.clearDocumentResources();
        LmdLog::setEchoToStderr(true);
    }

    LmdScene& build(const std::string& xml) {
        static ScriptParser parser(ScriptParser::defaultSchemaPath());
        EXPECT_TRUE(LmdGameDocument::parse(xml, doc));
        LmdSceneBuilder::Services services{test::HeadlessOgre::sceneManager(), &materials, &meshes, &faults};
        scene = std::make_unique<LmdScene>(services, false);
        parser.buildScene(*scene, doc.document_element(), "", faults);
        return *scene;
    }

    test::TestDataRoot root;
    LmdAssetResolver assets;
    LmdMaterialFactory materials{assets};
    LmdSceneFaults faults;
    LmdMeshLibrary meshes{assets, materials, faults};
    pugi::xml_document doc;
    std::unique_ptr<LmdScene> scene;
};

TEST_F(ShadowSettingsTest, ObjectsAndLightsCastAsTheDocumentSaysAndFollowLiveChanges) {
    build(R"(<KiteBench3D>
        <Level name="Day"><DirectionalLight name="sun"/><PointLight name="lamp"/>
          <Box name="crate"/><Box name="ghost" castShadows="false"/></Level>
        <Level name="Night" shadows="false"><DirectionalLight name="moon" castShadows="false"/></Level>
      </KiteBench3D>)");
    EXPECT_TRUE(scene->objectByName("crate")->getEntity()->getCastShadows());
    EXPECT_FALSE(scene->objectByName("ghost")->getEntity()->getCastShadows());
    EXPECT_TRUE(scene->objectByName("sun")->getLight()->getCastShadows()); // the sun casts by default
    EXPECT_FALSE(scene->objectByName("lamp")->getLight()->getCastShadows());
    EXPECT_FALSE(scene->objectByName("moon")->getLight()->getCastShadows());
    EXPECT_TRUE(scene->description().findLevel("Day")->shadows);
    EXPECT_FALSE(scene->description().findLevel("Night")->shadows);

    // Logic or a live edit switches them on the entity and the light at once.
    const LmdObjectProperties::Context context{scene.get(), &materials, nullptr, nullptr};
    LmdBase3D* crate = scene->objectByName("crate");
    EXPECT_TRUE(LmdObjectProperties::set(context, *crate, "castShadows", LmdScriptValue::ofBoolean(false)));
    EXPECT_FALSE(crate->getEntity()->getCastShadows());
    EXPECT_FALSE(crate->getCastShadows());
    LmdBase3D* sun = scene->objectByName("sun");
    EXPECT_TRUE(LmdObjectProperties::set(context, *sun, "castShadows", LmdScriptValue::ofBoolean(false)));
    EXPECT_FALSE(sun->getLight()->getCastShadows());
    EXPECT_FALSE(LmdObjectProperties::set(context, *sun, "castShadows", LmdScriptValue::ofText("maybe")));
    EXPECT_EQ(faults.count(), 0u);
}

} // namespace
} // namespace Lumenda3D
