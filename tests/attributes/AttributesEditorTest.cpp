// The attribute panel driven with real input through the headless ImGui harness: typing, buttons,
// dragging, checkboxes and lists edit their attribute in the document and the live scene, undo
// restores it, "showWhen" follows the live values, and edits from elsewhere show at once without
// taking the user's field away.
#include "AttributesTestSupport.h"
#include "PanelTestSupport.h"
#include "TestDataRoot.h"

#include "attributes/OptionsPicker.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace Lumenda3D {
namespace {

using test::AttributesScene;

constexpr int kKeyA = 'A';
constexpr int kKeyY = 'Y';
constexpr int kKeyZ = 'Z';

const char* kGame = R"(<KiteBench3D><Level name="One"><Box name="crate" x="1"/>)"
                    R"(<Fog name="mist" mode="linear"/></Level></KiteBench3D>)";

class AttributesEditorTest : public test::PanelTest {
protected:
    AttributesEditorTest() {
        ImGuiIO& io = ImGui::GetIO();
        io.KeyMap[ImGuiKey_A] = kKeyA;
        io.KeyMap[ImGuiKey_Y] = kKeyY;
        io.KeyMap[ImGuiKey_Z] = kKeyZ;
    }
    void ctrlKey(int key) {
        ui.setCtrl(true);
        pressKey(key, [this] { scene.panel->draw(); });
        ui.setCtrl(false);
    }

    void frames(int count = 2) {
        for (int i = 0; i < count; ++i)
            scene.frame();
    }
    void clickWidget(const std::string& label) { clickItem(*scene.panel, label, [this] { scene.panel->draw(); }); }
    void typeText(const std::string& text) {
        ui.type(text);
        frames(1);
    }
    void selectAll() {
        ui.setCtrl(true);
        pressKey(kKeyA, [this] { scene.panel->draw(); });
        ui.setCtrl(false);
    }
    // Leaves the field being edited: a click on the panel's empty background.
    void clickAway() {
        ui.click(1270.0f, 790.0f, [this] { scene.panel->draw(); });
    }
    std::string box(const char* attribute) { return scene.value("Box", attribute); }
    std::string fog(const char* attribute) { return scene.value("Fog", attribute); }
    const test::RecordingEngine::Update* lastUpdate(const std::string& name) {
        for (auto it = scene.engine.updates.rbegin(); it != scene.engine.updates.rend(); ++it)
            if (it->name == name)
                return &*it;
        return nullptr;
    }

    test::TestDataRoot root;
    AttributesScene scene{kGame, ui};
};

TEST_F(AttributesEditorTest, TypingANumberWritesEachKeystrokeLiveAndUndoTakesTheRunBack) {
    scene.show("Box");
    clickWidget("##x");
    typeText("5");
    EXPECT_EQ(box("x"), "15");
    ASSERT_NE(lastUpdate("x"), nullptr);
    EXPECT_EQ(lastUpdate("x")->value, "15");
    EXPECT_EQ(scene.engine.rebuilds, 0);
    typeText(".5");
    EXPECT_EQ(box("x"), "15.5");

    // Text that is not a number stays in the field only; the field says why.
    typeText("kg");
    EXPECT_EQ(box("x"), "15.5");
    EXPECT_NE(scene.panel->getFieldError("x").find("not a number"), std::string::npos);
    EXPECT_NE(scene.panel->getFieldError("x").find("15.5"), std::string::npos);
    clickAway();
    EXPECT_TRUE(scene.panel->getFieldError("x").empty());

    scene.files.undo();
    frames();
    EXPECT_EQ(box("x"), "1");
    EXPECT_EQ(scene.panel->getNode(), scene.element("Box")) << "the panel follows the reloaded document";
}

TEST_F(AttributesEditorTest, StepButtonsAndTheDragHandleMoveByTheSchemasStepInOneUndoRun) {
    scene.show("Box");  // x steps by 0.5
    clickWidget("+##x");
    EXPECT_EQ(box("x"), "1.500000");
    clickWidget("-##x");
    clickWidget("-##x");
    EXPECT_EQ(box("x"), "0.500000");

    // Five steps of eight pixels to the right, over several frames.
    const ImVec2 handle = scene.panel->getItemCenter("<>##drag_x");
    ASSERT_GE(handle.x, 0.0f);
    ui.moveMouse(handle.x, handle.y);
    frames(1);
    ui.setMouseButton(0, true);
    frames(1);
    for (int dx = 8; dx <= 40; dx += 8) {
        ui.moveMouse(handle.x + float(dx), handle.y);
        frames(1);
    }
    ui.setMouseButton(0, false);
    frames(1);
    EXPECT_EQ(box("x"), "3.000000");
    // Writes of one attribute in a row are one run: one undo takes them all back.
    scene.files.undo();
    frames();
    EXPECT_EQ(box("x"), "1");
}

TEST_F(AttributesEditorTest, CheckboxAndColourTextWriteTheirTextForms) {
    scene.show("Box");
    clickWidget("##chk_castShadows");  // the default, true, was shown
    EXPECT_EQ(box("castShadows"), "false");
    EXPECT_EQ(lastUpdate("castShadows")->type, "boolean");
    clickWidget("x##del_castShadows");
    EXPECT_FALSE(scene.element("Box").attribute("castShadows"));
    frames();
    EXPECT_FALSE(scene.element("Box").attribute("castShadows")) << "a default is shown, never written";

    clickWidget("##color");
    selectAll();
    typeText("0x00FF00");
    EXPECT_EQ(box("color"), "0x00FF00");
    EXPECT_EQ(lastUpdate("color")->type, "color");
    clickAway();
    scene.files.undo();
    frames();
    EXPECT_FALSE(scene.element("Box").attribute("color"));
}

TEST_F(AttributesEditorTest, UndoKeysInAFieldUndoTheDocumentNotTheFieldsText) {
    scene.show("Box");
    clickWidget("##color");
    selectAll();
    typeText("0x00FF00");
    ASSERT_EQ(box("color"), "0x00FF00");
    const ImGuiID field = ImGui::GetActiveID();
    ASSERT_NE(field, 0u);

    // The whole typed run goes at once, the field lets go and shows the document's value.
    ctrlKey(kKeyZ);
    EXPECT_FALSE(scene.element("Box").attribute("color"));
    EXPECT_NE(ImGui::GetActiveID(), field);
    EXPECT_FALSE(scene.files.canUndo());
    clickWidget("##color");
    ctrlKey(kKeyY);
    EXPECT_EQ(box("color"), "0x00FF00");

    // The same in a number field; the colour's run stays done.
    clickWidget("##x");
    typeText("5");
    ASSERT_EQ(box("x"), "15");
    ctrlKey(kKeyZ);
    EXPECT_EQ(box("x"), "1");
    frames();
    EXPECT_EQ(box("color"), "0x00FF00");
}

TEST_F(AttributesEditorTest, AListChoiceShowsAndHidesTheRowsThatDependOnIt) {
    scene.show("Fog");
    frames();
    EXPECT_TRUE(isDrawn(*scene.panel, "##start"));
    EXPECT_FALSE(isDrawn(*scene.panel, "##density"));

    clickWidget("##mode");
    clickWidget("exponential##exponential");
    EXPECT_EQ(fog("mode"), "exponential");
    frames();
    EXPECT_FALSE(isDrawn(*scene.panel, "##start"));
    EXPECT_TRUE(isDrawn(*scene.panel, "##density"));

    // A required list has no empty item; an optional one starts with it.
    pugi::xml_document definitions;
    definitions.load_string(R"(<d><a values="a|b" required="true"/><a values="a|b"/></d>)");
    EXPECT_EQ(OptionsPicker::items(definitions.first_child().first_child()), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(OptionsPicker::items(definitions.first_child().last_child()), (std::vector<std::string>{"", "a", "b"}));
}

TEST_F(AttributesEditorTest, ADebouncedSizeReachesTheSceneAfterAPause) {
    scene.show("Box");  // width has updateInterval 200
    clickWidget("##width");
    typeText("5");
    EXPECT_EQ(box("width"), "15");
    EXPECT_EQ(lastUpdate("width"), nullptr);
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    frames(1);
    ASSERT_NE(lastUpdate("width"), nullptr);
    EXPECT_EQ(lastUpdate("width")->value, "15");
}

TEST_F(AttributesEditorTest, EditsFromElsewhereShowWhileTheUserKeepsTyping) {
    scene.show("Box");
    clickWidget("##name");
    typeText("Z");
    EXPECT_EQ(box("name"), "crateZ");

    // An agent replaces the document with x changed; the panel follows, and the name field
    // keeps its text and focus.
    std::string text = scene.engine.getSourceXmlString(false, false);
    text.replace(text.find("x=\"1\""), 5, "x=\"7\"");
    ASSERT_TRUE(scene.engine.setXmlSourceString(text));
    frames(1);
    EXPECT_EQ(scene.panel->getNode(), scene.element("Box"));
    typeText("Y");
    EXPECT_EQ(box("name"), "crateZY");
    EXPECT_EQ(box("x"), "7");
}

TEST_F(AttributesEditorTest, TheSearchKeepsMatchingRowsAndARemovedElementClosesThePanel) {
    scene.show("Box");
    scene.panel->setSearch("Rotation");
    frames();
    EXPECT_TRUE(isDrawn(*scene.panel, "##rotationX"));
    EXPECT_FALSE(isDrawn(*scene.panel, "##x"));
    scene.panel->setSearch("");

    pugi::xml_node node = scene.element("Box");
    scene.files.removeChild(node.parent(), node);
    frames();
    EXPECT_FALSE(scene.panel->isVisible());
    EXPECT_EQ(scene.panel->getXmlId(), -1);
}

} // namespace
} // namespace Lumenda3D
