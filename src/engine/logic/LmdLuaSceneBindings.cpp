#include "engine/logic/LmdLuaRuntimeBindings.h"

#include <exception>

#include "engine/logic/LmdScriptHost.h"

namespace Lumenda3D {

template <LmdLuaRuntime::Bindings::Body body>
int LmdLuaRuntime::Bindings::guarded(lua_State* L) {
    int results = -1;
    {
        std::string error;
        try {
            results = body(L, rt(L), error);
        } catch (const std::exception& e) {
            error = std::string("the scene failed: ") + e.what();
            results = -1;
        } catch (...) {
            error = "the scene failed";
            results = -1;
        }
        if (results < 0)
            lua_pushlstring(L, error.data(), error.size());
    }
    if (results < 0)
        return lua_error(L);
    return results;
}

// An action on the scene (move, force, sound, animation, light, clone, destroy): when it
// cannot act (the object is not there, the sound cannot play) the failure is logged against
// its block like any error, but the logic goes on with the next block, so that one action
// that finds nothing never takes its siblings down with it. Errors of the logic itself (a
// value of the wrong kind, a runaway While) and a scene that throws still end the handler:
// what follows would run on a broken value.
template <LmdLuaRuntime::Bindings::Body body>
int LmdLuaRuntime::Bindings::action(lua_State* L) {
    LmdLuaRuntime& self = rt(L);
    int results = -1;
    bool failed = false; // the scene itself broke: that ends the handler, as any error
    {
        std::string error;
        try {
            results = body(L, self, error);
        } catch (const std::exception& e) {
            error = std::string("the scene failed: ") + e.what();
            failed = true;
        } catch (...) {
            error = "the scene failed";
            failed = true;
        }
        if (failed) {
            lua_pushlstring(L, error.data(), error.size());
        } else if (results < 0) {
            int line = gameLine(L);
            if (line <= 0)
                line = self.fallbackLine_;
            const LineEntry* entry = self.entryForLine(line);
            self.report(entry ? entry->element : "", entry ? entry->where : "", error);
            results = 0;
        }
    }
    // Outside the block: lua_error does not return, and nothing may be left to destroy.
    if (failed)
        return lua_error(L);
    return results;
}

std::string LmdLuaRuntime::Bindings::describe(lua_State* L, int index) {
    switch (lua_type(L, index)) {
    case LUA_TNIL:
    case LUA_TNONE: return "nothing";
    case LUA_TBOOLEAN: return lua_toboolean(L, index) ? "true" : "false";
    case LUA_TNUMBER:
    case LUA_TSTRING: {
        size_t length = 0;
        const char* text = lua_tolstring(L, index, &length);
        return "'" + std::string(text, length) + "'";
    }
    case LUA_TTABLE: return "an array";
    default: return lua_typename(L, lua_type(L, index));
    }
}

bool LmdLuaRuntime::Bindings::object(lua_State* L, int index, std::string& out, std::string& error) {
    const int type = lua_type(L, index);
    if (type == LUA_TSTRING) {
        size_t length = 0;
        const char* text = lua_tolstring(L, index, &length);
        out.assign(text, length);
        return true;
    }
    if (type == LUA_TNIL || type == LUA_TNONE)
        error = "there is no object to work on: the block names no target and does not stand in an object";
    else
        error = describe(L, index) + " is not the name of an object";
    return false;
}

std::string LmdLuaRuntime::Bindings::text(lua_State* L, int index) {
    size_t length = 0;
    const char* value = lua_type(L, index) == LUA_TSTRING ? lua_tolstring(L, index, &length) : nullptr;
    return value ? std::string(value, length) : std::string();
}

bool LmdLuaRuntime::Bindings::number(lua_State* L, int index, double& out, std::string& error, const char* what) {
    int isNumber = 0;
    out = static_cast<double>(lua_tonumberx(L, index, &isNumber));
    if (!isNumber)
        error = std::string(what) + " needs a number, not " + describe(L, index);
    return isNumber != 0;
}

std::string LmdLuaRuntime::Bindings::missing(const std::string& object) { return "there is no object named '" + object + "'"; }

// Explains a false answer of the host: the object is missing, or else `otherwise`.
int LmdLuaRuntime::Bindings::refused(LmdLuaRuntime& self, const std::string& object, const std::string& otherwise,
                   std::string& error) {
    error = self.host_.hasObject(object) ? otherwise : missing(object);
    return -1;
}

int LmdLuaRuntime::Bindings::get(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string o;
    if (!object(L, 1, o, error))
        return -1;
    const std::string property = text(L, 2);
    LmdScriptValue value;
    if (!self.host_.getProperty(o, property, value) || value.isNone())
        return refused(self, o, "'" + o + "' has no property '" + property + "'", error);
    switch (value.type) {
    case LmdScriptValue::Type::Number: lua_pushnumber(L, value.number); break;
    case LmdScriptValue::Type::Boolean: lua_pushboolean(L, value.boolean); break;
    case LmdScriptValue::Type::Text: lua_pushlstring(L, value.text.data(), value.text.size()); break;
    case LmdScriptValue::Type::None: lua_pushnil(L); break;
    }
    return 1;
}

int LmdLuaRuntime::Bindings::set(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string o;
    if (!object(L, 1, o, error))
        return -1;
    const std::string property = text(L, 2);
    LmdScriptValue value;
    switch (lua_type(L, 3)) {
    case LUA_TNUMBER: value = LmdScriptValue::ofNumber(lua_tonumber(L, 3)); break;
    case LUA_TBOOLEAN: value = LmdScriptValue::ofBoolean(lua_toboolean(L, 3) != 0); break;
    case LUA_TSTRING: value = LmdScriptValue::ofText(text(L, 3)); break;
    default:
        error = "cannot set " + o + "." + property + " to " + describe(L, 3);
        return -1;
    }
    if (!self.host_.setProperty(o, property, value))
        return refused(self, o, "cannot set " + o + "." + property + " to " + describe(L, 3), error);
    return 0;
}

int LmdLuaRuntime::Bindings::translate(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string o;
    double x = 0, y = 0, z = 0;
    if (!object(L, 1, o, error) || !number(L, 2, x, error, "Move") || !number(L, 3, y, error, "Move") ||
        !number(L, 4, z, error, "Move"))
        return -1;
    if (!self.host_.translate(o, x, y, z, lua_toboolean(L, 5) != 0))
        return refused(self, o, "'" + o + "' cannot move", error);
    return 0;
}

int LmdLuaRuntime::Bindings::lookAt(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string o, at;
    if (!object(L, 1, o, error) || !object(L, 2, at, error))
        return -1;
    if (!self.host_.lookAt(o, at))
        return refused(self, o, self.host_.hasObject(at) ? "'" + o + "' cannot turn" : missing(at), error);
    return 0;
}

int LmdLuaRuntime::Bindings::force(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string o;
    double x = 0, y = 0, z = 0;
    if (!object(L, 1, o, error) || !number(L, 2, x, error, "ApplyForce") || !number(L, 3, y, error, "ApplyForce") ||
        !number(L, 4, z, error, "ApplyForce"))
        return -1;
    if (!self.host_.applyForce(o, x, y, z, lua_toboolean(L, 5) != 0, lua_toboolean(L, 6) != 0))
        return refused(self, o, "'" + o + "' has no physics body (set its body to dynamic)", error);
    return 0;
}

int LmdLuaRuntime::Bindings::velocity(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string o;
    if (!object(L, 1, o, error))
        return -1;
    std::optional<double> v[3];
    for (int i = 0; i < 3; ++i) {
        if (lua_isnil(L, 2 + i))
            continue;
        double value = 0;
        if (!number(L, 2 + i, value, error, "SetVelocity"))
            return -1;
        v[i] = value;
    }
    if (!self.host_.setVelocity(o, v[0], v[1], v[2], lua_toboolean(L, 5) != 0))
        return refused(self, o, "'" + o + "' has no physics body (set its body to dynamic)", error);
    return 0;
}

int LmdLuaRuntime::Bindings::destroy(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string o;
    if (!object(L, 1, o, error))
        return -1;
    if (!self.host_.destroyObject(o)) {
        error = missing(o);
        return -1;
    }
    return 0;
}

int LmdLuaRuntime::Bindings::clone(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string o;
    double x = 0, y = 0, z = 0;
    if (!object(L, 1, o, error) || !number(L, 3, x, error, "Clone") || !number(L, 4, y, error, "Clone") ||
        !number(L, 5, z, error, "Clone"))
        return -1;
    const std::string made = self.host_.cloneObject(o, text(L, 2), x, y, z);
    if (made.empty()) {
        error = missing(o);
        return -1;
    }
    lua_pushlstring(L, made.data(), made.size());
    return 1;
}

int LmdLuaRuntime::Bindings::playAnimation(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string o;
    double speed = 1;
    if (!object(L, 1, o, error) || !number(L, 4, speed, error, "PlayAnimation"))
        return -1;
    const std::string animation = text(L, 2);
    if (!self.host_.playAnimation(o, animation, lua_toboolean(L, 3) != 0, speed))
        return refused(self, o, "'" + o + "' has no animation '" + animation + "'", error);
    return 0;
}

int LmdLuaRuntime::Bindings::stopAnimation(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string o;
    if (!object(L, 1, o, error))
        return -1;
    if (!self.host_.stopAnimation(o))
        return refused(self, o, "'" + o + "' has no animation", error);
    return 0;
}

int LmdLuaRuntime::Bindings::light(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    const std::string name = text(L, 1);
    if (!self.host_.switchLight(name, lua_toboolean(L, 2) != 0)) {
        error = "there is no light named '" + name + "'";
        return -1;
    }
    return 0;
}

int LmdLuaRuntime::Bindings::playSound(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    double volume = 1;
    if (!number(L, 2, volume, error, "PlaySound"))
        return -1;
    const std::string name = text(L, 1);
    if (!self.host_.playSound(name, volume, lua_toboolean(L, 3) != 0)) {
        error = "the sound '" + name + "' cannot play (is its file missing?)";
        return -1;
    }
    return 0;
}

int LmdLuaRuntime::Bindings::stopSound(lua_State* L, LmdLuaRuntime& self, std::string&) {
    self.host_.stopSound(text(L, 1));
    return 0;
}

int LmdLuaRuntime::Bindings::distance(lua_State* L, LmdLuaRuntime& self, std::string& error) {
    std::string a, b;
    if (!object(L, 1, a, error) || !object(L, 2, b, error))
        return -1;
    double result = 0;
    if (!self.host_.distance(a, b, result)) {
        error = missing(self.host_.hasObject(a) ? b : a);
        return -1;
    }
    lua_pushnumber(L, result);
    return 1;
}

int LmdLuaRuntime::Bindings::print(lua_State* L, LmdLuaRuntime& self, std::string&) {
    self.host_.print(text(L, 1));
    return 0;
}

void LmdLuaRuntime::Bindings::pushTable(lua_State* L) {
    static const luaL_Reg bindings[] = {
        {"run", &Bindings::run},
        {"line", &Bindings::line},
        {"linemap", &Bindings::linemap},
        {"goToLevel", &Bindings::goToLevel},
        {"get", &Bindings::guarded<&Bindings::get>},
        {"set", &Bindings::guarded<&Bindings::set>},
        {"translate", &Bindings::action<&Bindings::translate>},
        {"lookAt", &Bindings::action<&Bindings::lookAt>},
        {"force", &Bindings::action<&Bindings::force>},
        {"velocity", &Bindings::action<&Bindings::velocity>},
        {"destroy", &Bindings::action<&Bindings::destroy>},
        {"clone", &Bindings::action<&Bindings::clone>},
        {"playAnimation", &Bindings::action<&Bindings::playAnimation>},
        {"stopAnimation", &Bindings::action<&Bindings::stopAnimation>},
        {"light", &Bindings::action<&Bindings::light>},
        {"playSound", &Bindings::action<&Bindings::playSound>},
        {"stopSound", &Bindings::action<&Bindings::stopSound>},
        {"distance", &Bindings::guarded<&Bindings::distance>},
        {"print", &Bindings::guarded<&Bindings::print>},
        {nullptr, nullptr},
    };
    lua_newtable(L);
    luaL_setfuncs(L, bindings, 0);
}

} // namespace Lumenda3D
