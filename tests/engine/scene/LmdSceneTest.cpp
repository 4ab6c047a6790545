// Built scenes on a window-less OGRE root: lookups, levels and their lights, removal and clones,
// live properties, the physics bridge, and the scene as game logic sees it (LmdSceneHost).
#include "engine/scene/LmdScene.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <OgreEntity.h>
#include <OgreLight.h>
#include <OgreSceneNode.h>
#include <OgreSubEntity.h>
#include <gtest/gtest.h>

#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "engine/HeadlessOgre.h"
#include "engine/assets/LmdAssetResolver.h"
#include "engine/assets/LmdMaterialFactory.h"
#include "engine/assets/LmdMeshLibrary.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/logic/LmdSceneHost.h"
#include "engine/physics/LmdGamePhysics.h"
#include "engine/physics/LmdPhysicsWorld.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdObjectProperties.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/scene/ScriptParser.h"

namespace Lumenda3D {
namespace {

using Value = LmdScriptValue;

class SceneTest : public ::testing::Test {
protected:
    SceneTest() {
        LmdLog::setEchoToStderr(false);
        // No pictures: a window-less root cannot make textures.
        assets.setMediaDir(root.path().string());
        assets.setCacheDir(root.path().string());
        assets.setGameDir(root.path().string());
        faults.setLogging(false);
    }
    ~SceneTest() override {
        scene.reset();
        meshes.clearDocumentResources();
        materials.clearDocumentResources();
        LmdLog::setEchoToStderr(true);
    }

    static const ScriptParser& parser() {
        static ScriptParser instance(ScriptParser::defaultSchemaPath());
        return instance;
    }

    LmdScene& build(const std::string& xml, bool editMode = true, const std::string& onlyLevel = "") {
        EXPECT_TRUE(LmdGameDocument::parse(xml, doc));
        LmdSceneBuilder::Services services{test::HeadlessOgre::sceneManager(), &materials, &meshes, &faults};
        scene = std::make_unique<LmdScene>(services, editMode);
        if (onBuilt)
            scene->setOnBuilt(onBuilt);
        parser().buildScene(*scene, doc.document_element(), onlyLevel, faults);
        const auto& levels = scene->description().levels;
        scene->showLevel(onlyLevel.empty() && !levels.empty() ? levels.front().name : onlyLevel, nullptr);
        return *scene;
    }

    LmdBase3D* obj(const std::string& name) { return scene->objectByName(name); }
    LmdObjectProperties::Context context(LmdGamePhysics* physics = nullptr) {
        return LmdObjectProperties::Context{scene.get(), &materials, physics, nullptr};
    }

    test::TestDataRoot root;
    LmdAssetResolver assets;
    LmdMaterialFactory materials{assets};
    LmdSceneFaults faults;
    LmdMeshLibrary meshes{assets, materials, faults};
    pugi::xml_document doc;
    std::function<void(LmdBase3D*)> onBuilt;
    std::unique_ptr<LmdScene> scene;
};

TEST_F(SceneTest, FindsObjectsByIdAndNameAndShowsOneLevelAtATime) {
    build(R"(<KiteBench3D>
        <Level name="one"><Box id="1" name="hero" x="1"><Sphere id="2" name="hat" y="1"/></Box></Level>
        <Level name="two"><Box id="3" name="hero" x="2"/></Level>
      </KiteBench3D>)");
    ASSERT_EQ(scene->objects().size(), 3u);
    EXPECT_EQ(scene->objectByXmlId(2)->getName(), "hat");
    EXPECT_EQ(scene->objectByXmlId(2)->getParent(), scene->objectByXmlId(1));
    EXPECT_EQ(scene->objectByXmlId(99), nullptr);
    // Two objects named alike: the one of the shown level answers.
    EXPECT_EQ(obj("hero")->getXmlId(), 1);
    EXPECT_TRUE(scene->objectByXmlId(1)->getNode()->isInSceneGraph());
    EXPECT_FALSE(scene->objectByXmlId(3)->getNode()->isInSceneGraph());
    scene->showLevel("two", nullptr);
    EXPECT_EQ(obj("hero")->getXmlId(), 3);
    EXPECT_FALSE(scene->objectByXmlId(1)->getNode()->isInSceneGraph());
    // A child's world position follows its parent.
    EXPECT_EQ(scene->objectByXmlId(2)->getWorldPosition(), Ogre::Vector3(1, 1, 0));
    // A hint points a name at one particular object (the one logic is handling).
    scene->setNameHint(scene->objectByXmlId(1));
    EXPECT_EQ(obj("hero")->getXmlId(), 1);
}

TEST_F(SceneTest, OnlyTheLightsInViewShine) {
    build(R"(<KiteBench3D>
        <Level name="lamp"><PointLight name="bulb"/><Box name="a"/></Level>
        <Level name="sun"><DirectionalLight name="sol"/></Level>
        <Level name="dark"><Box name="b"/></Level>
      </KiteBench3D>)");
    auto lit = [&](const std::string& name) { return obj(name)->getLight()->isVisible(); };
    EXPECT_TRUE(lit("bulb"));
    EXPECT_FALSE(lit("sol")); // OGRE would light the scene with it although its level is away
    scene->showLevel("sun", nullptr);
    EXPECT_FALSE(lit("bulb"));
    EXPECT_TRUE(lit("sol"));
    // A level without lights gets the default sun, and only then.
    auto lightsOn = [] {
        int on = 0;
        for (auto& [name, object] : test::HeadlessOgre::sceneManager()->getMovableObjects("Light"))
            on += static_cast<Ogre::Light*>(object)->isVisible() ? 1 : 0;
        return on;
    };
    EXPECT_EQ(lightsOn(), 1);
    scene->showLevel("dark", nullptr);
    EXPECT_EQ(lightsOn(), 1); // the default sun
    scene->setAttached(false); // the edit scene while the game plays: nothing of it shines
    EXPECT_EQ(lightsOn(), 0);
    scene->setAttached(true);
    EXPECT_EQ(lightsOn(), 1);
}

TEST_F(SceneTest, RemovingAnObjectTakesItsChildrenFirst) {
    std::vector<std::string> removed;
    build(R"(<KiteBench3D><Level name="L">
        <Box id="1" name="car"><Sphere id="2" name="wheel"><Cone id="3" name="cap"/></Sphere></Box><Box id="4" name="other"/>
      </Level></KiteBench3D>)");
    scene->setOnRemoved([&](LmdBase3D* o) { removed.push_back(o->getName()); });
    scene->removeObject(obj("car"));
    EXPECT_EQ(removed, (std::vector<std::string>{"cap", "wheel", "car"}));
    EXPECT_EQ(scene->objects().size(), 1u);
    EXPECT_EQ(obj("wheel"), nullptr);
    EXPECT_EQ(scene->objectByXmlId(2), nullptr);
    scene->removeNode(4);
    EXPECT_TRUE(scene->objects().empty());
}

TEST_F(SceneTest, ClonesCopyChildrenLooksAndPlaceAndStandInForTheirElement) {
    build(R"(<KiteBench3D><Level name="L">
        <Box id="1" name="coin" x="1" color="0x00FF00"><Sphere id="2" name="shine" y="1"/></Box>
      </Level></KiteBench3D>)");
    LmdBase3D* coin = obj("coin");
    LmdObjectProperties::set(context(), *coin, "color", Value::ofText("0xFF0000"));
    LmdBase3D* copy = scene->cloneObject(coin, "coin2", Ogre::Vector3(0, 0, 5));
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(copy->isClone());
    EXPECT_EQ(copy->getWorldPosition(), Ogre::Vector3(1, 0, 5));
    ASSERT_EQ(copy->getChildren().size(), 1u);
    EXPECT_EQ(copy->getChildren()[0]->getWorldPosition(), Ogre::Vector3(1, 1, 5));
    EXPECT_EQ(copy->getEntity()->getSubEntity(0)->getMaterialName(), coin->getEntity()->getSubEntity(0)->getMaterialName());
    EXPECT_EQ(scene->objectsOfXmlId(1).size(), 2u);
    scene->removeObject(coin);
    EXPECT_EQ(scene->objectByXmlId(1), copy); // the clone answers for the element now
    EXPECT_EQ(scene->objects().size(), 2u);
}

TEST_F(SceneTest, PropertiesReadBackAndMoveTheSceneGraph) {
    build(R"(<KiteBench3D>
        <Material name="gold" color="0xFFD700"/>
        <Level name="L">
          <Box id="1" name="box"><Box id="2" name="lid" y="1"/></Box>
          <PointLight id="3" name="lamp" color="0xFF0000"/>
          <Sphere id="4" name="ball" radius="1"/>
        </Level></KiteBench3D>)");
    LmdBase3D& box = *obj("box");
    Value v;
    EXPECT_TRUE(LmdObjectProperties::set(context(), box, "x", Value::ofText("2.5")));
    EXPECT_TRUE(LmdObjectProperties::set(context(), box, "rotationY", Value::ofNumber(90)));
    EXPECT_TRUE(LmdObjectProperties::set(context(), box, "scaleZ", Value::ofNumber(2)));
    EXPECT_EQ(box.getNode()->getPosition().x, 2.5f);
    EXPECT_NEAR((box.getNode()->getOrientation() * Ogre::Vector3::NEGATIVE_UNIT_Z).x, -1.0f, 1e-5f);
    ASSERT_TRUE(LmdObjectProperties::get(context(), box, "rotationY", v));
    EXPECT_NEAR(v.number, 90.0, 1e-4);
    EXPECT_FALSE(LmdObjectProperties::set(context(), box, "x", Value::ofText("far")));
    EXPECT_FALSE(LmdObjectProperties::set(context(), box, "wobble", Value::ofNumber(1)));
    EXPECT_FALSE(LmdObjectProperties::get(context(), box, "wobble", v));

    // Hiding a parent hides its children; showing it again brings back only what was visible.
    EXPECT_TRUE(LmdObjectProperties::set(context(), box, "visible", Value::ofBoolean(false)));
    EXPECT_FALSE(obj("lid")->getEntity()->isVisible());
    LmdObjectProperties::set(context(), *obj("lid"), "visible", Value::ofBoolean(false));
    LmdObjectProperties::set(context(), box, "visible", Value::ofBoolean(true));
    EXPECT_TRUE(box.getEntity()->isVisible());
    EXPECT_FALSE(obj("lid")->getEntity()->isVisible());

    // Colour and Material.
    EXPECT_TRUE(LmdObjectProperties::set(context(), box, "color", Value::ofText("0x123456")));
    EXPECT_EQ(box.getEntity()->getSubEntity(0)->getMaterialName(), "Lmd/Colour/0x123456");
    EXPECT_FALSE(LmdObjectProperties::set(context(), box, "color", Value::ofText("teal")));
    EXPECT_TRUE(LmdObjectProperties::set(context(), box, "texture", Value::ofText("gold")));
    EXPECT_EQ(box.getEntity()->getSubEntity(0)->getMaterialName(), materials.declaredName("", "gold"));
    LmdObjectProperties::set(context(), box, "texture", Value::ofText("nothing"));
    ASSERT_EQ(faults.count(), 1u);
    EXPECT_NE(faults.lines()[0].find("Box (id 1, \"box\")"), std::string::npos);

    // Sizes rebuild the mesh; lights take their values.
    EXPECT_TRUE(LmdObjectProperties::set(context(), *obj("ball"), "radius", Value::ofNumber(2)));
    EXPECT_NEAR(obj("ball")->getLocalBounds().getSize().x, 4.0f, 1e-3f);
    EXPECT_FALSE(LmdObjectProperties::set(context(), *obj("ball"), "radius", Value::ofNumber(-1)));
    EXPECT_TRUE(LmdObjectProperties::set(context(), *obj("lamp"), "intensity", Value::ofNumber(0.5)));
    EXPECT_LT(obj("lamp")->getLight()->getDiffuseColour().r, 0.5f);
    EXPECT_EQ(obj("lamp")->getLight()->getDiffuseColour().g, 0.0f);
}

TEST_F(SceneTest, ModelsThatCannotBeShownAreEmptyPlaceholdersWithOneFault) {
    std::ofstream(root.path() / "broken.glb") << "glTF but not really";
    build(R"(<KiteBench3D><Level name="L">
        <Model id="5" name="gone" fileName="gone.obj"/>
        <Model id="6" name="bad" fileName="broken.glb"/>
        <Model id="7" name="bad2" fileName="broken.glb"/>
      </Level></KiteBench3D>)");
    for (const char* name : {"gone", "bad", "bad2"}) {
        ASSERT_NE(obj(name), nullptr);
        EXPECT_EQ(obj(name)->getEntity(), nullptr);
    }
    ASSERT_EQ(faults.count(), 3u); // one per element, though two share the broken file
    EXPECT_NE(faults.lines()[0].find("Model (id 5, \"gone\")"), std::string::npos);
    EXPECT_NE(faults.lines()[2].find("Model (id 7, \"bad2\")"), std::string::npos);
}

TEST_F(SceneTest, PhysicsBodiesFallCollideAndFollowLogic) {
    LmdPhysicsWorld world;
    LmdGamePhysics physics(world);
    onBuilt = [&](LmdBase3D* o) { physics.addObject(*o, nullptr); };
    build(R"(<KiteBench3D><Level name="L">
        <Plane name="floor"/>
        <Box name="crate" y="3" body="dynamic"/>
        <Box name="platform" x="10" y="1" width="4" height="0.5" depth="4" body="static"/>
        <Box name="ghost" x="20" y="3"/>
      </Level></KiteBench3D>)",
          false, "L");
    scene->setOnRemoved([&](LmdBase3D* o) { physics.removeObject(*o); });
    EXPECT_EQ(physics.bodyCount(), 3u); // the ghost has no body
    physics.setGravity(Ogre::Vector3(0, -9.81f, 0));
    std::vector<std::pair<std::string, std::string>> touches;
    for (int i = 0; i < 120; ++i)
        for (const auto& [a, b] : physics.step(1.0f / 60.0f))
            touches.emplace_back(a->getName(), b->getName());
    EXPECT_NEAR(obj("crate")->getY(), 0.5f, 0.05f); // resting on the floor
    ASSERT_EQ(touches.size(), 1u); // once, when the contact began
    EXPECT_TRUE((touches[0] == std::pair<std::string, std::string>{"crate", "floor"}) ||
                (touches[0] == std::pair<std::string, std::string>{"floor", "crate"}));

    // Logic moves the static platform under the crate: it becomes a moving (kinematic) body.
    LmdObjectProperties::set(context(&physics), *obj("platform"), "x", Value::ofNumber(0));
    LmdObjectProperties::set(context(&physics), *obj("platform"), "y", Value::ofNumber(-0.2f));
    // A kick up; then the crate lands on the platform's top (y = 0.05) rather than the floor.
    EXPECT_TRUE(physics.applyForce(*obj("crate"), Ogre::Vector3(0, 5, 0), true, false));
    EXPECT_FALSE(physics.applyForce(*obj("platform"), Ogre::Vector3(0, 5, 0), true, false)); // not dynamic
    Ogre::Vector3 velocity;
    physics.step(1.0f / 60.0f);
    ASSERT_TRUE(physics.getVelocity(*obj("crate"), velocity));
    EXPECT_GT(velocity.y, 3.0f);
    for (int i = 0; i < 120; ++i)
        physics.step(1.0f / 60.0f);
    EXPECT_NEAR(obj("crate")->getY(), 0.55f, 0.05f);
    // Moving a dynamic body by hand keeps its speed.
    physics.setVelocity(*obj("crate"), 2.0f, std::nullopt, std::nullopt, false);
    LmdObjectProperties::set(context(&physics), *obj("crate"), "z", Value::ofNumber(1));
    ASSERT_TRUE(physics.getVelocity(*obj("crate"), velocity));
    EXPECT_NEAR(velocity.x, 2.0f, 1e-3f);
    scene->removeObject(obj("crate"));
    EXPECT_EQ(physics.bodyCount(), 2u);
    scene.reset(); // before the physics it reports to
    EXPECT_EQ(physics.bodyCount(), 0u);
}

TEST_F(SceneTest, LogicSeesTheSceneThroughTheHost) {
    build(R"(<KiteBench3D><Level name="L">
        <Box name="tank" rotationY="90"/>
        <Sphere name="target" x="0" z="-10"/>
        <Box name="coin" x="5"/>
        <Text2D name="hud" text="hi"/>
      </Level></KiteBench3D>)",
          false, "L");
    std::string levelAsked;
    LmdSceneHost host;
    LmdSceneHost::Services services;
    services.scene = scene.get();
    services.materials = &materials;
    services.goToLevel = [&](const std::string& level) {
        levelAsked = level;
        return level == "L";
    };
    host.setServices(services);
    EXPECT_TRUE(host.hasObject("hud"));
    EXPECT_FALSE(host.hasObject("nobody"));
    // Along its own axes: the tank faces -X, so "forward" (-Z local) is -X in the world.
    EXPECT_TRUE(host.translate("tank", 0, 0, -2, true));
    EXPECT_NEAR(obj("tank")->getX(), -2.0f, 1e-4f);
    EXPECT_TRUE(host.lookAt("tank", "target"));
    const Ogre::Vector3 facing = obj("tank")->getWorldOrientation() * Ogre::Vector3::NEGATIVE_UNIT_Z;
    const Ogre::Vector3 towards = (Ogre::Vector3(0, 0, -10) - Ogre::Vector3(-2, 0, 0)).normalisedCopy();
    EXPECT_GT(facing.dotProduct(towards), 0.999f);
    double d = 0;
    EXPECT_TRUE(host.distance("coin", "target", d));
    EXPECT_NEAR(d, std::sqrt(125.0), 1e-4);
    EXPECT_FALSE(host.distance("coin", "nobody", d));
    // Clones get the asked name when it is free, another one when it is not.
    EXPECT_EQ(host.cloneObject("coin", "", 1, 0, 0), "coin_1");
    EXPECT_EQ(host.cloneObject("coin", "gem", 2, 0, 0), "gem");
    EXPECT_EQ(host.cloneObject("coin", "gem", 3, 0, 0), "gem_1");
    EXPECT_EQ(host.cloneObject("nobody", "x", 0, 0, 0), "");
    EXPECT_EQ(obj("gem")->getX(), 7.0f);
    EXPECT_TRUE(host.destroyObject("gem"));
    EXPECT_FALSE(host.hasObject("gem"));
    // A destroyed copy's name is not given again while the scene lives.
    EXPECT_TRUE(host.destroyObject("gem_1"));
    EXPECT_EQ(host.cloneObject("coin", "gem", 0, 0, 0), "gem_2");
    EXPECT_EQ(host.cloneObject("coin", "", 0, 0, 0), "coin_2");
    // A new scene starts afresh.
    host.setServices(services);
    EXPECT_EQ(host.cloneObject("coin", "gem", 0, 0, 0), "gem");
    EXPECT_TRUE(host.setProperty("hud", "text", Value::ofText("Score 3")));
    Value v;
    EXPECT_TRUE(host.getProperty("hud", "text", v));
    EXPECT_EQ(v.text, "Score 3");
    EXPECT_FALSE(host.applyForce("coin", 0, 1, 0, true, false)); // no physics here
    EXPECT_FALSE(host.playAnimation("coin", "spin", true, 1)); // a box has no skeleton
    EXPECT_TRUE(host.goToLevel("L"));
    EXPECT_FALSE(host.goToLevel("Nowhere"));
    EXPECT_EQ(levelAsked, "Nowhere");
}

} // namespace
} // namespace Lumenda3D
