#include "engine/logic/LmdLuaTranslator.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <lua.hpp>

#include "engine/logic/LmdLogicTestSupport.h"
#include "engine/schema/SchemaValidator.h"

namespace Lumenda3D::test {
namespace {

bool luaLoads(const std::string& chunk, std::string& error) {
    lua_State* L = luaL_newstate();
    const bool ok = luaL_loadstring(L, chunk.c_str()) == LUA_OK;
    if (!ok)
        error = lua_tostring(L, -1);
    lua_close(L);
    return ok;
}

// Values for required attributes that have no default, naming the declarations of kContext.
std::string sampleValue(const std::string& command, const std::string& attribute, const std::string& type) {
    if (attribute == "name")
        return "made" + command;
    if (attribute == "fileName")
        return type == "soundFilePicker" ? "x.wav" : "x.obj";
    static const std::map<std::string, std::string> samples = {
        {"var", "v"},       {"array", "arr"},  {"function", "f"}, {"sound", "s"},  {"texture", "m"},
        {"animation", "a"}, {"lookAt", "b"},   {"lightPicker", "sun"}, {"left", "1"}, {"clip", "walk"},
        {"num", "0"},       {"pos", "0"},
    };
    auto found = samples.find(attribute);
    return found != samples.end() ? found->second : "x";
}

// A block as the editor creates it: every default written, required values filled in.
std::string minimalBlock(const CodeSchema& schema, const std::string& command, const std::string& inner = "") {
    std::string out = "<" + command;
    for (const auto& [name, value] : schema.getCommandAttributeInfo(command))
        out += " " + name + "=\"" + value + "\"";
    const CodeSchema::CommandDef* def = schema.findCommandDef(command);
    for (size_t index : def->requiredAttributes) {
        const CodeSchema::AttributeDef& attr = def->attributes[index];
        if (attr.defaultValue.empty())
            out += " " + std::string(attr.name) + "=\"" +
                   sampleValue(command, std::string(attr.name), attr.node.attribute("type").value()) + "\"";
    }
    return out + ">" + inner + "</" + command + ">";
}

// Puts a block where its command may stand, among declarations that its sample values name.
std::string gameWith(const CodeSchema& schema, const std::string& command) {
    const std::string category = schema.getCommandCategory(command);
    std::string atRoot, inLevel, inBox, inStart, inClick, inModel;
    const std::string block = minimalBlock(schema, command);
    if (command == "Else")
        inStart = "<If left=\"1\" op=\"==\" right=\"0\">" + block + "</If>";
    else if (command == "Break")
        inStart = "<Loop count=\"2\" index=\"i\">" + block + "</Loop>";
    else if (command == "GoToLevel") // in OnStart it would restart its level for ever
        inClick = block;
    else if (command == "Animation")
        inModel = block;
    else if (command == "Vertex")
        inBox = "<VertexList>" + block + "</VertexList>";
    else if (command == "VertexList")
        inBox = block;
    else if (command == "Level" || command == "Var" || command == "Array" || command == "Function" ||
             command == "LoadSound" || command == "Material" || command == "SkyBox" || command == "Fog")
        atRoot = block;
    else if (category == "Events")
        inBox = block;
    else if (category == "3D Models" || category == "2D Models" || category == "Light")
        inLevel = block;
    else
        inStart = block;
    return "<KiteBench3D>"
           "<Var name=\"v\" value=\"1\"/><Var name=\"score\" value=\"0\"/><Array name=\"arr\" items=\"1, 2\"/>"
           "<Function name=\"f\"><Return value=\"1\"/></Function>"
           "<LoadSound name=\"s\" fileName=\"s.wav\"/><Material name=\"m\"/>" +
           atRoot +
           "<Level name=\"L\"><DirectionalLight name=\"sun\"/>"
           "<Model name=\"mdl\" fileName=\"x.obj\"><Animation name=\"a\" clip=\"walk\"/>" + inModel + "</Model>"
           "<Box name=\"b\">" + inBox + "<OnStart>" + inStart + "</OnStart><OnClick>" + inClick + "</OnClick></Box>" +
           inLevel +
           "</Level></KiteBench3D>";
}

TEST(LmdLuaTranslator, EveryCommandOfTheSchemaTranslatesLoadsAndRuns) {
    const CodeSchema& schema = realSchema();
    ASSERT_GT(schema.getCommandNames().size(), 60u);
    for (std::string_view name : schema.getCommandNames()) {
        const std::string command(name);
        SCOPED_TRACE(command);
        const std::string xml = gameWith(schema, command);
        pugi::xml_document doc;
        ASSERT_TRUE(doc.load_string(xml.c_str())) << xml;
        // The test game itself is valid, so any problem below is the translator's.
        EXPECT_EQ(SchemaValidator::validate(doc, schema), std::vector<std::string>{}) << xml;

        const LmdLuaTranslation translation = LmdLuaTranslator::translate(doc, schema);
        for (const auto& problem : translation.problems)
            ADD_FAILURE() << problem.message() << "\n" << xml;
        std::string error;
        EXPECT_TRUE(luaLoads(translation.chunk, error)) << error << "\n" << translation.chunk;

        // And it runs against a scene without one error.
        LogicLogCapture log;
        FakeScriptHost host;
        host.permissive = true;
        for (const char* object : {"b", "mdl", "sun", "madeBox"})
            host.add(object);
        LmdLuaRuntime runtime(host);
        ASSERT_TRUE(runtime.loadTranslation(translation));
        EXPECT_TRUE(runtime.start());
        for (int i = 0; i < 3; ++i)
            runtime.update(0.25);
        runtime.keyDown("Space");
        runtime.update(0.25);
        runtime.keyUp("Space");
        runtime.click("b");
        runtime.collision("b", "sun");
        runtime.joystick("", 0.5, 0);
        runtime.update(0.25);
        EXPECT_EQ(log.critical, std::vector<std::string>{}) << translation.chunk;
    }
}

// Each faulty block gives exactly one critical line naming it; the rest of the game still plays.
TEST(LmdLuaTranslator, FaultyBlocksAreSkippedWithOneLineEachAndTheRestPlays) {
    struct Case {
        const char* block; // stands in player's OnStart unless it starts with '@' (then in the level)
        const char* expected;
    };
    const Case cases[] = {
        {R"~(<Move id="9" moveX="&quot;fast&quot;"/>)~", "moveX=\"\"fast\"\": text where a number belongs"},
        {R"~(<Move id="9" duration="slow" moveX="1"/>)~", "duration is 'slow', which is not a number"},
        {R"~(<Set id="9" var="score" value="spede * 2"/>)~", "unknown variable 'spede'"},
        {R"~(<Set id="9" var="scor" value="1"/>)~", "var=\"scor\": unknown variable 'scor'"},
        {R"~(<Set id="9" var="score" value="3 + * 2"/>)~", "unexpected '*' at character 5"},
        {R"~(<Set id="9" var="score" value="(1 + 2"/>)~", "the expression ends where ')' belongs"},
        {R"~(<Set id="9" var="score" value="score = 2"/>)~", "write == to compare"},
        {R"~(<Set id="9" var="score" value="pow(2, 3)"/>)~", "unknown function 'pow'"},
        {R"~(<Set id="9" var="score" value="random(1)"/>)~", "random() takes 2 values, not 1"},
        {R"~(<Set id="9" var="score" value="coins"/>)~", "'coins' is an array"},
        {R"~(<Set id="9" var="score" value="1 &lt; 2 &lt; 3"/>)~", "comparisons cannot be chained"},
        {R"~(<Set id="9" var="score" value="&quot;a&quot; * 2"/>)~", "'*' needs numbers, not text"},
        {R"~(<Set id="9" var="score" value="&quot;open"/>)~", "is not closed"},
        {R"~(<If id="9" left="score" op="=&gt;" right="1"><Print text="never"/></If>)~", "'=>' is not a comparison"},
        {R"~(<Print id="9" text="Score: {score"/>)~", "is not closed with '}'"},
        {R"~(<Print id="9" text="Score: {}"/>)~", "holds no expression"},
        {R"~(<PlaySound id="9" sound="boom"/>)~", "no LoadSound of that name"},
        {R"~(<SetMaterial id="9" texture="gold"/>)~", "no Material of that name"},
        {R"~(<GoToLevel id="9" level="Moon"/>)~", "no Level of that name"},
        {R"~(<Call id="9" function="twice" args="1, 2"/>)~", "gives 2 values, but twice takes 1"},
        {R"~(<Call id="9" function="thrice" args="1"/>)~", "no Function of that name"},
        {R"~(<Break id="9"/>)~", "Break is not inside a Loop"},
        {R"~(<ForEach id="9" array="score"/>)~", "'score' is a variable, not an array"},
        {R"~(<Loop id="9" count="3" index="2nd"/>)~", "which is not a name"},
        {R"~(<SetColor id="9" color="orange"/>)~", "which is not a colour"},
        {R"~(<ApplyForce id="9" impulse="maybe"/>)~", "not true or false"},
        {R"~(<Else id="9"/>)~", "Else belongs directly inside an If"},
        {R"~(<Jump id="9"/>)~", "'Jump' is not a command"},
        {"@<Timer id=\"9\" interval=\"0\"/>", "interval must be more than 0"},
        {"@<Timer id=\"9\" interval=\"often\"/>", "interval is 'often', which is not a number"},
        {"@<OnStart><Hide id=\"9\"/></OnStart>", "does not stand in an object"},
        {"@<OnClick id=\"9\"/>", "does not stand in an object"},
        {"@<Move id=\"9\" moveX=\"1\"/>", "runs only inside an event"},
        {"@<Var id=\"9\" name=\"not\"/>", "a word the language reserves"},
        {"@<Var name=\"lives\"/><Array id=\"9\" name=\"lives\"/>", "already declared here"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.block);
        std::string block = c.block;
        const bool inLevel = block[0] == '@';
        if (inLevel)
            block.erase(0, 1);
        LogicLogCapture log;
        FakeScriptHost host;
        host.add("player");
        LmdLuaRuntime runtime(host);
        const std::string xml =
            "<KiteBench3D><Var name=\"score\" value=\"0\"/><Array name=\"coins\" items=\"1\"/>"
            "<Function name=\"twice\" params=\"n\"><Return value=\"n * 2\"/></Function>"
            "<Level name=\"One\">" + (inLevel ? block : std::string()) +
            "<Box name=\"player\"><OnStart><Print text=\"before\"/>" + (inLevel ? std::string() : block) +
            "<Print text=\"after {score}\"/></OnStart></Box></Level></KiteBench3D>";
        pugi::xml_document doc;
        ASSERT_TRUE(doc.load_string(xml.c_str()));
        ASSERT_TRUE(runtime.loadDocument(doc, realSchema()));
        ASSERT_TRUE(runtime.start());
        runtime.update(0.1);
        ASSERT_EQ(log.critical.size(), 1u) << log.all();
        const std::string& line = log.critical[0];
        EXPECT_EQ(line.rfind("Script error in ", 0), 0u) << line;
        EXPECT_NE(line.find("(id 9)"), std::string::npos) << line;
        EXPECT_NE(line.find(c.expected), std::string::npos) << line;
        EXPECT_EQ(host.prints, (std::vector<std::string>{"before", "after 0"}));
    }
}

// Names of objects the game has nowhere are noted on the block that uses them, once per name, and
// the block still translates; names of documents' objects and of Clones' plain copies are not.
TEST(LmdLuaTranslator, ObjectNamesNothingHasAreNotedButKept) {
    CodeSchema schema;
    ASSERT_TRUE(schema.load(LMD_SOURCE_MEDIA_DIR "/codeSchema.xml"));
    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_string(R"(<KiteBench3D><Level name="A"><Box name="Crate"/><Text2D name="Label"/>
      <OnStart>
        <Clone id="3" target="Crate" newName="Spare"/>
        <Move id="4" target="Spare" moveX="1"/>
        <If id="5" left="Ghost.x" op="&gt;" right="Label.x"><Move id="6" target="Phantom" moveX="Ghost.x + Ghost.y"/></If>
        <Destroy id="7" target="Lost Box"/>
      </OnStart></Level></KiteBench3D>)"));
    const LmdLuaTranslation translation = LmdLuaTranslator::translate(doc, schema);
    EXPECT_TRUE(translation.problems.empty()) << translation.problems.front().message();
    std::vector<std::string> notes;
    for (const auto& note : translation.notes)
        notes.push_back(std::to_string(note.nodeId) + " " + note.text.substr(0, note.text.find(',')));
    EXPECT_EQ(notes, (std::vector<std::string>{"6 names the object 'Phantom'", "6 names the object 'Ghost'",
                                               "5 names the object 'Ghost'", "7 names the object 'Lost Box'"}));
    EXPECT_NE(translation.chunk.find("Phantom"), std::string::npos); // kept: a copy may take the name
}

TEST(LmdLuaTranslator, PointerValuesAreTypedAndTheSceneLearnsWhetherTheyAreRead) {
    auto translate = [](const std::string& body) {
        pugi::xml_document doc;
        EXPECT_TRUE(doc.load_string(("<KiteBench3D><Var name=\"v\"/><Level name=\"A\"><Box name=\"b\">" + body +
                                     "</Box></Level></KiteBench3D>")
                                        .c_str()));
        return LmdLuaTranslator::translate(doc, realSchema());
    };
    // Reading the 3D point or object under the pointer asks the scene for a ray every frame;
    // the screen position and the last click do not.
    for (const char* reads : {"pointerX", "pointerZ + 1", "pointerObject"}) {
        const LmdLuaTranslation t = translate(std::string("<OnUpdate><Set var=\"v\" value=\"") + reads + "\"/></OnUpdate>");
        EXPECT_TRUE(t.problems.empty()) << reads;
        EXPECT_TRUE(t.readsPointer) << reads;
    }
    for (const char* reads : {"mouseX", "mouseY", "clickX", "clickY", "clickZ", "clickObject", "'pointer'"}) {
        const LmdLuaTranslation t = translate(std::string("<OnUpdate><Set var=\"v\" value=\"") + reads + "\"/></OnUpdate>");
        EXPECT_TRUE(t.problems.empty()) << reads;
        EXPECT_FALSE(t.readsPointer) << reads;
    }
    // The object names are text: where a number belongs, that is a fault found before the game runs.
    const LmdLuaTranslation wrong = translate("<OnClick><Move moveX=\"clickObject\"/></OnClick>");
    ASSERT_EQ(wrong.problems.size(), 1u);
    EXPECT_NE(wrong.problems[0].text.find("text where a number belongs"), std::string::npos) << wrong.problems[0].text;
    // Names close to them are still unknown.
    const LmdLuaTranslation unknown = translate("<OnUpdate><Set var=\"v\" value=\"mouseZ\"/></OnUpdate>");
    ASSERT_EQ(unknown.problems.size(), 1u);
    EXPECT_NE(unknown.problems[0].text.find("unknown variable 'mouseZ'"), std::string::npos);
}

TEST(LmdLuaTranslator, BlocksWithoutIdAreNamedByNameOrPath) {
    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_string("<KiteBench3D><Level name=\"A\"><Box name=\"crate\"/><Box><OnStart/><OnStart/></Box></Level></KiteBench3D>"));
    pugi::xml_node level = doc.child("KiteBench3D").child("Level");
    EXPECT_EQ(LmdLuaTranslator::describeNode(level.child("Box")), "name 'crate'");
    EXPECT_EQ(LmdLuaTranslator::describeNode(level.last_child().last_child()),
              "/KiteBench3D/Level[1]/Box[2]/OnStart[2]");
    level.child("Box").append_attribute("id") = 12;
    EXPECT_EQ(LmdLuaTranslator::describeNode(level.child("Box")), "id 12");
}

// Lua refuses an event with more local variables than it allows: only that event is left out,
// the line names the block where Lua gave up, and the rest of the game loads and plays.
TEST_F(LogicTest, CodeThatLuaRefusesIsLeftOutAndNamed) {
    std::string many;
    for (int i = 0; i < 230; ++i)
        many += "<Var id=\"" + std::to_string(1000 + i) + "\" name=\"v" + std::to_string(i) + "\" value=\"" +
                std::to_string(i) + "\"/>";
    ASSERT_TRUE(play("<Var name=\"n\"/><Level name=\"A\"><OnStart id=\"5\">" + many +
                     "</OnStart><OnStart><Set var=\"n\" value=\"42\"/></OnStart></Level>"));
    ASSERT_EQ(log.critical.size(), 1u) << log.all();
    EXPECT_NE(log.critical[0].find("Script error in Var (id 1"), std::string::npos) << log.critical[0];
    EXPECT_NE(log.critical[0].find("too many local variables"), std::string::npos) << log.critical[0];
    EXPECT_NE(log.critical[0].find("the whole OnStart (id 5) is skipped"), std::string::npos) << log.critical[0];
    EXPECT_EQ(var("n"), 42);
}

// Whatever an attribute holds, it reaches Lua as data: text that looks like Lua code is printed,
// not run, and names that are Lua keywords work as variable names.
TEST_F(LogicTest, AttributeTextNeverBecomesLuaCode) {
    ASSERT_TRUE(play("<Var name=\"end\" value=\"3\"/><Var name=\"function\" value=\"end + 1\"/>"
                     "<Level name=\"A\"><OnStart>"
                     "<Print text=\"{'\\&quot;); os.exit(1) --]] end &#10;&#9; ü'}\"/>"
                     "<Print text=\"]] {function} &quot;quoted&quot;\"/>"
                     "</OnStart></Level>"));
    EXPECT_EQ(log.critical, std::vector<std::string>{});
    ASSERT_EQ(host.prints.size(), 2u);
    EXPECT_EQ(host.prints[0], "\"); os.exit(1) --]] end \n\t ü");
    EXPECT_EQ(host.prints[1], "]] 4 \"quoted\"");
}

} // namespace
} // namespace Lumenda3D::test
