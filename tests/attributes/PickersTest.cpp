// The pickers driven with real clicks: they list what the document holds when they open, write
// the chosen name, put the value at opening back on "Cancel", and mark a name that is gone.
#include "PickerTestSupport.h"

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

const char* kGame = R"(<KiteBench3D>
  <Var name="score"/>
  <Material name="stone" picture="bricks.png"/><Material name="grass" picture="grass.png"/>
  <LoadSound name="jump" fileName="jump.wav"/><LoadSound name="coin" fileName="coin.wav"/>
  <LoadSound name="jump" fileName="again.wav"/><LoadSound fileName="nameless.wav"/>
  <Level name="One">
    <Var name="lives"/>
    <Box name="crate"/><Text2D name="title"/>
    <Events><Level name="Nested"/><PlaySound sound="jump"/><Set var="lives"/><LookAt lookAt="crate"/></Events>
    <Camera name="cam"/>
    <GoToLevel level="One"/>
  </Level>
  <Level name="Two"><Var name="elsewhere"/></Level>
</KiteBench3D>)";

class PickersTest : public test::PickerTest {
protected:
    PickersTest() : PickerTest(kGame) {}
};

TEST_F(PickersTest, TheSoundPickerListsEachNamedSoundOnceAndWritesTheChoice) {
    scene.show("PlaySound");
    EXPECT_EQ(open("sound"), (std::vector<std::string>{"coin", "jump"}));
    clickWidget("coin##item");
    EXPECT_EQ(scene.value("PlaySound", "sound"), "coin");
    EXPECT_FALSE(popupOpen("sound"));
    scene.files.undo();
    frames();
    EXPECT_EQ(scene.value("PlaySound", "sound"), "jump");
}

TEST_F(PickersTest, CancelPutsBackTheValueAtOpeningAfterAClear) {
    scene.show("PlaySound");
    open("sound");
    clickWidget("Clear##clear_sound");
    EXPECT_FALSE(scene.element("PlaySound").attribute("sound"));
    EXPECT_TRUE(popupOpen("sound"));
    clickWidget("Cancel##sound");
    EXPECT_EQ(scene.value("PlaySound", "sound"), "jump");
    EXPECT_FALSE(popupOpen("sound"));
}

TEST_F(PickersTest, LevelsAreTopLevelOnlyAndObjectsPutTheCameraFirst) {
    scene.show("GoToLevel");
    EXPECT_EQ(open("level"), (std::vector<std::string>{"One", "Two"}));
    clickWidget("Cancel##level");

    // Something looks at a 3D object (cameras are among them), never at the view's camera or a 2D element.
    scene.show("LookAt");
    EXPECT_EQ(open("lookAt"), (std::vector<std::string>{"cam", "crate"}));
}

TEST_F(PickersTest, AnObjectsMaterialIsPickedFromTheGamesMaterialsOrAddedThere) {
    pugi::xml_node created;
    scene.panel->setCreateBlockCallback([&](const std::string& element, const std::map<std::string, std::string>& attrs) {
        created = scene.files.appendChild(scene.element("Level").parent(), element.c_str());
        scene.files.setAttribute(created, "name", attrs.at("name"));
        return attrs.at("name");
    });
    scene.show("Box");
    EXPECT_EQ(open("texture"), (std::vector<std::string>{"grass", "stone"}));
    clickWidget("stone##item");
    EXPECT_EQ(scene.value("Box", "texture"), "stone");

    clickWidget("...##texture");
    clickWidget("Add##add_texture");
    ASSERT_TRUE(created);
    EXPECT_STREQ(created.name(), "Material");
    EXPECT_EQ(scene.value("Box", "texture"), created.attribute("name").as_string());
}

TEST_F(PickersTest, TheVariablePickerOffersTheDeclarationsInScope) {
    scene.show("Set");
    EXPECT_EQ(open("var"), (std::vector<std::string>{"lives", "score"}));
}

TEST_F(PickersTest, ANameThatIsGoneIsShownMarkedAndTheListSaysWhenItIsEmpty) {
    scene.show("PlaySound");
    for (pugi::xml_node sound = scene.element("LoadSound"); sound; sound = scene.element("LoadSound"))
        scene.files.removeChild(sound.parent(), sound);
    frames();
    EXPECT_EQ(scene.value("PlaySound", "sound"), "jump");
    EXPECT_TRUE(open("sound").empty());
    EXPECT_TRUE(popupOpen("sound"));
    clickWidget("Ok##sound");
    EXPECT_FALSE(popupOpen("sound"));
    EXPECT_EQ(scene.value("PlaySound", "sound"), "jump");
}

} // namespace
} // namespace Lumenda3D
