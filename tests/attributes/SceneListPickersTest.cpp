// The pickers with lists of their own: several lights at once, a key, a fog, an animation of the
// model in question, and the pickers that change nature or create what they list.
#include "PickerTestSupport.h"

#include "attributes/AnimationPicker.h"
#include "attributes/FogPicker.h"
#include "attributes/KeyPicker.h"
#include "attributes/LightPicker.h"
#include "attributes/PickerByType.h"
#include "attributes/PickerPlus.h"

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

const char* kGame = R"(<KiteBench3D>
  <Var name="score"/>
  <Fog name="mist" mode="exponential"/><Fog name="haze"/><Fog name="mist"/>
  <Level name="One" fog="mist">
    <SpotLight name="beam"/><PointLight name="lamp"/><DirectionalLight name="sun"/><PointLight/>
    <Model name="hero" fileName="hero.glb">
      <Animation name="walk" clip="Walk"/><Animation name="run" clip="Run"/>
    </Model>
    <Model name="dog" fileName="dog.glb"><Animation name="bark" clip="Bark"/></Model>
    <OnKeyDown key="Space"><SwitchLight lightPicker="sun,gone"/><PlayAnimation target="dog" animation="bark"/>
      <Set var="score"/></OnKeyDown>
  </Level>
</KiteBench3D>)";

class SceneListPickersTest : public test::PickerTest {
protected:
    SceneListPickersTest() : PickerTest(kGame) {}
    std::vector<std::string> lightNames() {
        std::vector<std::string> names;
        for (const LightPicker::LightInfo& light : lights().getLights())
            names.push_back(light.name + (light.selected ? "*" : ""));
        return names;
    }
    LightPicker& lights() { return dynamic_cast<LightPicker&>(*rendererOf("lightPicker")); }
};

TEST_F(SceneListPickersTest, LightsAreTickedOnAndOffLiveAndCancelPutsTheListBack) {
    scene.show("SwitchLight");
    clickWidget("...##lightPicker");
    frames();
    EXPECT_EQ(lightNames(), (std::vector<std::string>{"beam", "lamp", "sun*"}));
    EXPECT_EQ(lights().getLights()[0].type, "SpotLight");

    clickWidget("##light_lamp");
    EXPECT_EQ(scene.value("SwitchLight", "lightPicker"), "lamp,sun,gone");
    EXPECT_EQ(scene.engine.updates.back().value, "lamp,sun,gone");
    clickWidget("##light_sun");
    // A name the document no longer holds stays in the list.
    EXPECT_EQ(scene.value("SwitchLight", "lightPicker"), "lamp,gone");
    EXPECT_TRUE(popupOpen("lightPicker"));

    clickWidget("Cancel##lightPicker");
    EXPECT_FALSE(popupOpen("lightPicker"));
    EXPECT_EQ(scene.value("SwitchLight", "lightPicker"), "sun,gone");
}

TEST_F(SceneListPickersTest, LightListsParseAndJoinWithoutLosingUnknownNames) {
    scene.show("SwitchLight");
    frames();
    LightPicker& picker = lights();
    picker.parseSelectedLights(" lamp , beam,lamp,,ghost");
    EXPECT_EQ(picker.selectedLightsToString(), "beam,lamp,ghost");
    picker.parseSelectedLights("");
    EXPECT_EQ(picker.selectedLightsToString(), "");
}

TEST_F(SceneListPickersTest, TheKeyPickerListsTheGamesKeysSearchableAndWritesTheChoice) {
    scene.show("OnKeyDown");
    clickWidget("...##key");
    // "Ok" is not offered: a click on a key is the choice.
    EXPECT_FALSE(isDrawn(*scene.panel, "Ok##key"));
    EXPECT_TRUE(isDrawn(*scene.panel, "F12##item"));
    clickWidget("##KeySearch");
    ui.type("f1");
    frames();
    EXPECT_TRUE(isDrawn(*scene.panel, "F12##item"));
    EXPECT_FALSE(isDrawn(*scene.panel, "Space##item"));
    clickWidget("F12##item");
    EXPECT_EQ(scene.value("OnKeyDown", "key"), "F12");
    EXPECT_FALSE(popupOpen("key"));

    // Without a list in the schema the names of the game's input are offered.
    pugi::xml_document definition;
    definition.append_child("attribute").append_attribute("name").set_value("key");
    const std::vector<std::string> keys = KeyPicker::keyNames(definition.first_child());
    for (const char* expected : {"space", "escape", "f5", "a", "9"})
        EXPECT_NE(std::find(keys.begin(), keys.end(), expected), keys.end()) << expected;
}

TEST_F(SceneListPickersTest, TheFogPickerListsEachFogOnceWithItsModeAndSaysWhenThereIsNone) {
    scene.show("Level");
    clickWidget("...##fog");
    auto& picker = dynamic_cast<FogPicker&>(*rendererOf("fog"));
    ASSERT_EQ(picker.getFogs().size(), 2u);
    EXPECT_EQ(picker.getFogs()[0].name, "haze");
    EXPECT_EQ(picker.getFogs()[1].mode, "exponential");
    clickWidget("haze##item");
    EXPECT_EQ(scene.value("Level", "fog"), "haze");

    for (pugi::xml_node fog = scene.element("Fog"); fog; fog = scene.element("Fog"))
        scene.files.removeChild(fog.parent(), fog);
    frames();
    clickWidget("...##fog");
    EXPECT_TRUE(picker.getFogs().empty());
    EXPECT_TRUE(popupOpen("fog"));
    clickWidget("Cancel##fog");
    EXPECT_EQ(scene.value("Level", "fog"), "haze");
}

TEST_F(SceneListPickersTest, AnimationsComeFromTheModelTheBlockStandsInOrNames) {
    scene.show("PlayAnimation");
    EXPECT_EQ(open("animation"), (std::vector<std::string>{"bark"}));
    clickWidget("Cancel##animation");

    scene.show("Model");
    EXPECT_EQ(open("animation"), (std::vector<std::string>{"walk", "run"}));
    clickWidget("run##item");
    EXPECT_EQ(scene.value("Model", "animation"), "run");
}

TEST_F(SceneListPickersTest, PickerByTypeFollowsTheVarAttributeInTheSameFrame) {
    PickerByType picker;
    picker.setContext(scene.panel->rendererFor({})->getContext());
    pugi::xml_node block = scene.element("PlayAnimation");
    block.append_attribute("var").set_value("PlayAnimation");
    EXPECT_NE(dynamic_cast<AnimationPicker*>(&picker.innerFor(block)), nullptr);
    EXPECT_EQ(picker.innerFor(block).collectNames(block, {}), (std::vector<std::string>{"bark"}));
    block.attribute("var").set_value("score");
    EXPECT_EQ(dynamic_cast<AnimationPicker*>(&picker.innerFor(block)), nullptr);
    EXPECT_EQ(picker.innerFor(block).collectNames(block, {}), (std::vector<std::string>{"score"}));
}

TEST_F(SceneListPickersTest, PickerPlusDeclaresANewVariableAndTakesItsName) {
    pugi::xml_node created;
    scene.panel->setCreateBlockCallback([&](const std::string& element, const std::map<std::string, std::string>& attrs) {
        pugi::xml_node top = scene.element("Level").parent();
        created = scene.files.appendChild(top, element.c_str());
        for (const auto& [name, value] : attrs)
            scene.files.setAttribute(created, name.c_str(), value);
        return attrs.at("name");
    });
    scene.panel->addRenderer("picker", std::make_unique<PickerPlus>());
    scene.show("Set");
    clickWidget("...##var");
    EXPECT_TRUE(popupOpen("var"));
    clickWidget("Add##add_var");
    ASSERT_TRUE(created);
    EXPECT_STREQ(created.name(), "Var");
    const std::string name = created.attribute("name").as_string();
    EXPECT_FALSE(name.empty());
    EXPECT_NE(name, "score");
    EXPECT_EQ(scene.value("Set", "var"), name);
    EXPECT_FALSE(popupOpen("var"));
}

} // namespace
} // namespace Lumenda3D
