#include "engine/logic/LmdLuaRuntime.h"

#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "engine/logic/LmdLogicTestSupport.h"
#include "engine/logic/LmdLuaTranslator.h"

namespace Lumenda3D::test {
namespace {

using Strings = std::vector<std::string>;

// ---------------------------------------------------------------- expressions

TEST_F(LogicTest, ExpressionsFollowTheLanguagesRules) {
    host.add("player", 4, 0, 0);
    host.add("coin", 4, 3, 4);
    host.objects["player"]["visible"] = LmdScriptValue::ofBoolean(false);
    struct Case {
        const char* expression;
        const char* expected;
    };
    const Case cases[] = {
        {"1 + 2 * 3", "7"},         {"(1 + 2) * 3", "9"},         {"-2 * 3 + 10", "4"},
        {"- -2", "2"},              {"7 / 2", "3.5"},             {"10 % 4", "2"},
        {"2 * 3 % 4", "2"},         {"1 - 2 - 3", "-4"},          {"1e3 + .5", "1000.5"},
        {"1 + 2 == 3", "true"},     {"1 < 2 and 3 > 4", "false"}, {"1 > 2 or 2 >= 2", "true"},
        {"not 1 == 2", "true"},     {"not score", "true"},        {"0 or \"\"", "false"},
        {"\"a\" + 1 + 2", "a12"},   {"1 + 2 + \"a\"", "3a"},      {"'it' + \"'s\"", "it's"},
        {"score + 1", "1"},         {"abs(-3)", "3"},             {"floor(2.7) + ceil(2.1)", "5"},
        {"round(2.5)", "3"},        {"min(3, 1, 2)", "1"},        {"max(3, 1, 2)", "3"},
        {"sqrt(16)", "4"},          {"sin(90) + cos(0)", "2"},    {"len(list)", "3"},
        {"list[2] + list[1 + 2]", "50"}, {"player.x + 1", "5"},   {"player.visible", "false"},
        {"not player.visible", "true"},  {"distance(player, coin)", "5"},
        {"distance(\"coin\", player)", "5"}, {"keyDown(\"Left\")", "false"},
        {"time", "0"},              {"random(3, 3)", "3"},        {"\"\" + 1 / 4", "0.25"},
    };
    std::string declarations, sets;
    for (size_t n = 0; n < std::size(cases); ++n) {
        std::string escaped;
        for (const char* p = cases[n].expression; *p; ++p)
            escaped += *p == '"' ? std::string("&quot;") : *p == '<' ? std::string("&lt;")
                                                       : *p == '>' ? std::string("&gt;") : std::string(1, *p);
        declarations += "<Var name=\"r" + std::to_string(n) + "\"/>";
        sets += "<Set var=\"r" + std::to_string(n) + "\" value=\"" + escaped + "\"/>";
    }
    ASSERT_TRUE(play("<Var name=\"score\" value=\"0\"/><Array name=\"list\" items=\"10, 20, 30\"/>" + declarations +
                     "<Level name=\"A\"><Box name=\"player\"/><Box name=\"coin\"/><OnStart>" + sets +
                     "</OnStart></Level>"));
    EXPECT_EQ(log.critical, Strings{});
    for (size_t n = 0; n < std::size(cases); ++n)
        EXPECT_EQ(text("r" + std::to_string(n)), cases[n].expected) << cases[n].expression;
}

TEST_F(LogicTest, AssignmentsReachVariablesPropertiesAndArrayItems) {
    host.add("player", 1, 2, 3);
    host.add("hud");
    ASSERT_TRUE(play("<Var name=\"score\" value=\"10\"/><Array name=\"list\" items=\"1, 2\"/>"
                     "<Level name=\"A\"><Box name=\"player\"><OnStart>"
                     "<Set var=\"self.y\" value=\"5\"/><Increment var=\"player.x\" value=\"2\"/>"
                     "<Set var=\"player.visible\" value=\"false\"/>"
                     "<Set var=\"list[2]\" value=\"7\"/><Increment var=\"list[1]\"/><Set var=\"list[3]\" value=\"&quot;new&quot;\"/>"
                     "<Increment var=\"score\" value=\"-0.5\"/><Set var=\"hud.text\" value=\"score + list[2]\"/>"
                     "</OnStart></Box><Text2D name=\"hud\"/></Level>"));
    EXPECT_EQ(log.critical, Strings{});
    EXPECT_EQ(host.num("player", "y"), 5);
    EXPECT_EQ(host.num("player", "x"), 3);
    EXPECT_FALSE(host.objects["player"]["visible"].boolean);
    EXPECT_EQ(text("list"), "2, 7, new");
    EXPECT_EQ(var("score"), 9.5);
    EXPECT_EQ(host.objects["hud"]["text"], LmdScriptValue::ofNumber(16.5));
}

TEST_F(LogicTest, ArraysCountFromOneAndGrowShrinkAndClear) {
    ASSERT_TRUE(play("<Array name=\"a\" items=\"5, 6, 7\"/><Var name=\"sum\"/><Var name=\"seen\" value=\"&quot;&quot;\"/>"
                     "<Level name=\"A\"><OnStart>"
                     "<ArrayAdd array=\"a\" value=\"8\"/><ArrayRemove array=\"a\" index=\"1\"/><ArrayRemove array=\"a\"/>"
                     "<ArraySet array=\"a\" index=\"3\" value=\"9\"/>"
                     "<ForEach array=\"a\" item=\"it\" index=\"k\"><Increment var=\"sum\" value=\"it * k\"/>"
                     "<Set var=\"seen\" value=\"seen + k + ':' + it + ' '\"/></ForEach>"
                     "<Array name=\"local\" items=\"1, 2\"/><ArrayClear array=\"local\"/><ArrayAdd array=\"local\" value=\"len(a)\"/>"
                     "<Set var=\"sum\" value=\"sum + local[1] * 100\"/>"
                     "</OnStart></Level>"));
    EXPECT_EQ(log.critical, Strings{});
    EXPECT_EQ(text("a"), "6, 7, 9");
    EXPECT_EQ(text("seen"), "1:6 2:7 3:9 ");
    EXPECT_EQ(var("sum"), 6 + 14 + 27 + 300);
}

// ---------------------------------------------------------------- texts

TEST_F(LogicTest, PlaceholderTextsFollowTheirValues) {
    host.add("hud");
    host.add("label");
    ASSERT_TRUE(play("<Var name=\"score\" value=\"0\"/>"
                     "<Level name=\"A\"><Text2D name=\"hud\" text=\"Score: {score} {{not this}} {score * 2}\"/>"
                     "<Text2D name=\"label\" text=\"plain {{braces}}\"/>"
                     "<OnKeyDown key=\"Space\"><Increment var=\"score\"/></OnKeyDown>"
                     "<OnKeyDown key=\"A\"><SetText target=\"hud\" text=\"Total {score + 100}\"/></OnKeyDown>"
                     "<OnKeyDown key=\"B\"><Set var=\"hud.text\" value=\"&quot;fixed&quot;\"/></OnKeyDown>"
                     "</Level>"));
    EXPECT_EQ(host.text("hud"), "Score: 0 {not this} 0");
    EXPECT_EQ(host.text("label"), ""); // a text without placeholders is the scene's, never rewritten
    runtime.keyDown("Space");
    EXPECT_EQ(host.text("hud"), "Score: 1 {not this} 2");
    const int writes = host.writes["hud.text"];
    frames(5, 0.1);
    EXPECT_EQ(host.writes["hud.text"], writes) << "an unchanged text is not written again";
    runtime.keyDown("A");
    EXPECT_EQ(host.text("hud"), "Total 101");
    runtime.keyUp("Space");
    runtime.keyDown("Space");
    EXPECT_EQ(host.text("hud"), "Total 102");
    runtime.keyDown("B");
    runtime.keyUp("Space");
    runtime.keyDown("Space");
    EXPECT_EQ(host.text("hud"), "fixed");
    EXPECT_EQ(log.critical, Strings{});
}

// ---------------------------------------------------------------- events

TEST_F(LogicTest, StartAndUpdateRunWithTimeAndFrameLength) {
    ASSERT_TRUE(play("<Var name=\"starts\"/><Var name=\"total\"/><Var name=\"last\"/>"
                     "<OnStart><Increment var=\"starts\" value=\"100\"/></OnStart>"
                     "<Level name=\"A\"><Var name=\"levelStarts\"/><OnStart><Increment var=\"starts\"/></OnStart>"
                     "<OnUpdate><Increment var=\"total\" value=\"dt\"/><Set var=\"last\" value=\"time\"/></OnUpdate></Level>"));
    EXPECT_EQ(var("starts"), 101);
    frames(4, 0.25);
    EXPECT_EQ(var("total"), 1.0);
    EXPECT_EQ(var("last"), 1.0);
    ASSERT_TRUE(runtime.start("A")); // a level restart: the level's OnStart only, time from 0
    EXPECT_EQ(var("starts"), 102);
    runtime.update(0.5);
    EXPECT_EQ(var("last"), 0.5);
    runtime.stop();
    frames(2, 0.25);
    EXPECT_FALSE(runtime.isRunning());
    ASSERT_TRUE(runtime.start()); // a new game: game variables start again
    EXPECT_EQ(var("starts"), 101);
}

TEST_F(LogicTest, KeysFireOnPressWhileHeldAndOnRelease) {
    ASSERT_TRUE(play("<Var name=\"down\"/><Var name=\"held\"/><Var name=\"up\"/><Var name=\"any\"/><Var name=\"polled\"/>"
                     "<Level name=\"A\"><OnKeyDown key=\"Left\"><Increment var=\"down\"/></OnKeyDown>"
                     "<OnKeyHeld key=\"Left\"><Increment var=\"held\"/></OnKeyHeld>"
                     "<OnKeyUp key=\"Left\"><Increment var=\"up\"/></OnKeyUp>"
                     "<OnKeyDown key=\"Any\"><Increment var=\"any\"/></OnKeyDown>"
                     "<OnUpdate><If left=\"keyDown('Left')\"><Increment var=\"polled\"/></If></OnUpdate></Level>"));
    runtime.update(0.1);
    runtime.keyDown("left"); // case does not matter
    runtime.keyDown("Left"); // key repeat: not a new press
    frames(3, 0.1);
    runtime.keyDown("X");
    runtime.keyUp("LEFT");
    frames(2, 0.1);
    EXPECT_EQ(var("down"), 1);
    EXPECT_EQ(var("held"), 3);
    EXPECT_EQ(var("polled"), 3);
    EXPECT_EQ(var("up"), 1);
    EXPECT_EQ(var("any"), 2);
    EXPECT_EQ(log.critical, Strings{});
}

TEST_F(LogicTest, ClicksReachTheClickedObjectOnly) {
    for (const char* name : {"red", "blue", "button"})
        host.add(name);
    ASSERT_TRUE(play("<Var name=\"log\" value=\"''\"/>"
                     "<Level name=\"A\"><Box name=\"red\"><OnClick><Set var=\"log\" value=\"log + 'R'\"/>"
                     "<Hide/></OnClick></Box>"
                     "<Box name=\"blue\"><OnClick><Set var=\"log\" value=\"log + 'B' + self\"/></OnClick></Box>"
                     "<OnClick target=\"button\"><Set var=\"log\" value=\"log + 'U'\"/></OnClick>"
                     "<Button2D name=\"button\"/></Level>"));
    runtime.click("blue");
    runtime.click("button");
    runtime.click("red");
    runtime.click("nothing");
    EXPECT_EQ(text("log"), "BblueUR");
    EXPECT_FALSE(host.objects["red"]["visible"].boolean);
    EXPECT_TRUE(host.objects["blue"]["visible"].boolean);
}

TEST_F(LogicTest, ThePointerAndTheLastClickAreValuesOfExpressions) {
    host.add("ground");
    host.add("crate");
    ASSERT_TRUE(play("<Var name=\"seen\" value=\"''\"/><Var name=\"screen\"/><Var name=\"px\"/><Var name=\"pz\"/>"
                     "<Var name=\"target\" value=\"''\"/><Var name=\"tx\"/><Var name=\"tz\"/><Var name=\"clicks\"/>"
                     "<Level name=\"A\"><Box name=\"ground\"><OnClick><Increment var=\"clicks\"/>"
                     "<Set var=\"target\" value=\"clickObject\"/><Set var=\"tx\" value=\"clickX\"/>"
                     "<Set var=\"tz\" value=\"clickZ\"/></OnClick></Box>"
                     "<OnUpdate><Set var=\"seen\" value=\"pointerObject\"/><Set var=\"screen\" value=\"mouseX + mouseY * 1000\"/>"
                     "<Set var=\"px\" value=\"pointerX\"/><Set var=\"pz\" value=\"pointerZ\"/></OnUpdate></Level>"));
    // Before the pointer is known every value is there, as 0 or "".
    runtime.update(0.1);
    EXPECT_EQ(text("seen"), "");
    EXPECT_EQ(var("screen"), 0);

    LmdPointerState over;
    over.screenX = 12, over.screenY = 34, over.hit = true, over.x = 1.5, over.y = 0.5, over.z = -2, over.object = "crate";
    runtime.pointer(over);
    runtime.update(0.1);
    EXPECT_EQ(text("seen"), "crate");
    EXPECT_EQ(var("screen"), 34012);
    EXPECT_EQ(var("px"), 1.5);

    // Pointing at the sky: the screen position follows, the 3D point stays where it was.
    LmdPointerState sky;
    sky.screenX = 5, sky.screenY = 1;
    runtime.pointer(sky);
    runtime.update(0.1);
    EXPECT_EQ(text("seen"), "");
    EXPECT_EQ(var("screen"), 1005);
    EXPECT_EQ(var("px"), 1.5);
    EXPECT_EQ(var("pz"), -2);

    // A click tells its point before OnClick runs; a later click on nothing leaves the point.
    LmdPointerState click;
    click.hit = true, click.x = 3, click.z = -4, click.object = "ground";
    runtime.clickAt(click);
    runtime.click("ground");
    EXPECT_EQ(var("clicks"), 1);
    EXPECT_EQ(text("target"), "ground");
    EXPECT_EQ(var("tx"), 3);
    EXPECT_EQ(var("tz"), -4);
    runtime.clickAt(sky);
    runtime.click("ground");
    EXPECT_EQ(text("target"), "");
    EXPECT_EQ(var("tx"), 3);

    // The last click stays over a level restart; a new game starts from nothing.
    ASSERT_TRUE(runtime.start("A"));
    runtime.click("ground");
    EXPECT_EQ(var("tx"), 3);
    ASSERT_TRUE(play("<Var name=\"tx\" value=\"clickX + 1\"/>"));
    EXPECT_EQ(var("tx"), 1);
    EXPECT_EQ(log.critical, Strings{});
}

TEST_F(LogicTest, GameVariablesOfTheSameNameComeBeforeThePointerValues) {
    ASSERT_TRUE(play("<Var name=\"mouseX\" value=\"7\"/><Var name=\"got\"/>"
                     "<Level name=\"A\"><OnUpdate><Set var=\"got\" value=\"mouseX\"/></OnUpdate></Level>"));
    LmdPointerState state;
    state.screenX = 100;
    runtime.pointer(state);
    runtime.update(0.1);
    EXPECT_EQ(var("got"), 7);
}

TEST_F(LogicTest, CollisionsFilterByWithAndNameTheOtherObject) {
    for (const char* name : {"player", "coin", "wall", "lava"})
        host.add(name);
    ASSERT_TRUE(play("<Var name=\"score\"/><Var name=\"hits\" value=\"''\"/>"
                     "<Level name=\"A\"><Box name=\"player\">"
                     "<OnCollision with=\"coin\"><Increment var=\"score\"/><Destroy target=\"other\"/></OnCollision>"
                     "<OnCollision><Set var=\"hits\" value=\"hits + other + ' '\"/></OnCollision></Box>"
                     "<Sphere name=\"coin\"/><Box name=\"wall\"/>"
                     "<OnCollision target=\"lava\" with=\"player\"><Set var=\"player.y\" value=\"100\"/></OnCollision>"
                     "</Level>"));
    runtime.collision("wall", "player");
    runtime.collision("player", "coin");
    runtime.collision("lava", "player");
    EXPECT_EQ(var("score"), 1);
    EXPECT_EQ(text("hits"), "wall coin lava ");
    EXPECT_EQ(host.objects.count("coin"), 0u);
    EXPECT_EQ(host.num("player", "y"), 100);
    EXPECT_EQ(log.critical, Strings{});
}

TEST_F(LogicTest, TimersRepeatOrFireOnceOverSimulatedTime) {
    ASSERT_TRUE(play("<Var name=\"every\"/><Var name=\"once\"/><Var name=\"game\"/>"
                     "<Timer interval=\"1\"><Increment var=\"game\"/></Timer>"
                     "<Level name=\"A\"><Timer interval=\"0.5\"><Increment var=\"every\"/></Timer>"
                     "<Timer interval=\"0.75\" repeat=\"false\"><Increment var=\"once\"/></Timer></Level>"
                     "<Level name=\"B\"/>"));
    frames(1, 0.25);
    EXPECT_EQ(var("every"), 0) << "a timer first runs one interval after its level starts, not at the start";
    frames(1, 0.25);
    EXPECT_EQ(var("every"), 1);
    frames(6, 0.25);
    EXPECT_EQ(var("every"), 4);
    EXPECT_EQ(var("once"), 1);
    runtime.update(1.0);
    EXPECT_EQ(var("every"), 6) << "a long frame fires every interval it covers";
    ASSERT_TRUE(runtime.start("B"));
    frames(4, 0.25);
    EXPECT_EQ(var("every"), 6) << "level timers stop with their level";
    EXPECT_EQ(var("game"), 4) << "game timers go on across levels";
}

TEST_F(LogicTest, JoysticksReportTheirStickWhilePushed) {
    host.add("ship");
    ASSERT_TRUE(play("<Level name=\"A\"><Box name=\"ship\"><OnJoystick joystick=\"stick\">"
                     "<Move moveX=\"stickX * 2\" moveZ=\"stickY\"/></OnJoystick></Box><Joystick name=\"stick\"/></Level>"));
    runtime.joystick("stick", 0.5, -1);
    frames(2, 0.1);
    runtime.joystick("stick", 0, 0);
    frames(2, 0.1);
    EXPECT_EQ(host.num("ship", "x"), 2);
    EXPECT_EQ(host.num("ship", "z"), -2);
}

// ---------------------------------------------------------------- variables, functions, levels

TEST_F(LogicTest, LevelVariablesStartAgainWithTheirLevelGameVariablesKeepGoing) {
    ASSERT_TRUE(play("<Var name=\"coins\" value=\"0\"/>"
                     "<Level name=\"One\"><Var name=\"lives\" value=\"3\"/><Array name=\"keys\" items=\"1\"/>"
                     "<OnKeyDown key=\"Space\"><Increment var=\"coins\"/><Increment var=\"lives\" value=\"-1\"/>"
                     "<ArrayAdd array=\"keys\" value=\"2\"/></OnKeyDown>"
                     "<OnKeyDown key=\"R\"><GoToLevel/></OnKeyDown><OnKeyDown key=\"N\"><GoToLevel level=\"Two\"/></OnKeyDown>"
                     "</Level><Level name=\"Two\"><Var name=\"lives\" value=\"9\"/></Level>"));
    runtime.keyDown("Space");
    EXPECT_EQ(var("lives"), 2);
    EXPECT_EQ(text("keys"), "1, 2");
    runtime.keyDown("R");
    EXPECT_EQ(host.calls.back(), "level One");
    EXPECT_EQ(var("lives"), 3);
    EXPECT_EQ(text("keys"), "1");
    EXPECT_EQ(var("coins"), 1);
    // The listing of every readable variable: game and running level, each once, by name.
    auto listed = [&] {
        std::string out;
        for (const auto& [name, value] : runtime.variables())
            out += name + "=" + (value.type == LmdScriptValue::Type::Number ? std::to_string(int(value.number)) : value.text) + " ";
        return out;
    };
    EXPECT_EQ(listed(), "coins=1 keys=1 lives=3 ");
    // A live edit gives a variable a value in its own scope; arrays and unknown names refuse.
    EXPECT_TRUE(runtime.setVariable("lives", LmdScriptValue::ofNumber(7)));
    EXPECT_TRUE(runtime.setVariable("coins", LmdScriptValue::ofText("many")));
    EXPECT_FALSE(runtime.setVariable("keys", LmdScriptValue::ofNumber(1)));
    EXPECT_FALSE(runtime.setVariable("nowhere", LmdScriptValue::ofNumber(1)));
    EXPECT_EQ(listed(), "coins=many keys=1 lives=7 ");
    EXPECT_TRUE(runtime.setVariable("coins", LmdScriptValue::ofNumber(1)));
    runtime.keyDown("N");
    EXPECT_EQ(runtime.currentLevel(), "Two");
    EXPECT_EQ(var("lives"), 9);
    EXPECT_EQ(var("coins"), 1);
    EXPECT_EQ(listed(), "coins=1 lives=9 ");
    EXPECT_FALSE(runtime.start("Moon"));
    EXPECT_EQ(log.count("no level named 'Moon'"), 1u);
}

TEST_F(LogicTest, LocalVariablesBelongToTheirRun) {
    ASSERT_TRUE(play("<Var name=\"out\" value=\"''\"/><Level name=\"A\">"
                     "<OnUpdate><Var name=\"n\" value=\"1\"/><Loop count=\"3\" index=\"i\"><Var name=\"n\" value=\"n + i\"/>"
                     "<Set var=\"out\" value=\"out + n\"/></Loop><Set var=\"out\" value=\"out + '|' + n\"/></OnUpdate>"
                     "<OnStart><Set var=\"out\" value=\"n\" id=\"7\"/></OnStart></Level>"));
    runtime.update(0.1);
    EXPECT_EQ(text("out"), "234|1");
    ASSERT_EQ(log.critical.size(), 1u);
    EXPECT_NE(log.critical[0].find("Set (id 7): value=\"n\": unknown variable 'n'"), std::string::npos) << log.critical[0];
}

TEST_F(LogicTest, FunctionsTakeParametersReturnValuesAndRecurse) {
    host.add("player");
    ASSERT_TRUE(play("<Var name=\"r\"/><Var name=\"f\"/><Var name=\"early\"/>"
                     "<Function name=\"fact\" params=\"n\"><If left=\"n\" op=\"&lt;=\" right=\"1\"><Return value=\"1\"/></If>"
                     "<Call function=\"fact\" args=\"n - 1\" result=\"f\"/><Return value=\"n * f\"/></Function>"
                     "<Function name=\"nudge\" params=\"dx, dy\"><Move moveX=\"dx\" moveY=\"dy\"/></Function>"
                     "<Function name=\"firstOver\" params=\"limit\"><Loop count=\"100\"><If left=\"i * i\" op=\"&gt;\" right=\"limit\">"
                     "<Return value=\"i\"/></If></Loop><Return value=\"0\"/></Function>"
                     "<Level name=\"A\"><Function name=\"fact\" params=\"n\"><Return value=\"-n\"/></Function>"
                     "<Box name=\"player\"><OnStart><Call function=\"nudge\" args=\"2, 3\"/>"
                     "<Call function=\"firstOver\" args=\"50\" result=\"early\"/></OnStart></Box></Level>"
                     "<OnStart><Call function=\"fact\" args=\"5\" result=\"r\"/></OnStart>"));
    EXPECT_EQ(log.critical, Strings{});
    EXPECT_EQ(var("r"), 120) << "the game's own function, not the level's of the same name";
    EXPECT_EQ(var("early"), 8);
    EXPECT_EQ(host.num("player", "x"), 2) << "an empty target in a function is the calling object";
    EXPECT_EQ(host.num("player", "y"), 3);
}

// ---------------------------------------------------------------- motion

TEST_F(LogicTest, TweensSpreadAMoveOverFramesAndEndOnTheTarget) {
    host.add("box");
    host.add("lift", 0, 2, 0);
    ASSERT_TRUE(play("<Level name=\"A\"><Box name=\"box\"><OnStart>"
                     "<Move mode=\"to\" moveX=\"10\" moveY=\"0\" moveZ=\"0\" duration=\"1\"/>"
                     "<Scale scaleX=\"2\" scaleY=\"1\" scaleZ=\"1\" duration=\"0.5\"/>"
                     "<Rotate rotateY=\"90\"/></OnStart></Box>"
                     "<Box name=\"lift\"><OnKeyDown key=\"Up\"><Move moveY=\"4\" duration=\"2\" space=\"local\"/></OnKeyDown></Box>"
                     "</Level>"));
    EXPECT_EQ(host.num("box", "rotationY"), 90) << "no duration: at once";
    frames(2, 0.25);
    EXPECT_DOUBLE_EQ(host.num("box", "x"), 5);
    EXPECT_DOUBLE_EQ(host.num("box", "scaleX"), 2);
    runtime.keyDown("Up");
    frames(2, 0.25);
    EXPECT_DOUBLE_EQ(host.num("box", "x"), 10);
    EXPECT_DOUBLE_EQ(host.num("lift", "y"), 3);
    frames(10, 0.25);
    EXPECT_DOUBLE_EQ(host.num("box", "x"), 10) << "a tween stops on its target";
    EXPECT_DOUBLE_EQ(host.num("lift", "y"), 6);
    EXPECT_EQ(host.countCalls("translate lift local"), 8u);
    EXPECT_EQ(log.critical, Strings{});
}

// A copy's name follows the placeholders of newName; an action that finds nothing is logged
// against its block and the blocks after it still run, while an error of the logic itself ends
// the handler.
TEST_F(LogicTest, CopiesAreNamedByTheirPlaceholdersAndAFailingActionLeavesItsSiblings) {
    host.add("hero");
    ASSERT_TRUE(play("<Var name=\"wave\" value=\"3\"/><Level name=\"A\"><Box name=\"hero\"><OnStart>"
                     "<Clone newName=\"hero{wave}\"/><Clone target=\"gone\" newName=\"x\"/>"
                     "<Move id=\"7\" target=\"ghost\" moveX=\"1\"/><Print text=\"after the move\"/>"
                     "<Set var=\"wave\" value=\"ghost.x\"/><Print text=\"never\"/>"
                     "</OnStart></Box></Level>"));
    EXPECT_EQ(host.calls, Strings{"clone hero hero3"});
    EXPECT_EQ(host.prints, Strings{"after the move"});
    ASSERT_EQ(log.critical.size(), 3u) << log.all();
    EXPECT_NE(log.critical[0].find("Clone"), std::string::npos) << log.critical[0];
    EXPECT_NE(log.critical[1].find("Move (id 7)"), std::string::npos) << log.critical[1];
    EXPECT_NE(log.critical[2].find("Set"), std::string::npos) << log.critical[2];
}

TEST_F(LogicTest, ActionsReachTheScene) {
    for (const char* name : {"hero", "lamp", "enemy", "model"})
        host.add(name);
    ASSERT_TRUE(play("<LoadSound name=\"music\" fileName=\"m.ogg\" autoPlay=\"true\" loop=\"true\"/>"
                     "<LoadSound name=\"jump\" fileName=\"j.wav\"/>"
                     "<Level name=\"A\"><PointLight name=\"lamp\"/><Box name=\"enemy\"/><Model name=\"model\" fileName=\"m.glb\"/>"
                     "<Box name=\"hero\"><OnStart>"
                     "<ApplyForce forceY=\"5\" impulse=\"true\"/><SetVelocity velocityX=\"3\"/><LookAt lookAt=\"enemy\"/>"
                     "<PlaySound sound=\"jump\"/><StopSound/><SwitchLight lightPicker=\"lamp, lamp\" on=\"false\"/>"
                     "<PlayAnimation target=\"model\" animation=\"run\"/><StopAnimation target=\"model\"/>"
                     "<SetColor color=\"#ff8800\"/><Clone newName=\"twin\" offsetX=\"2\"/>"
                     "</OnStart></Box></Level>"));
    EXPECT_EQ(log.critical, Strings{});
    EXPECT_EQ(host.calls, (Strings{"sound music loop", "force hero 0.000000 5.000000 0.000000 impulse",
                                   "velocity hero 3 keep keep", "lookAt hero enemy", "sound jump", "stopSound ",
                                   "light lamp off", "light lamp off", "anim model run loop", "stopAnim model",
                                   "clone hero twin"}));
    EXPECT_EQ(host.objects["hero"]["color"], LmdScriptValue::ofText("0xFF8800"));
    EXPECT_EQ(host.num("twin", "x"), 2);
}

TEST_F(LogicTest, CopiesRunTheLogicOfTheirOriginal) {
    host.add("gun");
    host.add("bullet");
    host.add("enemy");
    ASSERT_TRUE(play("<Var name=\"kills\"/><Level name=\"A\">"
                     "<Box name=\"bullet\"><OnUpdate><Move moveZ=\"-10 * dt\"/></OnUpdate></Box>"
                     "<Box name=\"enemy\"><OnCollision with=\"bullet\"><Increment var=\"kills\"/><Destroy target=\"other\"/>"
                     "</OnCollision></Box>"
                     "<Box name=\"gun\"><OnKeyDown key=\"Space\"><Clone target=\"bullet\"/></OnKeyDown></Box></Level>"));
    runtime.keyDown("Space");
    ASSERT_EQ(host.objects.count("bullet_2"), 1u);
    frames(2, 0.5);
    EXPECT_EQ(host.num("bullet", "z"), -10);
    EXPECT_EQ(host.num("bullet_2", "z"), -10);
    runtime.collision("bullet_2", "enemy");
    EXPECT_EQ(var("kills"), 1);
    EXPECT_EQ(host.objects.count("bullet_2"), 0u);
    frames(1, 0.5);
    EXPECT_EQ(host.num("bullet", "z"), -15);
    EXPECT_EQ(log.critical, Strings{}) << "the destroyed copy's logic stopped with it";
}

// ---------------------------------------------------------------- errors while running

TEST_F(LogicTest, ARuntimeErrorIsLoggedOnceAndTheOtherEventsGoOn) {
    host.add("player");
    ASSERT_TRUE(play("<Var name=\"ticks\"/><Var name=\"y\"/><Var name=\"word\" value=\"'abc'\"/>"
                     "<Level name=\"A\"><OnUpdate id=\"20\"><Set id=\"21\" var=\"y\" value=\"ghost.y\"/><Increment var=\"ticks\" value=\"1000\"/></OnUpdate>"
                     "<OnUpdate><Increment var=\"ticks\"/></OnUpdate>"
                     "<Box name=\"player\"><OnKeyDown key=\"Space\" id=\"30\"><Move id=\"31\" moveX=\"word\"/></OnKeyDown>"
                     "<OnKeyDown key=\"Space\"><Increment var=\"ticks\" value=\"100\"/></OnKeyDown></Box></Level>"));
    frames(5, 0.1);
    runtime.keyDown("Space");
    EXPECT_EQ(var("ticks"), 105);
    EXPECT_EQ(log.critical, (Strings{"Script error in Set (id 21): there is no object named 'ghost'",
                                     "Script error in Move (id 31): Move moveX needs a number, not the text 'abc'"}));
    EXPECT_EQ(runtime.errorCount(), 2u);
}

TEST_F(LogicTest, EndlessLoopsAreStoppedAndNamed) {
    instructionLimit = 2'000'000;
    ASSERT_TRUE(play("<Var name=\"ticks\"/><Var name=\"n\"/><Var name=\"work\"/><Level name=\"A\">"
                     "<OnUpdate><While id=\"40\" left=\"1\" op=\"==\" right=\"1\"><Increment var=\"n\"/></While></OnUpdate>"
                     "<OnUpdate><Loop id=\"50\" count=\"1e12\"><Increment var=\"n\" id=\"51\"/></Loop></OnUpdate>"
                     "<Function name=\"deep\" params=\"k\"><Call id=\"60\" function=\"deep\" args=\"k + 1\"/></Function>"
                     "<OnKeyDown key=\"D\"><Call function=\"deep\" args=\"1\"/></OnKeyDown>"
                     "<OnUpdate><Increment var=\"ticks\"/><Loop count=\"20000\"><Increment var=\"work\"/></Loop>"
                     "</OnUpdate></Level>"));
    frames(3, 0.1);
    runtime.keyDown("D");
    EXPECT_EQ(var("ticks"), 3);
    EXPECT_EQ(var("work"), 60000) << "each handler has its own instruction budget";
    ASSERT_EQ(log.critical.size(), 3u) << log.all();
    EXPECT_EQ(log.critical[0], "Script error in While (id 40): the While ran 100000 rounds without its condition "
                               "becoming false and was stopped");
    EXPECT_NE(log.critical[1].find("(id 5"), std::string::npos) << log.all(); // the Loop or the block in it
    EXPECT_NE(log.critical[1].find("more than 2000000 Lua instructions"), std::string::npos) << log.all();
    // Endless recursion ends on the budget or on Lua's stack limit, whichever comes first.
    EXPECT_EQ(log.critical[2].rfind("Script error in Call (id 60): ", 0), 0u) << log.all();
}

TEST_F(LogicTest, RunningOutOfMemoryEndsTheEventAndTheGameRecovers) {
    runtime.setMemoryLimit(std::size_t(8) << 20);
    ASSERT_TRUE(play("<Array name=\"junk\"/><Level name=\"A\">"
                     "<OnKeyDown id=\"90\" key=\"M\"><Loop count=\"1e9\"><ArrayAdd array=\"junk\" value=\"'some text ' + i\"/>"
                     "</Loop></OnKeyDown><OnKeyDown key=\"C\"><ArrayClear array=\"junk\"/></OnKeyDown>"
                     "<OnKeyDown key=\"P\"><Print text=\"still here {len(junk)}\"/></OnKeyDown></Level>"));
    runtime.keyDown("M");
    runtime.keyDown("C");
    runtime.keyDown("P");
    EXPECT_EQ(log.critical, Strings{"Script error in OnKeyDown (id 90): the game's logic ran out of memory (the limit is 8 MB)"});
    EXPECT_EQ(host.prints, Strings{"still here 0"});
}

// A scene that throws must not unwind through Lua: the exception becomes the block's error.
TEST_F(LogicTest, ExceptionsFromTheSceneBecomeErrorLines) {
    struct ThrowingHost : FakeScriptHost {
        bool translate(const std::string&, double, double, double, bool) override {
            throw std::runtime_error("physics is not ready");
        }
    } throwing;
    throwing.add("box");
    LmdLuaRuntime logic(throwing);
    pugi::xml_document game;
    ASSERT_TRUE(game.load_string("<KiteBench3D><Level name=\"A\"><Box name=\"box\"><OnUpdate><Move id=\"95\" moveX=\"1\"/>"
                                 "<Print text=\"unreached\"/></OnUpdate><OnUpdate><Print text=\"tick\"/></OnUpdate>"
                                 "</Box></Level></KiteBench3D>"));
    ASSERT_TRUE(logic.loadDocument(game, realSchema()));
    ASSERT_TRUE(logic.start());
    logic.update(0.1);
    logic.update(0.1);
    EXPECT_EQ(log.critical, Strings{"Script error in Move (id 95): the scene failed: physics is not ready"});
    EXPECT_EQ(throwing.prints, (Strings{"tick", "tick"}));
}

TEST_F(LogicTest, AnObjectTheSceneRemovesTakesItsLogicAndItsChildrensLogicAlong) {
    for (const char* name : {"cart", "wheel", "tag", "other"})
        host.add(name);
    ASSERT_TRUE(play("<Var name=\"turns\"/><Var name=\"others\"/><Level name=\"A\">"
                     "<Box name=\"cart\"><Cylinder name=\"wheel\"><OnUpdate><Rotate rotateZ=\"10\"/>"
                     "<Increment var=\"turns\"/></OnUpdate></Cylinder><Text2D name=\"tag\" text=\"{turns}\"/></Box>"
                     "<Box name=\"other\"><OnUpdate><Increment var=\"others\"/></OnUpdate></Box></Level>"));
    frames(2, 0.1);
    runtime.objectRemoved("cart");
    host.objects.erase("cart");
    host.objects.erase("wheel");
    host.objects.erase("tag");
    frames(2, 0.1);
    EXPECT_EQ(var("turns"), 2);
    EXPECT_EQ(var("others"), 4);
    EXPECT_EQ(log.critical, Strings{});
}

TEST_F(LogicTest, ALevelTheSceneCannotOpenIsReportedAtItsBlock) {
    host.refusedLevels = {"Two"};
    ASSERT_TRUE(play("<Level name=\"One\"><OnKeyDown key=\"N\"><GoToLevel id=\"70\" level=\"Two\"/></OnKeyDown></Level>"
                     "<Level name=\"Two\"/>"));
    runtime.keyDown("N");
    EXPECT_EQ(runtime.currentLevel(), "One");
    EXPECT_EQ(log.critical, Strings{"Script error in GoToLevel (id 70): the scene cannot open level 'Two'"});
}

// Exported games ship bytecode: it runs the same, and errors still name their blocks.
TEST_F(LogicTest, BytecodeRunsTheSameAndKeepsBlockNames) {
    pugi::xml_document game;
    ASSERT_TRUE(game.load_string("<KiteBench3D><Var name=\"n\"/><Level name=\"A\"><OnStart><Set var=\"n\" value=\"6 * 7\"/>"
                                 "</OnStart><OnKeyDown key=\"E\"><Set id=\"80\" var=\"n\" value=\"nobody.x\"/></OnKeyDown>"
                                 "</Level></KiteBench3D>"));
    const LmdLuaTranslation translation = LmdLuaTranslator::translate(game, realSchema());
    std::string bytecode, error;
    ASSERT_TRUE(LmdLuaRuntime::compileToBytecode(translation.chunk, bytecode, &error)) << error;
    EXPECT_EQ(bytecode.rfind("\x1bLua", 0), 0u);
    EXPECT_FALSE(runtime.loadChunk(bytecode)) << "text mode refuses bytecode";
    ASSERT_TRUE(runtime.loadBytecode(bytecode));
    ASSERT_TRUE(runtime.start());
    EXPECT_EQ(var("n"), 42);
    runtime.keyDown("E");
    EXPECT_EQ(log.count("Script error in Set (id 80): there is no object named 'nobody'"), 1u) << log.all();
}

} // namespace
} // namespace Lumenda3D::test
