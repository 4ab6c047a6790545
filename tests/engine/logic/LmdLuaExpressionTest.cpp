#include "engine/logic/LmdLuaExpression.h"

#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <lua.hpp>

namespace Lumenda3D {
namespace {

using Binding = LmdLuaExpression::Binding;
using Kind = LmdLuaExpression::Kind;

class TestScope : public LmdLuaExpression::Scope {
public:
    TestScope() {
        value("score", "G[\"score\"]");
        value("player", "G[\"player\"]"); // a variable with an object's name
        value("target", "G[\"target\"]");
        value("item", "v_item", true);
        array("coins", "G[\"coins\"]");
        Binding other;
        other.type = Binding::Type::Value;
        other.lua = "ev.other";
        other.local = other.readOnly = true;
        names["other"] = other;
        objects = {"player", "item", "hud"};
    }
    void value(const std::string& name, const std::string& lua, bool local = false) {
        Binding b;
        b.type = Binding::Type::Value;
        b.lua = lua;
        b.local = local;
        names[name] = b;
    }
    void array(const std::string& name, const std::string& lua) {
        Binding b;
        b.type = Binding::Type::Array;
        b.lua = lua;
        names[name] = b;
    }
    Binding lookup(const std::string& name) const override {
        auto found = names.find(name);
        return found == names.end() ? Binding{} : found->second;
    }
    bool isObject(const std::string& name) const override { return objects.count(name) > 0; }

    std::map<std::string, Binding> names;
    std::set<std::string> objects;
};

// Runs `return <lua>` in a bare Lua state and gives the result as text.
std::string evaluate(const std::string& lua) {
    lua_State* L = luaL_newstate();
    luaL_openlibs(L);
    std::string out;
    if (luaL_dostring(L, ("return " + lua).c_str()) == LUA_OK) {
        if (lua_type(L, -1) == LUA_TNUMBER)
            out = std::string(lua_isinteger(L, -1) ? "integer " : "float ") + lua_tostring(L, -1);
        else
            out = lua_tostring(L, -1) ? lua_tostring(L, -1) : "?";
    } else {
        out = std::string("error: ") + lua_tostring(L, -1);
    }
    lua_close(L);
    return out;
}

TEST(LmdLuaExpression, LiteralsBecomeLuaLiteralsThatReadBackExactly) {
    for (const std::string& text : {std::string("plain"), std::string("\"quoted\" \\ back\\slash"),
                                   std::string("line\nbreak\ttab\r"), std::string("\x01\x1f\x7f bytes 9\x02" "9"),
                                   std::string("]] --[[ end"), std::string("ünïcode ✓")})
        EXPECT_EQ(evaluate(LmdLuaExpression::quote(text)), text);
    EXPECT_EQ(evaluate(LmdLuaExpression::number(3)), "float 3.0");
    EXPECT_EQ(evaluate(LmdLuaExpression::number(0.1)), "float 0.1");
    EXPECT_EQ(evaluate(LmdLuaExpression::number(-2.5) + " + 1"), "float -1.5");
    EXPECT_EQ(evaluate(LmdLuaExpression::number(1e300)), "float 1e+300");
}

TEST(LmdLuaExpression, ObjectNamesResolveLocalFirstThenDocumentThenVariable) {
    TestScope scope;
    auto object = [&](const char* name) {
        auto r = LmdLuaExpression::translateObject(name, scope);
        return r.ok ? r.lua : "error: " + r.error;
    };
    EXPECT_EQ(object("item"), "v_item");         // a loop's item shadows an object called item
    EXPECT_EQ(object("player"), "\"player\"");   // the object wins over a game variable
    EXPECT_EQ(object("target"), "G[\"target\"]"); // a variable holding an object's name
    EXPECT_EQ(object("other"), "ev.other");
    EXPECT_EQ(object("bullet_7"), "\"bullet_7\""); // made while the game runs
    EXPECT_EQ(object("Main Camera"), "\"Main Camera\"");
    EXPECT_EQ(object("coins"), "error: 'coins' is an array, not an object");
    auto property = LmdLuaExpression::translate("target.x + item.y", scope);
    ASSERT_TRUE(property.ok) << property.error;
    EXPECT_EQ(property.lua, "add(get(G[\"target\"], \"x\"), get(v_item, \"y\"))");
}

TEST(LmdLuaExpression, KindsAreCheckedWhereKnownAndAtRunTimeOtherwise) {
    TestScope scope;
    auto number = LmdLuaExpression::translateNumber("score * 2", scope, "Move moveX");
    EXPECT_EQ(number.lua, "(G[\"score\"] * 2.0)") << "arithmetic already yields a number";
    number = LmdLuaExpression::translateNumber("score", scope, "Move moveX");
    EXPECT_EQ(number.lua, "num(G[\"score\"], \"Move moveX\")");
    EXPECT_EQ(LmdLuaExpression::translateNumber("\"fast\"", scope, "x").error, "text where a number belongs");
    EXPECT_EQ(LmdLuaExpression::translateNumber("1 < 2", scope, "x").error, "a true/false value where a number belongs");
    EXPECT_EQ(LmdLuaExpression::translate("-\"a\"", scope).error, "'-' needs a number, not text");
    EXPECT_EQ(LmdLuaExpression::translate("true + 1", scope).error, "'+' cannot add true/false values");
    EXPECT_EQ(LmdLuaExpression::translate("\"a\" < 1", scope).error, "'<' cannot compare text with a number");
    EXPECT_EQ(LmdLuaExpression::translateComparison("score", ">=", "1", scope).lua, "(G[\"score\"] >= 1.0)");
    EXPECT_EQ(LmdLuaExpression::translateCondition("score", scope).lua, "truth(G[\"score\"])");
    EXPECT_EQ(LmdLuaExpression::translateCondition("not (score > 1)", scope).lua, "(not (G[\"score\"] > 1.0))");
}

TEST(LmdLuaExpression, SyntaxErrorsSayWhatAndWhere) {
    TestScope scope;
    const std::pair<const char*, const char*> cases[] = {
        {"3abc", "'3abc' is neither a number nor a name"},
        {"score && 1", "'&&' is not an operator: write and"},
        {"!score", "'!' is not an operator: write not"},
        {"score = 1", "'=' is not an operator: write == to compare (a Set block assigns)"},
        {"score # 2", "'#' at character 7 has no meaning in an expression"},
        // A character outside ASCII is quoted whole, a stray byte by its value: messages reach
        // agents' JSON replies, which must stay UTF-8.
        {"score \xC3\xA9 2", "'\xC3\xA9' at character 7 has no meaning in an expression"},
        {"score \xCA< 2", "the byte 0xCA at character 7 has no meaning in an expression"},
        {"score \xED\xA0\x80", "the byte 0xED at character 7 has no meaning in an expression"},
        {"'open", "the text starting at character 1 is not closed: add the closing '"},
        {"(score", "the expression ends where ')' belongs"},
        {"score)", "unexpected ')' at character 6"},
        {"min(1,)", "unexpected ')' at character 7, where a value belongs"},
        {"player.x.y", "a property has no parts of its own ('.' at character 9)"},
        {"coins[1][2]", "an array item is not itself an array ('[' at character 9)"},
        {"1e999", "the number 1e999 is too large"},
        {"", "the expression is empty"},
        {"spede", "unknown variable 'spede'"},
        {"hud", "'hud' is an object: write hud.x (or another property) for one of its values, or \"hud\" for its name"},
        {"abs", "'abs' is a function: write abs(...)"},
        {"len(score)", "len() takes the name of an array"},
    };
    for (const auto& [text, error] : cases)
        EXPECT_EQ(LmdLuaExpression::translate(text, scope).error, error) << text;
    std::string deep;
    for (int i = 0; i < 100; ++i)
        deep += "(";
    EXPECT_EQ(LmdLuaExpression::translate(deep + "1", scope).error, "the expression is nested too deeply");
}

// Found by fuzzing: a long chain of operations (score - 1 - 1 - ...) is built in a loop, so the
// nesting guard never saw it, yet every operation nests one level deeper in the written Lua; Lua
// refused the result ("C stack overflow"), and a chain of many thousands would have overflowed
// the translator's own stack.
TEST(LmdLuaExpression, LongChainsOfOperationsAreRefusedBeforeLuaRefusesThem) {
    TestScope scope;
    auto chain = [](int operations, const char* op) {
        std::string text = "score";
        for (int i = 0; i < operations; ++i)
            text += std::string(" ") + op + " 1";
        return text;
    };
    for (const char* op : {"-", "*", "+"}) {
        const LmdLuaExpression::Result fits = LmdLuaExpression::translate(chain(39, op), scope);
        ASSERT_TRUE(fits.ok) << fits.error;
        lua_State* L = luaL_newstate();
        EXPECT_EQ(luaL_loadstring(L, ("local G, add = {}, nil\nreturn " + fits.lua).c_str()), LUA_OK) << op;
        lua_close(L);
        EXPECT_EQ(LmdLuaExpression::translate(chain(40, op), scope).error,
                  "the expression is too deep: at most 40 operations may build on one another (split it with a Var)");
    }
    EXPECT_FALSE(LmdLuaExpression::translate(chain(200000, "-"), scope).ok);
    EXPECT_FALSE(LmdLuaExpression::translateCondition("not " + chain(45, "-") + " > 1", scope).ok);
}

TEST(LmdLuaExpression, AssignablesAreVariablesPropertiesOrItems) {
    TestScope scope;
    LmdLuaExpression::Assignable out;
    std::string error;
    ASSERT_TRUE(LmdLuaExpression::translateAssignable("score", scope, out, error));
    EXPECT_EQ(out.type, LmdLuaExpression::Assignable::Type::Variable);
    EXPECT_EQ(out.lua, "G[\"score\"]");
    ASSERT_TRUE(LmdLuaExpression::translateAssignable("player.y", scope, out, error));
    EXPECT_EQ(out.type, LmdLuaExpression::Assignable::Type::Property);
    EXPECT_EQ(out.lua + " " + out.key, "\"player\" \"y\"");
    ASSERT_TRUE(LmdLuaExpression::translateAssignable("coins[score + 1]", scope, out, error));
    EXPECT_EQ(out.type, LmdLuaExpression::Assignable::Type::Item);
    EXPECT_EQ(out.key, "add(G[\"score\"], 1.0)");
    for (const char* bad : {"other", "1 + 2", "coins", "hud", "ghost"}) {
        EXPECT_FALSE(LmdLuaExpression::translateAssignable(bad, scope, out, error)) << bad;
        EXPECT_FALSE(error.empty());
    }
}

TEST(LmdLuaExpression, TextPlaceholdersAndEscapedBraces) {
    TestScope scope;
    bool constant = false;
    auto text = LmdLuaExpression::translateText("Score: {score} {{x}} {'}'} }", scope, &constant);
    ASSERT_TRUE(text.ok) << text.error;
    EXPECT_FALSE(constant);
    EXPECT_EQ(text.lua, "(\"Score: \" .. str(G[\"score\"]) .. \" {x} \" .. \"}\" .. \" }\")");
    text = LmdLuaExpression::translateText("no {{placeholder}}", scope, &constant);
    EXPECT_TRUE(constant);
    EXPECT_EQ(evaluate(text.lua), "no {placeholder}");
    EXPECT_EQ(LmdLuaExpression::translateText("{score", scope).error,
              "the '{' at character 1 is not closed with '}' (write {{ for a brace)");
    EXPECT_EQ(LmdLuaExpression::translateText("a {spede}", scope).error, "{spede}: unknown variable 'spede'");
}

} // namespace
} // namespace Lumenda3D
