// The game language's expressions (LmdLuaExpression): any text through each of its entry points.
// Input: one byte choosing the entry point, then the text (for a comparison: left NUL operator NUL
// right).
//
// Properties: a text is either refused with a reason and no Lua, or translated into Lua that is one
// expression (it compiles inside both "return (...)" and "return {...}", so nothing can close the
// expression and append a statement) and that reaches no Lua global but math: names in the game's
// logic never become os, io, load or anything else outside the game's own tables.
#include <set>

#include <nlohmann/json.hpp>

#include "FuzzSupport.h"
#include "LuaChunkCheck.h"
#include "engine/logic/LmdLuaExpression.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;
using Binding = LmdLuaExpression::Binding;

namespace {

// Names as the translator binds them: game and level variables, a local, an array, event values.
class Scope : public LmdLuaExpression::Scope {
public:
    Binding lookup(const std::string& name) const override {
        Binding b;
        auto bind = [&](Binding::Type type, std::string lua, bool local, bool readOnly) {
            b.type = type;
            b.lua = std::move(lua);
            b.local = local;
            b.readOnly = readOnly;
            return b;
        };
        if (name == "score" || name == "speed" || name == "player")
            return bind(Binding::Type::Value, "G[\"" + name + "\"]", false, false);
        if (name == "lives")
            return bind(Binding::Type::Value, "V[\"lives\"]", false, false);
        if (name == "i")
            return bind(Binding::Type::Value, "v_i", true, false);
        if (name == "coins")
            return bind(Binding::Type::Array, "G[\"coins\"]", false, false);
        if (name == "self")
            return bind(Binding::Type::Value, "self", true, true);
        if (name == "other")
            return bind(Binding::Type::Value, "ev.other", true, true);
        return b;
    }
    bool isObject(const std::string& name) const override { return name == "player" || name == "hud" || name == "coin"; }
};

// What the game chunk has in scope around an expression.
const char* const kPrologue =
    "local R, G, V, F, LF, self, ev, v_i = ...\n"
    "local num, str, add, truth, get, set, item = R.num, R.str, R.add, R.truth, R.get, R.set, R.item\n";

void checkExpression(const std::string& lua, const std::string& input) {
    require(!lua.empty(), "a translated expression has Lua", excerpt(input));
    std::string error;
    for (const char* wrap : {"return (", "return {"}) {
        const std::string close = wrap[7] == '(' ? "\n)" : "\n}";
        require(luaCompiles(kPrologue + std::string(wrap) + lua + close, &error),
                "a translated expression is exactly one Lua expression", excerpt(input) + "\n=> " + excerpt(lua) + "\n" + error);
    }
    LuaGlobalUse use;
    require(luaGlobalUse(kPrologue + std::string("return (") + lua + "\n)", use, error), "the expression compiles", error);
    require(use.writes.empty() && !use.usesEnvDirectly, "an expression writes no Lua global", excerpt(input));
    for (const std::string& name : use.reads)
        require(name == "math", "an expression reads no Lua global but math", name + " in " + excerpt(lua));
}

void check(const LmdLuaExpression::Result& result, const std::string& input) {
    if (!result.ok) {
        require(!result.error.empty(), "a refused expression says why", excerpt(input));
        // Agents' documents arrive as JSON, so they are UTF-8; the refusal of such a text must be
        // UTF-8 too (it goes back into their JSON replies). Raw bytes may be quoted as they are.
        auto isUtf8 = [](const std::string& text) {
            try {
                (void)nlohmann::json(text).dump();
                return true;
            } catch (const nlohmann::json::exception&) {
                return false;
            }
        };
        require(!isUtf8(input) || isUtf8(result.error), "the refusal of a UTF-8 text is UTF-8", excerpt(result.error));
        return;
    }
    checkExpression(result.lua, input);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    static const Scope scope;
    const unsigned selector = data[0] % 8;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (selector) {
    case 0:
        check(LmdLuaExpression::translate(text, scope), text);
        break;
    case 1:
        check(LmdLuaExpression::translateNumber(text, scope, "moveX"), text);
        break;
    case 2:
        check(LmdLuaExpression::translateCondition(text, scope), text);
        break;
    case 3: {
        bool constant = false;
        check(LmdLuaExpression::translateText(text, scope, &constant), text);
        break;
    }
    case 4:
        check(LmdLuaExpression::translateObject(text, scope), text);
        break;
    case 5: {
        std::vector<LmdLuaExpression::Result> items;
        std::string error;
        if (LmdLuaExpression::translateList(text, scope, items, error)) {
            for (const LmdLuaExpression::Result& item : items)
                check(item, text);
        } else {
            require(!error.empty(), "a refused list says why", excerpt(text));
        }
        break;
    }
    case 6: {
        LmdLuaExpression::Assignable target;
        std::string error;
        if (!LmdLuaExpression::translateAssignable(text, scope, target, error)) {
            require(!error.empty(), "a refused assignment target says why", excerpt(text));
            break;
        }
        if (target.type == LmdLuaExpression::Assignable::Type::Variable) {
            checkExpression(target.lua, text);
        } else {
            checkExpression(target.lua, text);
            checkExpression(target.key, text);
        }
        break;
    }
    default: {
        const std::vector<std::string> parts = splitFields(data + 1, size - 1, 3);
        check(LmdLuaExpression::translateComparison(parts[0], parts[1], parts[2], scope), text);
        break;
    }
    }
    return 0;
}
